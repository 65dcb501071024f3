// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Arithmetic.h"

#include <array>

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
    static std::array<float, 4> step (float& phase, float increment, float depth) noexcept
    {
        const auto p = wrap (phase + increment);
        const auto q = wrap (p + 0.125f);
        const auto r = wrap (q + 0.125f);
        const auto u = wrap (r + 0.125f);

        phase = p;
        return { triangle (p) * depth, triangle (q) * depth, triangle (r) * depth, triangle (u) * depth };
    }

private:
    static float wrap (float phase) noexcept { return phase - (phase > 0.5f ? 1.0f : 0.0f); }
    static float triangle (float phase) noexcept { return (std::abs (phase) - 0.25f) * 4.0f; }
};

} // namespace varnel
