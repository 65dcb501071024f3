// SPDX-License-Identifier: AGPL-3.0-only
// How long the window waits for a large collection of presets.

#include "presets/PresetFiles.h"
#include "processor/VarnelReverbAudioProcessor.h"

#include <benchmark/benchmark.h>

namespace
{

/** Ten thousand presets in a hundred folders, scanned and sorted. */
void scanPresets (benchmark::State& state)
{
    const auto root = juce::File::createTempFile ("varnel-presets");
    varnel::VarnelReverbAudioProcessor processor (varnel::VarnelReverbAudioProcessor::UserSettings::ignored);
    varnel::PresetManager manager (processor);
    juce::Random random (1);

    for (int folder = 0; folder < 100; ++folder)
        for (int file = 0; file < 100; ++file)
        {
            const auto preset = root.getChildFile ("Folder " + juce::String (folder * 7919 % 1000))
                                    .getChildFile ("Preset " + juce::String (random.nextInt (10000)) + "-" + juce::String (file) + ".xml");
            preset.create();
        }

    varnel::PresetManager::Folder folder { &manager, root, {}, {} };

    for (auto _ : state)
        varnel::scanPresets (folder);

    state.counters["presets"] = varnel::PresetManager::countPresets (folder);
    root.deleteRecursively();
}

} // namespace

BENCHMARK (scanPresets)->Unit (benchmark::kMillisecond);
