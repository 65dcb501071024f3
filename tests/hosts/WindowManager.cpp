// SPDX-License-Identifier: AGPL-3.0-only
#include "WindowManager.h"

#include <X11/Xlib.h>

#include <iterator>

WindowManager::WindowManager()
    : display (XOpenDisplay (nullptr))
{
    const char* names[] { "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN", "_NET_WM_STATE_FULLSCREEN", "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_NORMAL", "_NET_WM_WINDOW_TYPE_COMBO", "_NET_WM_PING", "_NET_WM_ALLOWED_ACTIONS", "_NET_FRAME_EXTENTS", "_NET_WM_MOVERESIZE", "_MOTIF_WM_HINTS", "WM_STATE", "WM_CHANGE_STATE", "WM_PROTOCOLS", "WM_TAKE_FOCUS", "WM_DELETE_WINDOW" };
    Atom atoms[std::size (names)];

    if (display != nullptr)
        XInternAtoms (static_cast<Display*> (display), const_cast<char**> (names), static_cast<int> (std::size (names)), False, atoms);
}

WindowManager::~WindowManager()
{
    if (display != nullptr)
        XCloseDisplay (static_cast<Display*> (display));
}
