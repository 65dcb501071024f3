// SPDX-License-Identifier: AGPL-3.0-only
// Presets on disk: reading, order, stepping, saving, folders as people have them, and the factory's bank.

#include "support/Plugin.h"

#include "presets/PresetManager.h"
#include "processor/Files.h"
#include "processor/PresetFile.h"
#include "processor/Text.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sys/resource.h>

using varnel::parameterTable;
using varnel::PresetManager;
using varnel::VarnelReverbAudioProcessor;

namespace
{

struct Listener : PresetManager::Listener
{
    void presetListChanged() override { ++lists; }
    void currentPresetChanged() override { ++currents; }
    int lists = 0, currents = 0;
};

/** A manager whose factory folder lies in the test's home, too. */
class Presets : public FreshHome
{
protected:
    juce::File user (const juce::String& path) const { return varnel::childOf (userFolder, path); }
    juce::File factory (const juce::String& path) const { return factoryFolder.getChildFile (path); }

    /** Writes an XML preset of a given Size. */
    static juce::File preset (const juce::File& file, int size = 50)
    {
        file.create();
        file.replaceWithText ("<ReverbParams presetName=''><PARAM id='ReverbSize' value='" + juce::String (size) + "'/></ReverbParams>");
        return file;
    }

    static juce::File record (const juce::File& file, bool header, float size)
    {
        const auto data = binaryRecord (header, { size, 1.0f, 2.0f, 3.0f, 4.0f, 1.0f, 1.0f });
        file.create();
        file.replaceWithData (data.getData(), data.getSize());
        return file;
    }

    void start()
    {
        manager = std::make_unique<PresetManager> (processor);
        manager->factoryRoot.folder = factoryFolder;
        manager->rescan();
        manager->listeners.push_back (&listener);
    }

    /** Every preset in flat order, as the path below its root. */
    std::vector<std::string> flatOrder() const
    {
        std::vector<std::string> paths;
        for (int i = 0; manager->presetAt (i) != juce::File(); ++i)
            paths.push_back (pathOf (manager->presetAt (i)));
        return paths;
    }

    std::string pathOf (const juce::File& file) const
    {
        return file.getRelativePathFrom (file.isAChildOf (userFolder) ? userFolder : factoryFolder).toStdString();
    }

    std::string current() const { return pathOf (processor.currentPresetFile); }

    /** @returns the Size that a file brings */
    float load (const juce::File& file)
    {
        set (processor, "ReverbSize", 99.0f);
        manager->setCurrentPreset (file);
        manager->loadCurrentPreset();
        return get (processor, "ReverbSize");
    }

    const juce::File userFolder = home.getChildFile ("Documents/Ostry/Varnel Reverb/User Presets"), factoryFolder = home.getChildFile ("factory");
    VarnelReverbAudioProcessor processor;
    Listener listener;
    std::unique_ptr<PresetManager> manager;
};

} // namespace

