// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "DelayLine.h"

#include <array>
#include <memory>

namespace varnel
{

/** The memory of sixteen delay lines, in one piece.

    Behind each line lies a copy of its first samples, so that whoever reads some neighbours need not look where the ring
    ends. The lines know nothing of it: who writes through them calls copyStarts() afterwards.

    Lines start at different places of a page. Otherwise their newest samples, which lie equally far into lines whose
    lengths are powers of two, would all compete for the same few places of a processor's cache.
*/
struct DelayBank
{
    static constexpr std::size_t numLines = 16;
    static constexpr std::int32_t margin = 32; ///< samples behind each line, of which the first numCopied are copies
    static constexpr std::int32_t numCopied = 3;
    static constexpr float shortestDelay = 7.0f; ///< in samples, for whoever writes four at a time, and reads before

    struct Entry
    {
        DelayLine* line;
        float capacitySeconds;
    };

    std::unique_ptr<float[]> memory;
    alignas (16) std::array<std::int32_t, numLines> start {}; ///< of each line within memory
    alignas (16) std::array<std::int32_t, numLines> mask {};  ///< of each line
    std::int32_t smallestMask = 0;

    alignas (16) std::array<std::int32_t, 8> places {};             ///< where the tank reads next
    alignas (16) std::array<std::int32_t, 32> earlyPlaces {};       ///< where the diffusers read in the next four samples
    alignas (16) std::array<std::int32_t, numLines> writePlaces {}; ///< where four samples go

    /** Replaces the memory by a silent one and gives each line its part. @throws std::bad_alloc; all is then as it was */
    void setUp (float sampleRate, const std::array<Entry, numLines>& entries);

    /** Silences all lines. Delays and places of writing stay. */
    void clear() noexcept;

    void copyStarts() noexcept;

private:
    std::int32_t total = 0; ///< samples in memory
};

} // namespace varnel
