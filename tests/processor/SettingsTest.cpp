// SPDX-License-Identifier: AGPL-3.0-only
// What outlives a session on a user's machine: the MIDI map, the default preset, the settings file itself.

#include "support/Plugin.h"

#include "processor/SafeXml.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>

using varnel::VarnelReverbAudioProcessor;

namespace
{

class Settings : public FreshHome
{
protected:
    /** What the file says under a key, or nothing where it has no such key. */
    std::optional<juce::String> stored (const juce::String& key) const
    {
        if (const auto xml = juce::parseXML (settingsFile))
            for (const auto* value : xml->getChildIterator())
                if (value->getStringAttribute ("name") == key)
                    return value->getStringAttribute ("val");

        return {};
    }

    void store (const juce::StringPairArray& entries) const
    {
        juce::XmlElement xml ("PROPERTIES");
        for (const auto& key : entries.getAllKeys())
        {
            auto* const value = xml.createNewChildElement ("VALUE");
            value->setAttribute ("name", key);
            value->setAttribute ("val", entries[key]);
        }
        settingsFile.create();
        ASSERT_TRUE (xml.writeTo (settingsFile));
    }

    juce::File preset (const juce::String& name, const juce::String& text) const
    {
        const auto file = home.getChildFile (name);
        file.replaceWithText (text);
        return file;
    }

    static std::vector<int> map (const VarnelReverbAudioProcessor& processor)
    {
        std::vector<int> numbers;
        for (size_t i = 0; i < processor.midiControllers.size(); ++i)
            numbers.push_back (processor.midiControllers[i]);
        return numbers;
    }

    static void learn (VarnelReverbAudioProcessor& processor, size_t index, int controller)
    {
        processor.midiControllers[index] = varnel::MidiControllerMap::learning;
        juce::AudioBuffer<float> none;
        juce::MidiBuffer midi;
        midi.addEvent (juce::MidiMessage::controllerEvent (1, controller, 64), 0);
        processor.processBlock (none, midi);
    }

    const std::vector<int> nothingBound = std::vector<int> (7, -1);
};

} // namespace

TEST_F (Settings, KeepTheControllerMapBetweenInstances)
{
    EXPECT_EQ (settingsFile.getFullPathName(), home.getChildFile (".config/Application Support/Ostry/Varnel Reverb/Varnel Reverb.settings").getFullPathName());

    // The first start of all notes itself, and writes an empty map when it ends.
    {
        VarnelReverbAudioProcessor first;
        EXPECT_EQ (first.settings.getUserSettings()->getIntValue ("initialized"), 1);
        EXPECT_TRUE (first.midiMapDirty);
        EXPECT_EQ (map (first), nothingBound);
    }
    EXPECT_EQ (stored ("initialized"), "1");
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ (stored (juce::String (i)), "-1") << i;

    {
        VarnelReverbAudioProcessor second;
        EXPECT_FALSE (second.midiMapDirty);
        learn (second, 0, 7);
        learn (second, 6, 127);
        second.midiControllers[3] = varnel::MidiControllerMap::learning; // and nothing comes
    }
    EXPECT_EQ (stored ("0"), "7");
    EXPECT_EQ (stored ("3"), "-1") << "learning ends with the instance";
    EXPECT_EQ (stored ("6"), "127");

    {
        VarnelReverbAudioProcessor third;
        EXPECT_EQ (map (third), (std::vector<int> { 7, -1, -1, -1, -1, -1, 127 }));
        third.midiControllers[0] = varnel::MidiControllerMap::notBound; // a detach alone is not kept
    }
    EXPECT_EQ (map (VarnelReverbAudioProcessor()), (std::vector<int> { 7, -1, -1, -1, -1, -1, 127 }));

    // Of two instances that learn, the one that ends last wins. One that learns nothing writes nothing.
    auto loser = std::make_unique<VarnelReverbAudioProcessor>();
    auto winner = std::make_unique<VarnelReverbAudioProcessor>();
    auto idle = std::make_unique<VarnelReverbAudioProcessor>();
    learn (*winner, 1, 20);
    learn (*loser, 2, 30);
    loser.reset();
    EXPECT_EQ (stored ("2"), "30");
    winner.reset();
    idle.reset();
    EXPECT_EQ (map (VarnelReverbAudioProcessor()), (std::vector<int> { 7, 20, -1, -1, -1, -1, 127 }));

    // A file without the note counts as a first start.
    store ([]
           { juce::StringPairArray entries; entries.set ("0", "5"); entries.set ("initialized", "0"); return entries; }());
    EXPECT_EQ (map (VarnelReverbAudioProcessor()), nothingBound);
    EXPECT_EQ (stored ("0"), "-1");
}

