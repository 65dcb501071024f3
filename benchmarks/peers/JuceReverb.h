// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

/** juce::Reverb at its defaults, as a plug-in without a format, so that it is called like the others. */
class JuceReverb final : public juce::AudioPluginInstance
{
public:
    JuceReverb()
        : AudioPluginInstance (BusesProperties()
                                   .withInput ("Input", juce::AudioChannelSet::stereo())
                                   .withOutput ("Output", juce::AudioChannelSet::stereo()))
    {
    }

    void prepareToPlay (double sampleRate, int) override
    {
        reverb.setSampleRate (sampleRate);
        reverb.reset();
    }

    void processBlock (juce::AudioBuffer<float>& buffer, juce::MidiBuffer&) override
    {
        reverb.processStereo (buffer.getWritePointer (0), buffer.getWritePointer (1), buffer.getNumSamples());
    }

    using AudioPluginInstance::processBlock;

    const juce::String getName() const override { return "juce::Reverb"; }
    void fillInPluginDescription (juce::PluginDescription& description) const override { description.name = getName(); }
    void releaseResources() override {}
    double getTailLengthSeconds() const override { return 0.0; }
    bool acceptsMidi() const override { return false; }
    bool producesMidi() const override { return false; }
    bool hasEditor() const override { return false; }
    juce::AudioProcessorEditor* createEditor() override { return nullptr; }
    int getNumPrograms() override { return 1; }
    int getCurrentProgram() override { return 0; }
    void setCurrentProgram (int) override {}
    const juce::String getProgramName (int) override { return {}; }
    void changeProgramName (int, const juce::String&) override {}
    void getStateInformation (juce::MemoryBlock&) override {}
    void setStateInformation (const void*, int) override {}

private:
    juce::Reverb reverb;
};
