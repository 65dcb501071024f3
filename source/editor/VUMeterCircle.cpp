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
double barsFor (float magnitude)
{
    return juce::jlimit (0.0f, 1.0f, std::cbrt (magnitude * 0.51f)) * static_cast<double> (numBars);
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
    // Far beyond the scale, but a number: an infinite level would never fall.
    constexpr auto highest = 1e6f;
    auto delta = (value < highest ? value : highest) + 1e-18f - level;

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

    repaint();
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

    const auto held = barsFor (peak);
    const auto below = static_cast<int> (held);
    g.setColour (juce::Colour (0xffffff00));
    fillBar (held - below > 0.01 ? below + 1 : below);
}

} // namespace varnel
