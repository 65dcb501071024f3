// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "engine/ParameterTable.h"
#include "engine/ReverbEngine.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <functional>
#include <vector>

namespace varnel
{

/** The plug-in: seven parameters, the engine behind them, and a map of MIDI controllers.

    Threads: processBlock() on the host's audio thread; construction, destruction and createEditor() on
    the message thread; parameter changes, state and prepareToPlay() on any. A parameter's change reaches
    the engine on the thread that makes it, without a lock. prepareToPlay() must not overlap a block.
*/
class VarnelReverbAudioProcessor : public juce::AudioProcessor
{
public:
    /** What a parameter does when it changes: hands the plain value on to onChange, on the thread of the change. */
    struct ParamChangeCallback : juce::AudioProcessorValueTreeState::Listener,
                                 juce::ReferenceCountedObject
    {
        ParamChangeCallback (std::function<void (float)> onChangeToUse, std::atomic<float>* rawValueToUse);

        void parameterChanged (const juce::String& id, float newValue) override;

        std::function<void (float)> onChange;
        std::atomic<float>* rawValue; ///< owned by the parameter state
    };

    VarnelReverbAudioProcessor();
    ~VarnelReverbAudioProcessor() override;

    const juce::String getName() const override;

    /** Builds the engine for a sample rate in Hz, which drops any tail. The block size is free.
        @throws std::bad_alloc */
    void prepareToPlay (double sampleRate, int samplesPerBlock) override;
    void releaseResources() override;

    /** Reverberates channels 0 and 1 in place, then looks for controllers in the MIDI. Any number of
        channels and samples will do, also none. */
    void processBlock (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override;
    using juce::AudioProcessor::processBlock;

    double getTailLengthSeconds() const override;
    bool acceptsMidi() const override;
    bool producesMidi() const override;
    bool isMidiEffect() const override;

    juce::AudioProcessorEditor* createEditor() override;
    bool hasEditor() const override;

    int getNumPrograms() override;
    int getCurrentProgram() override;
    void setCurrentProgram (int index) override;
    const juce::String getProgramName (int index) override;
    void changeProgramName (int index, const juce::String& newName) override;

    /** Writes the parameter tree as XML in the layout of copyXmlToBinary(). */
    void getStateInformation (juce::MemoryBlock& destData) override;

    /** Takes what getStateInformation() wrote; anything else changes nothing. */
    void setStateInformation (const void* data, int sizeInBytes) override;

    juce::AudioProcessorValueTreeState parameterState;

    /** The controller number of each parameter, in host order: 0 to 127, notBound or learning. */
    std::vector<SharedValue<int>> midiControllers;
    static constexpr int notBound = -1;
    static constexpr int learning = -2; ///< the next controller message binds the parameter

    std::vector<juce::String> paramIds; ///< in host order
    SharedValue<bool> midiMapDirty { false };

    ReverbEngine engine;

private:
    void addParameterWithCallback (const juce::String& id,
                                   const juce::String& name,
                                   const juce::String& label,
                                   const juce::NormalisableRange<float>& range,
                                   float defaultValue,
                                   std::function<juce::String (float, int)> valueToText,
                                   std::function<float (const juce::String&)> textToValue,
                                   std::function<void (float)> onChange);
    void refreshEngine();
    void scanControllers (const juce::MidiBuffer& midi);

    std::vector<juce::ReferenceCountedObjectPtr<ParamChangeCallback>> paramCallbacks;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (VarnelReverbAudioProcessor)
};

} // namespace varnel
