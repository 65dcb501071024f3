// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace varnel
{

/** A control that is outlined when the keyboard has moved the focus to it, and not when a click has. */
template <typename Control>
class OutlinedByKeyboard : public Control
{
public:
    using Control::Control;

    void focusGained (juce::Component::FocusChangeType cause) override
    {
        this->setHasFocusOutline (cause != juce::Component::focusChangedByMouseClick);
        Control::focusGained (cause);
    }
};

} // namespace varnel
