// SPDX-License-Identifier: AGPL-3.0-only
// The program varnel-render, run as a person or a script would run it.

#include "processor/Settings.h"
#include "processor/VarnelReverbAudioProcessor.h"

#include <gtest/gtest.h>
#include <juce_audio_formats/juce_audio_formats.h>

#include <cmath>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

struct Result
{
    int status = -1;
    juce::String out, err;
};

class Render : public testing::Test
{
protected:
    Render() { folder.createDirectory(); }

    ~Render() override
    {
        folder.setReadOnly (false);
        folder.deleteRecursively();
    }

    juce::File file (const juce::String& name) const { return folder.getChildFile (name); }

    /** Runs the program with words of shell script as its arguments, in the test's folder. */
    Result render (const juce::String& arguments, const juce::String& before = {}) const
    {
        const auto out = juce::File::createTempFile ("out"), err = juce::File::createTempFile ("err");
        const auto command = "cd '" + folder.getFullPathName() + "' && " + before + " '" VARNEL_RENDER_PROGRAM "' " + arguments
                             + " >'" + out.getFullPathName() + "' 2>'" + err.getFullPathName() + "'";
        const auto status = std::system (command.toRawUTF8());
        Result result { WIFEXITED (status) ? WEXITSTATUS (status) : -1, out.loadFileAsString(), err.loadFileAsString() };
        out.deleteFile();
        err.deleteFile();

        // JUCE introduces itself in debug builds.
        if (result.err.startsWith ("JUCE v"))
            result.err = result.err.fromFirstOccurrenceOf ("\n", false, false);

        EXPECT_FALSE (result.err.contains ("JUCE Assertion") || result.err.contains ("Leaked objects")) << result.err;
        return result;
    }

    /** Expects one line on standard error that holds all the words, no output file and nothing left behind. */
    void expectRefusal (const Result& result, int status, std::initializer_list<const char*> words) const
    {
        EXPECT_EQ (result.status, status) << result.err;
        EXPECT_EQ (result.out, "");
        EXPECT_TRUE (status != 1 || juce::StringArray::fromLines (result.err.trimEnd()).size() == 1) << result.err;
        for (const auto* word : words)
            EXPECT_TRUE (result.err.contains (word)) << "\"" << word << "\" is not in: " << result.err;
        for (const auto& left : folder.findChildFiles (juce::File::findFilesAndDirectories, true, "*out*"))
            ADD_FAILURE() << "left behind: " << left.getFullPathName();
    }

    /** A recording of decaying sines and clicks, different in each channel. */
    static juce::AudioBuffer<float> audio (int numChannels, int numSamples)
    {
        juce::AudioBuffer<float> buffer (numChannels, numSamples);
        for (int channel = 0; channel < numChannels; ++channel)
            for (int i = 0; i < numSamples; ++i)
                buffer.setSample (channel, i, std::round (16000.0f * std::sin (static_cast<float> (i * (channel + 2)) * 0.02f) * std::exp (static_cast<float> (i % 5000) * -0.001f)) / 32768.0f);
        return buffer;
    }

    juce::File write (const juce::String& name, const juce::AudioBuffer<float>& buffer, double sampleRate = 44100.0, int bits = 16) const
    {
        juce::AudioFormatManager formats;
        formats.registerBasicFormats();
        const auto target = file (name);
        target.deleteFile();
        auto* const format = formats.findFormatForFileExtension (target.getFileExtension());
        const std::unique_ptr<juce::AudioFormatWriter> writer (format->createWriterFor (new juce::FileOutputStream (target), sampleRate, static_cast<unsigned int> (buffer.getNumChannels()), format->getPossibleBitDepths().contains (bits) ? bits : 32, {}, 0));
        EXPECT_TRUE (writer != nullptr && writer->writeFromAudioSampleBuffer (buffer, 0, buffer.getNumSamples())) << name;
        return target;
    }

    struct Audio
    {
        juce::AudioBuffer<float> buffer;
        double sampleRate = 0.0;
        unsigned int bits = 0;
        bool isFloat = false;
        juce::String format;
    };

