// SPDX-License-Identifier: AGPL-3.0-only
#include "XServer.h"

#include "Plugin.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

bool XServer::start()
{
    server.emplace (juce::StringArray { "Xvfb", "-displayfd", "1", "-screen", "0", "1600x1000x24", "-nolisten", "tcp", "-noreset" });
    juce::String number;

    // It prints its number when it is ready, after whatever else it has to say.
    for (juce::String printed; number.isEmpty() && server->isRunning(); usleep (10000))
        if (printed = server->printed(); printed.endsWithChar ('\n'))
            number = printed.trimEnd().fromLastOccurrenceOf ("\n", false, false).retainCharacters ("0123456789");

    setenv ("DISPLAY", (":" + number).toRawUTF8(), 1);

    // JUCE uses names that a window manager makes known, and fails where there has never been one. The mouse is put where
    // no window is.
    if (auto* const display = XOpenDisplay (nullptr))
    {
        for (const auto* name : { "WM_PROTOCOLS", "WM_TAKE_FOCUS", "WM_DELETE_WINDOW", "_NET_WM_PING", "WM_CHANGE_STATE", "WM_STATE", "_NET_FRAME_EXTENTS", "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN", "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_NORMAL", "_NET_WM_WINDOW_TYPE_COMBO", "_NET_WORKAREA", "_MOTIF_WM_HINTS" })
            XInternAtom (display, name, False);

        XWarpPointer (display, None, DefaultRootWindow (display), 0, 0, 0, 0, 1599, 999);
        XCloseDisplay (display);
        return true;
    }

    return false;
}

namespace
{

/** A display of which each event gets the time to be seen, and to be drawn what follows from it. */
struct Events
{
    Display* const display = XOpenDisplay (nullptr);
    ~Events() { XCloseDisplay (display); }

    void send (int /*whether it could be*/) const
    {
        XSync (display, False);
        deliverMessages (60);
    }
};

} // namespace

void XServer::click (juce::Point<int> position, int button)
{
    const Events events;
    events.send (XTestFakeMotionEvent (events.display, -1, position.x, position.y, CurrentTime));

    for (const auto isDown : { True, False })
        events.send (XTestFakeButtonEvent (events.display, static_cast<unsigned int> (button), isDown, CurrentTime));
}

std::vector<unsigned long> XServer::windowsAt (juce::Point<int> position)
{
    const Events events;
    const auto root = DefaultRootWindow (events.display);
    std::vector<unsigned long> windows { root };
    Window child = None;

    for (int x, y; XTranslateCoordinates (events.display, root, windows.back(), position.x, position.y, &x, &y, &child) && child != None;)
        windows.push_back (child);

    windows.erase (windows.begin());
    return windows;
}

void XServer::key (const char* name)
{
    const Events events;

    for (const auto isDown : { True, False })
        events.send (XTestFakeKeyEvent (events.display, XKeysymToKeycode (events.display, XStringToKeysym (name)), isDown, CurrentTime));
}
