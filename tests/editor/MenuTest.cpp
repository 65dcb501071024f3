// SPDX-License-Identifier: AGPL-3.0-only
// What the window's and the program's menus hold, and what each of their rows does.

#include "Window.h"

#include <map>

using namespace varnel;

namespace
{

/** What a command may change, in words. */
using World = std::map<juce::String, juce::String>;

/** Menus worked in front of a small model: of the files, the settings, the parameters and the window. The system's file
    chooser and its file manager are programs of the test's, which note what they are asked. */
class Menus : public Window
{
protected:
    struct Command
    {
        juce::String menu, row, answer;
        World changes;
    };

    Menus()
    {
        const auto programs = home.getChildFile ("bin");
        const auto writeProgram = [&] (const char* name, const juce::String& text)
        {
            const auto file = programs.getChildFile (name);
            file.create();
            file.replaceWithText ("#!/bin/sh\ncd '" + home.getFullPathName() + "'\n" + text, false, false, "\n");
            file.setExecutePermission (true);
        };

        writeProgram ("zenity", "[ \"$1\" = --version ] && exit\nIFS='|'; printf %s \"$*\" > asked\ngrep -q wait answer && exec sleep 100\ncat answer\n");
        writeProgram ("xdg-open", "printf %s \"$1\" > part && mv part shown\n");
        setenv ("PATH", (programs.getFullPathName() + ":" + path).toRawUTF8(), 1);
        setenv ("KDE_FULL_SESSION", "false", 1);

        write (userFolder.getChildFile ("Mine.xml"), 11);
        write (userFolder.getChildFile ("Pads/Deep.xml"), 22);
        write (factory.getChildFile ("Halls/Big.xml"), 77);
        write (factory.getChildFile ("Rooms/Small.xml"), 5);
        write (home.getChildFile ("elsewhere/Other.xml"), 44);
    }

    ~Menus() override { setenv ("PATH", path.toRawUTF8(), 1); }

    /** From the same beginnings each time: "Mine" is current, its Size has been turned to 60, and there is a new file. */
    void begin (const juce::File& current)
    {
        for (const auto* file : { "asked", "shown", "elsewhere/State", "Documents/Ostry/Varnel Reverb/User Presets/New.xml" })
            home.getChildFile (file).deleteFile();
        write (userFolder.getChildFile ("Mine.xml"), 11);
        for (const auto* key : { settingsKeys::defaultPreset, settingsKeys::userPresetFolder, settingsKeys::showTooltips })
            settings().removeValue (key);

        auto& manager = *processor->presetManager;
        manager.factoryRoot.folder = factory;
        userFolder.getChildFile ("Late.xml").deleteFile();
        manager.rescan();
        write (userFolder.getChildFile ("Late.xml"), 9);
        manager.setCurrentPreset (current);
        editor->setSize (600, 310);
        set (*processor, "ReverbSize", 60.0f);
        deliverMessages (20);
    }

    World look()
    {
        World world;
        world["Size"] = juce::String (get (*processor, "ReverbSize"));
        world["preset"] = selector().getText();
        world["default"] = settings().getValue (settingsKeys::defaultPreset).replace (home.getFullPathName(), "~");
        world["folder"] = settings().getValue (settingsKeys::userPresetFolder).replace (home.getFullPathName(), "~");
        world["tooltips"] = settings().getValue (settingsKeys::showTooltips);
        world["asked"] = home.getChildFile ("asked").loadFileAsString();
        world["shown"] = home.getChildFile ("shown").loadFileAsString().replace (home.getFullPathName(), "~");
        world["window"] = juce::String (editor->getWidth()) + " " + juce::String (editor->getHeight());

        for (int i = 0; processor->presetManager->presetAt (i) != juce::File(); ++i)
            world["list"] << processor->presetManager->presetAt (i).getFileNameWithoutExtension() << " ";
        for (size_t i = 0; i < 7; ++i)
            world["map"] << processor->midiControllers[i] << " ";
        for (const auto& file : home.findChildFiles (juce::File::findFiles, true, "*.xml"))
            world["file " + file.getFileName()] = file.loadFileAsString().fromFirstOccurrenceOf ("ReverbSize\" value=\"", false, false).upToFirstOccurrenceOf ("\"", false, false);
        return world;
    }

