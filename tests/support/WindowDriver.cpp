// SPDX-License-Identifier: AGPL-3.0-only
#include "WindowDriver.h"

#include "Plugin.h"

#include <algorithm>

namespace
{

constexpr auto mouse = juce::MouseInputSource::mouse;

/** Lets happen what is waiting to happen. */
void settle()
{
    while (juce::detail::dispatchNextMessageOnSystemQueue (true))
        ;
}

juce::ComponentPeer* peerAt (juce::Point<int> position)
{
    auto* const component = juce::Desktop::getInstance().findComponentAt (position);
    return component != nullptr ? component->getPeer() : nullptr;
}

/** Menus, the innermost last. */
std::vector<juce::Component*> openMenus()
{
    std::vector<juce::Component*> menus;
    auto& desktop = juce::Desktop::getInstance();

    for (int i = 0; i < desktop.getNumComponents(); ++i)
        if (auto* const component = desktop.getComponent (i); component->getName() == "menu" && component->isVisible())
            menus.push_back (component);

    return menus;
}

} // namespace

void WindowDriver::send (juce::Point<int> position, int buttons)
{
    juce::Desktop::setMousePosition (position); // where JUCE opens menus and tooltips
    auto& modifiers = juce::ModifierKeys::currentModifiers;
    modifiers = modifiers.withoutMouseButtons().withFlags (buttons);

    if (auto* const peer = pressed != nullptr ? pressed : peerAt (position))
    {
        pressed = buttons != 0 ? peer : nullptr;
        peer->handleMouseEvent (mouse, peer->globalToLocal (position.toFloat()), modifiers, 0.0f, 0.0f, time);
    }
    else
    {
        // Off all windows: those that the mouse leaves hear of it.
        for (int i = juce::ComponentPeer::getNumPeers(); --i >= 0;)
            if (auto* const other = juce::ComponentPeer::getPeer (i))
                other->handleMouseEvent (mouse, other->globalToLocal (position.toFloat()), modifiers, 0.0f, 0.0f, time);
    }
}

void WindowDriver::moveTo (juce::Point<int> position)
{
    time += 10;
    send (position, 0);
    settle();
}

void WindowDriver::click (juce::Point<int> position, int button)
{
    time += 1000; // no double click
    moveTo (position);
    send (position, button);
    send (position, 0);
    settle();
}

void WindowDriver::doubleClick (juce::Point<int> position)
{
    click (position);
    time -= 900;
    click (position);
}

void WindowDriver::drag (juce::Point<int> from, juce::Point<int> to)
{
    constexpr int numSteps = 10;
    time += 1000;
    moveTo (from);

    for (int step = 0; step <= numSteps; ++step, time += 10)
        send (from + (to - from) * step / numSteps, juce::ModifierKeys::leftButtonModifier);

    send (to, 0);
    settle();
}

void WindowDriver::wheel (juce::Point<int> position, juce::MouseWheelDetails amount, bool withShift)
{
    moveTo (position);
    auto& modifiers = juce::ModifierKeys::currentModifiers;
    modifiers = modifiers.withFlags (withShift ? juce::ModifierKeys::shiftModifier : 0);

    if (auto* const peer = peerAt (position))
        peer->handleMouseWheel (mouse, peer->globalToLocal (position.toFloat()), ++time, amount);

    modifiers = modifiers.withoutFlags (juce::ModifierKeys::shiftModifier);
    settle();
}

void WindowDriver::key (const juce::String& description)
{
    const auto key = juce::KeyPress::createFromDescription (description);

    if (auto* const focused = juce::Component::getCurrentlyFocusedComponent())
        focused->getPeer()->handleKeyPress (key.getModifiers().isAnyModifierKeyDown() ? key : juce::KeyPress (key.getKeyCode(), {}, key.getKeyCode() == ' ' ? ' ' : 0));

    settle();
}

void WindowDriver::type (const juce::String& text)
{
    for (const auto character : text)
        if (auto* const focused = juce::Component::getCurrentlyFocusedComponent())
            focused->getPeer()->handleKeyPress (static_cast<int> (character), character);

    settle();
}

