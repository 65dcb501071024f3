// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <utility>
#include <vector>

/** Somebody in front of this process's windows. The mouse and the keys reach them where the system's would, and what the
    windows show is painted. Positions are in pixels of the screen.

    What follows from an event has happened when a method returns, but for what waits for a timer.
*/
class WindowDriver
{
public:
    void moveTo (juce::Point<int> position);
    void click (juce::Point<int> position, int button = juce::ModifierKeys::leftButtonModifier);
    void doubleClick (juce::Point<int> position);
    void drag (juce::Point<int> from, juce::Point<int> to);

    /** Turns the wheel. @param amount  upwards; a notch is a fifth */
    void wheel (juce::Point<int> position, juce::MouseWheelDetails amount, bool withShift = false);

    /** A key by JUCE's description, for instance "ctrl + Z" or "return", to whatever has the keyboard. */
    static void key (const juce::String& description);
    static void type (const juce::String& text);

    /** What is to be seen within an area: all windows, one over the other. */
    static juce::Image picture (juce::Rectangle<int> area);

    /** The highest difference, of 255, between the means of two pictures' blocks, and where it is. */
    static std::pair<int, juce::Point<int>> compare (const juce::Image& a, const juce::Image& b, int blockSize, juce::Image* differences = nullptr);

    /** Fails the test if a part of a component has changed since it was last painted, and has not been repainted. The
        component has to be buffered to an image. */
    static void expectNothingStale (juce::Component& component);

    /** Rows of the menu that is open, or of its innermost sub-menu, by what a screen reader says of them. */
    static std::vector<std::pair<juce::String, juce::Component*>> menuRows();
    static juce::StringArray menuTexts();

    /** Chooses a row; fails the test if there is none of this text. */
    static void choose (const juce::String& text);
    static void closeMenu();

private:
    void send (juce::Point<int> position, int buttons);

    juce::ComponentPeer* pressed = nullptr; ///< where a button is held
    juce::int64 time = 1000;                ///< ms
};
