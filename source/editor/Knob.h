// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "KeyboardFocus.h"
#include "MidiLearnMenu.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <memory>

namespace varnel
{

/** A rotary control with a caption below it: the parameter's name or, while the mouse is over it, its value, and after
    a click on it a text entry. A popup click opens the menu that learns MIDI controllers. Message thread.
*/
class TolvarKnob : public juce::Component
{
public:
    TolvarKnob();

    /** Goes with the attachment first, so that no callback reaches a slider that has gone. */
    ~TolvarKnob() override;

    /** Ties the knob to a parameter, in place of any other. */
    void attachToParameter (juce::AudioProcessorValueTreeState& state, const juce::String& parameterID);

    /** Shows in the caption what it should show by now; a text entry is left alone. */
    virtual void updateLabel();

    void mouseMove (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    void mouseDown (const juce::MouseEvent& event) override;

    /** A turn of the wheel moves it by a step of its range, whatever the range. */
    class Dial : public OutlinedByKeyboard<juce::Slider>
    {
    public:
        void mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;

    private:
        float wheelTravel = 0.0f;
    };

    Dial slider;
    juce::Label label;
    juce::String name; ///< of the parameter
    juce::String valueText { "0.00" };
    juce::String unit;
    std::unique_ptr<juce::AudioProcessorValueTreeState::SliderAttachment> attachment;
    float fontHeight = 24.0f;                   ///< of the caption, in pixels
    float fontKerning = 0.2f;                   ///< extra space between its letters
    int midiIndex = -1;                         ///< the parameter's place in midiControllers
    MidiControllers* midiControllers = nullptr; ///< the processor's, not owned

private:
    void takeValue();
    void setLabel (const juce::String& text, const juce::Font& font);

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TolvarKnob)
};

/** A knob that lays out its dial and its caption. */
class LabelKnob : public TolvarKnob
{
public:
    void resized() override;

    /** Pixels: above 0 the dial is narrower than the knob by this, below 0 the caption is. */
    float sizeAdjust = 0.0f;
};

} // namespace varnel