TEST_F (Presets, AreReadByWhatTheyHold)
{
    start();
    EXPECT_EQ (load (preset (user ("a.xml"), 10)), 10.0f);
    EXPECT_EQ (processor.parameterState.state.getProperty ("presetName").toString(), user ("a.xml").getFullPathName());
    EXPECT_EQ (load (record (user ("b.qvz"), true, 20.0f)), 20.0f);
    EXPECT_EQ (load (record (user ("c.qvz"), false, 30.0f)), 30.0f);
    EXPECT_EQ (processor.currentPresetName, "/Old Hall");
    EXPECT_EQ (processor.parameterState.state.getProperty ("presetName").toString(), user ("c.qvz").getFullPathName());
    EXPECT_EQ (load (preset (user ("xml in.qvz"), 40)), 40.0f);
    EXPECT_EQ (load (record (user ("record in.xml"), true, 50.0f)), 50.0f);

    // Any root will do, a mark of byte order too; what is missing takes its default.
    set (processor, "ReverbMod", 7.0f);
    user ("root.xml").replaceWithText (juce::String::fromUTF8 ("\xef\xbb\xbf<Whatever presetName='/elsewhere'><PARAM id='ReverbSize' value='5'/></Whatever>"));
    EXPECT_EQ (load (user ("root.xml")), 5.0f);
    EXPECT_EQ (get (processor, "ReverbMod"), 33.0f);
    EXPECT_TRUE (processor.parameterState.state.hasType ("ReverbParams"));

    // Whatever can be parsed safely is a preset, in any encoding; what cannot changes nothing.
    const juce::String five ("<a presetName=''><PARAM id='ReverbSize' value='5'/>");
    for (const auto bigEndian : { false, true })
    {
        juce::MemoryOutputStream text;
        for (const auto unit : juce::String::charToString (0xfeff) + five + "<!-- <? &# --></a>")
            bigEndian ? text.writeShortBigEndian (static_cast<short> (unit)) : text.writeShort (static_cast<short> (unit));
        user ("wide.xml").replaceWithData (text.getData(), text.getDataSize());
        EXPECT_EQ (load (user ("wide.xml")), 5.0f) << (bigEndian ? "big" : "little") << " end first";
    }
    constexpr unsigned char halves[] { 0xff, 0xfe, 0, 0xdc, 0, 0xdc, 'a', 0 };
    EXPECT_EQ (varnel::textOfFile ({ halves, sizeof (halves) }), juce::String::fromUTF8 ("\xef\xbf\xbd\xef\xbf\xbd"
                                                                                         "a"))
        << "halves of pairs are no characters";
    for (const auto& kept : { "<!DOCTYPE a [<!ENTITY e '5'>]>" + five + "&e;</a>", five + "<?x?>text</a>", five + juce::String::repeatedString ("<b>", 100000), five + "&#x", five + juce::String::repeatedString (" ", 20 << 20) })
    {
        user ("kept.xml").replaceWithText (kept);
        EXPECT_EQ (load (user ("kept.xml")), 99.0f) << kept.substring (0, 80);
    }

    // What is not there changes nothing but the current preset.
    EXPECT_EQ (load (user ("none.xml")), 99.0f);
    EXPECT_EQ (processor.currentPresetFile, user ("none.xml"));

    // Neither form: read as a record that lacks all its values.
    user ("text.xml").replaceWithText ("Nothing");
    EXPECT_EQ (load (user ("text.xml")), 0.0f);
    EXPECT_EQ (get (processor, "Bypass"), 0.0f);
    user ("nameless.xml").replaceWithText ("<ReverbParams><PARAM id='ReverbSize' value='5'/></ReverbParams>");
    EXPECT_EQ (load (user ("nameless.xml")), 0.0f);
    user ("empty.qvz").create();
    EXPECT_EQ (load (user ("empty.qvz")), 0.0f);
}

