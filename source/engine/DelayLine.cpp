// SPDX-License-Identifier: AGPL-3.0-only
#include "DelayLine.h"

#include <algorithm>
#include <math.h>

namespace varnel
{

std::int32_t DelayLine::sizeFor (float sampleRate, float capacitySeconds) noexcept
{
    // Two samples more than the delay: the sample just written and the oldest of the interpolation.
    return static_cast<std::int32_t> (::exp2f (::ceilf (::log2f (capacitySeconds * sampleRate + 2.0f))));
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
