// SPDX-License-Identifier: AGPL-3.0-only
#include "Window.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace varnel::clap
{

std::unique_ptr<Window> Window::create (VarnelReverbAudioProcessor& processor, Host& host)
{
    if (juce::Desktop::getInstance().getDisplays().displays.isEmpty())
        return nullptr;

    return std::unique_ptr<Window> (new Window (processor, host));
}

Window::Window (VarnelReverbAudioProcessor& processor, Host& hostToUse)
    : host (hostToUse), editor (processor.createEditorIfNeeded()), width (editor->getWidth()), height (editor->getHeight())
{
    frame.addAndMakeVisible (*editor);
    editor->setTopLeftPosition (0, 0);
    editor->addComponentListener (this);
    updateFrame();
}

Window::~Window()
{
    editor->removeComponentListener (this);
    editor->processor.editorBeingDeleted (editor.get());
}

bool Window::canBe (const char* api, bool isFloating)
{
    return ! isFloating && api != nullptr && std::strcmp (api, CLAP_WINDOW_API_X11) == 0;
}

//==============================================================================
/** Pixels of the screen for one of JUCE's. */
double Window::systemScale() const
{
    if (const auto* const peer = frame.getPeer())
        return peer->getPlatformScaleFactor();

    const auto* const display = juce::Desktop::getInstance().getDisplays().getPrimaryDisplay();
    return display != nullptr ? display->scale : 1.0;
}

double Window::scale() const
{
    return hostScale.value_or (systemScale());
}

Window::Size Window::sizeOf (int editorWidth, int editorHeight) const
{
    const auto pixels = [this] (int length)
    { return static_cast<uint32_t> (std::lround (length * scale())); };

    return { pixels (editorWidth), pixels (editorHeight) };
}

Window::Size Window::size() const
{
    return sizeOf (width, height);
}

Window::Size Window::shape() const
{
    const auto& limits = *editor->getConstrainer();
    return { static_cast<uint32_t> (limits.getMaximumWidth()), static_cast<uint32_t> (limits.getMaximumHeight()) };
}

Window::Size Window::fit (const Size& area) const
{
    const auto& limits = *editor->getConstrainer();
    const auto w = limits.getMaximumWidth(), h = limits.getMaximumHeight(); // the shape

    const auto length = [this] (uint32_t pixels)
    { return static_cast<int> (std::min ((pixels + 0.4999) / scale(), 1e5)); };

    // Lengths are rounded to the nearest pixel, so that a size that fits is its own fit.
    const auto widest = std::min (length (area.width), ((2 * length (area.height) + 1) * w - 1) / (2 * h));
    const auto fitting = std::clamp (widest, limits.getMinimumWidth(), w);
    return sizeOf (fitting, (2 * fitting * h + w) / (2 * w));
}

//==============================================================================
bool Window::setScale (double newScale)
{
    if (! (newScale >= 0.1 && newScale <= 10.0))
        return false;

    hostScale = newScale;
    updateFrame();
    return true;
}

bool Window::setSize (const Size& newSize)
{
    const auto fitting = fit (newSize);
    resizeEditor (static_cast<int> (std::lround (fitting.width / scale())), static_cast<int> (std::lround (fitting.height / scale())));
    return fitting == newSize;
}

void Window::resizeEditor (int newWidth, int newHeight)
{
    const juce::ScopedValueSetter<bool> setter (isResizing, true);
    editor->setSize (newWidth, newHeight);
}

/** Makes the frame as large as the editor is. */
void Window::updateFrame()
{
    const auto factor = scale() / systemScale();
    editor->setScaleFactor (static_cast<float> (factor));
    frame.setSize (juce::roundToInt (width * factor), juce::roundToInt (height * factor));
}

void Window::componentMovedOrResized (juce::Component&, bool, bool wasResized)
{
    if (! wasResized)
        return;

    if (! isResizing && host.gui != nullptr)
    {
        const auto wanted = sizeOf (editor->getWidth(), editor->getHeight());

        if (! host.gui->request_resize (&host.abi, wanted.width, wanted.height))
        {
            resizeEditor (width, height);
            return;
        }
    }

    width = editor->getWidth();
    height = editor->getHeight();
    updateFrame();
}

//==============================================================================
bool Window::setParent (const clap_window_t& parent)
{
    if (! canBe (parent.api, false) || parent.x11 == 0)
        return false;

    frame.removeFromDesktop();
    frame.addToDesktop (0, reinterpret_cast<void*> (parent.x11));
    updateFrame();
    return true;
}

bool Window::setVisible (bool shouldBeVisible)
{
    if (! frame.isOnDesktop())
        return false;

    frame.setVisible (shouldBeVisible);
    return true;
}

} // namespace varnel::clap