TEST_F (Presets, StandInOneFlatOrder)
{
    for (const auto* path : { "~soft.xml", "~/t.xml", "~root/r.xml", "b.xml", "B.xml", "a.b.xml", "a.qvz", "Zoo/z.xml", "Zoo/Deep/er/d.xml", "zoo/x.xml", "Pads.old/p.xml", "shout.XML" })
        preset (user (path));
    user ("Empty/Inside").createDirectory();
    user ("readme.txt").replaceWithText ("no preset");
    user ("folder.xml").createDirectory();
    for (const auto* path : { "New Sound.xml", "Halls/Big.xml", "Halls/.hidden.xml", ".Secret/s.xml" })
        preset (factory (path));
    start();

    const std::vector<std::string> expected { "B.xml", "a.qvz", "a.b.xml", "b.xml", "shout.XML", "~soft.xml", "Pads.old/p.xml", "Zoo/z.xml", "Zoo/Deep/er/d.xml", "zoo/x.xml", "~/t.xml", "~root/r.xml", "New Sound.xml", ".Secret/s.xml", "Halls/.hidden.xml", "Halls/Big.xml" };
    EXPECT_EQ (flatOrder(), expected);
    EXPECT_EQ (PresetManager::countPresets (manager->userRoot), 12);
    EXPECT_EQ (PresetManager::countPresets (manager->factoryRoot), 4);
    EXPECT_EQ (manager->userRoot.subfolders.size(), 7u) << "a folder without presets stays";

    EXPECT_EQ (load (manager->presetAt (5)), 50.0f) << "a name that begins with ~";
    for (int i = 0; i < 16; ++i)
    {
        manager->setCurrentPreset (manager->presetAt (i));
        EXPECT_EQ (manager->indexOfCurrentPreset(), i) << expected[static_cast<size_t> (i)];
    }
    for (const auto outside : { -1, 16, 1000000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min() })
        EXPECT_EQ (manager->presetAt (outside), juce::File()) << outside;
    manager->setCurrentPreset (user ("gone.xml"));
    EXPECT_EQ (manager->indexOfCurrentPreset(), -1);
    EXPECT_EQ (PresetManager::findPreset (manager->factoryRoot, factory ("Halls/Big.xml")), 3);

    // A preset that is deleted stays in the tree until the next scan.
    user ("b.xml").deleteFile();
    EXPECT_EQ (load (user ("b.xml")), 99.0f);
    EXPECT_EQ (manager->indexOfCurrentPreset(), 3);
    manager->rescan();
    EXPECT_EQ (manager->indexOfCurrentPreset(), -1);
}