    void openMenu (const juce::String& menu)
    {
        if (menu == "presets")
            user.click (centreOf (selector()));
        else if (menu == "panel")
            rightClick (at (600, 540));
        else if (menu == "program")
            user.click (program->getScreenPosition() + juce::Point<int> (38, 15));
        else
            rightClick (centreOf (*editor->findChildWithID (menu)));
    }

    void expectRows (const juce::String& menu, const juce::String& texts, const juce::String& ticked = {})
    {
        openMenu (menu);
        EXPECT_EQ (user.menuTexts().joinIntoString ("|"), texts);
        for (const auto& [text, row] : user.menuRows())
            EXPECT_EQ (row->getAccessibilityHandler()->getCurrentState().isChecked(), text == ticked) << text;
        user.closeMenu();
    }

    /** Opens a menu and goes through all its rows but those that do nothing. */
    void expectCommands (const std::vector<Command>& commands, const juce::File& current)
    {
        for (const auto& [menu, row, answer, changes] : commands)
        {
            begin (current);
            home.getChildFile ("answer").replaceWithText (answer.replace ("~", home.getFullPathName()));
            auto expected = look();
            for (const auto& [what, value] : changes)
                expected[what] = value;

            openMenu (menu);
            for (const auto& step : juce::StringArray::fromTokens (row, "/", {}))
                user.choose (step);

            deliverMessagesUntil ([&]
                                  { return look() == expected; },
                                  20000);
            deliverMessages (20); // nor does anything come later
            const auto now = look();
            for (const auto& [what, value] : now)
                EXPECT_EQ (value, expected[what]) << menu << ": " << row << " changes " << what;
            ASSERT_EQ (now.size(), expected.size());
            ASSERT_FALSE (HasFailure()); // or each of those that follow waits as long
        }
    }

    const juce::File userFolder = getUserPresetFolder (processor->settings), factory = home.getChildFile ("factory $(touch x) `touch y` \" '"), mine = userFolder.getChildFile ("Mine.xml");
    const juce::String path = juce::SystemStats::getEnvironmentVariable ("PATH", {});
};

} // namespace

