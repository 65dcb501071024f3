// SPDX-License-Identifier: AGPL-3.0-only
#include "State.h"

#include <array>

namespace varnel::clap
{

namespace
{

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
            return binding.setChunk (HostBinding::chunkType, chunk.getData(), chunk.getSize()).wasOk();

        if (number < 0 || static_cast<uint64_t> (number) > part.size() || chunk.getSize() + static_cast<size_t> (number) > largestChunk)
            return false;

        chunk.append (part.data(), static_cast<size_t> (number));
    }
}

} // namespace varnel::clap