juce::Image WindowDriver::picture (juce::Rectangle<int> area)
{
    juce::Image image (juce::Image::RGB, area.getWidth(), area.getHeight(), true, juce::SoftwareImageType());
    juce::Graphics graphics (image);
    auto& desktop = juce::Desktop::getInstance();

    for (int i = 0; i < desktop.getNumComponents(); ++i)
        if (auto* const window = desktop.getComponent (i); window->isVisible())
        {
            const juce::Graphics::ScopedSaveState saved (graphics);
            graphics.setOrigin (window->getPosition() - area.getPosition());
            graphics.reduceClipRegion (window->getLocalBounds());
            window->paintEntireComponent (graphics, false);
        }

    return image;
}

std::pair<int, juce::Point<int>> WindowDriver::compare (const juce::Image& a, const juce::Image& b, int blockSize, juce::Image* differences)
{
    std::pair<int, juce::Point<int>> worst;

    for (int top = 0; top < a.getHeight(); top += blockSize)
        for (int left = 0; left < a.getWidth(); left += blockSize)
        {
            const auto block = a.getBounds().getIntersection ({ left, top, blockSize, blockSize });
            int red = 0, green = 0, blue = 0;

            for (int y = top; y < block.getBottom(); ++y)
                for (int x = left; x < block.getRight(); ++x)
                {
                    const auto p = a.getPixelAt (x, y), q = b.getPixelAt (x, y);
                    red += p.getRed() - q.getRed();
                    green += p.getGreen() - q.getGreen();
                    blue += p.getBlue() - q.getBlue();
                }

            if (const auto highest = std::max ({ std::abs (red), std::abs (green), std::abs (blue) }) / (blockSize * blockSize); highest > 0)
            {
                if (highest > worst.first)
                    worst = { highest, block.getPosition() };
                if (differences != nullptr)
                    differences->clear (block, juce::Colour::greyLevel (std::min (1.0f, static_cast<float> (highest) / 64.0f)));
            }
        }

    return worst;
}

void WindowDriver::expectNothingStale (juce::Component& component)
{
    juce::Image shown (juce::Image::RGB, component.getWidth(), component.getHeight(), true, juce::SoftwareImageType()), whole (shown.createCopy());
    {
        juce::Graphics toShown (shown), toWhole (whole);
        component.getCachedComponentImage()->paint (toShown);
        component.paintEntireComponent (toWhole, true);
    }

    constexpr int rounding = 4; // an edge of a part is not painted as the middle of a whole is
    const auto [highest, where] = compare (shown, whole, 1);
    EXPECT_LE (highest, rounding) << "at " << where.toString() << " something has changed that was not repainted";
}

std::vector<std::pair<juce::String, juce::Component*>> WindowDriver::menuRows()
{
    std::vector<std::pair<juce::String, juce::Component*>> rows;

    if (const auto menus = openMenus(); ! menus.empty())
        for (auto* child : menus.back()->getChildren())
            if (auto* const handler = child->getAccessibilityHandler(); handler != nullptr && handler->getTitle().isNotEmpty())
                rows.emplace_back (handler->getTitle(), child);

    return rows;
}

juce::StringArray WindowDriver::menuTexts()
{
    juce::StringArray texts;
    for (const auto& [text, row] : menuRows())
        texts.add (text);
    return texts;
}

void WindowDriver::choose (const juce::String& text)
{
    for (const auto& [rowText, row] : menuRows())
        if (rowText == text)
        {
            EXPECT_TRUE (row->getAccessibilityHandler()->getActions().invoke (juce::AccessibilityActionType::press)) << text << " cannot be chosen";
            settle();
            return;
        }

    ADD_FAILURE() << "no row \"" << text << "\", only: " << menuTexts().joinIntoString (" | ");
}

void WindowDriver::closeMenu()
{
    juce::PopupMenu::dismissAllActiveMenus();
    settle();
}
