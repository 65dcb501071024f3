// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <utility>
#include <vector>

/** The screen of an X server, with the hands and eyes of somebody in front of it: events are made by the server itself
    (XTEST), pixels are read back from it. Positions are in pixels of the screen. */
class XScreen
{
public:
    /** Opens the display that DISPLAY names. */
    XScreen();
    ~XScreen();

    juce::Image capture (juce::Rectangle<int> area) const;
    juce::Image capture() const; ///< all of it

    void moveTo (juce::Point<int> position) const;
    void press (int button) const; ///< 1 left, 3 right, 4 and 5 the wheel up and down
    void release (int button) const;
    void click (juce::Point<int> position, int button = 1) const;
    void drag (juce::Point<int> from, juce::Point<int> to) const;

    /** Presses and releases a key by its X name, for instance "Return", while another may be held. */
    void key (const char* name, const char* held = nullptr) const;
    void hold (const char* name, bool down) const;
    void type (const char* digits) const;

    /** The menu of this process that is open, or none. */
    static juce::Component* openMenu();

    /** Its rows, by what a screen reader says of them. */
    static std::vector<std::pair<juce::String, juce::Component*>> menuRows();

    /** Clicks on a row. @returns whether there is one of this text */
    bool choose (const juce::String& text) const;

    /** How many windows there are, of whomever. */
    int numWindows() const;

    /** How many resources the server keeps for all its clients. Colour maps do not count: JUCE makes one for each window
        and leaves it. */
    int numResources() const;

private:
    struct Pimpl;
    std::unique_ptr<Pimpl> pimpl;
};

/** An X server of one's own, without a screen to look at, that ends with this. */
class PrivateXServer
{
public:
    /** Starts it, and lets DISPLAY name it. @returns whether it runs */
    bool start();
    ~PrivateXServer();

private:
    int process = 0;
};
