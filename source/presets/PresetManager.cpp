// SPDX-License-Identifier: AGPL-3.0-only
#include "PresetManager.h"

#include "processor/Files.h"
#include "processor/Places.h"
#include "processor/PresetFile.h"
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

} // namespace

void PresetProcessor::tellCurrentPresetChanged()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

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
    return presetFileExtension;
}

juce::String PresetManager::getBinaryPresetFileExtension() const
{
    return binaryPresetFileExtension;
}

void PresetManager::rescan()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    userRoot = { this, getUserPresetFolder (*processor->settingsStore), {}, {} };

    for (auto* root : { &userRoot, &factoryRoot })
        scanPresets (*root, { getPresetFileExtension(), getBinaryPresetFileExtension() });

    call (listeners, &Listener::presetListChanged);
}

//==============================================================================
void PresetManager::loadCurrentPreset()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    loadPreset (*processor, juce::File (processor->currentPresetFile));
}

void PresetManager::setCurrentPreset (const juce::File& file)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    if (file == processor->currentPresetFile)
        return;

    processor->currentPresetFile = file;
    call (listeners, &Listener::currentPresetChanged);
}

void PresetManager::savePreset()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    const auto file = processor->currentPresetFile;

    if (! file.existsAsFile())
        return;

    if (file.isAChildOf (factoryRoot.folder))
        askForNewName (proposedFile());
    else
        writePresetFile (processor->copyParameterState(), file);
}

void PresetManager::writePresetAs (const juce::File& file)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    if (file.getFileName().isEmpty())
        return;

    setCurrentPreset (file);

    auto state = processor->copyParameterState();
    state.setProperty (stateIds::presetName, "", nullptr);
    file.getParentDirectory().createDirectory();
    writePresetFile (state, file);

    processor->setPresetName (file.getFullPathName());
    rescan();
}

void PresetManager::setAsDefaultPreset()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    if (const auto file = processor->currentPresetFile; file.existsAsFile())
        processor->settingsStore->getUserSettings()->setValue (settingsKeys::defaultPreset, file.getFullPathName());
}

//==============================================================================
int PresetManager::countPresets (const Folder& folder)
{
    return varnel::countPresets (folder);
}

int PresetManager::findPreset (const Folder& folder, const juce::File& file)
{
    return varnel::findPreset (folder, file);
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
    return varnel::presetAt ({ &userRoot, &factoryRoot }, index);
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
        start = childOf (userFolder, current.getFileName());

    const auto name = start.getFileName();
    return childOf (start.getParentDirectory(), (name.containsChar ('.') ? name.upToLastOccurrenceOf (".", false, false) : name) + getPresetFileExtension());
}

juce::File PresetManager::fileToWrite (const juce::File& typed) const
{
    const auto extension = getPresetFileExtension();

    if (typed.getFileName().isEmpty() || typed.hasFileExtension (extension))
        return typed;

    const auto folder = typed.getParentDirectory();
    auto file = childOf (folder, typed.getFileName() + extension);

    for (int i = 2; file.exists(); ++i)
        file = childOf (folder, typed.getFileName() + "(" + juce::String (i) + ")" + extension);

    return file;
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
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    fileChooser = std::make_unique<juce::FileChooser> (title, initial, patterns, true);
    fileChooser->launchAsync (browserFlags, [chosen = std::move (chosen)] (const juce::FileChooser& finished)
                              { chosen (finished.getResult()); });
}

} // namespace varnel
