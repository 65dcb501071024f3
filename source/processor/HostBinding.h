// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "VarnelReverbAudioProcessor.h"

#include <array>
#include <atomic>
#include <optional>

namespace varnel
{

/** The plug-in as a host sees it, whatever the host's format: who it is, which layouts it takes, its one chunk of
    state, the host's own bypass, and parameter changes in both directions.

    The formats' wrappers drive the processor themselves and own a binding for one thing only: to answer controllers.
    The processor tells its listeners what a bound controller says and leaves the parameter where it is; some hosts take
    that for a change and set the parameter, others do not. For those the binding does it, within 20 ms, on the message
    thread. Whoever speaks last about a parameter, controller or host, is the one who is heard.

    The processor has to outlive the binding. Message thread, unless an operation says otherwise.
*/
class HostBinding : private juce::AudioProcessorListener,
                    private juce::Timer
{
public:
    // What every format is told, in its own terms
    static constexpr auto effectId = "com.Ostry.Reverb";
    static constexpr auto manufacturer = "Ostry";
    static constexpr auto name = "Varnel Reverb"; ///< of the package, the effect and the MIDI input
    static constexpr juce::uint32 version = 0x10101;
    static constexpr juce::uint32 manufacturerCode = 0x4f737479; ///< "Osty"
    static constexpr juce::uint32 productCode = 0x52366939;      ///< "R6i9"
    static constexpr juce::uint32 chunkType = 0x6a756365;        ///< "juce", of the only chunk
    static constexpr juce::uint32 midiChannels = 0xffff;         ///< a bit for each that is heard

    /** The host's bypass, which is no parameter of ours: "Bypass" is another thing, and forgets the tail. */
    static constexpr auto masterBypassId = "MasterBypassID";

    explicit HostBinding (VarnelReverbAudioProcessor& processorToBind);
    ~HostBinding() override;

    /** Whether hosts of a format answer a controller's message, which the binding then must not. */
    static bool hostAnswers (juce::AudioProcessor::WrapperType format);

    bool accepts (const juce::AudioChannelSet& input, const juce::AudioChannelSet& output) const;

    /** Turns the buses on. @returns false, and changes nothing, if the processor does not take the pair */
    bool setLayout (const juce::AudioChannelSet& input, const juce::AudioChannelSet& output);

    /** Has to come before the first block and not during one. @throws std::bad_alloc */
    void prepare (double sampleRate, int largestBlock);

    /** Runs a block. Audio thread. */
    void process (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi);

    int latency() const;

    /** Sets a parameter to a normalised value. Any thread.
        @returns false if there is none of this ID; among those are "PreviewID", which hosts may try */
    bool setParameter (const juce::String& id, float value);

    /** A parameter's normalised value, if there is one of this ID. Any thread. */
    std::optional<float> parameterValue (const juce::String& id) const;

    /** What a host stores. There is only chunkType. Any thread. */
    std::optional<juce::MemoryBlock> chunk (juce::uint32 type) const;

    /** Takes a chunk back. @returns why not, if nothing was changed. Any thread. */
    juce::Result setChunk (juce::uint32 type, const void* data, size_t numBytes);

    /** Sets parameters to what their controllers have said, where no host will. A timer calls it. */
    void answerMessages();

private:
    void audioProcessorParameterChanged (juce::AudioProcessor*, int index, float told) override;
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override {}
    void audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index) override;
    void audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index) override;
    void timerCallback() override;

    juce::RangedAudioParameter& parameterAt (size_t index) const;

    static constexpr float noMessage = -1.0f;
    static_assert (std::atomic<float>::is_always_lock_free);

    VarnelReverbAudioProcessor& processor;
    SharedValue<bool> bypassedByHost { false };

    std::array<std::atomic<float>, Parameter::count> messages; // the last that nobody has answered
    SharedValue<juce::Thread::ThreadID> answeringThread { nullptr };
    std::array<bool, Parameter::count> inGesture {}; // somebody's hand is on it; message thread

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (HostBinding)
};

} // namespace varnel
