// SPDX-License-Identifier: AGPL-3.0-only
// A session comes back as it was, and nothing that a host or a file hands in does harm.

#include "support/Plugin.h"

#include "presets/PresetManager.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <thread>

using varnel::parameterTable;
using varnel::PresetManager;
using varnel::VarnelReverbAudioProcessor;

namespace
{

constexpr auto notANumber = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();

class State : public FreshHome
{
protected:
    /** What a chunk with this XML does to a processor with unusual values; the processor and its XML. */
    std::pair<std::vector<float>, juce::String> after (const juce::MemoryBlock& chunk)
    {
        setUnusualValues (processor);
        restore (processor, chunk);
        return { values (processor), textOf (chunkOf (processor)) };
    }

    static juce::String textOf (const juce::MemoryBlock& chunk)
    {
        return juce::String::fromUTF8 (static_cast<const char*> (chunk.getData()) + 8, static_cast<int> (chunk.getSize()) - 9);
    }

    VarnelReverbAudioProcessor processor;

    const std::vector<float> unusual = [this]
    {
        setUnusualValues (processor);
        return values (processor);
    }();

    const std::vector<float> defaults { 33.0f, 33.0f, 0.0f, -1.5f, 33.0f, 1.0f, 1.0f };
};

struct CountingListener : PresetManager::Listener
{
    void currentPresetChanged() override { ++numChanges; }
    int numChanges = 0;
};

} // namespace

TEST_F (State, BringsBackEveryValueToTheBit)
{
    for (const auto& parameter : parameterTable)
    {
        const auto numSteps = juce::roundToInt ((parameter.end - parameter.start) / parameter.interval);

        for (int step = 0; step <= numSteps; ++step)
        {
            VarnelReverbAudioProcessor saved;
            set (saved, parameter.id, parameter.start + static_cast<float> (step) * parameter.interval);
            const auto expected = values (saved);
            EXPECT_EQ (after (chunkOf (saved)).first, expected) << parameter.id << " at step " << step;
            EXPECT_NEAR (get (saved, parameter.id), parameter.start + static_cast<float> (step) * parameter.interval, 1e-4f);
        }
    }

    processor.prepareToPlay (44100.0, 64);

    // The default of Hi lies between two steps and comes back as such, wherever the parameter was.
    VarnelReverbAudioProcessor fresh;
    EXPECT_EQ (values (fresh), defaults);
    for (const auto elsewhere : { -12.0f, -1.6f, -1.4f, 12.0f })
    {
        set (processor, "ReverbHi", elsewhere);
        restore (processor, chunkOf (fresh));
        EXPECT_EQ (values (processor), defaults) << "Hi was at " << elsewhere;
        EXPECT_EQ (textOf (chunkOf (processor)), textOf (chunkOf (fresh)));
        EXPECT_NEAR (processor.engine.outHigh.b0, 0.876137f, 1e-6f) << "the sound of -1.5 dB";
    }

    // Any other value between two steps goes to the nearest.
    const auto [moved, text] = after (chunkWith ("<ReverbParams><PARAM id='ReverbSize' value='33.4'/><PARAM id='ReverbLo' value='-0.31'/></ReverbParams>"));
    EXPECT_EQ (moved[0], 33.0f);
    EXPECT_NEAR (moved[2], -0.4f, 1e-5f);
    EXPECT_TRUE (text.contains ("id=\"ReverbSize\" value=\"33.0\"")) << text;
}

