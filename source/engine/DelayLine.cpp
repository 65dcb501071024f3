// SPDX-License-Identifier: AGPL-3.0-only
#include "DelayLine.h"

#include <algorithm>
#include <bit>

namespace varnel
{

std::int32_t DelayLine::sizeFor (float sampleRate, float capacitySeconds) noexcept
{
    // Two samples more than the delay: the sample just written and the oldest of the interpolation.
    const auto wanted = bitCast<std::uint32_t> (capacitySeconds * sampleRate + 2.0f);
    const auto exponent = (wanted >> 23) - 127u;
    const auto steps = wanted & 0x7fffffu; // from float to float, from the power of two up

    // A length is two to the power of its logarithm, rounded up. The logarithm is one in floats, by definition: it does
    // not tell the first few floats above a power of two from that power. They are a third of its own highest power.
    const auto isPower = steps * 3 <= std::bit_floor (exponent);
    return 1 << (isPower ? exponent : exponent + 1);
}

void DelayLine::setUp (float newSampleRate, std::int32_t newSize, float* newBuffer) noexcept
{
    buffer = newBuffer;
    sampleRate = newSampleRate;
    size = newSize;
    mask = newSize - 1;
    delaySamples = 0.0f;
    delayWhole = 0;
    delayFraction = 0.0f;
    writeIndex = 0;
    std::fill_n (buffer, size, 0.0f);
}

} // namespace varnel
