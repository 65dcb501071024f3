// SPDX-License-Identifier: AGPL-3.0-only
#include "ComboBoxAttachment.h"

#include "ComboBoxImproved.h"
#include "FileManager.h"
#include "processor/Places.h"
#include "processor/Settings.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <algorithm>
#include <utility>

namespace varnel
{

namespace
{

constexpr int rowHeight = 22; // pixels, for the heights of spacers
constexpr int fewestRows = 8; // of a column
constexpr int noResult = -1;  // the id of what cannot be chosen as a preset

/** Takes up room in a menu, and does nothing else. */
class Spacer : public juce::Component
{
};

/** Runs a function when its item is chosen; the menu then reports no choice. */
struct CustomCallbackLambda : juce::PopupMenu::CustomCallback
{
    explicit CustomCallbackLambda (std::function<void()> functionToCall)
        : function (std::move (functionToCall)) {}

    bool menuItemTriggered() override
    {
        if (function != nullptr)
            function();

        return false;
    }

    std::function<void()> function;
};

bool liesIn (const juce::File& file, const juce::File& folder)
{
    return file.getFullPathName().startsWith (juce::File::addTrailingSeparator (folder.getFullPathName()));
}

int countRows (const PresetManager::Folder& root)
{
    return static_cast<int> (root.subfolders.size() + root.files.size());
}

void showFolder (const juce::File& folder)
{
    if (! folder.isDirectory())
        folder.createDirectory();

    if (folder.exists())
        openInFileManager (folder);
}

} // namespace

//==============================================================================
/** Adds rows to a menu and counts the ids of presets. */
struct PresetManager::ComboBoxAttachment::MenuBuilder
{
    juce::PopupMenu& menu;
    juce::File current;
    Spacer spacer {};
    int nextId = 1;

    void addSpacer (int height)
    {
        menu.addCustomItem (noResult, spacer, 10, height, false, nullptr, "");
    }

    static void addPresets (juce::PopupMenu& target, const std::vector<juce::File>& files, int firstId)
    {
        for (const auto& file : files)
            target.addItem (firstId++, shownName (file), true, false);
    }

    /** Counts presets that stand in front of all that comes. @returns the id of the first of them */
    int idsFor (const std::vector<juce::File>& files)
    {
        return std::exchange (nextId, nextId + static_cast<int> (files.size()));
    }

    juce::PopupMenu folderMenu (const Folder& folder)
    {
        juce::PopupMenu result;
        addPresets (result, folder.files, idsFor (folder.files));

        for (const auto& subfolder : folder.subfolders)
            addFolder (result, subfolder);

        return result;
    }

    /** A row that opens a folder's menu; disabled if there is nothing in it. */
    void addFolder (juce::PopupMenu& target, const Folder& folder)
    {
        const auto id = liesIn (current, folder.folder) ? ComboBoxImproved::onTheWay : 0;
        target.addSubMenu (shownName (folder.folder), folderMenu (folder), true, nullptr, false, id);
    }

    /** A column's rows: the folders above the files, though the files come first in the flat order. */
    void addRoot (const Folder& root)
    {
        const auto firstFile = idsFor (root.files);

        for (const auto& subfolder : root.subfolders)
            addFolder (menu, subfolder);

        addPresets (menu, root.files, firstFile);
    }

