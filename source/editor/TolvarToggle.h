// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "KeyboardFocus.h"
#include "MidiLearnMenu.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <memory>

namespace varnel
{

/** A round lamp that switches a parameter of two values, with the same menu as a knob. The button's text, which has to be
    set before the parameter, is the word by which the look and feel knows its colour: "white" or "red". Message thread.
*/
class TolvarToggle : public juce::Component
{
public:
    TolvarToggle();
    ~TolvarToggle() override;

    /** Ties the lamp to a parameter, if there is one with that ID, in place of any other. */
    void attachToParameter (juce::AudioProcessorValueTreeState& state, const juce::String& parameterID);

    void mouseDown (const juce::MouseEvent& event) override;
    void resized() override;

    /** A click that asks for the menu does not switch. */
    class Lamp : public OutlinedByKeyboard<juce::ToggleButton>
    {
    public:
        void mouseDown (const juce::MouseEvent& event) override;
        void mouseUp (const juce::MouseEvent& event) override;
    };

    Lamp button;
    std::unique_ptr<juce::AudioProcessorValueTreeState::ButtonAttachment> attachment;
    MidiControllers* midiControllers = nullptr; ///< the processor's, not owned
    int midiIndex = -1;                         ///< the parameter's place in midiControllers

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TolvarToggle)
};

} // namespace varnel