// Whatever is done in whatever order, from no preset on, is what a small model of disk, tree and processor foretells.
TEST_F (Presets, AreWhereAModelSaysAfterAnyWalk)
{
    // In a folder files come first, then what lies in its folders: such keys sort a tree into its flat order.
    const auto keyOf = [] (const juce::String& path)
    {
        std::string key;
        const auto parts = juce::StringArray::fromTokens (path, "/", "");
        for (int i = 0; i < parts.size(); ++i)
            key.append (i < parts.size() - 1 ? "1" : "0").append (parts[i].upToLastOccurrenceOf (".", false, true).toStdString()).append (1, '\x01').append (parts[i].toStdString());
        return key;
    };
    struct Stored
    {
        juce::File file;
        float size;
    };
    struct Session
    {
        juce::MemoryBlock chunk;
        float size;
        juce::String name;
    };
    const juce::File roots[] { userFolder, home.getChildFile ("other"), factoryFolder };
    const char* const paths[] { "a.xml", "a.qvz", "B.xml", "b.xml", "c.d.xml", "Zoo/a.xml", "Zoo/Deep/x.xml", "zoo/y.xml", "Zoo/Deep/er/z.xml" };
    std::map<std::string, Stored> disk[3];
    std::vector<juce::File> flat;
    Session kept { {}, 0.0f, {} };
    juce::File now;
    juce::String name;
    auto user = 0, lists = 0, currents = 0;
    auto size = get (processor, "ReverbSize");
    juce::Random random (1);
    const auto pick = [&random] (auto number)
    { return random.nextInt (static_cast<int> (number)); };

    const auto stored = [&] (const juce::File& file) -> Stored*
    {
        for (auto& root : disk)
            for (auto& [key, entry] : root)
                if (entry.file == file)
                    return &entry;
        return nullptr;
    };
    const auto put = [&] (int root, const juce::String& path, float value)
    { return (disk[root][keyOf (path)] = { roots[root].getChildFile (path), value }).file; };
    const auto scanned = [&]
    {
        flat.clear();
        for (const auto root : { user, 2 })
            for (const auto& [key, entry] : disk[root])
                flat.push_back (entry.file);
        ++lists;
    };
    const auto become = [&] (const juce::File& file)
    { currents += std::exchange (now, file) != file ? 1 : 0; };
    const auto read = [&] (const juce::File& file)
    {
        become (file);
        if (const auto* const entry = stored (file))
        {
            size = entry->size;
            name = file.getFullPathName();
        }
    };
    const auto place = [&]
    {
        const auto found = std::find (flat.begin(), flat.end(), now);
        return found != flat.end() ? static_cast<int> (found - flat.begin()) : -1;
    };

    start();
    for (int step = 0; step < 600; ++step)
    {
        const auto number = static_cast<int> (flat.size());
        const juce::String path (paths[pick (std::size (paths))]);
        const auto operation = pick (10);

        if (operation <= 1)
        {
            (*manager.*(operation == 0 ? &PresetManager::stepToNextPreset : &PresetManager::stepToPreviousPreset))();
            if (const auto at = place(); number > 0)
                read (flat[static_cast<size_t> (operation == 0 ? (std::max (0, at) + 1) % number : (at > 0 ? at : number) - 1)]);
            ++lists;
        }
        else if (operation == 2 && number > 0)
        {
            const auto file = flat[static_cast<size_t> (pick (number))];
            manager->setCurrentPreset (file);
            manager->loadCurrentPreset();
            read (file);
        }
        else if (operation == 3)
        {
            manager->writePresetAs (roots[user].getChildFile (path));
            become (put (user, path, size));
            name = now.getFullPathName();
            scanned();
        }
        else if (operation == 4 && ! now.isAChildOf (factoryFolder))
        {
            manager->savePreset();
            if (auto* const entry = stored (now))
                entry->size = size;
        }
        else if (operation == 5)
        {
            const auto root = pick (3);
            roots[root].getChildFile (path).deleteFile();
            disk[root].erase (keyOf (path));
        }
        else if (operation == 6)
        {
            user = pick (2);
            processor.settings.getUserSettings()->setValue ("userPresetFolder", roots[user].getFullPathName());
            manager->rescan();
            scanned();
        }
        else if (operation == 7)
        {
            const auto root = pick (3), value = pick (101);
            preset (put (root, path, static_cast<float> (value)), value);
        }
        else if (operation == 8 && kept.chunk.isEmpty())
            kept = { chunkOf (processor), size, name };
        else if (operation == 8)
        {
            restore (processor, kept.chunk);
            size = kept.size;
            name = kept.name;
            now = name.isEmpty() ? juce::File() : juce::File (name);
            ++currents;
            kept.chunk.reset();
        }
        else if (operation == 9)
            set (processor, "ReverbSize", size = static_cast<float> (pick (101)));

        const auto where = testing::Message() << "step " << step << ", operation " << operation << ", " << path;
        ASSERT_EQ (processor.currentPresetFile, now) << where;
        ASSERT_EQ (get (processor, "ReverbSize"), size) << where;
        ASSERT_EQ (processor.parameterState.state.getProperty ("presetName").toString(), name) << where;
        ASSERT_EQ (manager->indexOfCurrentPreset(), place()) << where;
        ASSERT_EQ (listener.lists, lists) << where;
        ASSERT_EQ (listener.currents, currents) << where;
        for (size_t i = 0; i <= flat.size(); ++i)
            ASSERT_EQ (manager->presetAt (static_cast<int> (i)), i < flat.size() ? flat[i] : juce::File()) << where << ", preset " << i;
    }
}