TEST_F (State, WritesTheLayoutThatHostsStore)
{
    processor.setPresetName (juce::String::fromUTF8 ("/a/Größe \"1\" & <2>.xml"));
    const auto chunk = chunkOf (processor);
    const auto* const bytes = static_cast<const char*> (chunk.getData());
    EXPECT_EQ (std::string (bytes, 4), "VC2!");
    EXPECT_EQ (juce::ByteOrder::littleEndianInt (bytes + 4), chunk.getSize() - 9);
    EXPECT_EQ (bytes[chunk.getSize() - 1], 0);

    EXPECT_EQ (textOf (chunk), "<?xml version=\"1.0\" encoding=\"UTF-8\"?> <ReverbParams presetName=\"/a/Gr&#246;&#223;e &quot;1&quot; &amp; &lt;2&gt;.xml\">"
                               "<PARAM id=\"ReverbSize\" value=\"71.0\"/><PARAM id=\"ReverbMod\" value=\"12.0\"/><PARAM id=\"ReverbLo\" value=\"-3.399999618530273\"/>"
                               "<PARAM id=\"ReverbHi\" value=\"5.200000762939453\"/><PARAM id=\"Position\" value=\"88.0\"/><PARAM id=\"Bypass\" value=\"0.0\"/>"
                               "<PARAM id=\"ReverbInsertMode\" value=\"0.0\"/></ReverbParams>");

    // A value that a host changed a moment ago is in the chunk.
    set (processor, "ReverbSize", 5.0f);
    EXPECT_TRUE (textOf (chunkOf (processor)).contains ("value=\"5.0\""));
}

TEST_F (State, RestoresWhatEarlierVersionsRecorded)
{
    struct Recorded
    {
        const char* file;
        std::vector<float> values;
        const char* preset;
    };

    const Recorded recorded[] {
        { "defaults-1.1.1.chunk", defaults, "" },
        { "unusual-1.1.1.chunk", unusual, "/home/anna/Documents/Ostry/Varnel Reverb/User Presets/Weite Höhle.xml" },
        { "old-record.chunk", { 58.0f, 20.0f, -4.0f, 3.0f, 64.0f, 1.0f, 0.0f }, "/Old Hall" },
    };

    for (const auto& [file, expected, preset] : recorded)
    {
        juce::MemoryBlock chunk;
        ASSERT_TRUE (juce::File (VARNEL_TEST_DATA).getChildFile (file).loadFileAsData (chunk)) << file;
        const auto got = after (chunk).first;
        for (size_t i = 0; i < 7; ++i)
            EXPECT_NEAR (got[i], expected[i], 1e-5f) << file << ", " << parameterTable[i].id;
        EXPECT_EQ (processor.currentPresetFile.getFullPathName(), juce::String::fromUTF8 (preset)) << file;
    }
}

TEST_F (State, TakesAChunkWholeOrNotAtAll)
{
    VarnelReverbAudioProcessor fresh;
    const auto whole = chunkOf (fresh);
    const auto size = static_cast<int> (whole.getSize());
    juce::MemoryBlock chunk;
    int numTaken = 0;

    const auto expectWholeOrNothing = [&] (const juce::String& what)
    {
        const auto got = after (chunk).first;
        EXPECT_TRUE (got == unusual || got == defaults) << what;
        numTaken += got == defaults ? 1 : 0;
    };

    // Cut at every byte. Neither the zero at the end nor all of the last end tag is missed, and behind the root's name
    // alone there is a whole tree that lacks everything.
    constexpr auto notMissed = 13 + 1;
    for (int length = 0; length <= size; ++length)
    {
        chunk.replaceAll (whole.getData(), static_cast<size_t> (length));
        expectWholeOrNothing ("cut to " + juce::String (length));
    }
    EXPECT_EQ (numTaken, 2 + notMissed);

    // Every length field
    numTaken = 0;
    for (int length = -1; length < size + 10; ++length)
    {
        chunk = whole;
        chunk.copyFrom (&length, 4, sizeof (length));
        expectWholeOrNothing ("length " + juce::String (length));
    }
    EXPECT_EQ (numTaken, 19 + notMissed) << "the true length and all beyond";

    // Every byte spoilt in turn, tags that are none among them
    for (int i = 0; i < size && ! juceObjects; ++i)
        for (const int spoilt : { 0, 0x80, 0xff, 0x3c, 0x22 })
        {
            chunk = whole;
            chunk[static_cast<size_t> (i)] = static_cast<char> (spoilt);
            const auto got = after (chunk).first;
            for (size_t p = 0; p < 7; ++p)
                EXPECT_TRUE (got[p] >= parameterTable[p].start && got[p] <= parameterTable[p].end);
        }

    for (const auto* refused : { "<ReverbParam><PARAM id='ReverbSize' value='1'/></ReverbParam>", "<PARAM id='ReverbSize' value='1'/>", "ReverbParams", " " })
        EXPECT_EQ (after (chunkWith (refused)).first, unusual) << refused;
    EXPECT_EQ (after (chunkWith ("<REVERBparams><PARAM id='ReverbSize' value='1'/></REVERBparams>")).first[0], 1.0f);
    EXPECT_TRUE (textOf (chunkOf (processor)).contains ("<ReverbParams"));

    for (const auto& [data, length] : { std::pair<const char*, int> { nullptr, 0 }, { nullptr, 100 }, { "VC2!\1\0\0\0", 8 }, { "VC2!\1\0\0\0<", 9 }, { "VC2!", -5 } })
    {
        setUnusualValues (processor);
        processor.setStateInformation (data, length);
        EXPECT_EQ (values (processor), unusual);
    }
}

