// SPDX-License-Identifier: AGPL-3.0-only
#include "History.h"

#include <utility>

namespace varnel
{

namespace
{

constexpr int millisecondsPerTick = 100, ticksOfRest = 4;

} // namespace

History::History (juce::AudioProcessor& processorToFollow)
    : processor (processorToFollow)
{
    JUCE_ASSERT_MESSAGE_THREAD
    states.push_back (present());
    processor.addListener (this);
    startTimer (millisecondsPerTick);
}

History::~History()
{
    processor.removeListener (this);
}

//==============================================================================
bool History::canUndo()
{
    takeStep();
    return position > 0;
}

bool History::canRedo()
{
    takeStep();
    return position + 1 < states.size();
}

void History::undo()
{
    if (canUndo())
        go (states[--position]);
}

void History::redo()
{
    if (canRedo())
        go (states[++position]);
}

void History::compare()
{
    takeStep();
    auto next = other.isEmpty() ? present() : other;
    other = present();
    onB = ! onB;
    go (next);
    isGoing = false;
    takeStep(); // can be undone like any change
}

bool History::isOnB() const
{
    return onB;
}

//==============================================================================
juce::MemoryBlock History::present() const
{
    juce::MemoryBlock state;
    processor.getStateInformation (state);
    return state;
}

/** Notes the present state, if it is another. */
void History::takeStep()
{
    auto state = present();
    ticksToRest = 0;

    // A state that has come back may read a little different, as a name that is looked up does. It is the same step.
    if (std::exchange (isGoing, false))
    {
        states[position] = std::move (state);
        return;
    }

    if (state == states[position])
        return;

    states.resize (position + 1);
    states.push_back (std::move (state));

    if (states.size() > mostSteps + 1)
        states.erase (states.begin());

    position = states.size() - 1;

    if (onChange != nullptr)
        onChange();
}

void History::go (const juce::MemoryBlock& state)
{
    const auto copy = state; // the parameters' listeners may take a step
    isGoing = true;
    processor.setStateInformation (copy.getData(), static_cast<int> (copy.getSize()));
    changed = false;
    ticksToRest = ticksOfRest;
    isGoing = true;

    if (onChange != nullptr)
        onChange();
}

//==============================================================================
void History::audioProcessorParameterChanged (juce::AudioProcessor*, int, float)
{
    changed = true;
}

void History::audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&)
{
    changed = true;
}

void History::audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int)
{
    JUCE_ASSERT_MESSAGE_THREAD
    takeStep();
    gestures = gestures + 1;
}

void History::audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int)
{
    JUCE_ASSERT_MESSAGE_THREAD
    gestures = std::max (0, gestures - 1);

    if (gestures == 0)
        takeStep();
}

void History::timerCallback()
{
    if (changed)
    {
        changed = false;
        ticksToRest = ticksOfRest;
    }
    else if (ticksToRest > 0 && --ticksToRest == 0 && gestures == 0)
    {
        takeStep();
    }
}

} // namespace varnel