TEST_F (Presets, AreSavedToTheBit)
{
    start();
    struct Host : juce::AudioProcessorListener
    {
        void audioProcessorParameterChanged (juce::AudioProcessor*, int, float) override {}
        void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails& details) override { numChanges += details.nonParameterStateChanged ? 1 : 0; }
        int numChanges = 0;
    } host;
    processor.addListener (&host);
    setUnusualValues (processor);
    const auto expected = values (processor);
    manager->writePresetAs (user ("Mine/one.xml"));
    EXPECT_EQ (host.numChanges, 1) << "the host has another chunk to keep";
    EXPECT_EQ (current(), "Mine/one.xml");
    EXPECT_EQ (flatOrder(), (std::vector<std::string> { "Mine/one.xml" })) << "a new file is in the list at once";
    EXPECT_EQ (listener.currents, 1);
    EXPECT_EQ (user ("Mine/one.xml").loadFileAsString(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<ReverbParams presetName=\"\">\r\n"
                                                         "  <PARAM id=\"ReverbSize\" value=\"71.0\"/>\r\n  <PARAM id=\"ReverbMod\" value=\"12.0\"/>\r\n"
                                                         "  <PARAM id=\"ReverbLo\" value=\"-3.399999618530273\"/>\r\n  <PARAM id=\"ReverbHi\" value=\"5.200000762939453\"/>\r\n"
                                                         "  <PARAM id=\"Position\" value=\"88.0\"/>\r\n  <PARAM id=\"Bypass\" value=\"0.0\"/>\r\n"
                                                         "  <PARAM id=\"ReverbInsertMode\" value=\"0.0\"/>\r\n</ReverbParams>\r\n");
    EXPECT_EQ (processor.parameterState.state.getProperty ("presetName").toString(), user ("Mine/one.xml").getFullPathName());

    load (preset (user ("other.xml")));
    manager->setCurrentPreset (user ("Mine/one.xml"));
    manager->loadCurrentPreset();
    EXPECT_EQ (values (processor), expected);
    EXPECT_EQ (host.numChanges, 3);
    processor.removeListener (&host);

    // Every step of every parameter, and the default between two steps
    const auto file = user ("step.xml");
    for (const auto& parameter : parameterTable)
        for (auto value = parameter.start; value <= parameter.end + 0.01f; value += parameter.interval)
        {
            set (processor, parameter.id, value);
            const auto saved = values (processor);
            auto tree = processor.copyParameterState();
            tree.setProperty ("presetName", "", nullptr);
            ASSERT_TRUE (varnel::writePresetFile (tree, file).wasOk());
            set (processor, parameter.id, parameter.start);
            varnel::loadPreset (processor, file);
            ASSERT_EQ (values (processor), saved) << parameter.id << " at " << value;
        }

    // "Save" writes over the file, with what a host changed a moment ago, and tells nobody.
    const auto lists = listener.lists;
    const auto name = processor.parameterState.state.getProperty ("presetName").toString();
    EXPECT_EQ (name, file.getFullPathName());
    manager->setCurrentPreset (user ("Mine/one.xml"));
    set (processor, "ReverbSize", 3.0f);
    manager->savePreset();
    EXPECT_EQ (load (user ("Mine/one.xml")), 3.0f);
    EXPECT_EQ (listener.lists, lists);
    EXPECT_TRUE (user ("Mine/one.xml").loadFileAsString().contains ("presetName=\"" + name + "\"")) << "as the tree held it";

    // Nothing to save over
    for (const auto& none : { juce::File(), user ("none.xml"), userFolder })
    {
        processor.currentPresetFile = none;
        manager->savePreset();
        EXPECT_FALSE (user ("none.xml").exists());
    }
    manager->writePresetAs (juce::File());
    EXPECT_EQ (processor.currentPresetFile, userFolder);

    manager->setCurrentPreset (user ("none.xml"));
    manager->setAsDefaultPreset();
    EXPECT_EQ (processor.settings.getUserSettings()->getValue ("defaultPreset"), "");
    manager->setCurrentPreset (user ("Mine/one.xml"));
    manager->setAsDefaultPreset();
    EXPECT_EQ (processor.settings.getUserSettings()->getValue ("defaultPreset"), user ("Mine/one.xml").getFullPathName());
}