    Audio read (const juce::String& name) const
    {
        juce::AudioFormatManager formats;
        formats.registerBasicFormats();
        const std::unique_ptr<juce::AudioFormatReader> reader (formats.createReaderFor (file (name)));
        EXPECT_NE (reader, nullptr) << name;
        if (reader == nullptr)
            return {};

        Audio result { juce::AudioBuffer<float> (static_cast<int> (reader->numChannels), static_cast<int> (reader->lengthInSamples)), reader->sampleRate, reader->bitsPerSample, reader->usesFloatingPointData, reader->getFormatName() };
        reader->read (&result.buffer, 0, result.buffer.getNumSamples(), 0, true, true);
        return result;
    }

    static void expectEqual (const juce::AudioBuffer<float>& a, const juce::AudioBuffer<float>& b)
    {
        ASSERT_EQ (a.getNumChannels(), b.getNumChannels());
        ASSERT_EQ (a.getNumSamples(), b.getNumSamples());
        for (int channel = 0; channel < a.getNumChannels(); ++channel)
            for (int i = 0; i < a.getNumSamples(); ++i)
                ASSERT_EQ (a.getSample (channel, i), b.getSample (channel, i)) << "channel " << channel << ", sample " << i;
    }

    const juce::File folder = juce::File::createTempFile ("varnel render");
};

/** What the plug-in itself makes of the audio. */
juce::AudioBuffer<float> processed (juce::AudioBuffer<float> buffer, int numInputs, double sampleRate, int blockSize)
{
    varnel::VarnelReverbAudioProcessor processor (varnel::VarnelReverbAudioProcessor::UserSettings::ignored);
    const auto channels = [] (int n)
    { return juce::AudioChannelSet::discreteChannels (n); };
    processor.setBusesLayout ({ { channels (numInputs) }, { channels (buffer.getNumChannels()) } });
    processor.prepareToPlay (sampleRate, blockSize);
    juce::MidiBuffer midi;

    for (int start = 0; start < buffer.getNumSamples(); start += blockSize)
    {
        juce::AudioBuffer<float> block (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), start, std::min (blockSize, buffer.getNumSamples() - start));
        processor.processBlock (block, midi);
    }

    return buffer;
}

} // namespace

TEST_F (Render, GivesWhatThePluginGives)
{
    const auto input = audio (2, 30000);
    write ("in.wav", input, 48000.0);
    const auto result = render ("in.wav out.wav --bits 32 --tail 0.25 --block 100");
    ASSERT_EQ (result.status, 0) << result.err;
    EXPECT_EQ (juce::StringArray::fromLines (result.out.trimEnd()).size(), 1);
    EXPECT_TRUE (result.out.startsWith ("out.wav: 0.88 s (0.25 s of it tail), peak in -6.2 dBFS")) << result.out;
    EXPECT_EQ (result.err, "");

    juce::AudioBuffer<float> padded (2, 42000);
    padded.clear();
    for (int channel = 0; channel < 2; ++channel)
        padded.copyFrom (channel, 0, input, channel, 0, 30000);

    const auto out = read ("out.wav");
    EXPECT_EQ (out.sampleRate, 48000.0);
    EXPECT_TRUE (out.isFloat);
    expectEqual (out.buffer, processed (padded, 2, 48000.0, 512));
}

TEST_F (Render, SpreadsMonoUnlessToldNotTo)
{
    write ("mono.wav", audio (1, 5000));
    ASSERT_EQ (render ("mono.wav wide.wav --tail 0 --bits 32").status, 0);
    ASSERT_EQ (render ("mono.wav narrow.wav --tail 0 --bits 32 --mono --quiet").status, 0);

    juce::AudioBuffer<float> spread (2, 5000);
    spread.clear();
    spread.copyFrom (0, 0, audio (1, 5000), 0, 0, 5000);
    expectEqual (read ("wide.wav").buffer, processed (spread, 1, 44100.0, 512));
    expectEqual (read ("narrow.wav").buffer, processed (audio (1, 5000), 1, 44100.0, 512));

    // Without the effect, both sides get the recording.
    ASSERT_EQ (render ("mono.wav dry.wav --tail 0 --set Effect=off").status, 0);
    const auto dry = read ("dry.wav").buffer;
    EXPECT_GT (dry.getMagnitude (1, 0, 5000), 0.4f);
    for (int i = 0; i < 5000; ++i)
        ASSERT_EQ (dry.getSample (0, i), dry.getSample (1, i));

    write ("stereo.wav", audio (2, 100));
    expectRefusal (render ("stereo.wav out.wav --mono"), 1, { "stereo.wav", "2 channels" });
}

