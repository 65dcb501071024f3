// SPDX-License-Identifier: AGPL-3.0-only
// The user's settings file, as an instance finds it when it comes up and leaves it when it goes.

#include "Fuzz.h"

#include "processor/Places.h"
#include "processor/Settings.h"

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    fuzz::processor(); // keeps JUCE's timer thread, which would otherwise come and go with each input

    const auto file = varnel::settingsStorage (true).getDefaultFile();
    REQUIRE (file.getParentDirectory().createDirectory().wasOk());
    REQUIRE (file.replaceWithData (data, size));

    {
        varnel::VarnelReverbAudioProcessor instance;
        auto& settings = *instance.settings.getUserSettings();
        settings.getDoubleValue (varnel::settingsKeys::scale);
        settings.getBoolValue (varnel::settingsKeys::showTooltips);
        varnel::getUserPresetFolder (instance.settings);
        fuzz::requireSoundState (instance);

        settings.setValue (varnel::settingsKeys::scale, 0.75);
        instance.midiControllers[0] = 7;
        instance.midiMapDirty = true;
    }

    // Whatever stood there, what an instance saves is there for the next one.
    {
        varnel::VarnelReverbAudioProcessor instance;
        REQUIRE (instance.settings.getUserSettings()->getDoubleValue (varnel::settingsKeys::scale) == 0.75); // NOLINT: stored as text
        REQUIRE (instance.midiControllers[0] == 7);
    }

    for (const auto& left : file.getParentDirectory().findChildFiles (juce::File::findFiles, false))
        left.deleteFile();

    return 0;
}
