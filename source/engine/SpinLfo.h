// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Lanes.h"

namespace varnel
{

/** The triangle oscillator that detunes the tank: one phase, four taps an eighth of a cycle apart. */
struct SpinLfo
{
    /** Moves the phase on by one sample.
        @param phase      in cycles, -0.5 up to and including 0.5; replaced by the new phase
        @param increment  cycles per sample, 0 to 1
        @param depth      in seconds
        @returns the offsets of the four taps in seconds, each between -depth and depth */
    static Lanes step (float& phase, float increment, float depth) noexcept
    {
        const auto p = wrap (phase + increment);
        const auto q = wrap (p + 0.125f);
        const auto r = wrap (q + 0.125f);
        const auto u = wrap (r + 0.125f);

        phase = p;
        return ((magnitude (Lanes { p, q, r, u }) - 0.25f) * 4.0f) * depth;
    }

private:
    static float wrap (float phase) noexcept { return phase - (phase > 0.5f ? 1.0f : 0.0f); }
};

} // namespace varnel
