// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Arithmetic.h"
#include "SharedValue.h"

namespace varnel
{

/** What design makes of a corner and a gain. */
struct ShelfCoefficients
{
    float a1; ///< feedback
    float b0; ///< direct
    float b1; ///< delayed
};

/** ShelfCoefficients on their way from the thread that designed them to the audio thread. */
struct SharedShelfCoefficients
{
    SharedValue<float> a1, b0, b1;

    SharedShelfCoefficients& operator= (const ShelfCoefficients& designed) noexcept
    {
        a1 = designed.a1;
        b0 = designed.b0;
        b1 = designed.b1;
        return *this;
    }

    ShelfCoefficients get() const noexcept { return { a1, b0, b1 }; }
};

/** A first-order filter section: what LowShelf and HighShelf share.

    The corner, the gain and the designs may be used on any thread at any time. The rest belongs to the
    audio thread: coefficients act at once and leave the state alone.
*/
struct Shelf
{
    SharedValue<float> piOverSampleRate; ///< pi divided by the sample rate, in seconds
    SharedValue<float> cornerHz;         ///< nominal corner frequency
    SharedValue<float> gainDb;           ///< shelf gain in decibels
    float state = 0.0f;                  ///< the filter's one memory
    float a1 = 0.0f;                     ///< feedback coefficient
    float b0 = 0.0f;                     ///< direct coefficient
    float b1 = 0.0f;                     ///< delayed coefficient

    /** Transposed direct form. The guard goes into the state, never into the result. */
    float process (float x) noexcept
    {
        const auto y = b0 * x + state;
        state = (b1 * x + a1 * y) + denormalGuard;
        return y;
    }

    /** Takes the sample rate and zeroes gain, state and coefficients. */
    void setUp (float newPiOverSampleRate) noexcept;

    void use (const ShelfCoefficients& coefficients) noexcept
    {
        a1 = coefficients.a1;
        b0 = coefficients.b0;
        b1 = coefficients.b1;
    }
};

/** First-order low shelf: gainDb at 0 Hz, 0 dB at the Nyquist frequency. */
struct LowShelf : Shelf
{
    ShelfCoefficients design() const noexcept;
};

/** First-order high shelf: 0 dB at 0 Hz, gainDb at the Nyquist frequency. */
struct HighShelf : Shelf
{
    ShelfCoefficients design() const noexcept;
};

} // namespace varnel
