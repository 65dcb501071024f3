// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "LearningControl.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <memory>

namespace varnel
{

/** A round lamp that switches a parameter of two values, with the same menu as a knob. The button's text, which has to be
    set before the parameter, is the word by which the look and feel knows its colour: "white" or "red". Message thread.
*/
class TolvarToggle : public LearningControl
{
public:
    TolvarToggle();
    ~TolvarToggle() override;

    /** Ties the lamp to a parameter, if there is one with that ID, in place of any other. */
    void attachToParameter (juce::AudioProcessorValueTreeState& state, const juce::String& parameterID);

    void resized() override;

    /** A click that asks for the menu does not switch. */
    class Lamp : public juce::ToggleButton
    {
    public:
        void mouseDown (const juce::MouseEvent& event) override;
        void mouseUp (const juce::MouseEvent& event) override;
    };

    /** Lies behind a lamp, which is a small thing to hit, and its caption: a left click switches, any other is the
        panel's. */
    class Pad : public juce::Component
    {
    public:
        explicit Pad (juce::Button& buttonToSwitch);

        void mouseDown (const juce::MouseEvent& event) override;
        void mouseUp (const juce::MouseEvent& event) override;

    private:
        juce::Button& button;
    };

    Lamp button;
    Pad pad { button };
    std::unique_ptr<juce::AudioProcessorValueTreeState::ButtonAttachment> attachment;

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TolvarToggle)
};

} // namespace varnel