    void addCommand (const juce::String& text, bool isEnabled, std::function<void()> action)
    {
        juce::PopupMenu::Item item (text);
        item.itemID = noResult;
        item.isEnabled = isEnabled;
        item.customCallback = new CustomCallbackLambda (std::move (action));
        menu.addItem (std::move (item));
    }
};

//==============================================================================
PresetManager::ComboBoxAttachment::ComboBoxAttachment (PresetManager& managerToUse, juce::ComboBox& comboBoxToUse)
    : manager (&managerToUse), comboBox (&comboBoxToUse)
{
    handleAsyncUpdate();
    comboBox->addListener (this);
    comboBox->setTextWhenNothingSelected ("default");
    manager->listeners.push_back (this);
}

PresetManager::ComboBoxAttachment::~ComboBoxAttachment()
{
    std::erase (manager->listeners, static_cast<PresetManager::Listener*> (this));
    comboBox->removeListener (this);
    cancelPendingUpdate();
}

void PresetManager::ComboBoxAttachment::presetListChanged()
{
    triggerAsyncUpdate();
}

void PresetManager::ComboBoxAttachment::currentPresetChanged()
{
    triggerAsyncUpdate();
}

void PresetManager::ComboBoxAttachment::handleAsyncUpdate()
{
    cancelPendingUpdate();
    comboBox->clear (juce::dontSendNotification);

    const auto current = manager->processor->currentPresetFile;
    comboBox->setText (shownName (current), juce::dontSendNotification); // also of a preset outside both folders

    const auto &user = manager->userRoot, &factory = manager->factoryRoot;
    const auto factoryFolders = static_cast<int> (factory.subfolders.size());
    MenuBuilder builder { *comboBox->getRootMenu(), current };

    if (factoryFolders == 0)
    {
        builder.addSpacer (5);
        builder.addFolder (builder.menu, user);
        builder.addFolder (builder.menu, factory);
        builder.menu.addSeparator();
    }
    else
    {
        auto userRows = 0;
        builder.menu.addSectionHeader ("User Presets");
        builder.addSpacer (7);

        if (user.subfolders.empty())
        {
            builder.addFolder (builder.menu, user);
        }
        else
        {
            builder.addRoot (user);
            userRows = countRows (user);

            // Columns of a height, so that no row stands lower than its neighbours for want of any above
            if (userRows < fewestRows)
                builder.addSpacer (std::max (factoryFolders - userRows, fewestRows - userRows) * rowHeight);
        }

        builder.menu.addColumnBreak();
        builder.menu.addSectionHeader ("Factory Presets");
        builder.addSpacer (7);
        builder.addRoot (factory);

        if (factoryFolders < fewestRows)
            builder.addSpacer (std::max (userRows - factoryFolders, fewestRows - factoryFolders) * rowHeight);

        builder.menu.addColumnBreak();
        builder.addSpacer (20);
    }

    if (const auto index = manager->indexOfCurrentPreset(); index >= 0)
        comboBox->setSelectedId (index + 1, juce::dontSendNotification);

    addCommands (builder);
}

void PresetManager::ComboBoxAttachment::addCommands (MenuBuilder& builder)
{
    using Flags = juce::FileBrowserComponent::FileChooserFlags;

    // A menu may outlive the window for a moment, and with it this object.
    const auto whileThere = [box = juce::Component::SafePointer<juce::ComboBox> (comboBox)] (std::function<void()> action)
    {
        return [box, action = std::move (action)]
        {
            if (box != nullptr)
                action();
        };
    };

    const auto userFolder = [this]
    { return getUserPresetFolder (*manager->processor->settingsStore); };

    const auto patterns = "*" + manager->getPresetFileExtension();
    const auto canSave = manager->processor->currentPresetFile.existsAsFile();
    auto& menu = builder.menu;

    builder.addCommand ("Save", canSave, whileThere ([this]
                                                     { manager->savePreset(); }));
    builder.addCommand ("Save as..", true, whileThere ([this]
                                                       { comboBox->hidePopup(); manager->askForNewName (manager->proposedFile()); }));
    builder.addCommand ("Load", true, whileThere ([this, userFolder, patterns]
                                                  { choose ("Load", userFolder(), patterns, Flags::openMode | Flags::canSelectFiles, &ComboBoxAttachment::load); }));
    menu.addSeparator();

    // There, hosts keep a default of their own.
    if (juce::PluginHostType::getPluginLoadedAs() != juce::AudioProcessor::wrapperType_AAX)
        builder.addCommand ("Set as default", canSave, whileThere ([this]
                                                                   { manager->setAsDefaultPreset(); }));

    menu.addSeparator();
    builder.addCommand ("Show user preset folder", true, [userFolder]
                        { showFolder (userFolder()); });
    builder.addCommand ("Show factory preset folder", true, [folder = manager->factoryRoot.folder]
                        { showFolder (folder); });
    builder.addCommand ("Change user preset location", true, whileThere ([this, userFolder]
                                                                         { choose ("Select the folder for your user presets", userFolder(), {}, Flags::canSelectDirectories, &ComboBoxAttachment::changeUserFolder); }));
    builder.addCommand ("Rescan presets", true, whileThere ([this]
                                                            { manager->rescan(); }));
    builder.addSpacer (10);
}

void PresetManager::ComboBoxAttachment::choose (const juce::String& title, const juce::File& initial, const juce::String& patterns, int browserFlags, void (ComboBoxAttachment::*chosen) (const juce::File&))
{
    comboBox->hidePopup();
    manager->openChooser (title, initial, patterns, browserFlags, [this, chosen, box = juce::Component::SafePointer<juce::ComboBox> (comboBox)] (const juce::File& file)
                          {
        if (box != nullptr)
            (this->*chosen) (file); });
}

void PresetManager::ComboBoxAttachment::load (const juce::File& file)
{
    if (! file.exists())
        return;

    manager->setCurrentPreset (file);
    manager->loadCurrentPreset();
}

void PresetManager::ComboBoxAttachment::changeUserFolder (const juce::File& folder)
{
    if (! folder.isDirectory())
        return;

    manager->processor->settingsStore->getUserSettings()->setValue (settingsKeys::userPresetFolder, folder.getFullPathName());
    manager->rescan();
}

//==============================================================================
void PresetManager::ComboBoxAttachment::comboBoxChanged (juce::ComboBox*)
{
    const auto id = comboBox->getSelectedId();

    if (id == 0)
        return;

    if (const auto file = manager->presetAt (id - 1); file != juce::File())
    {
        manager->setCurrentPreset (file);
        manager->loadCurrentPreset(); // also if it was current already
    }

    comboBox->setSelectedId (manager->indexOfCurrentPreset() + 1, juce::dontSendNotification);
}

} // namespace varnel