TEST_F (Settings, AreWrittenThreeSecondsAfterAChange)
{
    const auto start = juce::Time::getMillisecondCounterHiRes();
    VarnelReverbAudioProcessor processor;
    EXPECT_FALSE (settingsFile.exists());
    EXPECT_SOON (settingsFile.exists());
    EXPECT_GT (juce::Time::getMillisecondCounterHiRes() - start, 2000.0);
    EXPECT_EQ (stored ("initialized"), "1");
    EXPECT_FALSE (stored ("0").has_value()) << "the map follows at the end";
}

TEST_F (Settings, GiveDefaultsWhereTheFileIsNone)
{
    const auto expectDefaults = [this] (const juce::String& what)
    {
        VarnelReverbAudioProcessor processor;
        EXPECT_EQ (map (processor), nothingBound) << what;
        EXPECT_EQ (get (processor, "ReverbSize"), 33.0f) << what;
        EXPECT_EQ (processor.settings.getUserSettings()->getDoubleValue ("Scale"), 0.0) << what;
        EXPECT_EQ (varnel::getUserPresetFolder (processor.settings), home.getChildFile ("Documents/Ostry/Varnel Reverb/User Presets")) << what;
        EXPECT_TRUE (processor.defaultPresetFile.getFullPathName().endsWith ("/Application Support/Ostry/Varnel Reverb/Factory Presets/New Sound.xml"));
    };

    store ([]
           { juce::StringPairArray entries; entries.set ("0", "5"); entries.set ("initialized", "1"); return entries; }());
    juce::MemoryBlock whole;
    settingsFile.loadFileAsData (whole);

    // The last end tag is not missed.
    const auto text = settingsFile.loadFileAsString();
    for (size_t length = 0; length < static_cast<size_t> (text.indexOf ("</PROPERTIES>")); length += 7)
    {
        settingsFile.replaceWithData (whole.getData(), length);
        expectDefaults ("cut to " + juce::String (length));
        settingsFile.deleteFile();
    }

    for (const std::string content : { "no XML", "<OTHER/>", "PROP\xff\xff\xff\x7f", "CPRP\1\2\3", "\xff\xfe\xfd" })
    {
        settingsFile.replaceWithData (content.data(), content.size());
        expectDefaults (juce::String::toHexString (content.data(), static_cast<int> (content.size())));
    }

    // Where the file cannot be, nothing is written: a folder in its place, and a file in its folder's place.
    settingsFile.getParentDirectory().deleteRecursively();
    settingsFile.createDirectory();
    expectDefaults ("a folder");
    EXPECT_EQ (settingsFile.getParentDirectory().getNumberOfChildFiles (juce::File::findFilesAndDirectories), 1);

    const auto folder = home.getChildFile (".config");
    folder.deleteRecursively();
    folder.replaceWithText ("no folder");
    expectDefaults ("a file for a folder");
    EXPECT_EQ (home.getNumberOfChildFiles (juce::File::findFilesAndDirectories), 1);

    if (geteuid() != 0) // the superuser may write everywhere
    {
        folder.deleteFile();
        folder.createDirectory();
        folder.setReadOnly (true);
        expectDefaults ("a folder that may not be written");
        EXPECT_EQ (folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories), 0);
        folder.setReadOnly (false);
    }
}

