// SPDX-License-Identifier: AGPL-3.0-only
#include "Settings.h"

#include "Files.h"
#include "ParameterState.h"

namespace varnel
{

namespace
{

const juce::String productPath { "Ostry/Varnel Reverb" };

juce::File fileFromSetting (juce::ApplicationProperties& settings, const char* key, const juce::File& otherwise)
{
    const auto file = fileFromPath (settings.getUserSettings()->getValue (key));
    return file != juce::File() ? file : otherwise;
}

/** Whether there is a place for anybody's settings. A process that has been started without HOME, a daemon perhaps, is
    nobody's session: it must not end up in a home folder that the password file names. */
bool hasHome()
{
#if JUCE_LINUX || JUCE_BSD
    return juce::SystemStats::getEnvironmentVariable ("HOME", {}).isNotEmpty();
#else
    return true;
#endif
}

const juce::File nowhere { "/nonexistent" };

juce::String settingsFolder (const juce::File& parent)
{
    return parent.getChildFile ("Application Support").getChildFile (productPath).getFullPathName();
}

/** Whether a file is one that JUCE writes: as text, within the bounds that any XML has here. */
bool isSettingsFile (const juce::File& file)
{
    const auto bytes = startOf (file, longestStateText + 1);

    if (! bytes || ! isUtf8 (static_cast<const char*> (bytes->getData()), bytes->getSize()))
        return false;

    const auto text = textFrom (static_cast<const char*> (bytes->getData()), bytes->getSize());
    const auto xml = text.startsWithChar ('<') ? parseStateXml (text) : nullptr;
    return xml != nullptr && xml->getTagName() == "PROPERTIES";
}

bool putAside (const juce::File& file)
{
    return isRegularFile (file) && file.moveFileTo (file.getSiblingFile (file.getFileName() + ".unreadable"));
}

} // namespace

juce::PropertiesFile::Options settingsStorage (bool save)
{
    juce::PropertiesFile::Options options;
    options.applicationName = "Varnel Reverb";
    options.filenameSuffix = ".settings";
    options.folderName = settingsFolder (hasHome() ? juce::File::getSpecialLocation (juce::File::userApplicationDataDirectory) : nowhere);
    options.osxLibrarySubFolder = "Application Support";
    options.commonToAllUsers = false;
    options.ignoreCaseOfKeyNames = false;
    options.doNotSave = ! (save && hasHome());
    options.millisecondsBeforeSaving = 3000;
    options.storageFormat = juce::PropertiesFile::storeAsXML;
    options.processLock = nullptr;
    return options;
}

juce::PropertiesFile::Options checkedStorage (juce::PropertiesFile::Options storage)
{
    const auto file = storage.getDefaultFile();

    // Another instance may have put it aside in the meantime.
    if (! file.exists() || isSettingsFile (file) || (! storage.doNotSave && putAside (file)) || ! file.exists())
        return storage;

    storage.folderName = settingsFolder (nowhere);
    storage.doNotSave = true;
    return storage;
}

juce::File getFactoryPresetFolder()
{
    return juce::File::getSpecialLocation (juce::File::commonApplicationDataDirectory)
        .getChildFile ("Application Support")
        .getChildFile (productPath)
        .getChildFile ("Factory Presets");
}

juce::File getUserPresetFolder (juce::ApplicationProperties& settings)
{
    return fileFromSetting (settings,
                            settingsKeys::userPresetFolder,
                            juce::File::getSpecialLocation (juce::File::userDocumentsDirectory)
                                .getChildFile (productPath)
                                .getChildFile ("User Presets"));
}

juce::File getDefaultPresetFile (juce::ApplicationProperties& settings)
{
    return fileFromSetting (settings, settingsKeys::defaultPreset, getFactoryPresetFolder().getChildFile ("New Sound.xml"));
}

juce::File fileFromPath (const juce::String& path)
{
    if (path.startsWithChar ('~') || path.startsWithChar ('/'))
        return juce::File (juce::File::createLegalPathName (path));

    return {};
}

} // namespace varnel