TEST_F (State, IsNotFooledByHostileXml)
{
    // So deep that a parser's recursion ends on the stack, and entities that grow without end or name a file
    juce::MemoryOutputStream deep;
    for (int i = 0; i < 1000000; ++i)
        deep << "<ReverbParams>";
    EXPECT_EQ (after (chunkWith (deep.toString())).first, unusual);
    EXPECT_EQ (after (chunkWith ("<ReverbParams>&" + deep.toString().substring (0, 200000) + ";</ReverbParams>")).first, unusual) << "within an entity's name";

    juce::String entities ("<!DOCTYPE ReverbParams [<!ENTITY a \"aaaaaaaaaaaaaaaa\">");
    for (char c = 'b'; c < 'k'; ++c)
        entities << "<!ENTITY " << juce::String::charToString (static_cast<juce::juce_wchar> (c)) << " \"" << juce::String ("&?;").replace ("?", juce::String::charToString (static_cast<juce::juce_wchar> (c - 1))).paddedRight (' ', 4) << "&a;&a;\">";
    EXPECT_EQ (after (chunkWith (entities + "]><ReverbParams presetName=\"&j;\"/>")).first, unusual);

    // What a parser would go round in for ever
    for (const auto* instruction : { "<ReverbParams>text<?x?>&amp;</ReverbParams>", "<ReverbParams><?x?>text</ReverbParams>", "<?xml version='1.0'?><ReverbParams><?xml?>text</ReverbParams>", "<ReverbParams><!-- --><?x?> a<", "<?x" })
        EXPECT_EQ (after (chunkWith (instruction)).first, unusual) << instruction;

    // Characters by their numbers, cut short or none: a parser reads on behind the text
    for (const auto* number : { "&#x", "&#x41", "&#", "&#;", "&#x;", "&#65", "&#x110000;", "&#xd800;", "&#0;", "&#4294967297;", "&#1a;" })
        EXPECT_EQ (after (chunkWith ("<ReverbParams><PARAM id='ReverbSize' value='1'/>" + juce::String (number))).first, unusual) << number;
    EXPECT_EQ (after (chunkWith ("<ReverbParams><PARAM id='ReverbSize' value='&#x34;&#50;'/></ReverbParams>")).first[0], 42.0f);

    // More than any tree of ours has: levels, parts, names
    juce::String names;
    for (int i = 0; i < 1001; ++i)
        names << "<a" << i << "/>";
    for (const auto& more : { juce::String::repeatedString ("<a>", 300) + juce::String::repeatedString ("</a>", 300), juce::String::repeatedString ("<a/>", 200001), names })
        EXPECT_EQ (after (chunkWith ("<ReverbParams>" + more + "</ReverbParams>")).first, unusual) << more.substring (0, 20);

    // What a parser can be given safely, it is given.
    const juce::String size ("<PARAM id='ReverbSize' value='42'/>");
    for (const auto& harmless : { juce::String ("<!-- <? &# & --><?x?><!DOCTYPE ReverbParams [<!ENTITY e 'never used'>]><ReverbParams>@</ReverbParams>"),
                                  juce::String ("\r\n <ReverbParams presetName='&#x2f;&lt;&#'><?x <?> @<?y?><!-- &#x -->@ &nobody; <![CDATA[<?x?>&#x]]></ReverbParams>"),
                                  "<ReverbParams>@" + juce::String::repeatedString ("<a b='c'/>", 20000) + juce::String::repeatedString (" ", 2 << 20) + "</ReverbParams>",
                                  "<ReverbParams>" + juce::String::repeatedString ("<a>", 200) + juce::String::repeatedString ("</a>", 200) + "@</ReverbParams" })
        EXPECT_EQ (after (chunkWith (harmless.replace ("@", size))).first[0], 42.0f) << harmless.substring (0, 100);

    // Children in any order and of any kind, text between them, values twice, and things that nobody knows
    const auto [got, text] = after (chunkWith ("<ReverbParams x='1'>text<PARAM id='Position' value='4'/><!-- -->"
                                               "<PARAM id='ReverbSize' value='7'/><Other id='ReverbMod' value='8'/><PARAM id='Unknown' value='1'/><PARAM/><PARAM id='ReverbSize' value='9'/></ReverbParams>"));
    EXPECT_EQ (got, (std::vector<float> { 9.0f, 8.0f, defaults[2], defaults[3], 4.0f, 1.0f, 1.0f })) << "what is missing takes its default";
    EXPECT_FALSE (text.contains ("Unknown") || text.contains ("text")) << text;

    // What a chunk lacks is complete in the next one.
    VarnelReverbAudioProcessor second;
    restore (second, chunkOf (processor));
    EXPECT_EQ (values (second), got);
}

