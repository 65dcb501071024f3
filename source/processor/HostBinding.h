// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "VarnelReverbAudioProcessor.h"

#include <optional>

namespace varnel
{

/** The plug-in as a host sees it, whatever the host's format: which layouts it takes, its one chunk of state, the host's
    own bypass and its parameters. What it is called stands in Product.h.

    The formats' wrappers drive the processor themselves; the renderer and the tests do it by way of this.
    The processor has to outlive the binding. Message thread, unless an operation says otherwise.
*/
class HostBinding
{
public:
    static constexpr juce::uint32 chunkType = 0x6a756365; ///< "juce", of the only chunk
    static constexpr juce::uint32 midiChannels = 0xffff;  ///< a bit for each that is heard

    /** The host's bypass, which is no parameter of ours: "Bypass" is another thing, and forgets the tail. */
    static constexpr auto masterBypassId = "MasterBypassID";

    explicit HostBinding (VarnelReverbAudioProcessor& processorToBind);

    bool accepts (const juce::AudioChannelSet& input, const juce::AudioChannelSet& output) const;

    /** Turns the buses on. @returns false, and changes nothing, if the processor does not take the pair */
    bool setLayout (const juce::AudioChannelSet& input, const juce::AudioChannelSet& output);

    /** Has to come before the first block and not during one. @throws std::bad_alloc */
    void prepare (double sampleRate, int largestBlock);

    /** Runs a block. Audio thread. */
    void process (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi);

    /** Silences what rings on, without allocating. Audio thread, between blocks. */
    void forgetTail();

    int latency() const;

    /** Sets a parameter to a normalised value. Any thread.
        @returns false if there is none of this ID; among those are "PreviewID", which hosts may try */
    bool setParameter (const juce::String& id, float value);

    /** A parameter's normalised value, if there is one of this ID. Any thread. */
    std::optional<float> parameterValue (const juce::String& id) const;

    /** Sets the parameter at a place in host order to a plain value within its range. Its default is not moved to a step.
        Any thread, the audio thread too: it takes the listeners' locks. */
    void setPlainValue (size_t index, float value);

    /** The plain value that sounds. Any thread. */
    float plainValue (size_t index) const;

    /** What a host stores. There is only chunkType. Any thread. */
    std::optional<juce::MemoryBlock> chunk (juce::uint32 type) const;

    /** Takes a chunk back. @returns why not, if nothing was changed. Any thread. */
    juce::Result setChunk (juce::uint32 type, const void* data, size_t numBytes);

private:
    VarnelReverbAudioProcessor& processor;
    SharedValue<bool> bypassedByHost { false };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (HostBinding)
};

} // namespace varnel
