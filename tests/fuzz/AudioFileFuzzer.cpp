// SPDX-License-Identifier: AGPL-3.0-only
// An audio file that the renderer is asked to read.

#include "Fuzz.h"

#include "render/AudioFiles.h"
#include "render/Errors.h"
#include "render/Options.h"

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    fuzz::environment();
    constexpr int blockSize = 512;
    constexpr juce::int64 enoughSamples = 1 << 16; // a few bytes can stand for hours of silence

    try
    {
        varnel::InputAudioFile file (fuzz::fileOf ("input", data, size));
        REQUIRE (file.numChannels() > 0 && file.numSamples() > 0);
        REQUIRE (file.sampleRate() >= varnel::lowestSampleRate && file.sampleRate() <= varnel::highestSampleRate);

        juce::AudioBuffer<float> buffer (file.numChannels(), blockSize);
        const auto end = std::min (file.numSamples(), std::max<juce::int64> (blockSize, enoughSamples / file.numChannels()));

        for (juce::int64 at = 0; at < end; at += blockSize)
            file.read (buffer, static_cast<int> (std::min<juce::int64> (blockSize, end - at)));
    }
    catch (const varnel::RenderError&)
    {
        // What it is for
    }

    return 0;
}
