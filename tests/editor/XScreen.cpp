// SPDX-License-Identifier: AGPL-3.0-only
#include "XScreen.h"

#include "Support.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XRes.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/** How long a window gets to see an event and to draw what follows from it. */
constexpr int settlingMilliseconds = 60;

} // namespace

struct XScreen::Pimpl
{
    Display* const display = XOpenDisplay (nullptr);

    void sync() const
    {
        XSync (display, False);
        deliverMessages (settlingMilliseconds);
    }
};

XScreen::XScreen()
    : pimpl (std::make_unique<Pimpl>())
{
    EXPECT_NE (pimpl->display, nullptr) << "no X server";
}

XScreen::~XScreen()
{
    XCloseDisplay (pimpl->display);
}

juce::Image XScreen::capture (juce::Rectangle<int> area) const
{
    auto* const display = pimpl->display;
    auto* const picture = XGetImage (display, DefaultRootWindow (display), area.getX(), area.getY(), static_cast<unsigned int> (area.getWidth()), static_cast<unsigned int> (area.getHeight()), AllPlanes, ZPixmap);
    juce::Image image (juce::Image::RGB, area.getWidth(), area.getHeight(), false);

    for (int y = 0; y < area.getHeight(); ++y)
        for (int x = 0; x < area.getWidth(); ++x)
            image.setPixelAt (x, y, juce::Colour (0xff000000u | static_cast<juce::uint32> (XGetPixel (picture, x, y))));

    XDestroyImage (picture);
    return image;
}

juce::Image XScreen::capture() const
{
    auto* const display = pimpl->display;
    return capture ({ DisplayWidth (display, 0), DisplayHeight (display, 0) });
}

void XScreen::moveTo (juce::Point<int> position) const
{
    XTestFakeMotionEvent (pimpl->display, -1, position.x, position.y, CurrentTime);
    pimpl->sync();
}

void XScreen::press (int button) const
{
    XTestFakeButtonEvent (pimpl->display, static_cast<unsigned int> (button), True, CurrentTime);
    pimpl->sync();
}

void XScreen::release (int button) const
{
    XTestFakeButtonEvent (pimpl->display, static_cast<unsigned int> (button), False, CurrentTime);
    pimpl->sync();
}

void XScreen::click (juce::Point<int> position, int button) const
{
    moveTo (position);
    press (button);
    release (button);
}

void XScreen::drag (juce::Point<int> from, juce::Point<int> to) const
{
    constexpr int numSteps = 10;
    moveTo (from);
    press (1);

    for (int step = 1; step <= numSteps; ++step)
        moveTo (from + (to - from) * step / numSteps);

    release (1);
}

void XScreen::key (const char* name, const char* held) const
{
    if (held != nullptr)
        hold (held, true);

    hold (name, true);
    hold (name, false);

    if (held != nullptr)
        hold (held, false);

    pimpl->sync();
}

void XScreen::hold (const char* name, bool down) const
{
    XTestFakeKeyEvent (pimpl->display, XKeysymToKeycode (pimpl->display, XStringToKeysym (name)), down ? True : False, CurrentTime);
}

void XScreen::type (const char* digits) const
{
    for (const auto* digit = digits; *digit != 0; ++digit)
        key (*digit == '-' ? "minus" : *digit == '.' ? "period"
                                                     : std::string (1, *digit).c_str());
}

juce::Component* XScreen::openMenu()
{
    auto& desktop = juce::Desktop::getInstance();

    for (int i = desktop.getNumComponents(); --i >= 0;)
        if (auto* const component = desktop.getComponent (i); component->getName() == "menu" || component->getNumChildComponents() > 0)
            if (dynamic_cast<juce::AudioProcessorEditor*> (component) == nullptr && dynamic_cast<juce::TopLevelWindow*> (component) == nullptr && component->isVisible() && component->getWidth() > 20)
                return component;

    return nullptr;
}

std::vector<std::pair<juce::String, juce::Component*>> XScreen::menuRows()
{
    std::vector<std::pair<juce::String, juce::Component*>> rows;

    if (auto* const menu = openMenu())
        for (auto* child : menu->getChildren())
            if (auto* const handler = child->getAccessibilityHandler())
                if (handler->getTitle().isNotEmpty())
                    rows.emplace_back (handler->getTitle(), child);

    return rows;
}

bool XScreen::choose (const juce::String& text) const
{
    for (const auto& [rowText, row] : menuRows())
        if (rowText == text)
        {
            click (row->getScreenBounds().getCentre());
            deliverMessages (150);
            return true;
        }

    return false;
}

int XScreen::numWindows() const
{
    Window root = 0, parent = 0, *children = nullptr;
    unsigned int count = 0;
    XQueryTree (pimpl->display, DefaultRootWindow (pimpl->display), &root, &parent, &children, &count);
    XFree (children);
    return static_cast<int> (count);
}

int XScreen::numResources() const
{
    int numClients = 0, total = 0;
    XResClient* clients = nullptr;
    XResQueryClients (pimpl->display, &numClients, &clients);

    for (int i = 0; i < numClients; ++i)
    {
        int numTypes = 0;
        XResType* types = nullptr;
        XResQueryClientResources (pimpl->display, clients[i].resource_base, &numTypes, &types);

        for (int type = 0; type < numTypes; ++type)
        {
            auto* const name = XGetAtomName (pimpl->display, types[type].resource_type);

            if (std::string (name) != "COLORMAP")
                total += static_cast<int> (types[type].count);

            XFree (name);
        }

        XFree (types);
    }

    XFree (clients);
    return total;
}

//==============================================================================
bool PrivateXServer::start()
{
    int ends[2] {};

    if (pipe (ends) != 0)
        return false;

    process = fork();

    if (process == 0)
    {
        prctl (PR_SET_PDEATHSIG, SIGTERM); // also when a test crashes
        close (ends[0]);
        const auto number = std::to_string (ends[1]);
        execlp ("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", "1600x1000x24", "-nolisten", "tcp", "-noreset", static_cast<char*> (nullptr));
        _exit (127);
    }

    close (ends[1]);

    // The server writes its number when it is ready.
    std::string number;
    char character = 0;

    while (read (ends[0], &character, 1) == 1 && character != '\n')
        number.push_back (character);

    close (ends[0]);
    setenv ("DISPLAY", (":" + number).c_str(), 1);

    // JUCE uses names that a window manager makes known, and fails where there has never been one.
    if (auto* const display = XOpenDisplay (nullptr))
    {
        for (const auto* name : { "WM_PROTOCOLS", "WM_TAKE_FOCUS", "WM_DELETE_WINDOW", "_NET_WM_PING", "WM_CHANGE_STATE", "WM_STATE", "_NET_FRAME_EXTENTS", "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN", "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_NORMAL", "_NET_WM_WINDOW_TYPE_COMBO", "_NET_WORKAREA", "_MOTIF_WM_HINTS" })
            XInternAtom (display, name, False);

        XCloseDisplay (display);
        return true;
    }

    return false;
}

PrivateXServer::~PrivateXServer()
{
    if (process > 0)
    {
        kill (process, SIGTERM);
        waitpid (process, nullptr, 0);
    }
}