TEST_F (Render, KeepsUntouchedSamplesToTheBitInEveryLosslessFormat)
{
    const auto input = audio (5, 3000);

    for (const auto* name : { "in.wav", "in.aiff", "in.flac" })
        for (const auto bits : { 16, 24 })
        {
            write (name, input, 44100.0, bits);
            const auto* const out = bits == 16 ? "same.flac" : "same.aiff";
            const auto result = render (juce::String (name) + " " + out + " --tail 0 --set Effect=off");
            ASSERT_EQ (result.status, 0) << result.err;
            const auto got = read (out);
            EXPECT_EQ (got.bits, static_cast<unsigned int> (bits));
            expectEqual (got.buffer, read (name).buffer);
        }

    // With the effect on, channels past the second still pass.
    write ("in.wav", input, 44100.0, 24);
    ASSERT_EQ (render ("in.wav wet.wav --tail 0.1").status, 0);
    const auto wet = read ("wet.wav").buffer;
    const auto dry = read ("in.wav").buffer;
    for (int channel = 2; channel < 5; ++channel)
        for (int i = 0; i < 3000; ++i)
            ASSERT_EQ (wet.getSample (channel, i), dry.getSample (channel, i));
    EXPECT_EQ (wet.getMagnitude (3, 3000, 4410), 0.0f);
}

TEST_F (Render, ReadsAndWritesOggVorbis)
{
    write ("in.ogg", audio (2, 20000));
    const auto result = render ("in.ogg lossy.ogg --tail 0 --set position=0");
    ASSERT_EQ (result.status, 0) << result.err;
    const auto out = read ("lossy.ogg");
    EXPECT_TRUE (out.format.startsWith ("Ogg"));
    EXPECT_EQ (out.buffer.getNumSamples(), 20000);
    EXPECT_NEAR (out.buffer.getRMSLevel (0, 0, 20000), audio (2, 20000).getRMSLevel (0, 0, 20000), 0.01f);
    expectRefusal (render ("in.ogg out.flac --bits 32"), 2, { "FLAC", "float" });
}

TEST_F (Render, EndsTheTailWhenItIsInaudible)
{
    write ("in.wav", audio (2, 1000));
    ASSERT_EQ (render ("in.wav auto.wav --bits 32 --block 100").status, 0);
    ASSERT_EQ (render ("in.wav other.wav --bits 32 --block 4096").status, 0);
    const auto out = read ("auto.wav").buffer;
    expectEqual (out, read ("other.wav").buffer);

    const auto limit = std::pow (10.0f, -96.0f / 20.0f);
    const auto length = out.getNumSamples();
    EXPECT_LT (out.getMagnitude (length - 44100, 44100), limit);
    EXPECT_GE (out.getMagnitude (length - 44101, 1), limit) << "one sample earlier was audible";

    const auto endless = render ("in.wav long.wav --set Size=100");
    EXPECT_EQ (read ("long.wav").buffer.getNumSamples(), 1000 + 60 * 44100);
    EXPECT_TRUE (endless.err.contains ("still audible after 60 s")) << endless.err;
}

TEST_F (Render, WritesTheImpulseResponse)
{
    const auto result = render ("--impulse 0.5 --rate 96000 ir.wav");
    ASSERT_EQ (result.status, 0) << result.err;
    const auto response = read ("ir.wav");
    EXPECT_EQ (response.sampleRate, 96000.0);
    EXPECT_TRUE (response.isFloat);

    juce::AudioBuffer<float> impulse (2, 48000);
    impulse.clear();
    impulse.setSample (0, 0, 1.0f);
    impulse.setSample (1, 0, 1.0f);
    expectEqual (response.buffer, processed (impulse, 2, 96000.0, 512));

    expectRefusal (render ("--impulse 1 in.wav out.wav"), 2, { "output file only" });
    expectRefusal (render ("--impulse 1 --rate 800000 out.wav"), 2, { "--rate" });
    expectRefusal (render ("--impulse 1 --tail 2 out.wav"), 2, { "--tail" });
    expectRefusal (render ("--rate 48000 in.wav out.wav"), 2, { "--impulse" });
}