TEST_F (State, ReadsNumbersAsJuceDoes)
{
    // What is not finite takes the default, and is not a number here; what is finite is held at the ends.
    const std::pair<const char*, float> numbers[] {
        { "nan", notANumber }, { "-inf", notANumber }, { "1e999", notANumber }, { "-1E99999999999", notANumber }, { "1E-4294967296", 0.0f }, { "0.0001e-9999", 0.0f }, { "", 0.0f }, { "x", 0.0f }, { "-", 0.0f }, { ".", 0.0f }, { "0x10", 0.0f }, { " +7", 7.0f }, { "\t7.e0x", 7.0f }, { "7,5", 7.0f }, { "1e300", 1e30f }, { "-1e300", -1e30f }, { "+-3", 0.0f }
    };
    for (const auto& [text, number] : numbers)
        for (size_t i = 0; i < 7; ++i)
        {
            auto expected = defaults;
            if (! std::isnan (number))
                expected[i] = processor.parameterState.getParameterRange (parameterTable[i].id).snapToLegalValue (number);
            EXPECT_EQ (after (chunkWith ("<ReverbParams><PARAM id='" + juce::String (parameterTable[i].id) + "' value='" + text + "'/></ReverbParams>")).first, expected) << parameterTable[i].id << " " << text;
        }

    EXPECT_EQ (after (chunkWith ("<ReverbParams><PARAM id='ReverbSize'/></ReverbParams>")).first, defaults);
    EXPECT_EQ (after (binaryRecord (true, { notANumber, infinity, -infinity, notANumber, 5.0f, notANumber, notANumber })).first, (std::vector<float> { 33.0f, 33.0f, 0.0f, -1.5f, 5.0f, 1.0f, 1.0f }));

    // From a preset's tree
    juce::ValueTree tree ("Anything");
    tree.appendChild ({ "PARAM", { { "id", "ReverbSize" }, { "value", static_cast<double> (notANumber) } } }, nullptr);
    tree.appendChild ({ "PARAM", { { "id", "ReverbMod" }, { "value", 1e300 } } }, nullptr);
    tree.appendChild ({ "PARAM", { { "id", "ReverbLo" }, { "value", -1e300 } } }, nullptr);
    setUnusualValues (processor);
    processor.setParameterState (tree);
    EXPECT_EQ (values (processor), (std::vector<float> { 33.0f, 100.0f, -12.0f, -1.5f, 33.0f, 1.0f, 1.0f })) << "finite values are held at the ends";
    EXPECT_TRUE (textOf (chunkOf (processor)).contains ("id=\"ReverbMod\" value=\"100.0\""));
}

