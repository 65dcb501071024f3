// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "LearningControl.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <functional>
#include <memory>

namespace varnel
{

/** A rotary control with a caption below it: the parameter's name or, while the mouse is over it, its value, and after
    a click on it or Return on the dial a text entry. A popup click opens the menu that learns MIDI controllers. Message
    thread.
*/
class TolvarKnob : public LearningControl
{
public:
    TolvarKnob();

    /** Goes with the attachment first, so that no callback reaches a slider that has gone. */
    ~TolvarKnob() override;

    /** Ties the knob to a parameter, in place of any other. */
    void attachToParameter (juce::AudioProcessorValueTreeState& state, const juce::String& parameterID);

    /** Shows in the caption what it should show by now; a text entry is left alone. */
    virtual void updateLabel();

    /** The value and its unit. */
    juce::String valueWithUnit() const;

    void mouseMove (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    void mouseDown (const juce::MouseEvent& event) override;
    bool keyPressed (const juce::KeyPress& key) override;

    /** Moved by steps of its range: one by a turn of the wheel or an arrow key, ten with Shift or a page key. */
    class Dial : public juce::Slider
    {
    public:
        explicit Dial (TolvarKnob& owner);

        void mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;
        bool keyPressed (const juce::KeyPress& key) override;
        void focusLost (FocusChangeType cause) override;
        std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

        /** Sets the value as a whole gesture, as a drag is one. */
        void moveTo (double value);

    private:
        TolvarKnob& knob;
        float wheelTravel = 0.0f;
    };

    /** Opens its text entry on the value alone, whoever opens it. */
    class Caption : public juce::Label
    {
    public:
        explicit Caption (TolvarKnob& owner);

    private:
        juce::TextEditor* createEditorComponent() override;

        TolvarKnob& knob;
    };

    Dial slider { *this };
    Caption label { *this };
    juce::String name; ///< of the parameter
    juce::String valueText { "0.00" };
    juce::String unit;
    std::unique_ptr<juce::AudioProcessorValueTreeState::SliderAttachment> attachment;
    float fontHeight = 24.0f; ///< of the caption, in pixels
    float fontKerning = 0.2f; ///< extra space between its letters

    /** Called when a key has turned the dial, and when the keyboard has left it. */
    std::function<void (bool isTurning)> onKey;

private:
    void takeValue();
    void setLabel (const juce::String& text, const juce::Font& font);
    void menuClosed() override;

    bool openedByKey = false; // the text entry that opens

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