TEST_F (Menus, DoWhatTheirRowsSay)
{
    open();
    const juce::String saveAs ("--file-selection|--title=Save as..|--save|--file-filter=*.xml|--filename=");

    expectCommands ({ { "presets", "Pads/Deep", "", { { "Size", "22" }, { "preset", "Deep" } } },
                      { "presets", "Mine", "", { { "Size", "11" } } },
                      { "presets", "Halls/Big", "", { { "Size", "77" }, { "preset", "Big" } } },
                      { "presets", "Rooms/Small", "", { { "Size", "5" }, { "preset", "Small" } } },
                      { "presets", "Save", "", { { "file Mine.xml", "60.0" } } },
                      { "presets", "Save as..", "~/Documents/Ostry/Varnel Reverb/User Presets/New", { { "asked", saveAs + "Mine.xml" }, { "preset", "New" }, { "file New.xml", "60.0" }, { "list", "Late Mine New Deep Big Small " } } },
                      { "presets", "Save as..", "", { { "asked", saveAs + "Mine.xml" } } },
                      { "presets", "Load", "~/elsewhere/Other.xml", { { "asked", "--file-selection|--title=Load|--file-filter=*.xml|--filename=User Presets" }, { "Size", "44" }, { "preset", "Other" } } },
                      { "presets", "Load", "", { { "asked", "--file-selection|--title=Load|--file-filter=*.xml|--filename=User Presets" } } },
                      { "presets", "Set as default", "", { { "default", "~/Documents/Ostry/Varnel Reverb/User Presets/Mine.xml" } } },
                      { "presets", "Show user preset folder", "", { { "shown", "~/Documents/Ostry/Varnel Reverb/User Presets" } } },
                      { "presets", "Show factory preset folder", "", { { "shown", "~/" + factory.getFileName() } } },
                      { "presets", "Change user preset location", "~/elsewhere", { { "asked", "--file-selection|--title=Select the folder for your user presets|--directory|--filename=User Presets" }, { "folder", "~/elsewhere" }, { "list", "Other Big Small " } } },
                      { "presets", "Rescan presets", "", { { "list", "Late Mine Deep Big Small " } } },
                      { "panel", "80% ", "", { { "window", "480 248" } } },
                      { "panel", "100% ", "", {} },
                      { "panel", "120% ", "", { { "window", "720 372" } } },
                      { "panel", "140% ", "", { { "window", "840 434" } } },
                      { "panel", "160% ", "", { { "window", "960 496" } } },
                      { "panel", "180% ", "", { { "window", "1080 558" } } },
                      { "panel", "200% ", "", { { "window", "1200 620" } } },
                      { "panel", "Show Tooltips", "", { { "tooltips", "1" } } } },
                    mine);

    // What a preset of the factory's is saved as is asked; it is never written itself.
    expectCommands ({ { "presets", "Save", "~/Documents/Ostry/Varnel Reverb/User Presets/New.xml", { { "asked", saveAs + "Big.xml" }, { "preset", "New" }, { "file New.xml", "60.0" }, { "list", "Late Mine New Deep Big Small " } } } }, factory.getChildFile ("Halls/Big.xml"));

    // No row has been left out. The current preset is ticked, or the way to it.
    const juce::String rows ("User Presets|Pads|Late|Mine|New|Factory Presets|Halls|Rooms|Save|Save as..|Load|Set as default|Show user preset folder|Show factory preset folder|Change user preset location|Rescan presets");
    expectRows ("presets", rows, "New");
    expectRows ("panel", "Set GUI size:|80% |100% |120% |140% |160% |180% |200% |Show Tooltips", "100% ");
    begin (factory.getChildFile ("Rooms/Small.xml"));
    expectRows ("presets", rows.replace ("Late|Mine|New", "Mine"), "Rooms");

    // A window that closes takes its chooser with it.
    home.getChildFile ("answer").replaceWithText ("wait");
    openMenu ("presets");
    user.choose ("Load");
    close();
    EXPECT_EQ (processor->presetManager, nullptr);
    deliverMessages (50);
}

TEST_F (Menus, LearnControllers)
{
    open();
    const char* const ids[] { "ReverbSize", "ReverbMod", "ReverbLo", "ReverbHi", "Position", "Bypass", "ReverbInsertMode" };
    const std::tuple<int, const char*, std::vector<std::pair<const char*, int>>> menus[] {
        { -1, "Start MIDI Learn...", { { "Start MIDI Learn...", -2 } } },
        { -2, "Stop MIDI Learn...", { { "Stop MIDI Learn...", -1 } } },
        { 12, "Detach from MIDI Automation...|Midi Controller: 12|Start MIDI Learn...", { { "Detach from MIDI Automation...", -1 }, { "Midi Controller: 12", 12 }, { "Start MIDI Learn...", -2 } } },
    };

    for (size_t i = 0; i < 7; ++i)
        for (const auto& [controller, rows, results] : menus)
            for (const auto& [row, result] : results)
            {
                auto& control = *dynamic_cast<LearningControl*> (editor->findChildWithID (ids[i]));
                processor->midiControllers[i] = controller;
                expectRows (ids[i], rows);
                auto map = juce::StringArray::fromTokens ("-1 -1 -1 -1 -1 -1 -1 ", false);
                map.set (static_cast<int> (i), juce::String (result));
                expectCommands ({ { ids[i], row, "", { { "map", map.joinIntoString (" ") } } } }, mine);
                EXPECT_EQ (control.dot.isVisible(), result == -2) << ids[i];
                processor->midiControllers[i] = -1; // by a message, say
                EXPECT_SOON (! control.dot.isVisible());
            }

    EXPECT_EQ (midiLearnMenu (-3).getNumItems(), 0);
}