TEST_F (State, KeepsAValueThatAHostGivesAsNoNumber)
{
    if (juceObjects)
        GTEST_SKIP() << "JUCE's assertions are on";

    setUnusualValues (processor);
    for (auto* parameter : processor.getParameters())
    {
        const auto before = parameter->getValue();
        parameter->setValueNotifyingHost (notANumber);
        EXPECT_EQ (parameter->getValue(), before);
    }
    EXPECT_EQ (values (processor), unusual);
    EXPECT_NEAR (processor.engine.spinDepth, 0.00012f, 1e-9f);

    VarnelReverbAudioProcessor fresh;
    for (auto* parameter : fresh.getParameters())
        parameter->setValueNotifyingHost (notANumber);
    EXPECT_EQ (values (fresh), defaults);

    for (auto* parameter : processor.getParameters())
        parameter->setValueNotifyingHost (infinity);
    EXPECT_EQ (values (processor), (std::vector<float> { 100.0f, 100.0f, 12.0f, 12.0f, 100.0f, 1.0f, 1.0f }));
}

TEST_F (State, ReadsTheOlderBinaryRecord)
{
    const std::vector<float> numbers { 58.0f, 20.0f, -4.0f, 3.0f, 64.0f, 1.0f, 0.0f };
    const auto expectNear = [] (const std::vector<float>& got, const std::vector<float>& expected, const juce::String& what)
    {
        for (size_t i = 0; i < 7; ++i)
            EXPECT_NEAR (got[i], expected[i], 1e-5f) << what << ", " << parameterTable[i].id;
    };

    const auto whole = binaryRecord (true, numbers);
    expectNear (after (whole).first, numbers, "whole");
    EXPECT_EQ (processor.currentPresetFile.getFullPathName(), "/Old Hall");
    EXPECT_EQ (processor.currentPresetName, "/Old Hall");
    EXPECT_EQ (processor.parameterState.state.getProperty ("presetName").toString(), "/Old Hall");

    // Cut at every byte: what is missing reads as zero.
    const auto firstValue = whole.getSize() - 28;
    for (size_t length = 4; length < whole.getSize(); ++length)
    {
        auto expected = numbers;
        for (size_t i = 0; i < 7; ++i)
            if (length < firstValue + 4 * (i + 1))
                expected[i] = 0.0f;
        expectNear (after ({ whole.getData(), length }).first, expected, "cut to " + juce::String (length));
    }

    // Without its header it is a preset's form, and no host's.
    const auto headerless = binaryRecord (false, numbers);
    EXPECT_EQ (after (headerless).first, unusual);

    const auto file = home.getChildFile ("Warm.qvz");
    for (const auto& content : { whole, headerless })
    {
        setUnusualValues (processor);
        file.replaceWithData (content.getData(), content.getSize());
        processor.currentPresetFile = file;
        processor.loadBinaryPreset (file);
        expectNear (values (processor), numbers, "from a file");
        EXPECT_NEAR (processor.engine.spinDepth, 0.0002f, 1e-9f);
        EXPECT_EQ (processor.currentPresetName, "/Old Hall");
        EXPECT_EQ (processor.parameterState.state.getProperty ("presetName").toString(), file.getFullPathName());
    }

    setUnusualValues (processor);
    processor.loadBinaryPreset (home.getChildFile ("none.qvz"));
    processor.loadBinaryPreset (home);
    EXPECT_EQ (values (processor), unusual);
    EXPECT_EQ (processor.currentPresetFile, file);

    // A name in Latin-1
    after (binaryRecord (true, numbers, "Gro\xdf"
                                        "e Allee \xc9"));
    EXPECT_EQ (processor.currentPresetName, juce::String::fromUTF8 ("/Große Allee É"));

    // A name that is no UTF-8 makes no chunk that is refused later.
    constexpr char noUtf8[] { '\xff', '\xc0', '\xf0', '\x9f', '\x1', '\0' };
    after (binaryRecord (true, numbers, noUtf8));
    VarnelReverbAudioProcessor second;
    restore (second, chunkOf (processor));
    expectNear (values (second), numbers, "restored");
}

