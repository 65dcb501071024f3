// SPDX-License-Identifier: AGPL-3.0-only
#include "TolvarToggle.h"

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
TolvarToggle::TolvarToggle()
{
    button.addMouseListener (this, false);
    addAndMakeVisible (button);
}

TolvarToggle::~TolvarToggle()
{
    attachment.reset();
}

void TolvarToggle::attachToParameter (juce::AudioProcessorValueTreeState& state, const juce::String& parameterID)
{
    attachment.reset();

    const auto* const parameter = state.getParameter (parameterID);

    if (parameter == nullptr)
        return;

    attachment = std::make_unique<juce::AudioProcessorValueTreeState::ButtonAttachment> (state, parameterID, button);
    setName (parameter->getName (64));
    setComponentID (parameterID);
    button.setTitle (getName()); // for screen readers, to whom the text is only a colour
}

void TolvarToggle::mouseDown (const juce::MouseEvent& event)
{
    if (isPopupClick (event.mods))
        showMidiLearnMenu (*this, midiControllers, midiIndex);
}

void TolvarToggle::resized()
{
    button.setBounds (getLocalBounds());
}

} // namespace varnel