TEST_F (Menus, OfTheProgramDoWhatTheirRowsSay)
{
    openProgram();
    const auto state = home.getChildFile ("elsewhere/State");
    home.getChildFile ("answer").replaceWithText (state.getFullPathName());
    const auto size = [this]
    { return get (*processor, "ReverbSize"); };
    const auto expectSize = [&] (const char* row, float expected)
    {
        openMenu ("program");
        user.choose (row);
        processor = dynamic_cast<VarnelReverbAudioProcessor*> (program->getAudioProcessor());
        EXPECT_SOON (juce::exactlyEqual (size(), expected))
            << row << " leaves " << size();
    };

    set (*processor, "ReverbSize", 60.0f);
    expectSize ("Save current state...", 60.0f);
    EXPECT_SOON (state.getSize() > 100);
    EXPECT_TRUE (home.getChildFile ("asked").loadFileAsString().startsWith ("--file-selection|--title=Save current state|--save"));
    expectRows ("program", "Audio/MIDI Settings...|Undo|Redo|A/B: A is heard, switch to B|Save current state...|Load a saved state...|Reset to default state");
    set (*processor, "ReverbSize", 5.0f);
    deliverMessages (700); // it has come to rest, and is a step
    set (*processor, "ReverbSize", 6.0f);
    expectSize ("Undo", 5.0f);
    expectSize ("Redo", 6.0f);
    expectSize ("Load a saved state...", 60.0f);
    EXPECT_TRUE (home.getChildFile ("asked").loadFileAsString().startsWith ("--file-selection|--title=Load a saved state|--file"));
    expectSize ("A/B: A is heard, switch to B", 60.0f);
    set (*processor, "ReverbSize", 7.0f);
    expectSize ("A/B: B is heard, switch to A", 60.0f);
    expectSize ("A/B: A is heard, switch to B", 7.0f);
    set (*processor, "ReverbSize", 8.0f);
    user.key ("ctrl + Z");
    EXPECT_EQ (size(), 7.0f);
    user.key ("ctrl + shift + Z");
    EXPECT_EQ (size(), 8.0f);
    expectSize ("Reset to default state", 33.0f);

    // There is one window of settings, which says what is missing, and closes.
    openMenu ("program");
    user.choose ("Audio/MIDI Settings...");
    auto* const dialog = juce::ModalComponentManager::getInstance()->getModalComponent (0);
    ASSERT_NE (dialog, nullptr);
    EXPECT_EQ (dialog->getName(), "Audio/MIDI Settings");
    user.key ("escape");
    EXPECT_SOON (juce::ModalComponentManager::getInstance()->getNumModalComponents() == 0);
}

//==============================================================================
namespace
{

/** What the selector's menu holds, a line each: texts with ids, sub-menus indented, spacers by their height. */
juce::String describe (const juce::PopupMenu& menu, const juce::String& indent = {})
{
    juce::String lines;

    for (juce::PopupMenu::MenuItemIterator iterator (menu); iterator.next();)
    {
        auto& item = iterator.getItem();
        int width = 0, height = 0;
        if (item.customComponent != nullptr)
            item.customComponent->getIdealSize (width, height);

        const auto label = (item.isSectionHeader ? "# " : item.itemID == -1 ? juce::String()
                                                                            : juce::String (item.itemID) + " ")
                           + (item.isEnabled ? "" : "(off) ") + item.text;
        lines << indent << (height > 0 ? "spacer " + juce::String (height) : item.isSeparator ? "---"
                                                                                              : label)
              << (item.shouldBreakAfter ? " |\n" : "\n");

        if (item.subMenu != nullptr)
            lines << describe (*item.subMenu, indent + "  ");
    }

    return lines;
}

const juce::String commands ("(off) Save\nSave as..\nLoad\n---\n(off) Set as default\n---\nShow user preset folder\nShow factory preset folder\nChange user preset location\nRescan presets\nspacer 10\n");

} // namespace

