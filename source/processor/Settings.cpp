// SPDX-License-Identifier: AGPL-3.0-only
#include "Settings.h"

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

} // namespace

juce::PropertiesFile::Options settingsStorage (bool save)
{
    const auto folder = hasHome() ? juce::File::getSpecialLocation (juce::File::userApplicationDataDirectory) : juce::File ("/nonexistent");

    juce::PropertiesFile::Options options;
    options.applicationName = "Varnel Reverb";
    options.filenameSuffix = ".settings";
    options.folderName = folder.getChildFile ("Application Support").getChildFile (productPath).getFullPathName();
    options.osxLibrarySubFolder = "Application Support";
    options.commonToAllUsers = false;
    options.ignoreCaseOfKeyNames = false;
    options.doNotSave = ! (save && hasHome());
    options.millisecondsBeforeSaving = 3000;
    options.storageFormat = juce::PropertiesFile::storeAsXML;
    options.processLock = nullptr;
    return options;
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
