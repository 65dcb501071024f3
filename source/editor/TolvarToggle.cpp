// SPDX-License-Identifier: AGPL-3.0-only
#include "TolvarToggle.h"

#include "KeyboardFocus.h"

namespace varnel
{

void TolvarToggle::Lamp::mouseDown (const juce::MouseEvent& event)
{
    if (! isPopupClick (event.mods))
        ToggleButton::mouseDown (event);
}

void TolvarToggle::Lamp::mouseUp (const juce::MouseEvent& event)
{
    if (! isPopupClick (event.mods))
        ToggleButton::mouseUp (event);
}

//==============================================================================
TolvarToggle::Pad::Pad (juce::Button& buttonToSwitch)
    : button (buttonToSwitch)
{
    setMouseClickGrabsKeyboardFocus (false);
    setAccessible (false);
}

void TolvarToggle::Pad::mouseDown (const juce::MouseEvent& event)
{
    if (isPopupClick (event.mods))
        if (auto* const panel = getParentComponent())
            panel->mouseDown (event.getEventRelativeTo (panel));
}

void TolvarToggle::Pad::mouseUp (const juce::MouseEvent& event)
{
    if (event.mods.isLeftButtonDown() && contains (event.getPosition()))
        button.setToggleState (! button.getToggleState(), juce::sendNotificationSync);
}

//==============================================================================
TolvarToggle::TolvarToggle()
{
    button.addMouseListener (this, false);
    focusByKeyboardOnly (button);
    addAndMakeVisible (button);
}

TolvarToggle::~TolvarToggle()
{
    attachment.reset();
}

void TolvarToggle::attachToParameter (juce::AudioProcessorValueTreeState& state, const juce::String& parameterID)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED
    attachment.reset();

    const auto* const parameter = state.getParameter (parameterID);

    if (parameter == nullptr)
        return;

    attachment = std::make_unique<juce::AudioProcessorValueTreeState::ButtonAttachment> (state, parameterID, button);
    setName (parameter->getName (64));
    setComponentID (parameterID);
    button.setTitle (getName()); // for screen readers, to whom the text is only a colour
}

void TolvarToggle::resized()
{
    button.setBounds (getLocalBounds());
}

} // namespace varnel