TEST_F (Presets, LeaveTheOldFileWhereANewOneCannotBe)
{
    start();
    const auto file = preset (user ("kept.xml"), 40);
    const auto before = file.loadFileAsString();

    // A disk that is full, in the shape of a limit to the size of files
    std::signal (SIGXFSZ, SIG_IGN);
    rlimit limit {};
    getrlimit (RLIMIT_FSIZE, &limit);
    const rlimit little { 100, limit.rlim_max };
    setrlimit (RLIMIT_FSIZE, &little);
    const auto result = varnel::writePresetFile (processor.copyParameterState(), file);
    manager->writePresetAs (file);
    setrlimit (RLIMIT_FSIZE, &limit);
    EXPECT_EQ (result.getErrorMessage(), "cannot be written: File too large");
    EXPECT_EQ (file.loadFileAsString(), before);
    EXPECT_EQ (userFolder.getNumberOfChildFiles (juce::File::findFilesAndDirectories), 1) << "nothing else is left behind";

    user ("folder.xml").createDirectory();
    EXPECT_EQ (varnel::writePresetFile (processor.copyParameterState(), user ("folder.xml")).getErrorMessage(), "is a folder");
    EXPECT_EQ (varnel::writePresetFile (processor.copyParameterState(), user ("no/where.xml")).getErrorMessage(), "its folder does not exist");

    file.setReadOnly (true);
    EXPECT_TRUE (varnel::writePresetFile (processor.copyParameterState(), file).wasOk()) << "what counts is the folder";

    // A link stays a link, and its target is written.
    const auto target = home.getChildFile ("target.xml");
    preset (target).createSymbolicLink (user ("~.xml"), true);
    std::filesystem::create_symlink ("~.xml", user ("link.xml").getFullPathName().toStdString());
    set (processor, "ReverbSize", 12.0f);
    manager->writePresetAs (user ("link.xml"));
    EXPECT_TRUE (user ("link.xml").isSymbolicLink() && user ("~.xml").isSymbolicLink());
    EXPECT_EQ (load (target), 12.0f);

    if (geteuid() != 0) // the superuser may write everywhere
    {
        const auto written = file.loadFileAsString();
        userFolder.setReadOnly (true);
        EXPECT_TRUE (varnel::writePresetFile (processor.copyParameterState(), file).failed());
        userFolder.setReadOnly (false);
        EXPECT_EQ (file.loadFileAsString(), written);
    }
}

