// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Arithmetic.h"

namespace varnel
{

/** A ring of samples whose length is a power of two, with a whole-sample and an interpolated read. Its memory is a
    DelayBank's.

    Used by the audio thread alone; setUp() must not run at the same time as any other operation.
    The delay has no clamp. Whatever it is set to, an index stays inside the buffer, but what is read
    is meaningful only for a delay of 0 up to the capacity that the size is for.
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
    float* buffer = nullptr;     ///< size samples

    /** @returns the size of a line that holds so many seconds, of at most 2^29 samples */
    static std::int32_t sizeFor (float sampleRate, float capacitySeconds) noexcept;

    /** Gives the line a silent buffer, and sets the delay to 0. */
    void setUp (float newSampleRate, std::int32_t newSize, float* newBuffer) noexcept;

    void setDelay (float seconds) noexcept
    {
        delaySamples = sampleRate * seconds;
        delayWhole = wholeFloor (delaySamples);
        delayFraction = delaySamples - static_cast<float> (delayWhole);
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
        const auto out = hermite (at (r - 2), at (r - 1), at (r), at (r + (delayWhole > 0 ? 1u : 0u)), delayFraction);

        advance();
        return out;
    }

    /** The curve through four neighbours, oldest first, at a fraction of a sample before x0, of a float or of lanes. */
    template <typename FloatOrLanes>
    static FloatOrLanes hermite (FloatOrLanes x2, FloatOrLanes x1, FloatOrLanes x0, FloatOrLanes xm1, FloatOrLanes fraction) noexcept
    {
        const auto v = x0 - x1;
        const auto c = (x1 - xm1) * 0.5f;
        const auto w = v + c;
        const auto a = (x2 - x0) * 0.5f + (v + w);
        const auto b = w + a;
        return ((a * fraction - b) * fraction + c) * fraction + x0;
    }

private:
    void write (float in) noexcept { buffer[writeIndex] = in; }
    // Unsigned, because indices wrap
    std::uint32_t readIndex() const noexcept { return static_cast<std::uint32_t> (writeIndex) - static_cast<std::uint32_t> (delayWhole); }
    float at (std::uint32_t index) const noexcept { return buffer[index & static_cast<std::uint32_t> (mask)]; }
    void advance() noexcept { writeIndex = (writeIndex + 1) & mask; }
};

} // namespace varnel
