// SPDX-License-Identifier: AGPL-3.0-only
// Requests of an NKS host, each with memory of exactly the size that its terms promise.
//
// Input: one request after the other: index (4 bytes, little-endian), number of bytes, bytes. A number of 255 stands
// for no memory at all.

#include "Fuzz.h"

#include <cstring>

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    auto& processor = fuzz::processor();
    constexpr int header = 5;
    constexpr size_t largestAnswer = 9; // a description: 64 bits and a flag

    for (size_t at = 0; at + header <= size;)
    {
        std::uint32_t bits = 0;
        std::memcpy (&bits, data + at, sizeof (bits));
        const auto index = static_cast<std::int32_t> (bits);
        const auto stated = data[at + 4];
        at += header;

        if (stated == 255)
        {
            REQUIRE (processor.nksCall (index, 8, nullptr, 0.0f) <= 1);
            continue;
        }

        const auto length = std::min (static_cast<size_t> (stated), size - at);
        const auto sets = (bits >> 16) == 0x6e69;
        std::vector<uint8_t> memory (data + at, data + at + length);
        at += length;

        if (! sets)
            memory.resize (largestAnswer);

        memory.shrink_to_fit();
        const auto answer = processor.nksCall (index, static_cast<std::intptr_t> (memory.size()), memory.data(), 0.0f);
        REQUIRE (answer == 0 || answer == 1);
    }

    std::vector<char> text (data, data + size);
    text.push_back ('\0');
    processor.handleVstPluginCanDo (0, 0, text.data(), 0.0f);
    return 0;
}