TEST_F (Render, SetsParametersByIdOrName)
{
    write ("in.wav", audio (2, 3000));
    ASSERT_EQ (render ("in.wav a.wav --tail 0 --set ReverbSize=70 --set ReverbInsertMode=0 --set ReverbLo=-3").status, 0);
    ASSERT_EQ (render ("in.wav b.wav --tail 0 --set lo=-3 --set 'insert mode'=OFF --set Size=5 --set sIZE=70").status, 0);
    expectEqual (read ("a.wav").buffer, read ("b.wav").buffer);

    // The default of Hi lies between two steps; setting it again changes nothing.
    ASSERT_EQ (render ("in.wav c.wav --tail 0").status, 0);
    ASSERT_EQ (render ("in.wav d.wav --tail 0 --set Hi=-1.5").err, "");
    expectEqual (read ("c.wav").buffer, read ("d.wav").buffer);
    EXPECT_TRUE (render ("in.wav e.wav --tail 0 --set Hi=-1.3").err.contains ("became")) << "a value between two steps is reported";

    expectRefusal (render ("in.wav out.wav --set Siize=3"), 2, { "Siize", "ReverbSize", "Insert Mode" });
    expectRefusal (render ("in.wav out.wav --set Size=101"), 2, { "ReverbSize", "0 to 100" });
    expectRefusal (render ("in.wav out.wav --set Size=nan"), 2, { "a number" });
    expectRefusal (render ("in.wav out.wav --set Size"), 2, { "a number" });
    EXPECT_TRUE (render ("--list-parameters").out.contains ("ReverbInsertMode"));
}

TEST_F (Render, StartsFromStatesAndPresetsAndWritesThem)
{
    write ("in.wav", audio (2, 3000));
    ASSERT_EQ (render ("in.wav a.wav --tail 0 --set Size=71 --set Lo=-3.4 --set 'Insert Mode=off' --save-state s.chunk --save-preset 'My Room.xml'").status, 0);

    for (const auto* start : { "--state s.chunk", "--preset 'My Room.xml'" })
    {
        const auto result = render (juce::String ("in.wav b.wav --tail 0 ") + start);
        ASSERT_EQ (result.status, 0) << result.err;
        expectEqual (read ("a.wav").buffer, read ("b.wav").buffer);
    }

    // Without audio they are converted; --set comes last.
    ASSERT_EQ (render ("--state s.chunk --save-preset again.xml").status, 0);
    EXPECT_EQ (file ("again.xml").loadFileAsString(), file ("My Room.xml").loadFileAsString());
    ASSERT_EQ (render ("--preset again.xml --set Size=5 --save-preset again.xml").status, 0);
    EXPECT_TRUE (file ("again.xml").loadFileAsString().contains ("id=\"ReverbSize\" value=\"5.0\""));

    // A binary record of either kind is a preset, the one with its header a state too.
    juce::MemoryOutputStream record;
    record << "Ostr";
    record.writeInt (1);
    record.writeString ("");
    record.writeString ("Old");
    record.writeInt (0);
    for (const auto value : { 5.0f, 33.0f, 0.0f, -1.6f, 33.0f, 1.0f, 1.0f })
        record.writeFloat (value);
    file ("old.qvz").replaceWithData (record.getData(), record.getDataSize());
    file ("older.qvz").replaceWithData (static_cast<const char*> (record.getData()) + 8, record.getDataSize() - 8);
    for (const auto* start : { "--state old.qvz", "--preset old.qvz", "--preset older.qvz" })
    {
        ASSERT_EQ (render (juce::String (start) + " --save-preset from.xml").status, 0) << start;
        EXPECT_TRUE (file ("from.xml").loadFileAsString().contains ("id=\"ReverbSize\" value=\"5.0\"")) << start;
    }

    expectRefusal (render ("in.wav out.wav --state none.chunk"), 1, { "none.chunk", "no such file" });
    expectRefusal (render ("in.wav out.wav --state older.qvz"), 1, { "older.qvz", "neither \"VC2!\" nor \"Ostr\"" });
    file ("cut.chunk").replaceWithData ("VC2!\x10\0\0\0Reverb", 14);
    expectRefusal (render ("in.wav out.wav --state cut.chunk"), 1, { "cut.chunk", "cannot be parsed" });
    file ("short.chunk").replaceWithText ("VC");
    expectRefusal (render ("in.wav out.wav --state short.chunk"), 1, { "short.chunk", "too short" });
    file ("other.chunk").replaceWithData ("VC2!\x8\0\0\0<Other/>", 17);
    expectRefusal (render ("in.wav out.wav --state other.chunk"), 1, { "other.chunk", "root \"Other\"" });
    expectRefusal (render ("in.wav out.wav --state pipe", "mkfifo pipe &&"), 1, { "pipe", "not a regular file" });
    file ("other.xml").replaceWithText ("<Other/>");
    expectRefusal (render ("in.wav out.wav --preset other.xml"), 1, { "other.xml", "no \"presetName\"" });
    file ("text.xml").replaceWithText ("Nothing");
    expectRefusal (render ("in.wav out.wav --preset text.xml"), 1, { "text.xml", "is no preset" });
    file ("entity.xml").replaceWithText ("<!DOCTYPE a [<!ENTITY e '7'>]><a presetName='&e;'/>");
    expectRefusal (render ("in.wav out.wav --preset entity.xml"), 1, { "entity.xml", "holds XML that uses an entity of its document type" });
    expectRefusal (render ("in.wav out.wav --preset old.qvz --state old.qvz"), 2, { "--preset", "--state" });
    expectRefusal (render ("--save-state nowhere/out"), 1, { "nowhere/out", "folder does not exist" });
    expectRefusal (render ("--save-preset ."), 1, { "is a folder" });

    const auto before = file ("in.wav").loadFileAsString();
    EXPECT_EQ (render ("in.wav b.wav --save-state in.wav").status, 1);
    EXPECT_EQ (file ("in.wav").loadFileAsString(), before);
}

