// SPDX-License-Identifier: AGPL-3.0-only
#include "Knob.h"

#include "CaptionFace.h"

#include <cmath>

namespace varnel
{

void TolvarKnob::Dial::mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel)
{
    if (! isEnabled() || event.mods.isAnyMouseButtonDown())
        return;

    const auto moved = (std::abs (wheel.deltaX) > std::abs (wheel.deltaY) ? -wheel.deltaX : wheel.deltaY) * (wheel.isReversed ? -1.0f : 1.0f);
    auto steps = moved > 0.0f ? 1 : moved < 0.0f ? -1
                                                 : 0;

    // A touchpad sends many small movements: as far as a wheel's notch counts as one.
    if (wheel.isSmooth)
    {
        constexpr auto notch = 0.2f;
        wheelTravel += moved;
        steps = static_cast<int> (wheelTravel / notch);
        wheelTravel -= static_cast<float> (steps) * notch;
    }

    if (steps != 0)
    {
        const ScopedDragNotification drag (*this);
        setValue (getValue() + steps * getInterval(), juce::sendNotificationSync);
    }
}

//==============================================================================
TolvarKnob::TolvarKnob()
{
    slider.setTextBoxStyle (juce::Slider::NoTextBox, false, 0, 0);
    slider.setWantsKeyboardFocus (true);
    addAndMakeVisible (slider);
    slider.addMouseListener (this, false);
    label.addMouseListener (this, false);

    label.setJustificationType (juce::Justification::centred);
    label.setEditable (true, false, false);
    addAndMakeVisible (label);

    slider.onValueChange = [this]
    { takeValue(); };

    label.onTextChange = [this]
    {
        if (const auto value = slider.getValueFromText (label.getText()); std::isfinite (value))
            slider.setValue (value, juce::sendNotification);

        takeValue();
    };

    // An entry that is left unchanged or given up tells nobody else; what was typed is taken before the caption returns.
    label.onEditorHide = [this]
    {
        juce::MessageManager::callAsync ([knob = SafePointer<TolvarKnob> (this)]
                                         {
            if (knob != nullptr)
                knob->updateLabel(); });
    };

    label.setColour (juce::Label::outlineColourId, juce::Colours::transparentBlack);
    label.setColour (juce::Label::backgroundWhenEditingColourId, juce::Colour (0x96131415));
    label.setColour (juce::Label::outlineWhenEditingColourId, juce::Colour (0x50131415));
}

TolvarKnob::~TolvarKnob()
{
    attachment.reset();
}

void TolvarKnob::attachToParameter (juce::AudioProcessorValueTreeState& state, const juce::String& parameterID)
{
    attachment.reset();
    attachment = std::make_unique<juce::AudioProcessorValueTreeState::SliderAttachment> (state, parameterID, slider);

    const auto& parameter = *state.getParameter (parameterID);
    name = parameter.getName (64);
    updateLabel();
    unit = parameter.getLabel();

    setComponentID (parameterID);
    slider.setTitle (name); // for screen readers
    label.setTitle (name + " value");
}

void TolvarKnob::takeValue()
{
    valueText = slider.getTextFromValue (slider.getValue());
    updateLabel();
}

void TolvarKnob::updateLabel()
{
    if (label.isBeingEdited())
        return;

    if (isMouseOverOrDragging (true))
    {
        setLabel (valueText + " " + unit, juce::FontOptions (fontHeight * 0.7f, juce::Font::bold));
        return;
    }

    setLabel (name.toUpperCase(), captionFont (fontHeight, fontKerning));
    label.setColour (juce::Label::backgroundColourId, juce::Colours::transparentBlack);
}

void TolvarKnob::setLabel (const juce::String& text, const juce::Font& font)
{
    label.setText (text, juce::dontSendNotification);

    if (label.getFont() != font)
    {
        label.setFont (font);
        label.repaint();
    }
}

void TolvarKnob::mouseMove (const juce::MouseEvent&)
{
    updateLabel();
}

void TolvarKnob::mouseExit (const juce::MouseEvent&)
{
    updateLabel();
}

void TolvarKnob::mouseDown (const juce::MouseEvent& event)
{
    if (isPopupClick (event.mods))
        showMidiLearnMenu (*this, midiControllers, midiIndex);

    // The text entry that a click opens begins with the number alone.
    if (event.mods.isLeftButtonDown())
        label.setText (valueText, juce::dontSendNotification);
}

//==============================================================================
void LabelKnob::resized()
{
    label.setFont (captionFont (fontHeight, fontKerning));

    const auto w = getWidth(), h = getHeight();
    const auto labelHeight = static_cast<int> (fontHeight);
    auto dialSize = w, offset = 0, labelWidth = w, labelX = 0;

    if (sizeAdjust > 0.0f)
    {
        dialSize = juce::roundToInt (static_cast<float> (w) - sizeAdjust);
        offset = static_cast<int> (static_cast<float> (w - dialSize) * 0.5f);
    }
    else if (sizeAdjust < 0.0f)
    {
        labelWidth = juce::roundToInt (static_cast<float> (w) + sizeAdjust);
        labelX = static_cast<int> (static_cast<float> (w - labelWidth) * 0.5f);
    }

    slider.setBounds (offset, offset, dialSize, dialSize);
    label.setBounds (labelX, h - labelHeight, labelWidth, labelHeight);
}

} // namespace varnel
