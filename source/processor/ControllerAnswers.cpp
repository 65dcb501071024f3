// SPDX-License-Identifier: AGPL-3.0-only
#include "ControllerAnswers.h"

#include <algorithm>

namespace varnel
{

namespace
{

constexpr int answerInterval = 20; ///< ms: below what a hand on a controller notices

} // namespace

ControllerAnswers::Conversation::Conversation() noexcept
{
    noted.fill (nothing.asked);
}

void ControllerAnswers::Conversation::note (float value) noexcept
{
    noted[next] = value;
    next = (next + 1) % noted.size();
}

bool ControllerAnswers::Conversation::hasNoted (float value) const noexcept
{
    return std::any_of (noted.begin(), noted.end(), [value] (float other)
                        { return juce::exactlyEqual (value, other); });
}

ControllerAnswers::ControllerAnswers (VarnelReverbAudioProcessor& processorToAnswerFor)
    : processor (processorToAnswerFor)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    processor.midiControllers.setAnswerer (this);
    processor.addListener (this);
    startTimer (answerInterval);
}

ControllerAnswers::~ControllerAnswers()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    stopTimer();
    processor.removeListener (this);
    processor.midiControllers.setAnswerer (nullptr);
}

juce::RangedAudioParameter& ControllerAnswers::parameterAt (size_t index) const
{
    return *processor.parameterState.getParameter (processor.paramIds[index]);
}

void ControllerAnswers::controllerSaid (size_t index, float value)
{
    auto& parameter = parameterAt (index);
    auto& conversation = conversations[index];

    if (processor.isNonRealtime())
    {
        conversation.pending.store (nothing, std::memory_order_relaxed);
        parameter.setValueNotifyingHost (value);
        return;
    }

    conversation.note (parameter.convertTo0to1 (parameter.convertFrom0to1 (value)));
    conversation.pending.store ({ value, parameter.getValue() }, std::memory_order_relaxed);
}

void ControllerAnswers::answer()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    for (size_t i = 0; i < conversations.size(); ++i)
    {
        auto& conversation = conversations[i];
        const auto message = conversation.pending.exchange (nothing, std::memory_order_relaxed);

        if (juce::exactlyEqual (message.asked, nothing.asked))
            continue;

        auto& parameter = parameterAt (i);
        const auto present = parameter.getValue();
        const auto isUnmoved = juce::exactlyEqual (present, message.parameter);

        // Somebody else has set the parameter since.
        if (! isUnmoved && ! conversation.hasNoted (present))
            continue;

        // Where it is already, nobody need be told.
        if (isUnmoved && juce::exactlyEqual (present, parameter.convertTo0to1 (parameter.convertFrom0to1 (message.asked))))
            continue;

        const auto isOurGesture = ! conversation.inGesture;

        if (isOurGesture)
            parameter.beginChangeGesture();

        parameter.setValueNotifyingHost (message.asked);

        if (isOurGesture)
            parameter.endChangeGesture();
    }
}

void ControllerAnswers::audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index)
{
    conversations[static_cast<size_t> (index)].inGesture = true;
}

void ControllerAnswers::audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index)
{
    conversations[static_cast<size_t> (index)].inGesture = false;
}

void ControllerAnswers::timerCallback()
{
    answer();
}

} // namespace varnel
