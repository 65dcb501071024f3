// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

namespace varnel
{

/** A line on standard error that shows how far a long job is; silent unless that is a terminal. */
class ProgressBar
{
public:
    explicit ProgressBar (bool enabled);

    /** Takes the line away. */
    ~ProgressBar();

    /** Redraws the line, a few times a second at most.
        @param fraction       0 to 1, or below 0 when the end is not known
        @param audioSeconds   of audio done so far
        @param label          what is being done */
    void show (double fraction, double audioSeconds, const juce::String& label);

    /** Takes the line away until it is shown again, to make room for others. */
    void clear();

    /** Since construction. */
    double elapsedSeconds() const;

private:
    const bool visible;
    const double start;
    double lastShown = 0.0;
    bool isShown = false;

    JUCE_DECLARE_NON_COPYABLE (ProgressBar)
};

} // namespace varnel
