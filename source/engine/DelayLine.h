// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Lanes.h"

#include <memory>

namespace varnel
{

/** A ring of samples whose length is a power of two, with a whole-sample and an interpolated read.

    Used by the audio thread alone; setUp() must not run at the same time as any other operation.
    The delay has no clamp. Whatever it is set to, an index stays inside the buffer, but what is read
    is meaningful only for a delay of 0 up to the capacity given to setUp().
*/
struct DelayLine
{
    float sampleRate = 0.0f;     ///< Hz
    std::int32_t size = 0;       ///< samples in the buffer, a power of two
    std::int32_t mask = 0;       ///< size - 1
    float delaySamples = 0.0f;   ///< wanted delay in samples
    std::int32_t delayWhole = 0; ///< floor of delaySamples
    float delayFraction = 0.0f;  ///< delaySamples - delayWhole, 0 up to 1
    std::int32_t writeIndex = 0; ///< where the next sample goes, 0 to mask
    std::unique_ptr<float[]> buffer;

    /** Replaces the buffer by a silent one that holds at least capacitySeconds, and sets the delay to 0.
        @throws std::bad_alloc  if there is no memory; the line is then as it was. */
    void setUp (float newSampleRate, float capacitySeconds);

    /** Silences the buffer. The delay and the place of writing stay. */
    void clear() noexcept;

    void setDelay (float seconds) noexcept
    {
        delaySamples = sampleRate * seconds;
        delayWhole = wholeFloor (delaySamples);
        delayFraction = delaySamples - static_cast<float> (delayWhole);
    }

    /** setDelay() of four lines at once, which must have the same sample rate. */
    static void setDelays (DelayLine& line0, DelayLine& line1, DelayLine& line2, DelayLine& line3, Lanes seconds) noexcept
    {
        const auto samples = line0.sampleRate * seconds;
        const auto whole = wholeFloor (samples);
        const auto fraction = samples - toFloat (whole);

        DelayLine* const lines[] { &line0, &line1, &line2, &line3 };

        for (int i = 0; i < 4; ++i)
        {
            lines[i]->delaySamples = samples[i];
            lines[i]->delayWhole = whole[i];
            lines[i]->delayFraction = fraction[i];
        }
    }

    /** Writes a sample and returns the one delayWhole samples older; with a delay of 0, the same one. */
    float pushWhole (float in) noexcept
    {
        write (in);
        const auto out = at (readIndex());
        advance();
        return out;
    }

    /** Writes a sample and reads at delaySamples by third-order Hermite interpolation over four samples
        (the Catmull-Rom form that O. Niemitalo, "Polynomial Interpolators for High-Quality Resampling
        of Oversampled Audio", 2001, lists as 4-point, 3rd-order Hermite). */
    float pushHermite (float in) noexcept
    {
        write (in);

        // Indices grow towards newer samples, so xm1 is the newer neighbour of x0. With a delay below
        // one sample there is none: the slot after the newest sample holds the oldest one.
        const auto r = readIndex();
        const auto x0 = at (r);
        const auto x1 = at (r - 1);
        const auto x2 = at (r - 2);
        const auto xm1 = at (r + (delayWhole > 0 ? 1u : 0u));

        const auto f = delayFraction;
        const auto v = x0 - x1;
        const auto c = (x1 - xm1) * 0.5f;
        const auto w = v + c;
        const auto a = (x2 - x0) * 0.5f + (v + w);
        const auto b = w + a;
        const auto out = ((a * f - b) * f + c) * f + x0;

        advance();
        return out;
    }

private:
    void write (float in) noexcept { buffer[static_cast<std::uint32_t> (writeIndex)] = in; }
    // Unsigned, because indices wrap
    std::uint32_t readIndex() const noexcept { return static_cast<std::uint32_t> (writeIndex) - static_cast<std::uint32_t> (delayWhole); }
    float at (std::uint32_t index) const noexcept { return buffer[index & static_cast<std::uint32_t> (mask)]; }
    void advance() noexcept { writeIndex = (writeIndex + 1) & mask; }
};

} // namespace varnel
