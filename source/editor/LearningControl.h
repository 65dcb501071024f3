// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "processor/MidiControllerMap.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace varnel
{

/** Whether a press asks for a menu: the right button, or Control without Alt or Command. (Where Control is the Command
    key, as on Linux, only the right button is left.) */
bool isPopupClick (const juce::ModifierKeys& modifiers);

/** The key that opens what a right click opens: Shift and F10. */
bool isPopupKey (const juce::KeyPress& key);

/** The menu that learns a controller for a parameter, or lets go of it. */
juce::PopupMenu midiLearnMenu (int controller);

/** A control whose parameter may learn a MIDI controller: it has a menu for that, and a dot that shows while it learns.
    Message thread.
*/
class LearningControl : public juce::Component
{
public:
    /** A small light beside the control. Whoever lays out the control places it, as a neighbour in front of it. */
    class Dot : public juce::Component
    {
    public:
        Dot() { setInterceptsMouseClicks (false, false); }
        void paint (juce::Graphics& g) override;
    };

    /** Shows or hides the dot, by whether the parameter is learning. To be called every now and then. */
    void showLearning();

    /** Opens the menu on a popup click. */
    void mouseDown (const juce::MouseEvent& event) override;

    /** Opens the menu on its key. */
    bool keyPressed (const juce::KeyPress& key) override;

    Dot dot;
    int midiIndex = -1;                           ///< the parameter's place in midiControllers; below 0 there is no menu
    MidiControllerMap* midiControllers = nullptr; ///< the processor's, not owned

protected:
    /** Called when the menu has gone. */
    virtual void menuClosed() {}

private:
    void showMenu (const juce::PopupMenu::Options& options);
};

} // namespace varnel
