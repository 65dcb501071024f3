// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "engine/SharedValue.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <functional>
#include <vector>

namespace varnel
{

/** What was done to a processor, to be undone, and a second set of values to compare with. A host has such things of its
    own; this is for a program without one. A gesture, be it a drag, a click or a key, is one step, and what comes without
    gestures, as presets and controllers do, is one when it has come to rest.

    The processor has to outlive it. Message thread.
*/
class History : private juce::AudioProcessorListener,
                private juce::Timer
{
public:
    static constexpr size_t mostSteps = 100;

    explicit History (juce::AudioProcessor& processorToFollow);
    ~History() override;

    bool canUndo();
    bool canRedo();
    void undo();
    void redo();

    /** Exchanges the values for those of the other set, which are the same until one of the two is changed. */
    void compare();

    /** Whether the second set is the one that is heard. */
    bool isOnB() const;

    /** Called after each change, of whatever kind. */
    std::function<void()> onChange;

private:
    void audioProcessorParameterChanged (juce::AudioProcessor*, int, float) override;
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override;
    void audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int) override;
    void audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int) override;
    void timerCallback() override;

    juce::MemoryBlock present() const;
    void takeStep();
    void go (const juce::MemoryBlock& state);

    juce::AudioProcessor& processor;
    std::vector<juce::MemoryBlock> states;
    size_t position = 0; // of the present among them
    juce::MemoryBlock other;
    bool onB = false;

    SharedValue<bool> changed { false };
    SharedValue<int> gestures { 0 }; // that go on
    int ticksToRest = 0;
    bool isGoing = false; // what changes is what a step brings back

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (History)
};

} // namespace varnel
