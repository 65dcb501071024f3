// SPDX-License-Identifier: AGPL-3.0-only
#include "ProgressBar.h"

#include <cstdio>
#include <unistd.h>

namespace varnel
{

ProgressBar::ProgressBar (bool enabled)
    : visible (enabled && isatty (fileno (stderr)) != 0),
      start (juce::Time::getMillisecondCounterHiRes())
{
}

ProgressBar::~ProgressBar()
{
    clear();
}

void ProgressBar::clear()
{
    if (isShown)
        std::fputs ("\r\033[K", stderr);

    isShown = false;
}

double ProgressBar::elapsedSeconds() const
{
    return (juce::Time::getMillisecondCounterHiRes() - start) / 1000.0;
}

void ProgressBar::show (double fraction, double audioSeconds, const juce::String& label)
{
    const auto elapsed = elapsedSeconds();

    if (! visible || elapsed - lastShown < 0.1)
        return;

    lastShown = elapsed;
    isShown = true;

    constexpr int width = 30;
    const auto filled = juce::roundToInt (juce::jlimit (0.0, 1.0, fraction) * width);
    const auto bar = juce::String::repeatedString ("#", filled).paddedRight ('-', width);
    const auto percent = fraction < 0.0 ? juce::String() : juce::String (juce::roundToInt (fraction * 100.0)) + "% ";

    std::fprintf (stderr, "\r\033[K[%s] %s%s, %.1f s, %.0f times real time", bar.toRawUTF8(), percent.toRawUTF8(), label.toRawUTF8(), elapsed, audioSeconds / elapsed);
    std::fflush (stderr);
}

} // namespace varnel