TEST_F (Settings, SetAsideWhatOnlyAParserWouldRead)
{
    const auto entity = home.getChildFile ("entity.txt");
    entity.replaceWithText ("7");
    const auto named = "<!DOCTYPE a [<!ENTITY e SYSTEM \"" + entity.getFullPathName() + "\">]>";
    const juce::String begin ("<PROPERTIES><VALUE name='initialized' val='1'/><VALUE name='0' val='7'>"), end ("</VALUE></PROPERTIES>");

    const std::vector<juce::String> texts {
        begin + juce::String::repeatedString ("<a>", 200000) + juce::String::repeatedString ("</a>", 200000) + end,
        juce::String ("<?xml version='1.0'?>") + named + begin + "&e;" + end,
        begin + end + juce::String::repeatedString (" ", static_cast<int> (varnel::longestXml)),
        "PROP " + begin + end,
        "<?xml version='1.0'?><CUT"
    };

    for (int i = 0; i < static_cast<int> (texts.size()); ++i)
    {
        const auto& text = texts[static_cast<size_t> (i)];
        settingsFile.create();
        ASSERT_TRUE (settingsFile.replaceWithText (text));
        {
            VarnelReverbAudioProcessor processor;
            EXPECT_EQ (map (processor), nothingBound) << text.substring (0, 80);
            learn (processor, 2, 9);
        }
        const auto aside = settingsFile.getSiblingFile ("Varnel Reverb.settings.unreadable" + (i == 0 ? juce::String() : " " + juce::String (i + 1)));
        EXPECT_TRUE (aside.loadFileAsString() == text) << "the earlier ones are still there";
        EXPECT_EQ (stored ("2"), "9") << text.substring (0, 80);

        // Who may not write does not put aside either.
        settingsFile.replaceWithText (text);
        VarnelReverbAudioProcessor onlooker (VarnelReverbAudioProcessor::UserSettings::ignored);
        EXPECT_EQ (onlooker.settings.getUserSettings()->getAllProperties().size(), 0);
        EXPECT_EQ (settingsFile.loadFileAsString(), text);
    }

    // What JUCE reads without harm is read, however it is written.
    const auto seven = "<PROPERTIES>" + juce::String::repeatedString ("<VALUE name='more' val='1'/>", 300) + begin.fromFirstOccurrenceOf ("<VALUE", true, false) + end;
    for (const auto& [text, utf16] : { std::pair ("\n" + seven, false), { "<!DOCTYPE PROPERTIES>" + seven, false }, { "<!-- <? &# --><?x?>" + seven, false }, { begin + end, true }, { juce::String::charToString (0xfeff) + seven, false } })
    {
        settingsFile.deleteFile();
        juce::FileOutputStream (settingsFile).writeText (text, utf16, utf16, nullptr);
        VarnelReverbAudioProcessor processor;
        EXPECT_EQ (map (processor)[0], 7) << text.substring (0, 40);
    }
    EXPECT_EQ (settingsFile.getParentDirectory().getNumberOfChildFiles (juce::File::findFiles), static_cast<int> (texts.size()) + 1);

    // Nobody ever writes to this pipe.
    settingsFile.deleteFile();
    ASSERT_EQ (mkfifo (settingsFile.getFullPathName().toRawUTF8(), 0600), 0);
    {
        VarnelReverbAudioProcessor processor;
        EXPECT_EQ (map (processor), nothingBound);
    }
    EXPECT_TRUE (std::filesystem::is_fifo (settingsFile.getFullPathName().toStdString()));
}

TEST_F (Settings, AreNoneWithoutHome)
{
    const auto kept = home.getFullPathName();
    unsetenv ("HOME");
    {
        VarnelReverbAudioProcessor processor;
        EXPECT_EQ (map (processor), nothingBound);
        learn (processor, 0, 3);
        EXPECT_EQ (processor.settings.getUserSettings()->getFile().getParentDirectory().getFullPathName(), "/nonexistent/Application Support/Ostry/Varnel Reverb");
    }
    setenv ("HOME", kept.toRawUTF8(), 1);
    EXPECT_FALSE (juce::File ("/nonexistent").exists());
    juce::File ("/nonexistent").deleteRecursively(); // or every later run would fail
}

