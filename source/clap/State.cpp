// SPDX-License-Identifier: AGPL-3.0-only
#include "State.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace varnel::clap
{

namespace
{

/** A session's VST3 part holds the chunk in the wrapping of that format's predecessor: two headers, all numbers with the
    highest byte first, and more behind it. @returns the chunk within, or what there is if it is not wrapped like that */
juce::MemoryBlock unwrapped (const juce::MemoryBlock& data)
{
    constexpr size_t bankHeader = 160;
    const auto* const bytes = data.begin();
    const auto size = data.getSize();

    const auto begins = [&] (size_t at, const char* tag)
    { return at + 4 <= size && std::memcmp (bytes + at, tag, 4) == 0; };

    if (size < 8 || ! begins (0, "VstW"))
        return data;

    const auto bank = size_t { 8 } + juce::ByteOrder::bigEndianInt (bytes + 4);

    if (bank + bankHeader > size || ! begins (bank, "CcnK") || ! begins (bank + 8, "FBCh"))
        return data;

    const auto length = juce::ByteOrder::bigEndianInt (bytes + bank + bankHeader - 4);
    return { bytes + bank + bankHeader, std::min<size_t> (length, size - bank - bankHeader) };
}

/** A chunk is some hundred bytes long, and a preset's path a few thousand at most. Streams may have no end. */
constexpr size_t largestChunk = 16 << 20;

} // namespace

bool save (const HostBinding& binding, const clap_ostream_t& stream)
{
    const auto chunk = binding.chunk (HostBinding::chunkType);

    if (! chunk)
        return false;

    for (uint64_t written = 0; written < chunk->getSize();)
    {
        const auto left = chunk->getSize() - written;
        const auto number = stream.write (&stream, static_cast<const char*> (chunk->getData()) + written, left);

        if (number <= 0 || static_cast<uint64_t> (number) > left)
            return false;

        written += static_cast<uint64_t> (number);
    }

    return true;
}

bool load (HostBinding& binding, const clap_istream_t& stream)
{
    juce::MemoryBlock chunk;
    std::array<char, 4096> part;

    for (;;)
    {
        const auto number = stream.read (&stream, part.data(), part.size());

        if (number == 0)
        {
            const auto inner = unwrapped (chunk);
            return binding.setChunk (HostBinding::chunkType, inner.getData(), inner.getSize()).wasOk();
        }

        if (number < 0 || static_cast<uint64_t> (number) > part.size() || chunk.getSize() + static_cast<size_t> (number) > largestChunk)
            return false;

        chunk.append (part.data(), static_cast<size_t> (number));
    }
}

} // namespace varnel::clap
