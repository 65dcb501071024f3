// SPDX-License-Identifier: AGPL-3.0-only
#include "DelayLine.h"

#include <algorithm>
#include <math.h>

namespace varnel
{

void DelayLine::setUp (float newSampleRate, float capacitySeconds)
{
    // Two samples more than the delay: the sample just written and the oldest of the interpolation.
    const auto newSize = static_cast<std::int32_t> (::exp2f (::ceilf (::log2f (capacitySeconds * newSampleRate + 2.0f))));

    buffer = std::make_unique<float[]> (static_cast<std::size_t> (newSize));
    sampleRate = newSampleRate;
    size = newSize;
    mask = newSize - 1;
    delaySamples = 0.0f;
    delayWhole = 0;
    delayFraction = 0.0f;
    writeIndex = 0;
}

void DelayLine::clear() noexcept
{
    std::fill_n (buffer.get(), size, 0.0f);
}

} // namespace varnel
