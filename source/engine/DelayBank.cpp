// SPDX-License-Identifier: AGPL-3.0-only
#include "DelayBank.h"

#include <algorithm>

namespace varnel
{

void DelayBank::setUp (float sampleRate, const std::array<Entry, numLines>& entries)
{
    std::array<std::int32_t, numLines> sizes {};
    std::int32_t newTotal = 0;

    for (std::size_t i = 0; i < numLines; ++i)
    {
        sizes[i] = DelayLine::sizeFor (sampleRate, entries[i].capacitySeconds);
        newTotal += sizes[i] + margin;
    }

    memory = std::make_unique<float[]> (static_cast<std::size_t> (newTotal));
    total = 0;

    for (std::size_t i = 0; i < numLines; ++i)
    {
        start[i] = total;
        mask[i] = sizes[i] - 1;
        entries[i].line->setUp (sampleRate, sizes[i], &memory[static_cast<std::size_t> (total)]);
        total += sizes[i] + margin;
    }

    smallestMask = *std::min_element (mask.begin(), mask.end());
}

void DelayBank::clear() noexcept
{
    std::fill_n (memory.get(), total, 0.0f);
}

void DelayBank::copyStarts() noexcept
{
    for (std::size_t i = 0; i < numLines; ++i)
    {
        auto* const line = &memory[static_cast<std::size_t> (start[i])];
        std::copy_n (line, numCopied, line + mask[i] + 1);
    }
}

} // namespace varnel
