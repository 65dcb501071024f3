// SPDX-License-Identifier: AGPL-3.0-only
#include "RawParameter.h"

namespace varnel
{

// The tests Processor.ShowsSevenParametersInTheirOrder, Processor.LearnsControllersAndPassesTheirValuesOn and
// RealTime.MovesOfFreshParametersAllocateNothing tell whether another JUCE still does what is relied on here.
static_assert (JUCE_MAJOR_VERSION == 8, "look at how AudioProcessorValueTreeState treats raw values, and run those tests");

RawParameter::RawParameter (juce::AudioProcessorValueTreeState& state, const juce::String& id, float defaultValueToUse, juce::AudioProcessorValueTreeState::Listener& engineSideToUse)
    : parameter (*state.getParameter (id)), rawValue (*state.getRawParameterValue (id)), defaultValue (defaultValueToUse), engineSide (engineSideToUse)
{
    rawValue = defaultValue; // JUCE starts it at the nearest step
}

void RawParameter::tell (float normalisedValue)
{
    const auto raw = rawValue.load (std::memory_order_relaxed);
    valueWhenTold = parameter.getValue();
    tellingThread = juce::Thread::getCurrentThreadId();
    parameter.sendValueChangedMessageToListeners (normalisedValue);
    tellingThread = nullptr;

    // Put back what JUCE has moved to a step, unless the parameter has been set meanwhile.
    if (auto step = parameter.convertFrom0to1 (valueWhenTold); ! juce::exactlyEqual (step, raw) && juce::exactlyEqual (valueWhenTold, parameter.getValue()))
        rawValue.compare_exchange_strong (step, raw, std::memory_order_relaxed);
}

bool RawParameter::isOnlyTold() const noexcept
{
    return tellingThread == juce::Thread::getCurrentThreadId() && juce::exactlyEqual (parameter.getValue(), valueWhenTold);
}

void RawParameter::moveTo (float plainValue)
{
    parameter.setValueNotifyingHost (parameter.convertTo0to1 (plainValue));

    if (juce::exactlyEqual (plainValue, defaultValue) && ! juce::exactlyEqual (plainValue, value()))
    {
        rawValue = plainValue;
        engineSide.parameterChanged (parameter.paramID, plainValue);
    }
}

} // namespace varnel