TEST_F (State, KnowsWhichPresetItCameFrom)
{
    PresetManager manager (processor);
    CountingListener listener;
    manager.listeners.push_back (&listener);

    const auto presetAfter = [&] (const juce::String& attribute)
    {
        restore (processor, chunkWith ("<ReverbParams " + attribute + "><PARAM id='ReverbSize' value='1'/></ReverbParams>"));
        return processor.currentPresetFile.getFullPathName();
    };

    EXPECT_EQ (presetAfter ("presetName='/a/b#c/d.xml'"), "/a/bc/d.xml") << "less what no path may have";
    EXPECT_EQ (presetAfter ("presetName='~/d.xml'"), home.getChildFile ("d.xml").getFullPathName());
    EXPECT_EQ (presetAfter ("presetName='d.xml'"), "");
    const auto odd = home.getChildFile ("Vol #1, new.xml");
    odd.create();
    EXPECT_EQ (presetAfter ("presetName='" + odd.getFullPathName() + "'"), odd.getFullPathName()) << "unless that is not there, and this is";
    presetAfter ("presetName='/x.xml'");
    EXPECT_EQ (presetAfter (""), "");
    EXPECT_EQ (listener.numChanges, 6);
    restore (processor, binaryRecord (true, {}));
    EXPECT_EQ (listener.numChanges, 7);
    restore (processor, chunkWith ("<Other/>"));
    EXPECT_EQ (listener.numChanges, 7) << "what is refused tells nobody";

    // On another thread the parameters move at once; the current preset follows on the message thread.
    const auto file = processor.currentPresetFile;
    std::thread ([&]
                 { restore (processor, chunkWith ("<ReverbParams presetName='/there.xml'><PARAM id='ReverbSize' value='2'/></ReverbParams>")); })
        .join();
    EXPECT_EQ (get (processor, "ReverbSize"), 2.0f);
    EXPECT_EQ (processor.currentPresetFile, file);
    EXPECT_SOON (listener.numChanges == 8);
    EXPECT_EQ (processor.currentPresetFile.getFullPathName(), "/there.xml");

    // Unless another one has been loaded in the meantime
    std::thread ([&]
                 { restore (processor, chunkWith ("<ReverbParams presetName='/late.xml'/>")); })
        .join();
    manager.writePresetAs (home.getChildFile ("mine.xml"));
    deliverMessages (100);
    EXPECT_EQ (processor.currentPresetFile, home.getChildFile ("mine.xml"));
}

// The thread sanitizer judges.
TEST_F (State, MayBeRestoredWhileWindowsComeAndGo)
{
    std::atomic<bool> running { true };
    std::atomic<int> numRestored { 0 };
    const auto xml = chunkWith ("<ReverbParams presetName='/one.xml'><PARAM id='ReverbSize' value='2'/></ReverbParams>");
    const auto binary = binaryRecord (true, { 3.0f });

    std::thread host ([&]
                      {
        for (; running; ++numRestored)
        {
            restore (processor, numRestored % 2 == 0 ? xml : binary);
            chunkOf (processor);
        } });

    int numOpened = 0, numChanges = 0;
    deliverMessagesUntil ([&]
                          {
        PresetManager manager (processor);
        CountingListener first, second;
        manager.listeners = { &first, &second };
        deliverMessages (1);
        manager.writePresetAs (home.getChildFile ("saved.xml"));
        manager.loadCurrentPreset();
        numChanges += first.numChanges;
        return ++numOpened >= 200 && numRestored >= 200; },
                          60000);

    running = false;
    host.join();
    EXPECT_GE (numRestored, 200);
    EXPECT_GT (numChanges, 0);
    EXPECT_EQ (processor.presetManager, nullptr);
}