TEST_F (Presets, AreScannedInFoldersAsPeopleHaveThem)
{
    preset (user ("plain.xml"));
    preset (user (juce::String::fromUTF8 ("Ünïcødé/日本語.xml")));
    preset (home.getChildFile ("Elsewhere/linked.xml"));

    const auto link = [] (const juce::File& at, const std::string& to)
    { std::filesystem::create_symlink (to, at.getFullPathName().toStdString()); };
    user ("A/B").createDirectory();
    link (user ("A/B/up"), "../..");
    link (user ("A/B/self"), ".");
    link (user ("root"), "/");
    link (user ("linked folder"), home.getChildFile ("Elsewhere").getFullPathName().toStdString());
    link (user ("the same again"), home.getChildFile ("Elsewhere").getFullPathName().toStdString());
    link (home.getChildFile ("Elsewhere/back"), userFolder.getFullPathName().toStdString());
    link (user ("nowhere.xml"), "/nonexistent");
    link (user ("file link.xml"), user ("plain.xml").getFullPathName().toStdString());
    ASSERT_EQ (std::system (("mkfifo '" + user ("pipe.xml").getFullPathName() + "'").toRawUTF8()), 0);

    // A name that is no UTF-8 cannot be shown, and must not do harm.
    std::ofstream ((userFolder.getFullPathName() + "/").toStdString() + "\xff\xc0\x80\xf0.xml") << "<x presetName=''/>";
    std::filesystem::create_directory ((userFolder.getFullPathName() + "/").toStdString() + "\x80\x80");

    const auto closed = user ("closed");
    preset (user ("closed/inside.xml"));
    std::filesystem::permissions (closed.getFullPathName().toStdString(), std::filesystem::perms::none);

    start();
    auto found = flatOrder();
    found.erase (std::remove (found.begin(), found.end(), "closed/inside.xml"), found.end()); // which the superuser can read
    EXPECT_EQ (found, (std::vector<std::string> { "file link.xml", "plain.xml", "linked folder/linked.xml", "the same again/linked.xml", "Ünïcødé/日本語.xml" }));
    std::filesystem::permissions (closed.getFullPathName().toStdString(), std::filesystem::perms::owner_all);

    EXPECT_EQ (load (user ("pipe.xml")), 99.0f) << "a pipe is not waited for";

    // Two ways on at each of thirty levels: the scan ends, and what lies on top is there.
    for (int i = 0; i < 30; ++i)
        for (const auto* name : { "a", "b" })
        {
            home.getChildFile ("levels/" + juce::String (i)).createDirectory();
            link (home.getChildFile ("levels/" + juce::String (i) + "/" + name), "../" + std::to_string (i + 1));
        }
    link (user ("0 levels"), home.getChildFile ("levels/0").getFullPathName().toStdString());
    manager->rescan();
    EXPECT_EQ (flatOrder().size(), 6u);

    // A folder that has gone, and one that the user chose
    manager->rescan();
    userFolder.deleteRecursively();
    manager->rescan();
    EXPECT_EQ (flatOrder().size(), 0u);
    auto& settings = *processor.settings.getUserSettings();
    settings.setValue ("userPresetFolder", home.getChildFile ("Elsewhere").getFullPathName());
    manager->rescan();
    EXPECT_EQ (PresetManager::countPresets (manager->userRoot), 1);
    for (const auto* ignored : { "Elsewhere", "./Elsewhere", "" })
    {
        settings.setValue ("userPresetFolder", ignored);
        EXPECT_EQ (varnel::getUserPresetFolder (processor.settings), userFolder);
    }
}

TEST_F (Presets, MayBeHeardByListenersThatComeAndGo)
{
    struct Leaving : PresetManager::Listener
    {
        void presetListChanged() override
        {
            ++calls;
            auto& all = manager->listeners;
            all.erase (std::remove (all.begin(), all.end(), leaves), all.end());
            if (calls == 1)
                manager->rescan();
        }
        PresetManager* manager = nullptr;
        PresetManager::Listener* leaves = nullptr;
        int calls = 0;
    };

    start();
    Leaving first, second;
    first.manager = second.manager = manager.get();
    first.leaves = &second;
    manager->listeners = { &first, &second, &listener };
    manager->rescan();
    EXPECT_EQ (first.calls, 2);
    EXPECT_EQ (second.calls, 0) << "it left before its turn";
    EXPECT_EQ (listener.lists, 2);

    // A processor that gives the three operations it has to
    struct Least : PresetManager::Processor
    {
        juce::ValueTree getParameterState() override { return tree; }
        void setParameterState (const juce::ValueTree& newTree) override { tree = newTree; }
        void loadBinaryPreset (const juce::File&) override {}
        juce::ValueTree tree { "ReverbParams" };
    };
    Least least;
    least.settingsStore = &processor.settings;
    PresetManager others (least);
    least.currentPresetFile = preset (user ("least.xml"), 8);
    others.loadCurrentPreset();
    EXPECT_EQ (least.tree.getChild (0).getProperty ("value"), juce::var (8.0f));
    others.writePresetAs (user ("written.xml"));
    EXPECT_EQ (least.tree.getProperty ("presetName").toString(), user ("written.xml").getFullPathName());

    // The last manager to attach itself counts.
    auto other = std::make_unique<PresetManager> (processor);
    EXPECT_EQ (processor.presetManager, other.get());
    manager.reset();
    EXPECT_EQ (processor.presetManager, other.get());
    other.reset();
    EXPECT_EQ (processor.presetManager, nullptr);
}