TEST_F (Menus, LayOutPresetsInColumns)
{
    juce::String shown;
    auto selected = 0;
    const auto menuWith = [&] (const juce::StringArray& userFiles, const juce::StringArray& factoryFiles, const juce::String& current = {})
    {
        for (const auto& [root, files] : { std::pair { userFolder, userFiles }, { factory, factoryFiles } })
        {
            root.deleteRecursively();
            root.createDirectory();
            for (const auto& file : files)
                root.getChildFile (file + ".xml").create();
        }

        processor->currentPresetFile = current.isEmpty() ? juce::File() : home.getChildFile (current);
        PresetManager manager (*processor);
        manager.factoryRoot.folder = factory;
        manager.rescan();
        ComboBoxImproved box;
        const PresetManager::ComboBoxAttachment attachment (manager, box);
        shown = box.getText();
        selected = box.getSelectedId();
        return describe (*box.getRootMenu());
    };

    EXPECT_EQ (menuWith ({}, {}), "spacer 5\n0 (off) User Presets\n0 (off) " + factory.getFileName() + "\n---\n" + commands);
    EXPECT_EQ (menuWith ({ "one", "Pads/two" }, { "New" }), "spacer 5\n0 User Presets\n  1 one\n  0 Pads\n    2 two\n0 " + factory.getFileName() + "\n  3 New\n---\n" + commands);

    // A root's loose files take their ids first, though they stand below the folders.
    EXPECT_EQ (menuWith ({ "loose", "Pads/Deep/down", "Pads/two" }, { "New", "Halls/Big" }, "Documents/Ostry/Varnel Reverb/User Presets/Pads/Deep/down.xml"),
               "# User Presets\nspacer 7\n-2 Pads\n  2 two\n  -2 Deep\n    3 down\n1 loose\nspacer 132 |\n"
               "# Factory Presets\nspacer 7\n0 Halls\n  5 Big\n4 New\nspacer 154 |\nspacer 20\n"
                   + commands.replace ("(off) ", ""));
    EXPECT_EQ (shown, "down");
    EXPECT_EQ (selected, 3);

    // Spacers: the user's column counts folders and files, the factory's folders alone.
    const auto columnsWith = [&] (int userFolders, int factoryFolders)
    {
        const auto first = [] (int number)
        {
            juce::StringArray files;
            for (int i = 0; i < number; ++i)
                files.add (juce::String::charToString (static_cast<juce::juce_wchar> ('a' + i)) + "/p");
            return files;
        };
        juce::StringArray spacers;
        for (const auto& line : juce::StringArray::fromLines (menuWith (first (userFolders), first (factoryFolders))))
            if (const auto height = line.fromFirstOccurrenceOf ("spacer ", false, false).getIntValue(); height > 20)
                spacers.add (juce::String (height));
        return spacers.joinIntoString (",");
    };
    EXPECT_EQ (columnsWith (3, 12), "198");
    EXPECT_EQ (columnsWith (3, 2), "110,132");
    EXPECT_EQ (columnsWith (0, 2), "132");
    EXPECT_EQ (columnsWith (12, 2), "220");
    EXPECT_EQ (columnsWith (9, 9), "");

    menuWith ({ "a" }, {}, "elsewhere/Foreign.xml");
    EXPECT_EQ (shown, "Foreign");
    EXPECT_EQ (selected, 0);

    // Hosts of one format keep a default of their own.
    juce::PluginHostType::jucePlugInClientCurrentWrapperType = juce::AudioProcessor::wrapperType_AAX;
    EXPECT_FALSE (menuWith ({}, {}).contains ("Set as default"));
    juce::PluginHostType::jucePlugInClientCurrentWrapperType = juce::AudioProcessor::wrapperType_Undefined;
}
