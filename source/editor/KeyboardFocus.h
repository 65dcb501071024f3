// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace varnel
{

/** Makes a control a stop of the Tab key, framed while it has the keyboard. A click leaves the keyboard where it is, so
    that hosts keep their keys while the mouse alone is used. */
inline void focusByKeyboardOnly (juce::Component& control)
{
    control.setWantsKeyboardFocus (true);
    control.setMouseClickGrabsKeyboardFocus (false);
    control.setHasFocusOutline (true);
}

} // namespace varnel
