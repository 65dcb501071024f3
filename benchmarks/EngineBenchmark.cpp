// SPDX-License-Identifier: AGPL-3.0-only
// Nanoseconds per stereo frame of the engine, and of juce::Reverb on the same audio as a yardstick.

#include "processor/ParameterTable.h"

#include <benchmark/benchmark.h>
#include <juce_audio_basics/juce_audio_basics.h>

#include <array>
#include <random>

namespace
{

constexpr int blockSize = 512;

enum class Signal
{
    noise,
    silenceAfterTail,
    denormals, // at rest otherwise: nothing covers them
    sweepingSize
};

constexpr float spinAsItIs = -1.0f;

/** A stereo block of white noise at half of full scale, and a copy to work on. */
struct Block
{
    Block()
    {
        std::minstd_rand random { 1 };
        std::uniform_real_distribution<float> sample { -0.5f, 0.5f };

        for (auto* channel : { &noiseL, &noiseR })
            for (auto& value : *channel)
                value = sample (random);

        for (size_t i = 0; i < denormals.size(); ++i)
            denormals[i] = noiseL[i] * 1e-39f;
    }

    void fill (Signal signal)
    {
        left = noiseL;
        right = noiseR;

        if (signal == Signal::silenceAfterTail)
            left = right = silence;
        else if (signal == Signal::denormals)
            left = right = denormals;
    }

    std::array<float, blockSize> noiseL, noiseR, denormals, silence {}, left {}, right {};
};

void reportFrames (benchmark::State& state)
{
    state.counters["time per frame"] = benchmark::Counter (static_cast<double> (state.iterations()) * blockSize, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/** The state's ranges: sample rate in Hz, frames in each call. */
void engine (benchmark::State& state, Signal signal, float spin = spinAsItIs)
{
    const auto framesPerCall = static_cast<int> (state.range (1));
    varnel::ReverbEngine reverb;
    reverb.prepare (static_cast<double> (state.range (0)), 2);

    for (const auto& parameter : varnel::parameterTable)
        (reverb.*parameter.apply) (parameter.defaultValue);

    if (spin >= 0.0f)
        reverb.setSpin (spin);

    Block block;
    float* const channels[] { block.left.data(), block.right.data() };

    // A tail of noise, and for what is next to nothing long enough after it that every state has come to rest.
    for (int i = 0; i < 200; ++i, block.fill (Signal::noise))
        reverb.processBlock (channels, 2, blockSize);

    if (signal == Signal::silenceAfterTail || signal == Signal::denormals)
        for (auto seconds = 0.0; seconds < 30.0; seconds += blockSize / static_cast<double> (state.range (0)))
        {
            block.fill (signal);
            reverb.processBlock (channels, 2, blockSize);
        }

    auto size = 0.0f;

    for (auto _ : state)
    {
        if (signal == Signal::sweepingSize)
        {
            size = size < 100.0f ? size + 1.0f : 0.0f;
            reverb.setSize (size);
        }

        block.fill (signal);

        for (int start = 0; start < blockSize; start += framesPerCall)
        {
            float* const part[] { channels[0] + start, channels[1] + start };
            reverb.processBlock (part, 2, framesPerCall);
        }

        benchmark::ClobberMemory();
    }

    reportFrames (state);
}

void juceReverb (benchmark::State& state, Signal signal)
{
    juce::Reverb reverb;
    reverb.setSampleRate (static_cast<double> (state.range (0)));

    Block block;

    for (auto _ : state)
    {
        block.fill (signal);
        reverb.processStereo (block.left.data(), block.right.data(), blockSize);
        benchmark::ClobberMemory();
    }

    reportFrames (state);
}

} // namespace

BENCHMARK_CAPTURE (engine, noise, Signal::noise)->ArgsProduct ({ { 44100, 48000, 96000, 192000 }, { blockSize } })->ArgsProduct ({ { 48000 }, { 64, 32, 16 } });
BENCHMARK_CAPTURE (engine, spinAtRest, Signal::noise, 0.0f)->Args ({ 48000, blockSize });
BENCHMARK_CAPTURE (engine, silence, Signal::silenceAfterTail)->ArgsProduct ({ { 44100, 48000, 96000, 192000 }, { blockSize } });
BENCHMARK_CAPTURE (engine, denormals, Signal::denormals)->Args ({ 48000, blockSize });
BENCHMARK_CAPTURE (engine, sweep, Signal::sweepingSize)->ArgsProduct ({ { 44100, 48000, 96000, 192000 }, { blockSize } });
BENCHMARK_CAPTURE (juceReverb, noise, Signal::noise)->Arg (48000);
