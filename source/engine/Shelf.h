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

/** A first-order filter section: what LowShelf and HighShelf share. It belongs to the audio thread: coefficients act at
    once and leave the state alone.
*/
struct Shelf
{
    float piOverSampleRate = 0.0f; ///< pi divided by the sample rate, in seconds
    float cornerHz = 0.0f;         ///< nominal corner frequency
    float gainDb = 0.0f;           ///< shelf gain in decibels
    float state = 0.0f;            ///< the filter's one memory
    float a1 = 0.0f;               ///< feedback coefficient
    float b0 = 0.0f;               ///< direct coefficient
    float b1 = 0.0f;               ///< delayed coefficient

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
    static ShelfCoefficients design (float piOverSampleRate, float cornerHz, float gainDb) noexcept;
};

/** First-order high shelf: 0 dB at 0 Hz, gainDb at the Nyquist frequency. */
struct HighShelf : Shelf
{
    static ShelfCoefficients design (float piOverSampleRate, float cornerHz, float gainDb) noexcept;
};

/** What all shelves of one kind and place have in common, on its way from the threads that set and design it to the audio
    thread that gives it to the shelves.
*/
template <typename Kind>
struct SharedShelf
{
    SharedValue<float> piOverSampleRate, cornerHz, gainDb, a1, b0, b1; ///< as in Shelf

    /** As Shelf::setUp(). */
    void setUp (float newPiOverSampleRate) noexcept
    {
        piOverSampleRate = newPiOverSampleRate;
        gainDb = a1 = b0 = b1 = 0.0f;
    }

    /** On any thread, by one at a time. */
    void design (float newGainDb) noexcept
    {
        gainDb = newGainDb;
        const auto designed = Kind::design (piOverSampleRate, cornerHz, newGainDb);
        a1 = designed.a1;
        b0 = designed.b0;
        b1 = designed.b1;
    }

    /** On the audio thread. */
    void giveTo (Kind& shelf) const noexcept
    {
        shelf.cornerHz = cornerHz;
        shelf.gainDb = gainDb;
        shelf.use ({ a1, b0, b1 });
    }
};

} // namespace varnel
