// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "VarnelReverbAudioProcessor.h"

#include <array>
#include <atomic>

namespace varnel
{

/** Answers bound controllers: sets each parameter to what its controller said last, in every format alike.

    In real time that happens on the message thread within 20 ms, in a gesture, so that hosts see and record an ordinary
    change. When the host renders offline it happens at once, on the audio thread: the next block is the first to sound
    like it, in every run.

    Whoever spoke last about a parameter, controller or host, is heard. A host may hand back what it was told, later and
    more than once (VST3 and AAX do); such an echo is not taken for the host's own word.

    The processor has to outlive this. Message thread, and not while a block runs.
*/
class ControllerAnswers : private MidiControllerMap::Answerer,
                          private juce::AudioProcessorListener,
                          private juce::Timer
{
public:
    explicit ControllerAnswers (VarnelReverbAudioProcessor& processorToAnswerFor);
    ~ControllerAnswers() override;

    /** Sets what has been asked for since the last time. A timer calls it. Message thread. */
    void answer();

private:
    /** What a controller asked for, and where the parameter was then. Normalised values. */
    struct Message
    {
        float asked, parameter;
    };

    static constexpr Message nothing { -1.0f, -1.0f };

    /** A parameter's side of the conversation. */
    struct Conversation
    {
        Conversation() noexcept;

        /** Keeps what a controller has asked for, among the last few. Audio thread. */
        void note (float value) noexcept;
        bool hasNoted (float value) const noexcept;

        std::atomic<Message> pending { nothing }; ///< the last message that has not been answered
        bool inGesture = false;                   ///< somebody's hand is on the parameter; message thread

    private:
        // As many as a host may still be about to hand back, at a thousand messages a second.
        std::array<SharedValue<float>, 64> noted;
        size_t next = 0;
    };

    void controllerSaid (size_t index, float value) override;
    void audioProcessorParameterChanged (juce::AudioProcessor*, int, float) override {}
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override {}
    void audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index) override;
    void audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index) override;
    void timerCallback() override;

    juce::RangedAudioParameter& parameterAt (size_t index) const;

    static_assert (std::atomic<Message>::is_always_lock_free);

    VarnelReverbAudioProcessor& processor;
    std::array<Conversation, Parameter::count> conversations;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ControllerAnswers)
};

} // namespace varnel
