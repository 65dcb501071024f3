// SPDX-License-Identifier: AGPL-3.0-only
// What the fuzzers share. Each of them defines LLVMFuzzerTestOneInput(), which libFuzzer calls with bytes that it makes up.
#pragma once

#include "support/Plugin.h"
#include "support/TemporaryHome.h"

#include <juce_events/juce_events.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

/** Ends the fuzzer, which then keeps the input, if something does not hold. */
#define REQUIRE(condition)                                                                       \
    do                                                                                           \
    {                                                                                            \
        if (! (condition))                                                                       \
        {                                                                                        \
            std::fprintf (stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                        \
        }                                                                                        \
    } while (false)

namespace fuzz
{

/** JUCE, with a home folder that nobody lives in. */
struct Environment
{
    TemporaryHome home;
    juce::ScopedJuceInitialiser_GUI juce;
};

inline void deleteHome()
{
    juce::File::getSpecialLocation (juce::File::userHomeDirectory).deleteRecursively();
}

/** Never goes: what JUCE keeps in static objects would go before it. Only the home does, at the end. */
inline Environment& environment()
{
    static auto& instance = *[]
    {
        auto* const made = new Environment;
        std::atexit (deleteHome);
        return made;
    }();
    return instance;
}

/** A processor that lives as long as the fuzzer and knows nobody's settings. */
inline varnel::VarnelReverbAudioProcessor& processor()
{
    environment();
    static auto& instance = *new varnel::VarnelReverbAudioProcessor (varnel::VarnelReverbAudioProcessor::UserSettings::ignored,
                                                                     varnel::VarnelReverbAudioProcessor::Buses::on);
    return instance;
}

/** Moves every parameter to its default, so that an input does the same whatever came before it. */
inline void startAfresh (varnel::VarnelReverbAudioProcessor& processor)
{
    processor.applyState ({});
}

/** Whatever the bytes were: values that the engine may have, a state that comes back as itself, and finite sound. */
inline void requireSoundState (varnel::VarnelReverbAudioProcessor& processor)
{
    const auto before = values (processor);

    for (size_t i = 0; i < before.size(); ++i)
        REQUIRE (before[i] >= varnel::parameterTable[i].start && before[i] <= varnel::parameterTable[i].end);

    juce::MemoryBlock chunk, again;
    processor.getStateInformation (chunk);
    REQUIRE (processor.restoreState (chunk.getData(), static_cast<int> (chunk.getSize())).wasOk());
    processor.getStateInformation (again);
    REQUIRE (values (processor) == before);
    REQUIRE (chunk == again);

    juce::AudioBuffer<float> block (2, 64);
    block.clear();
    block.setSample (0, 0, 1.0f);
    juce::MidiBuffer midi;
    processor.processBlock (block, midi);

    for (int channel = 0; channel < 2; ++channel)
        for (int i = 0; i < block.getNumSamples(); ++i)
            REQUIRE (std::isfinite (block.getSample (channel, i)));
}

/** Puts bytes into a file in the home folder. */
inline juce::File fileOf (const char* name, const uint8_t* data, size_t size)
{
    const auto file = juce::File::getSpecialLocation (juce::File::userHomeDirectory).getChildFile (name);
    REQUIRE (file.replaceWithData (data, size));
    return file;
}

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size);