TEST_F (Render, FindsPresetsByName)
{
    const auto home = juce::File::getSpecialLocation (juce::File::userHomeDirectory);
    const auto user = home.getChildFile ("Documents/Ostry/Varnel Reverb/User Presets");
    const auto save = [&] (const juce::String& path, int size)
    {
        user.getChildFile (path).create();
        user.getChildFile (path).replaceWithText ("<ReverbParams presetName=''><PARAM id='ReverbSize' value='" + juce::String (size) + "'/></ReverbParams>");
    };
    save ("Mine.xml", 1);
    save ("A/Twice.xml", 2);
    save ("B/Twice.xml", 3);
    save ("B/twice.xml", 4);
    save ("Deep/Er/Down.xml", 5);
    save ("B/New Sound.xml", 6);
    save ("Down.xml", 7);
    save ("Down.qvz", 8);
    save ("Choirs/Old Chapel.xml", 9);

    const auto sizeOf = [this] (const juce::String& name)
    {
        const auto result = render ("--preset '" + name + "' --save-preset found.xml");
        EXPECT_EQ (result.status, 0) << result.err;
        const auto xml = juce::parseXML (file ("found.xml"));
        return xml != nullptr ? xml->getChildByAttribute ("id", "ReverbSize")->getIntAttribute ("value") : -1;
    };

    EXPECT_EQ (sizeOf ("Mine"), 1);
    EXPECT_EQ (sizeOf ("mine"), 1);
    EXPECT_EQ (sizeOf ("A/Twice"), 2);
    EXPECT_EQ (sizeOf ("B/twice"), 4) << "letter case decides where it can";
    EXPECT_EQ (sizeOf ("twice"), 4);
    EXPECT_EQ (sizeOf ("Er/Down"), 5);
    EXPECT_EQ (sizeOf ("Deep/Er/Down"), 5);
    EXPECT_EQ (sizeOf (user.getChildFile ("B/Twice.xml").getFullPathName()), 3);
    EXPECT_EQ (sizeOf ("new sound"), 6) << "the user's presets come first";

    expectRefusal (render ("--preset Twice --save-preset out.xml"), 1, { "\"Twice\"", "several", "\"A/Twice\"", "\"B/Twice\"" });
    expectRefusal (render ("--preset Mime --save-preset out.xml"), 1, { "\"Mime\"", "no such file or preset", "near it", "\"Mine\"" });
    expectRefusal (render ("--preset Xyzzy --save-preset out.xml"), 1, { "\"Xyzzy\"", "--list-presets" });
    expectRefusal (render ("--preset '' --save-preset out.xml"), 1, { "no such file or preset" });

    // The list has the flat order: the user's nine, then the factory's, which a build tree brings. Every name in it is
    // taken, and names the preset of its line.
    const auto list = render ("--list-presets").out;
    const auto lines = juce::StringArray::fromLines (list.trimEnd());
    EXPECT_EQ (lines[0], user.getFullPathName());
    const char* const names[] { "Down.qvz", "Down.xml", "Mine", "A/Twice", "B/New Sound", "B/Twice", "B/twice", "Choirs/Old Chapel", "Deep/Er/Down" };
    const int sizes[] { 8, 7, 1, 2, 6, 3, 4, 9, 5 };
    for (int i = 0; i < 9; ++i)
    {
        EXPECT_EQ (lines[i + 1], juce::String (i).paddedLeft (' ', 6) + "  " + names[i]);
        EXPECT_EQ (sizeOf (names[i]), sizes[i]);
    }
    EXPECT_TRUE (list.contains ("\n     9  New Sound\n    10  Ambience/")) << list;
    EXPECT_EQ (sizeOf ("New Sound"), 40);
    EXPECT_GE (lines.size(), 2 + 9 + 61);
    home.getChildFile ("Documents").deleteRecursively();
}