TEST_F (Settings, NameTheDefaultPreset)
{
    const auto text = juce::String ("<Any presetName=''><PARAM id='ReverbSize' value='81'/><PARAM id='Bypass' value='0'/></Any>");
    const auto file = preset ("mine.xml", text), odd = preset ("Vol #1, mine.xml", text);

    const auto startWith = [this] (const juce::String& path)
    {
        store ([&path]
               { juce::StringPairArray entries; entries.set ("initialized", "1"); entries.set ("defaultPreset", path); return entries; }());
        return std::make_unique<VarnelReverbAudioProcessor>();
    };

    for (const auto& [path, found] : { std::pair (file.getFullPathName(), file), { juce::String ("~/mine.xml"), file }, { odd.getFullPathName(), odd } })
    {
        const auto processor = startWith (path);
        EXPECT_EQ (processor->defaultPresetFile, found);
        EXPECT_EQ (processor->currentPresetFile, found);
        EXPECT_EQ (processor->currentPresetName, "");
        EXPECT_EQ (values (*processor), (std::vector<float> { 81.0f, 33.0f, 0.0f, -1.5f, 33.0f, 0.0f, 1.0f }));
        EXPECT_TRUE (processor->engine.bypassed);

        // Whatever its root was called, the next chunk is an ordinary one, and chunks are still taken.
        juce::MemoryBlock chunk = chunkOf (*processor);
        VarnelReverbAudioProcessor other (VarnelReverbAudioProcessor::UserSettings::ignored);
        restore (other, chunk);
        EXPECT_EQ (values (other), values (*processor));
        VarnelReverbAudioProcessor fresh (VarnelReverbAudioProcessor::UserSettings::ignored);
        restore (*processor, chunkOf (fresh));
        EXPECT_EQ (get (*processor, "ReverbSize"), 33.0f);
    }

    // The factory's own says where it is installed, so a session that has only been opened knows it too.
    const auto installed = varnel::getFactoryPresetFolder().getChildFile ("New Sound.xml");
    VarnelReverbAudioProcessor reopened (VarnelReverbAudioProcessor::UserSettings::ignored);
    restore (reopened, chunkOf (*startWith (juce::File (VARNEL_FACTORY_PRESETS).getChildFile ("New Sound.xml").getFullPathName())));
    EXPECT_EQ (reopened.currentPresetFile, installed);

    // No preset: no path, no file, no XML, a folder, a pipe that nobody writes to
    const auto pipe = home.getChildFile ("pipe.xml");
    ASSERT_EQ (std::system (("mkfifo '" + pipe.getFullPathName() + "'").toRawUTF8()), 0);

    for (const auto& path : { juce::String ("mine.xml"), home.getChildFile ("none.xml").getFullPathName(), preset ("text.xml", "no XML").getFullPathName(), home.getFullPathName(), pipe.getFullPathName() })
    {
        const auto processor = startWith (path);
        EXPECT_EQ (values (*processor), (std::vector<float> { 33.0f, 33.0f, 0.0f, -1.5f, 33.0f, 1.0f, 1.0f })) << path;
        EXPECT_EQ (processor->currentPresetFile, juce::File()) << path;
    }

    // An instance that ignores the user's settings reads none and leaves them alone.
    startWith (file.getFullPathName());
    const auto before = settingsFile.loadFileAsString();
    {
        VarnelReverbAudioProcessor aloof (VarnelReverbAudioProcessor::UserSettings::ignored);
        EXPECT_EQ (get (aloof, "ReverbSize"), 33.0f);
        EXPECT_EQ (aloof.currentPresetFile, juce::File());
        learn (aloof, 0, 9);
    }
    EXPECT_EQ (settingsFile.loadFileAsString(), before);
}
