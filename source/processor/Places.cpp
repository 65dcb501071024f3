// SPDX-License-Identifier: AGPL-3.0-only
#include "Places.h"

#include "Settings.h"
#include "processor/Product.h"

namespace varnel
{

namespace
{

juce::File fileFromSetting (juce::ApplicationProperties& settings, const char* key, const juce::File& otherwise)
{
    const auto file = fileFromPath (settings.getUserSettings()->getValue (key));
    return file != juce::File() ? file : otherwise;
}

} // namespace

juce::File getFactoryPresetFolder()
{
    return juce::File::getSpecialLocation (juce::File::commonApplicationDataDirectory)
        .getChildFile (product::factoryFolder);
}

juce::File getUserPresetFolder (juce::ApplicationProperties& settings)
{
    return fileFromSetting (settings,
                            settingsKeys::userPresetFolder,
                            juce::File::getSpecialLocation (juce::File::userDocumentsDirectory)
                                .getChildFile (product::folder)
                                .getChildFile ("User Presets"));
}

juce::File getDefaultPresetFile (juce::ApplicationProperties& settings)
{
    return fileFromSetting (settings, settingsKeys::defaultPreset, getFactoryPresetFolder().getChildFile ("New Sound.xml"));
}

juce::File fileFromPath (const juce::String& path)
{
    if (! path.startsWithChar ('~') && ! juce::File::isAbsolutePath (path))
        return {};

    const juce::File legal (juce::File::createLegalPathName (path)), stored (path);
    return stored.exists() && ! legal.exists() ? stored : legal;
}

} // namespace varnel