TEST_F (Render, KeepsOutOfTheUsersSettings)
{
    write ("in.wav", audio (2, 3000));
    ASSERT_EQ (render ("in.wav plain.wav --tail 0").status, 0);
    const auto home = juce::File::getSpecialLocation (juce::File::userHomeDirectory);
    for (const auto& left : home.findChildFiles (juce::File::findFiles, true))
        ADD_FAILURE() << left.getFullPathName();

    const auto settings = varnel::settingsStorage (true).getDefaultFile();
    ASSERT_EQ (render ("--set Size=90 --save-preset default.xml").status, 0);
    settings.create();
    settings.replaceWithText ("<PROPERTIES><VALUE name=\"initialized\" val=\"1\"/><VALUE name=\"defaultPreset\" val=\"" + file ("default.xml").getFullPathName() + "\"/></PROPERTIES>");
    const auto before = settings.loadFileAsString();
    ASSERT_EQ (render ("in.wav same.wav --tail 0").status, 0);
    expectEqual (read ("plain.wav").buffer, read ("same.wav").buffer);
    EXPECT_EQ (settings.loadFileAsString(), before);
    home.getChildFile (".config").deleteRecursively();
}

TEST_F (Render, AnswersQuestionsAndRefusesWrongUsage)
{
    EXPECT_TRUE (render ("--help").out.contains ("--impulse SECONDS"));
    EXPECT_EQ (render ("--version").out.trim(), "varnel-render " VARNEL_VERSION);

    for (const auto* wrong : { "", "in.wav", "in.wav out.wav more", "--nonsense in.wav out.wav", "in.wav out.wav --block 0", "in.wav out.wav --bits 12", "in.wav out.wav --tail -1", "in.wav out.wav --tail forever" })
        expectRefusal (render (wrong), 2, { "varnel-render: ", "--help" });

    write ("in.wav", audio (2, 100));
    expectRefusal (render ("in.wav out.mp4"), 2, { "out.mp4", ".flac" });
}

