// SPDX-License-Identifier: AGPL-3.0-only
// How long the window waits for a large collection of presets.

#include "presets/PresetTree.h"
#include "processor/StateChunk.h"

#include <benchmark/benchmark.h>

namespace
{

void create (const juce::File& folder, int numPresets)
{
    juce::Random random (1);

    for (int i = 0; i < numPresets; ++i)
        folder.getChildFile ("Preset " + juce::String (random.nextInt (10000)) + "-" + juce::String (i) + ".xml").create();
}

void scan (benchmark::State& state, const juce::File& root)
{
    varnel::PresetFolder folder;
    folder.folder = root;

    for (auto _ : state)
        varnel::scanPresets (folder);

    state.counters["presets"] = varnel::countPresets (folder);
    root.deleteRecursively();
}

/** So many presets, a hundred in a folder. */
void scanPresets (benchmark::State& state)
{
    const auto root = juce::File::createTempFile ("varnel-presets");

    for (int i = 0; i < state.range (0) / 100; ++i)
        create (root.getChildFile ("Folder " + juce::String (i * 7919 % 1000)), 100);

    scan (state, root);
}

/** Folders within each other, so many, whose names have one letter. */
void scanDepth (benchmark::State& state)
{
    const auto root = juce::File::createTempFile ("varnel-presets");
    const auto deepest = root.getChildFile (juce::String::repeatedString ("d/", static_cast<int> (state.range (0))));
    create (deepest, 1);
    scan (state, root);
}

void readChunk (benchmark::State& state)
{
    juce::MemoryBlock chunk;
    varnel::StateChunk::write (varnel::treeFromState ({}), chunk);

    for (auto _ : state)
        benchmark::DoNotOptimize (varnel::StateChunk().read (chunk.getData(), static_cast<int> (chunk.getSize())).wasOk());
}

} // namespace

BENCHMARK (scanPresets)->Unit (benchmark::kMillisecond)->Arg (10000)->Arg (20000);
BENCHMARK (scanDepth)->Unit (benchmark::kMillisecond)->Arg (500)->Arg (1000);
BENCHMARK (readChunk)->Unit (benchmark::kMicrosecond);
