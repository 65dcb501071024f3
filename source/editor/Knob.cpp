// SPDX-License-Identifier: AGPL-3.0-only
#include "Knob.h"

#include "CaptionFace.h"
#include "KeyboardFocus.h"

#include <cmath>

namespace varnel
{

namespace
{

constexpr auto coarseSteps = 10;

/** What a screen reader is told of a dial: JUCE's own handler leaves out the unit. */
class DialHandler : public juce::AccessibilityHandler
{
public:
    explicit DialHandler (TolvarKnob& knob)
        : AccessibilityHandler (knob.slider, juce::AccessibilityRole::slider, {}, { std::make_unique<Value> (knob) }),
          dial (knob.slider)
    {
    }

    juce::String getHelp() const override { return dial.getTooltip(); }

private:
    struct Value : juce::AccessibilityValueInterface
    {
        explicit Value (TolvarKnob& knobToShow)
            : knob (knobToShow) {}

        bool isReadOnly() const override { return false; }
        double getCurrentValue() const override { return knob.slider.getValue(); }
        juce::String getCurrentValueAsString() const override { return knob.valueWithUnit().trimEnd(); }
        AccessibleValueRange getRange() const override { return { { knob.slider.getMinimum(), knob.slider.getMaximum() }, knob.slider.getInterval() }; }

        void setValue (double value) override { knob.slider.moveTo (value); }

        void setValueAsString (const juce::String& text) override
        {
            if (const auto value = knob.slider.getValueFromText (text); ! std::isnan (value))
                setValue (value);
        }

        TolvarKnob& knob;
    };

    juce::Slider& dial;
};

} // namespace

//==============================================================================
TolvarKnob::Dial::Dial (TolvarKnob& owner)
    : knob (owner)
{
    focusByKeyboardOnly (*this);
}

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
        moveTo (getValue() + steps * getInterval() * (event.mods.isShiftDown() ? coarseSteps : 1));
}

bool TolvarKnob::Dial::keyPressed (const juce::KeyPress& key)
{
    using Key = juce::KeyPress;

    // What has a modifier is the host's.
    if (key.getModifiers().isAnyModifierKeyDown())
        return false;

    if (key == Key::homeKey)
        moveTo (getMinimum());
    else if (key == Key::endKey)
        moveTo (getMaximum());
    else if (key == Key::upKey || key == Key::rightKey)
        moveTo (getValue() + getInterval());
    else if (key == Key::downKey || key == Key::leftKey)
        moveTo (getValue() - getInterval());
    else if (key == Key::pageUpKey)
        moveTo (getValue() + coarseSteps * getInterval());
    else if (key == Key::pageDownKey)
        moveTo (getValue() - coarseSteps * getInterval());
    else
        return false;

    if (knob.onKey != nullptr)
        knob.onKey (true);

    return true;
}

void TolvarKnob::Dial::focusLost (FocusChangeType)
{
    if (knob.onKey != nullptr)
        knob.onKey (false);
}

void TolvarKnob::Dial::moveTo (double value)
{
    const ScopedDragNotification drag (*this);
    setValue (value, juce::sendNotificationSync);
}

std::unique_ptr<juce::AccessibilityHandler> TolvarKnob::Dial::createAccessibilityHandler()
{
    return std::make_unique<DialHandler> (knob);
}

//==============================================================================
TolvarKnob::Caption::Caption (TolvarKnob& owner)
    : knob (owner)
{
    setJustificationType (juce::Justification::centred);
    setEditable (true, false, false);
    setWantsKeyboardFocus (false); // the dial is the knob's one stop
    setMouseClickGrabsKeyboardFocus (false);
    setAccessible (false); // and says it all
}

juce::TextEditor* TolvarKnob::Caption::createEditorComponent()
{
    setText (knob.valueText, juce::dontSendNotification);
    return Label::createEditorComponent();
}

//==============================================================================
TolvarKnob::TolvarKnob()
{
    slider.setTextBoxStyle (juce::Slider::NoTextBox, false, 0, 0);
    addAndMakeVisible (slider);
    slider.addMouseListener (this, false);
    label.addMouseListener (this, false);
    addAndMakeVisible (label);

    slider.onValueChange = [this]
    { takeValue(); };

    label.onTextChange = [this]
    {
        if (const auto value = slider.getValueFromText (label.getText()); ! std::isnan (value)) // which passes every range
            slider.moveTo (value);

        takeValue();
    };

    // Where the keyboard goes when the entry closes: back to the dial if it came from there. After a click it would go
    // there, too, where nobody has asked for it.
    label.onEditorShow = [this]
    { slider.setWantsKeyboardFocus (openedByKey); };

    // An entry that is left unchanged or given up tells nobody else; what was typed is taken before the caption returns.
    label.onEditorHide = [this]
    {
        juce::MessageManager::callAsync ([knob = SafePointer<TolvarKnob> (this)]
                                         {
            if (knob != nullptr)
            {
                knob->slider.setWantsKeyboardFocus (true);
                knob->updateLabel();
            } });
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
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED
    attachment.reset();
    attachment = std::make_unique<juce::AudioProcessorValueTreeState::SliderAttachment> (state, parameterID, slider);

    const auto& parameter = *state.getParameter (parameterID);
    name = parameter.getName (64);
    updateLabel();
    unit = parameter.getLabel();

    setComponentID (parameterID);
    slider.setTitle (name); // for screen readers
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
        setLabel (valueWithUnit(), juce::FontOptions (fontHeight * 0.7f, juce::Font::bold));
        return;
    }

    setLabel (name.toUpperCase(), captionFont (fontHeight, fontKerning));
    label.setColour (juce::Label::backgroundColourId, juce::Colours::transparentBlack);
}

juce::String TolvarKnob::valueWithUnit() const
{
    return valueText + " " + unit;
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
    LearningControl::mouseDown (event);

    // The text entry that a click opens begins with the number alone.
    if (event.mods.isLeftButtonDown())
        label.setText (valueText, juce::dontSendNotification);
}

bool TolvarKnob::keyPressed (const juce::KeyPress& key)
{
    if (key != juce::KeyPress (juce::KeyPress::returnKey) || ! slider.hasKeyboardFocus (false))
        return LearningControl::keyPressed (key);

    const juce::ScopedValueSetter<bool> whileOpening (openedByKey, true);
    label.showEditor();
    return true;
}

/** The menu has taken the mouse, so that nothing else has said where it went. */
void TolvarKnob::menuClosed()
{
    juce::MessageManager::callAsync ([knob = SafePointer<TolvarKnob> (this)]
                                     {
        if (knob != nullptr)
            knob->updateLabel(); });
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
