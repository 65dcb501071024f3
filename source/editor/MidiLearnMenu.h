// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "engine/SharedValue.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace varnel
{

/** The controller number of each parameter, or a negative mark, as the processor keeps it. */
using MidiControllers = std::vector<SharedValue<int>>;

/** Whether a press asks for a menu: the right button, or Control without Alt or Command. (Where Control is the Command
    key, as on Linux, only the right button is left.) */
bool isPopupClick (const juce::ModifierKeys& modifiers);

/** The menu that learns a controller for a parameter, or lets go of it. */
juce::PopupMenu midiLearnMenu (int controller);

/** Opens that menu for a control and carries out what is chosen, unless the control has gone by then. Message thread.
    @param midiIndex  the parameter's place in the map; below 0 there is no menu */
void showMidiLearnMenu (juce::Component& control, MidiControllers* midiControllers, int midiIndex);

} // namespace varnel
