// SPDX-License-Identifier: AGPL-3.0-only
#include "VUMeterCircle.h"

#include <cmath>

namespace varnel
{

namespace
{

constexpr int numBars = 50, firstRedBar = 40;
constexpr int updatesOfHold = 50;

/** Where a magnitude stands, in bars: a cube root makes room for soft sounds. */
double barsFor (float magnitude) noexcept
{
    return juce::jlimit (0.0f, 1.0f, std::cbrt (magnitude * 0.51f)) * static_cast<double> (numBars);
}

/** The bar of a held peak: the one that the peak has reached. */
int peakBarFor (float magnitude) noexcept
{
    const auto held = barsFor (magnitude);
    const auto below = static_cast<int> (held);
    return held - below > 0.01 ? below + 1 : below;
}

} // namespace

VUMeterCircle::VUMeterCircle()
    : bars (juce::Image::ARGB, 300, 250, true)
{
    juce::Graphics g (bars);
    g.fillAll (juce::Colours::black);

    for (int i = 0; i < numBars; ++i)
    {
        g.setColour ((i < firstRedBar ? juce::Colours::white : juce::Colours::red).withAlpha (static_cast<juce::uint8> (0x33)));
        g.fillRect (0, 247 - 5 * i, 300, 3);
    }
}

void VUMeterCircle::setLevel (float value)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    // What is no number shows as far beyond the scale: from infinity, no level would ever fall.
    if (! std::isfinite (value))
        value = 1e6f;

    auto delta = value + 1e-18f - level;

    if (! (delta > 0.0f))
        delta *= fall;

    level += delta;

    if (holdCounter < 2)
    {
        peak = 0.0f;
        holdCounter = 0;
    }
    else
    {
        --holdCounter;
    }

    if (level >= peak)
    {
        peak = level;
        holdCounter = updatesOfHold;
    }

    repaintWhatChanged();
}

/** A meter that stands still costs nothing, and one that moves the rows in which it moves. */
void VUMeterCircle::repaintWhatChanged()
{
    const auto lit = barsFor (level);
    const auto peakBar = peakBarFor (peak);

    const auto repaintBars = [this] (int lowest, int highest)
    {
        const auto barTop = [this] (int bar)
        { return static_cast<float> (getHeight()) * (1.008f - 0.02f * static_cast<float> (bar)); };

        repaint (juce::Rectangle<float> (0.0f, barTop (highest), static_cast<float> (getWidth()), barTop (lowest - 1) - barTop (highest)).getSmallestIntegerContainer());
    };

    if (std::abs (lit - shownLit) >= 1.0 / 255.0)
    {
        repaintBars (static_cast<int> (std::min (lit, shownLit)), static_cast<int> (std::max (lit, shownLit)) + 1);
        shownLit = lit;
    }

    if (peakBar != shownPeakBar)
    {
        repaintBars (peakBar, peakBar);
        repaintBars (shownPeakBar, shownPeakBar);
        shownPeakBar = peakBar;
    }
}

void VUMeterCircle::paint (juce::Graphics& g)
{
    const auto w = static_cast<float> (getWidth()), h = static_cast<float> (getHeight());

    const juce::Point<float> centre (startAngle < 0.0f ? w : 0.0f, arcCentreY);
    const auto outer = radius / 2.0f;
    const auto inner = (radius - 0.126666665f * w) / 2.0f;

    juce::Path ring;
    ring.startNewSubPath (centre.getPointOnCircumference (outer, startAngle));
    ring.lineTo (centre.getPointOnCircumference (inner, innerAngle));
    ring.addCentredArc (centre.x, centre.y, inner, inner, 0.0f, innerAngle, 0.0f, false);
    ring.addCentredArc (centre.x, centre.y, outer, outer, 0.0f, 0.0f, innerAngle, false);
    g.reduceClipRegion (ring);

    g.drawImage (bars, 0, 0, getWidth(), getHeight(), 0, 0, bars.getWidth(), bars.getHeight());

    const auto barHeight = 0.012 * h, gap = 0.008 * h;
    const auto fillBar = [&] (int bar)
    { g.fillRect (juce::Rectangle<double> (0.0, h + gap - bar * (barHeight + gap), w, barHeight).toFloat()); };

    const auto lit = barsFor (level);
    const auto whole = static_cast<int> (lit);

    for (int i = 0; i <= whole; ++i)
    {
        g.setColour (i <= firstRedBar ? juce::Colour (0xffe6e6e6) : juce::Colours::red);
        fillBar (i);
    }

    // The next bar fades in as the level comes near.
    if (const auto fraction = lit - whole; fraction > 0.01)
    {
        g.setColour ((whole < firstRedBar ? juce::Colours::white : juce::Colours::red).withAlpha (static_cast<juce::uint8> (juce::roundToInt (fraction * 255.0))));
        fillBar (whole + 1);
    }

    g.setColour (juce::Colour (0xffffff00));
    fillBar (peakBarFor (peak));
}

} // namespace varnel
