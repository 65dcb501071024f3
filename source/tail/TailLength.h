// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "engine/ReverbEngine.h"

namespace varnel
{

/** How long an engine rings with the settings and the sample rate that it has.

    It is the time from an impulse until the backward-integrated energy (M. R. Schroeder, "New Method of Measuring
    Reverberation Time", 1965) of the wet part of the response has fallen by 60 dB. The time is not measured but worked out
    by a rule, with some reserve: on the factory's presets, at 44.1 to 96 kHz, it is at least what is measured and at most
    1.3 times that (benchmarks/TailLengths.cpp).

    Any thread; it takes some thirty microseconds and neither allocates nor locks. The engine has to be prepared and to have
    all its settings.
    @returns  seconds; 0 while the engine is bypassed or nothing of the wet part is in the output */
double tailLength (const ReverbEngine& engine) noexcept;

} // namespace varnel