TEST_F (Presets, ProposeAPlaceForANewFile)
{
    start();
    const auto proposalFor = [this] (const juce::File& file)
    {
        processor.currentPresetFile = file;
        return manager->proposedFile();
    };

    EXPECT_EQ (proposalFor (preset (user ("Sub/a.b.xml"))), user ("Sub/a.b.xml"));
    EXPECT_EQ (proposalFor (record (user ("old.qvz"), true, 1.0f)), user ("old.xml"));
    EXPECT_EQ (proposalFor (preset (factory ("Halls/v1.2.xml"))), user ("v1.2.xml"));
    EXPECT_EQ (proposalFor (home.getChildFile ("gone.xml")), userFolder.withFileExtension ("xml"));

    // What is typed without the extension gets it, and never falls on a file that nobody was asked about.
    EXPECT_EQ (manager->fileToWrite (user ("My Hall.xml")), user ("My Hall.xml"));
    EXPECT_EQ (manager->fileToWrite (user ("My Hall v1.2")), user ("My Hall v1.2.xml"));
    preset (user ("Taken.xml"));
    EXPECT_EQ (manager->fileToWrite (user ("Taken.xml")), user ("Taken.xml"));
    EXPECT_EQ (manager->fileToWrite (user ("Taken")), user ("Taken(2).xml"));
    EXPECT_EQ (manager->fileToWrite (juce::File()), juce::File());
}

TEST_F (Presets, OfTheFactoryAllLoadAndLandAsWritten)
{
    const juce::File bank (VARNEL_FACTORY_PRESETS);
    manager = std::make_unique<PresetManager> (processor);
    manager->factoryRoot.folder = bank;
    manager->rescan();
    ASSERT_GE (PresetManager::countPresets (manager->factoryRoot), 61);
    EXPECT_EQ (manager->factoryRoot.files, (std::vector<juce::File> { bank.getChildFile ("New Sound.xml") }));
    EXPECT_GE (manager->factoryRoot.subfolders.size(), 10u);

    for (int i = 0; manager->presetAt (i) != juce::File(); ++i)
    {
        const auto file = manager->presetAt (i);
        setUnusualValues (processor);
        manager->setCurrentPreset (file);
        manager->loadCurrentPreset();

        const auto xml = juce::parseXML (file);
        ASSERT_NE (xml, nullptr) << file.getFullPathName();
        EXPECT_EQ (xml->getNumChildElements(), 7) << file.getFullPathName();

        for (const auto& parameter : parameterTable)
        {
            const auto* const element = xml->getChildByAttribute ("id", parameter.id);
            ASSERT_NE (element, nullptr) << file.getFullPathName() << " lacks " << parameter.id;
            const auto written = static_cast<float> (element->getDoubleAttribute ("value"));
            EXPECT_NEAR (get (processor, parameter.id), written, 2e-6f) << file.getFullPathName() << ", " << parameter.id;
            EXPECT_TRUE (written >= parameter.start && written <= parameter.end) << file.getFullPathName();
        }

        EXPECT_EQ (get (processor, "Bypass"), 1.0f) << file.getFullPathName() << " is silent about the effect";

        // In the very form that "Save as.." writes
        auto tree = processor.copyParameterState();
        tree.setProperty ("presetName", "", nullptr);
        EXPECT_EQ (juce::StringArray::fromLines (tree.createXml()->toString()).size(), juce::StringArray::fromLines (file.loadFileAsString()).size());
        const auto name = i == 0 ? varnel::getFactoryPresetFolder().getChildFile ("New Sound.xml").getFullPathName() : juce::String();
        EXPECT_TRUE (file.loadFileAsString().startsWith ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<ReverbParams presetName=\"" + name + "\">\r\n  <PARAM id=\"ReverbSize\"")) << file.getFullPathName();
    }
}
