// SPDX-License-Identifier: AGPL-3.0-only
// A preset file of either form, and the preset that is written from what it left.

#include "Fuzz.h"

#include "processor/PresetFile.h"

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    auto& processor = fuzz::processor();
    fuzz::startAfresh (processor);

    varnel::loadPreset (processor, fuzz::fileOf ("preset.xml", data, size));
    fuzz::requireSoundState (processor);

    // What is saved loads as the same.
    const auto before = values (processor);
    const auto saved = juce::File::getSpecialLocation (juce::File::userHomeDirectory).getChildFile ("saved.xml");
    processor.setPresetName ("saved");
    REQUIRE (varnel::writePresetFile (processor.copyParameterState(), saved).wasOk());
    fuzz::startAfresh (processor);
    varnel::loadPreset (processor, saved);
    REQUIRE (values (processor) == before);
    return 0;
}
