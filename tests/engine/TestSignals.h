// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "processor/ParameterTable.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

/** White noise from -0.5 to 0.5, the same on every machine. */
struct Noise
{
    float operator()() noexcept
    {
        state = state * 1664525u + 1013904223u;
        return static_cast<float> (static_cast<std::int32_t> (state >> 8) - (1 << 23)) / 16777216.0f;
    }

    std::uint32_t state = 1;
};

/** FNV-1a, over 32 bits at a time. */
struct Hash
{
    void add (std::uint32_t bits) noexcept { state = (state ^ bits) * 1099511628211u; }
    void add (float x) noexcept { add (varnel::bitCast<std::uint32_t> (x)); }

    std::uint64_t state = 14695981039346656037u;
};

/** An engine that is ready to run, at the defaults but for the values given by parameter ID. */
inline std::unique_ptr<varnel::ReverbEngine> preparedEngine (double sampleRate, std::initializer_list<std::pair<const char*, float>> values = {}, int numInputChannels = 2)
{
    auto engine = std::make_unique<varnel::ReverbEngine>();
    engine->prepare (sampleRate, numInputChannels);

    for (const auto& parameter : varnel::parameterTable)
    {
        auto value = parameter.defaultValue;

        for (const auto& [id, wanted] : values)
            if (std::string_view (id) == parameter.id)
                value = wanted;

        (*engine.*parameter.apply) (value);
    }

    return engine;
}

using Channels = std::vector<std::vector<float>>;

inline Channels silence (std::size_t numChannels, int numSamples)
{
    return Channels (numChannels, std::vector<float> (static_cast<std::size_t> (numSamples)));
}

/** Runs the engine over the channels in place, in blocks of a size. */
inline void run (varnel::ReverbEngine& engine, Channels& channels, int blockSize)
{
    const auto total = static_cast<int> (channels.front().size());

    for (int start = 0; start < total; start += blockSize)
    {
        std::vector<float*> pointers;

        for (auto& channel : channels)
            pointers.push_back (channel.data() + start);

        engine.processBlock (pointers.data(), static_cast<int> (pointers.size()), std::min (blockSize, total - start));
    }
}

inline Channels noiseChannels (Noise& noise, std::size_t numChannels, int numSamples)
{
    auto channels = silence (numChannels, numSamples);

    for (std::size_t i = 0; i < static_cast<std::size_t> (numSamples); ++i)
        for (auto& channel : channels)
            channel[i] = noise();

    return channels;
}

/** Runs the engine over stereo noise. @returns the left output followed by the right one */
inline std::vector<float> runNoise (varnel::ReverbEngine& engine, Noise& noise, int numSamples, int blockSize)
{
    auto channels = noiseChannels (noise, 2, numSamples);
    run (engine, channels, blockSize);
    channels[0].insert (channels[0].end(), channels[1].begin(), channels[1].end());
    return channels[0];
}