TEST_F (Render, RefusesBadInputInOneLine)
{
    expectRefusal (render ("missing.wav out.wav"), 1, { "missing.wav", "no such file" });
    expectRefusal (render (". out.wav"), 1, { "is a folder" });

    file ("empty.wav").create();
    expectRefusal (render ("empty.wav out.wav"), 1, { "empty.wav", "is empty" });

    expectRefusal (render ("pipe.wav out.wav", "mkfifo pipe.wav &&"), 1, { "pipe.wav", "not a regular file" });
    expectRefusal (render ("/dev/zero out.wav"), 1, { "/dev/zero", "not a regular file" });

    file ("text.wav").replaceWithText ("This is no audio, whatever its name says.");
    expectRefusal (render ("text.wav out.wav"), 1, { "text.wav", "no audio file" });

    write ("none.wav", audio (2, 0));
    expectRefusal (render ("none.wav out.wav"), 1, { "none.wav", "no audio" });

    for (const auto rate : { 0.0, 800000.0 })
    {
        write ("rate.wav", audio (1, 10), rate);
        expectRefusal (render ("rate.wav out.wav"), 1, { "rate.wav" });
    }

    // More in a frame than JUCE's reader has room for
    write ("wide.aiff", audio (200, 10));
    juce::MemoryBlock wide;
    file ("wide.aiff").loadFileAsData (wide);
    auto* const numChannels = static_cast<char*> (wide.getData()) + 20;
    ASSERT_EQ (static_cast<unsigned char> (numChannels[1]), 200);
    numChannels[0] = 40;
    file ("wide.aiff").replaceWithData (wide.getData(), wide.getSize());
    expectRefusal (render ("wide.aiff out.wav"), 1, { "wide.aiff", "channels" });

    // Cut short by a little, by half, and inside the header.
    for (const auto* name : { "cut.wav", "cut.aiff", "cut.flac", "cut.ogg" })
    {
        juce::MemoryBlock whole;
        write (name, audio (2, 60000)).loadFileAsData (whole);
        ASSERT_EQ (render (juce::String (name) + " whole.wav --tail 0").status, 0) << name << " is fine before it is cut";

        for (const auto length : { whole.getSize() - 100, whole.getSize() / 2, size_t { 20 } })
        {
            file (name).replaceWithData (whole.getData(), length);
            expectRefusal (render (juce::String (name) + " out.wav"), 1, { name });
        }
    }

    if (geteuid() != 0) // the superuser may read everything
    {
        write ("secret.wav", audio (1, 10)).setReadOnly (true);
        expectRefusal (render ("secret.wav out.wav", "chmod 0 secret.wav &&"), 1, { "secret.wav", "ermission" });
    }
}

TEST_F (Render, LeavesTheTargetAloneUnlessAllIsWell)
{
    write ("in.wav", audio (2, 60000));
    juce::MemoryBlock original, after;
    file ("in.wav").loadFileAsData (original);

    expectRefusal (render ("in.wav in.wav"), 1, { "in.wav", "never overwritten" });
    expectRefusal (render ("in.wav link.wav", "ln in.wav link.wav &&"), 1, { "never overwritten" });
    file ("in.wav").loadFileAsData (after);
    EXPECT_EQ (after, original);

    expectRefusal (render ("in.wav nowhere/out.wav"), 1, { "nowhere", "folder does not exist" });
    file ("folder.wav").createDirectory();
    expectRefusal (render ("in.wav folder.wav"), 1, { "folder.wav", "is a folder" });

    // A disk that fills up, in the shape of a limit to the size of files: 64 blocks of 512 bytes.
    for (const auto* name : { "full.wav", "full.aiff", "full.flac", "full.ogg" })
    {
        file (name).replaceWithText ("old");
        expectRefusal (render (juce::String ("--tail 30 --set Size=80 in.wav ") + name, "ulimit -f 64 &&"), 1, { name, "cannot be written: File too large" });
        EXPECT_EQ (file (name).loadFileAsString(), "old");
    }
    EXPECT_EQ (folder.findChildFiles (juce::File::findFiles, false, "*temp*").size(), 0);

    // Stopped half way
    const auto stopped = render ("--tail 86400 in.wav stopped.wav", "timeout --preserve-status -s TERM 0.3");
    EXPECT_EQ (stopped.status, 130);
    EXPECT_FALSE (file ("stopped.wav").exists());
    EXPECT_EQ (folder.findChildFiles (juce::File::findFiles, false, "*stopped*").size(), 0);

    if (geteuid() != 0)
        expectRefusal (render ("in.wav closed/out.wav", "mkdir -m 555 closed &&"), 1, { "closed", "cannot be written" });
}

TEST_F (Render, SaysWhatAnIntegerFileCannotHold)
{
    auto loud = audio (2, 2000);
    loud.applyGain (8.0f);
    write ("loud.wav", loud, 44100.0, 32);
    EXPECT_TRUE (render ("loud.wav held.wav --bits 16 --tail 0").err.contains ("clipped"));
    EXPECT_EQ (render ("loud.wav kept.wav --tail 0").err, "");
    EXPECT_GT (read ("kept.wav").buffer.getMagnitude (0, 2000), 2.0f);
}
