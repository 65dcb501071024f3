// SPDX-License-Identifier: AGPL-3.0-only
// The processor in the hands of a host that does what no host should.

#include "support/Plugin.h"

#include <cmath>

using varnel::VarnelReverbAudioProcessor;

namespace
{

using Buses = VarnelReverbAudioProcessor::Buses;
using UserSettings = VarnelReverbAudioProcessor::UserSettings;

/** Runs an impulse through a processor. @returns the left output */
std::vector<float> impulseThrough (VarnelReverbAudioProcessor& processor, int numSamples, int numChannels = 2)
{
    juce::AudioBuffer<float> buffer (numChannels, numSamples);
    buffer.clear();
    buffer.setSample (0, 0, 1.0f);
    juce::MidiBuffer midi;
    processor.processBlock (buffer, midi);
    return { buffer.getReadPointer (0), buffer.getReadPointer (0) + numSamples };
}

bool isSound (const std::vector<float>& samples)
{
    return std::all_of (samples.begin(), samples.end(), [] (float sample)
                        { return std::abs (sample) < 40.0f; });
}

} // namespace

TEST (Extremes, AProcessorNeedsNeitherPreparationNorRelease)
{
    VarnelReverbAudioProcessor processor (UserSettings::ignored, Buses::on);
    EXPECT_TRUE (isSound (impulseThrough (processor, 5000)));

    // Prepared over and over again, for sizes of blocks that then do not come
    for (const auto rate : { 1.0, 1536000.0, 44100.0, 11025.0, 48000.0 })
        for (const auto size : { 0, 1, 1048576 })
        {
            processor.prepareToPlay (rate, size);
            EXPECT_TRUE (isSound (impulseThrough (processor, 777))) << rate;
        }

    processor.releaseResources();
    processor.releaseResources();
    processor.reset();
    EXPECT_TRUE (isSound (impulseThrough (processor, 5000))) << "a released one goes on";

    for (int numChannels = 1; numChannels <= 64; ++numChannels)
        EXPECT_TRUE (isSound (impulseThrough (processor, 100, numChannels))) << numChannels;

    EXPECT_TRUE (isSound (impulseThrough (processor, 1048576)));
}
