// SPDX-License-Identifier: AGPL-3.0-only
// What an instance costs a session: coming up, going down, its state. The median of repeated runs counts.

#include "processor/VarnelReverbAudioProcessor.h"

#include <benchmark/benchmark.h>

#include <memory>

using varnel::VarnelReverbAudioProcessor;

namespace
{

constexpr auto unbiased = VarnelReverbAudioProcessor::UserSettings::ignored;

void construct (benchmark::State& state)
{
    for (auto _ : state)
    {
        auto processor = std::make_unique<VarnelReverbAudioProcessor> (unbiased);
        state.PauseTiming();
        processor.reset();
        state.ResumeTiming();
    }
}

void destroy (benchmark::State& state)
{
    for (auto _ : state)
    {
        state.PauseTiming();
        auto processor = std::make_unique<VarnelReverbAudioProcessor> (unbiased);
        state.ResumeTiming();
        processor.reset();
    }
}

void getState (benchmark::State& state)
{
    VarnelReverbAudioProcessor processor (unbiased);
    juce::MemoryBlock chunk;

    for (auto _ : state)
        processor.getStateInformation (chunk);

    state.counters["bytes"] = static_cast<double> (chunk.getSize());
}

void setState (benchmark::State& state)
{
    VarnelReverbAudioProcessor processor (unbiased);
    juce::MemoryBlock chunks[2];

    // Two states in turn, so that every parameter moves each time
    for (auto& chunk : chunks)
    {
        processor.getStateInformation (chunk);

        for (auto* parameter : processor.getParameters())
            parameter->setValueNotifyingHost (1.0f - parameter->getValue());
    }

    for (size_t i = 0; state.KeepRunning(); ++i)
        processor.setStateInformation (chunks[i % 2].getData(), static_cast<int> (chunks[i % 2].getSize()));
}

} // namespace

BENCHMARK (construct)->Unit (benchmark::kMicrosecond);
BENCHMARK (destroy)->Unit (benchmark::kMicrosecond);
BENCHMARK (getState)->Unit (benchmark::kMicrosecond);
BENCHMARK (setState)->Unit (benchmark::kMicrosecond);
