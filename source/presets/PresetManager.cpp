// SPDX-License-Identifier: AGPL-3.0-only
#include "PresetManager.h"

#include "PresetFiles.h"
#include "processor/ParameterState.h"
#include "processor/Settings.h"

#include <algorithm>

namespace varnel
{

namespace
{

/** Calls a method of each listener, of which any may leave while this goes on. */
void call (const std::vector<PresetManager::Listener*>& listeners, void (PresetManager::Listener::*method)())
{
    for (auto* listener : std::vector<PresetManager::Listener*> (listeners))
        if (std::find (listeners.begin(), listeners.end(), listener) != listeners.end())
            (listener->*method)();
}

/** The preset at a place in a folder's own flat order, or an empty file; takes the presets that it passes off the index. */
juce::File presetIn (const PresetManager::Folder& folder, int& index)
{
    const auto numFiles = static_cast<int> (folder.files.size());

    if (index < numFiles)
        return index >= 0 ? folder.files[static_cast<size_t> (index)] : juce::File();

    index -= numFiles;

    for (const auto& subfolder : folder.subfolders)
        if (auto file = presetIn (subfolder, index); file != juce::File() || index < 0)
            return file;

    return {};
}

} // namespace

void PresetProcessor::tellCurrentPresetChanged()
{
    if (presetManager != nullptr)
        call (presetManager->listeners, &PresetManager::Listener::currentPresetChanged);
}

//==============================================================================
PresetManager::PresetManager (Processor& processorToUse)
    : processor (&processorToUse),
      userRoot { this, getUserPresetFolder (*processor->settingsStore), {}, {} },
      factoryRoot { this, getFactoryPresetFolder(), {}, {} }
{
    rescan();
    processor->presetManager = this;
}

PresetManager::~PresetManager()
{
    // Another manager may have attached itself since: the last one counts.
    if (processor->presetManager == this)
        processor->presetManager = nullptr;
}

juce::String PresetManager::getPresetFileExtension() const
{
    return ".xml";
}

juce::String PresetManager::getBinaryPresetFileExtension() const
{
    return ".qvz";
}

void PresetManager::rescan()
{
    userRoot = { this, getUserPresetFolder (*processor->settingsStore), {}, {} };
    scanPresets (userRoot);
    scanPresets (factoryRoot);
    call (listeners, &Listener::presetListChanged);
}

//==============================================================================
void PresetManager::loadCurrentPreset()
{
    loadPreset (*processor, juce::File (processor->currentPresetFile));
}

void PresetManager::setCurrentPreset (const juce::File& file)
{
    if (file == processor->currentPresetFile)
        return;

    processor->currentPresetFile = file;
    call (listeners, &Listener::currentPresetChanged);
}

void PresetManager::savePreset()
{
    const auto file = processor->currentPresetFile;

    if (! file.existsAsFile())
        return;

    if (file.isAChildOf (factoryRoot.folder))
        askForNewName (proposedFile());
    else
        writePreset (processor->copyParameterState(), file);
}

void PresetManager::writePresetAs (const juce::File& file)
{
    if (file.getFileName().isEmpty())
        return;

    setCurrentPreset (file);

    auto state = processor->copyParameterState();
    state.setProperty (stateIds::presetName, "", nullptr);
    file.getParentDirectory().createDirectory();
    writePreset (state, file);

    processor->setPresetName (file.getFullPathName());
    rescan();
}

void PresetManager::setAsDefaultPreset()
{
    if (const auto file = processor->currentPresetFile; file.existsAsFile())
        processor->settingsStore->getUserSettings()->setValue (settingsKeys::defaultPreset, file.getFullPathName());
}

//==============================================================================
int PresetManager::countPresets (const Folder& folder)
{
    auto count = static_cast<int> (folder.files.size());

    for (const auto& subfolder : folder.subfolders)
        count += countPresets (subfolder);

    return count;
}

int PresetManager::findPreset (const Folder& folder, const juce::File& file)
{
    if (const auto found = std::find (folder.files.begin(), folder.files.end(), file); found != folder.files.end())
        return static_cast<int> (found - folder.files.begin());

    auto offset = static_cast<int> (folder.files.size());

    for (const auto& subfolder : folder.subfolders)
    {
        if (const auto index = findPreset (subfolder, file); index >= 0)
            return offset + index;

        offset += countPresets (subfolder);
    }

    return -1;
}

int PresetManager::indexOfCurrentPreset() const
{
    const auto file = processor->currentPresetFile;

    if (const auto index = findPreset (userRoot, file); index >= 0)
        return index;

    const auto index = findPreset (factoryRoot, file);
    return index >= 0 ? countPresets (userRoot) + index : -1;
}

juce::File PresetManager::presetAt (int index) const
{
    if (index < 0)
        return {};

    // Behind the user's presets, what is left of the index is one of the factory's.
    const auto file = presetIn (userRoot, index);
    return file != juce::File() ? file : presetIn (factoryRoot, index);
}

void PresetManager::stepToNextPreset()
{
    if (processor->presetManager == nullptr)
        return;

    const auto next = presetAt (std::max (0, indexOfCurrentPreset()) + 1);
    stepTo (next != juce::File() ? next : presetAt (0));
}

void PresetManager::stepToPreviousPreset()
{
    if (processor->presetManager == nullptr)
        return;

    const auto position = indexOfCurrentPreset();
    const auto total = countPresets (userRoot) + countPresets (factoryRoot);
    stepTo (presetAt ((position > 0 ? position : total) - 1));
}

void PresetManager::stepTo (const juce::File& target)
{
    if (target != juce::File())
    {
        setCurrentPreset (target);
        loadCurrentPreset();
    }

    call (listeners, &Listener::presetListChanged);
}

//==============================================================================
juce::File PresetManager::proposedFile() const
{
    const auto current = processor->currentPresetFile;
    const auto userFolder = getUserPresetFolder (*processor->settingsStore);
    auto start = current.exists() ? current : userFolder;

    if (start.isAChildOf (factoryRoot.folder))
        start = userFolder.getChildFile (current.getFileName());

    return start.withFileExtension (getPresetFileExtension());
}

juce::File PresetManager::fileToWrite (const juce::File& typed) const
{
    if (typed.getFileName().isEmpty() || typed.hasFileExtension (getPresetFileExtension()))
        return typed;

    return typed.getSiblingFile (typed.getFileName() + getPresetFileExtension()).getNonexistentSibling();
}

void PresetManager::askForNewName (const juce::File& proposal)
{
    using Flags = juce::FileBrowserComponent::FileChooserFlags;

    openChooser ("Save as..",
                 proposal,
                 "*" + getPresetFileExtension(),
                 Flags::saveMode | Flags::warnAboutOverwriting,
                 [this] (const juce::File& file)
                 { writePresetAs (fileToWrite (file)); });
}

void PresetManager::openChooser (const juce::String& title, const juce::File& initial, const juce::String& patterns, int browserFlags, std::function<void (const juce::File&)> chosen)
{
    fileChooser = std::make_unique<juce::FileChooser> (title, initial, patterns, true);
    fileChooser->launchAsync (browserFlags, [chosen = std::move (chosen)] (const juce::FileChooser& finished)
                              { chosen (finished.getResult()); });
}

} // namespace varnel
