// SPDX-License-Identifier: AGPL-3.0-only
// The processor without a format around it: what every host has to make it sound like.
#pragma once

#include "Plugin.h"
#include "processor/HostBinding.h"

#include <thread>

inline const auto stereo = juce::AudioChannelSet::stereo();

/** Runs something on a thread that is not the message thread, as a host runs its blocks. */
template <typename Function>
void onAudioThread (Function&& function)
{
    std::thread (std::forward<Function> (function)).join();
}

/** Noise from a generator of our own, the same in every run. */
inline juce::AudioBuffer<float> noise (int numChannels, int numSamples, juce::uint32 seed = 1)
{
    juce::AudioBuffer<float> buffer (numChannels, numSamples);
    for (int channel = 0; channel < numChannels; ++channel)
        for (int i = 0; i < numSamples; ++i)
        {
            seed = seed * 1664525u + 1013904223u;
            buffer.setSample (channel, i, static_cast<float> (static_cast<int> (seed)) * 0x1p-33f);
        }
    return buffer;
}

/** Runs a buffer through something in blocks, on an audio thread. */
template <typename Process>
juce::AudioBuffer<float> inBlocks (juce::AudioBuffer<float> buffer, int blockSize, Process&& process, const juce::MidiBuffer& atStart = {})
{
    onAudioThread ([&]
                   {
        juce::MidiBuffer midi (atStart);
        for (int start = 0; start < buffer.getNumSamples(); start += blockSize)
        {
            juce::AudioBuffer<float> block (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), start, std::min (blockSize, buffer.getNumSamples() - start));
            process (block, midi);
            midi.clear();
        } });
    return buffer;
}

/** The processor itself, without a format around it: what a hosted one has to sound like. */
struct Reference
{
    Reference (const juce::AudioChannelSet& in, const juce::AudioChannelSet& out, double sampleRate, int blockSize)
    {
        EXPECT_TRUE (binding.setLayout (in, out));
        binding.prepare (sampleRate, blockSize);
    }

    juce::AudioBuffer<float> run (const juce::AudioBuffer<float>& buffer, int blockSize)
    {
        return inBlocks (buffer, blockSize, [this] (auto& block, auto& midi)
                         { binding.process (block, midi); });
    }

    varnel::VarnelReverbAudioProcessor processor { varnel::VarnelReverbAudioProcessor::UserSettings::ignored };
    varnel::HostBinding binding { processor };
};

inline void expectSame (const juce::AudioBuffer<float>& hosted, const juce::AudioBuffer<float>& expected, const juce::String& where)
{
    ASSERT_EQ (hosted.getNumChannels(), expected.getNumChannels()) << where;
    ASSERT_EQ (hosted.getNumSamples(), expected.getNumSamples()) << where;
    for (int channel = 0; channel < expected.getNumChannels(); ++channel)
        for (int i = 0; i < expected.getNumSamples(); ++i)
            ASSERT_EQ (hosted.getSample (channel, i), expected.getSample (channel, i)) << where << ": channel " << channel << ", sample " << i;
}
