// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "engine/SharedValue.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <atomic>

namespace varnel
{

/** A parameter together with the raw value that JUCE's parameter state keeps of it.

    The default of Hi lies between two steps. The raw value can hold that, but JUCE moves it to a step as soon as the
    parameter's listeners hear of anything. What is done about it goes behind JUCE's back, and all of it stands here. It
    rests on how JUCE 8 tells a parameter state of changes.

    The parameter and the state have to outlive this.
*/
class RawParameter
{
public:
    /** @param engineSide  the parameter's listener in the state, which hears of values between two steps from here */
    RawParameter (juce::AudioProcessorValueTreeState& state, const juce::String& id, float defaultValue, juce::AudioProcessorValueTreeState::Listener& engineSide);

    juce::RangedAudioParameter& parameter;

    /** The plain value that sounds. Any thread. */
    float value() const noexcept { return rawValue; }

    /** Tells all listeners a normalised value and leaves the parameter, and what sounds, where they are. A listener may
        set the parameter within the call. One thread at a time, the audio thread too: it takes the listeners' locks. */
    void tell (float normalisedValue);

    /** Whether what the state's listener hears, on this thread, is only what tell() says. */
    bool isOnlyTold() const noexcept;

    /** Sets the parameter to a plain value as a host would, but its default is not moved to a step. Any thread. */
    void moveTo (float plainValue);

private:
    std::atomic<float>& rawValue;
    const float defaultValue;
    juce::AudioProcessorValueTreeState::Listener& engineSide;

    SharedValue<juce::Thread::ThreadID> tellingThread { nullptr };
    float valueWhenTold = 0.0f; // normalised; the telling thread's

    JUCE_DECLARE_NON_COPYABLE (RawParameter)
};

} // namespace varnel
