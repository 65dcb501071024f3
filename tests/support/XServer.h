// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Program.h"

#include <juce_graphics/juce_graphics.h>

#include <optional>
#include <vector>

/** An X server of one's own, without a screen to look at, that ends with this. */
class XServer
{
public:
    /** Starts it, and lets DISPLAY name it. @returns whether it runs */
    bool start();

    /** Clicks as a mouse does, on whatever window of whomever is there: that of a plug-in with a JUCE of its own hears of
        nothing else. @param button  1 left, 3 right, 4 and 5 the wheel up and down */
    static void click (juce::Point<int> position, int button = 1);

    /** The windows that lie there, one within the other: that of a plug-in is in its host's as soon as there are two. */
    static std::vector<unsigned long> windowsAt (juce::Point<int> position);

    /** Presses and releases a key by its X name, for instance "Return". */
    static void key (const char* name);

private:
    std::optional<Program> server;
};
