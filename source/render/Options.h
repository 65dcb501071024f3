// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <map>
#include <optional>

namespace varnel
{

constexpr double lowestSampleRate = 1.0, highestSampleRate = 768000.0; ///< Hz

/** What the command line asks varnel-render to do. */
struct Options
{
    juce::File input;                     ///< none with an impulse
    juce::File output;                    ///< none if no audio is asked for
    std::optional<juce::File> state;      ///< a host chunk or binary record to start from
    std::optional<juce::String> preset;   ///< a preset to start from: its name, "Folder/Name" or path
    std::optional<juce::File> saveState;  ///< where to write the settings in force as a host chunk
    std::optional<juce::File> savePreset; ///< and as an XML preset
    bool listPresets = false;
    std::map<juce::String, float> settings; ///< plain values by parameter ID
    std::optional<double> tailSeconds;      ///< without it, until the tail is inaudible
    std::optional<double> impulseSeconds;   ///< length of the impulse response to write
    double impulseSampleRate = 48000.0;     ///< Hz
    int blockSize = 512;                    ///< samples
    std::optional<int> bits;                ///< 16, 24, or 32 for float
    bool mono = false;
    bool quiet = false;
};

/** Reads the command line. Answers --help, --version and --list-parameters itself.
    @returns nothing when all is done
    @throws UsageError */
std::optional<Options> parseOptions (int argc, const char* const* argv);

} // namespace varnel
