// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

/** What is left of a window manager on a bare X server: the names that one would have made known. Without them JUCE's
    windows make the server complain, which ends a program that does not catch it. */
class WindowManager
{
public:
    WindowManager();
    ~WindowManager();

    WindowManager (const WindowManager&) = delete;
    WindowManager& operator= (const WindowManager&) = delete;

private:
    void* display; // X11's names and JUCE's do not go together
};
