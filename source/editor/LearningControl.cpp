// SPDX-License-Identifier: AGPL-3.0-only
#include "LearningControl.h"

namespace varnel
{

namespace
{

constexpr auto notBound = MidiControllerMap::notBound, learning = MidiControllerMap::learning;

enum MenuItem
{
    startLearning = 1,
    stopLearning = 2,
    detach = 3,
    controllerNumber = 6 // informs only
};

} // namespace

bool isPopupClick (const juce::ModifierKeys& modifiers)
{
    return modifiers.isRightButtonDown()
           || (modifiers.isCtrlDown() && ! modifiers.isAltDown() && ! modifiers.isCommandDown());
}

bool isPopupKey (const juce::KeyPress& key)
{
    return key == juce::KeyPress (juce::KeyPress::F10Key, juce::ModifierKeys::shiftModifier, 0);
}

juce::PopupMenu midiLearnMenu (int controller)
{
    juce::PopupMenu menu;

    if (controller == learning)
    {
        menu.addItem (stopLearning, "Stop MIDI Learn...");
    }
    else if (controller >= 0)
    {
        menu.addItem (detach, "Detach from MIDI Automation...");
        menu.addItem (controllerNumber, "Midi Controller: " + juce::String (controller));
    }

    if (controller >= notBound)
        menu.addItem (startLearning, "Start MIDI Learn...");

    return menu;
}

//==============================================================================
void LearningControl::Dot::paint (juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat();
    g.setColour (juce::Colours::black);
    g.fillEllipse (area);
    g.setColour (juce::Colour (0xffffc400));
    g.fillEllipse (area.reduced (area.getWidth() / 6.0f));
}

void LearningControl::showLearning()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED
    dot.setVisible (midiControllers != nullptr && midiIndex >= 0 && (*midiControllers)[static_cast<size_t> (midiIndex)] == learning);
}

void LearningControl::mouseDown (const juce::MouseEvent& event)
{
    if (isPopupClick (event.mods))
        showMenu ({});
}

bool LearningControl::keyPressed (const juce::KeyPress& key)
{
    if (! isPopupKey (key))
        return false;

    showMenu (juce::PopupMenu::Options().withTargetComponent (this));
    return true;
}

void LearningControl::showMenu (const juce::PopupMenu::Options& options)
{
    if (midiControllers == nullptr || midiIndex < 0)
        return;

    const auto finished = [control = SafePointer<LearningControl> (this)] (int result)
    {
        if (control == nullptr)
            return;

        auto& entry = (*control->midiControllers)[static_cast<size_t> (control->midiIndex)];

        if (result == startLearning)
            entry = learning;
        else if (result == stopLearning || result == detach)
            entry = notBound;

        control->showLearning();
        control->menuClosed();
    };

    midiLearnMenu ((*midiControllers)[static_cast<size_t> (midiIndex)]).showMenuAsync (options, finished);
}

} // namespace varnel
