// SPDX-License-Identifier: AGPL-3.0-only
#include "MidiLearnMenu.h"

namespace varnel
{

namespace
{

constexpr int notBound = -1, learning = -2; // the map's marks

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

void showMidiLearnMenu (juce::Component& control, MidiControllers* midiControllers, int midiIndex)
{
    if (midiControllers == nullptr || midiIndex < 0)
        return;

    const auto index = static_cast<size_t> (midiIndex);

    const auto finished = [midiControllers, index, stillThere = juce::Component::SafePointer<juce::Component> (&control)] (int result)
    {
        if (stillThere == nullptr)
            return;

        if (result == startLearning)
            midiControllers->at (index) = learning;
        else if (result == stopLearning || result == detach)
            midiControllers->at (index) = notBound;
    };

    midiLearnMenu (midiControllers->at (index)).showMenuAsync (juce::PopupMenu::Options(), finished);
}

} // namespace varnel
