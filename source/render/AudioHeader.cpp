// SPDX-License-Identifier: AGPL-3.0-only
#include "AudioHeader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace varnel
{

namespace
{

using namespace std::string_view_literals;

/** A few bytes of a file; zeros where it has ended. */
template <std::size_t size>
struct Excerpt
{
    Excerpt (const ReadAt& readAt, std::int64_t offset)
        : length (readAt (offset, bytes.data(), size)) {}

    bool has (std::string_view text, std::size_t at = 0) const
    {
        return at + text.size() <= length && std::equal (text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t> (at), [] (char a, unsigned char b)
                                                         { return static_cast<unsigned char> (a) == b; });
    }

    std::uint64_t number (std::size_t at, std::size_t numBytes, bool bigEndian) const
    {
        std::uint64_t result = 0;

        for (std::size_t i = 0; i < numBytes; ++i)
            result = (result << 8) | bytes[at + (bigEndian ? i : numBytes - 1 - i)];

        return result;
    }

    std::array<unsigned char, size> bytes {};
    std::size_t length;
};

/** How a kind of file arranges its chunks. */
struct ChunkLayout
{
    std::string_view audioId;     ///< the first four bytes of its name
    std::int64_t first;           ///< where the first chunk begins
    std::size_t idSize, sizeSize; ///< bytes of a chunk's name and of its length
    bool bigEndian;
    bool sizeCountsHeader;
    std::int64_t alignment; ///< bytes
    std::int64_t preamble;  ///< bytes between the audio chunk's header and the first frame
};

ChunkLayout layoutOf (FileKind kind, bool bigEndian)
{
    switch (kind)
    {
        case FileKind::aiff:
            return { "SSND", 12, 4, 4, true, false, 2, 8 };
        case FileKind::caf:
            return { "data", 8, 4, 8, true, false, 1, 4 };
        case FileKind::w64:
            return { "data", 40, 16, 8, false, true, 8, 0 };
        default:
            return { "data", 12, 4, 4, bigEndian, false, 2, 0 };
    }
}

/** What programs write for a length that they do not know yet: nothing, or about the most that the field or its signed
    half can hold, header and rounding taken off. */
bool isPlaceholder (std::uint64_t size, std::size_t numBytes)
{
    constexpr std::uint64_t roundedBy = 0x1000;
    const auto most = numBytes == 8 ? ~std::uint64_t { 0 } : 0xffffffffu;
    return size >= most - roundedBy || (size <= most / 2 && size >= most / 2 - roundedBy);
}

} // namespace

std::optional<FileKind> kindOf (const ReadAt& readAt)
{
    const Excerpt<40> start (readAt, 0);

    if ((start.has ("RIFF") || start.has ("RIFX")) && start.has ("WAVE", 8))
        return FileKind::wav;

    if ((start.has ("RF64") || start.has ("BW64")) && start.has ("WAVE", 8))
        return FileKind::rf64;

    if (start.has ("riff\x2e\x91\xcf\x11"sv) && start.has ("wave", 24))
        return FileKind::w64;

    if (start.has ("FORM") && (start.has ("AIFF", 8) || start.has ("AIFC", 8)))
        return FileKind::aiff;

    if (start.has (".snd") || start.has ("dns."))
        return FileKind::au;

    if (start.has ("caff"))
        return FileKind::caf;

    if (start.has ("fLaC"))
        return FileKind::flac;

    if (start.has ("OggS"))
        return FileKind::ogg;

    // An MPEG frame's header, or a tag in front of the first
    const auto isFrame = start.length >= 4 && start.bytes[0] == 0xff && (start.bytes[1] & 0xe0) == 0xe0 && (start.bytes[1] & 0x06) != 0 && start.bytes[2] < 0xf0;
    return isFrame || start.has ("ID3") ? std::optional (FileKind::mpeg) : std::nullopt;
}

std::optional<AudioExtent> findAudio (FileKind kind, const ReadAt& readAt)
{
    if (kind == FileKind::au)
    {
        const Excerpt<24> header (readAt, 0);
        const auto bigEndian = header.has (".snd");
        const auto size = header.number (8, 4, bigEndian);

        if (header.length < 24)
            return {};

        return AudioExtent { static_cast<std::int64_t> (header.number (4, 4, bigEndian)),
                             isPlaceholder (size, 4) ? std::nullopt : std::optional (static_cast<std::int64_t> (size)) };
    }

    if (kind == FileKind::flac || kind == FileKind::ogg || kind == FileKind::mpeg)
        return {};

    const Excerpt<12> start (readAt, 0);
    const auto layout = layoutOf (kind, start.has ("RIFX"));
    const auto wholeSize = start.number (4, 4, layout.bigEndian);
    std::optional<std::uint64_t> longSize; // of RF64
    auto at = layout.first;

    // No header has so many chunks before its audio.
    for (int i = 0; i < 10000; ++i)
    {
        const auto headerSize = layout.idSize + layout.sizeSize;
        const Excerpt<24> header (readAt, at);

        if (header.length < headerSize)
            return {};

        const auto size = header.number (layout.idSize, layout.sizeSize, layout.bigEndian);
        const auto bodyAt = at + static_cast<std::int64_t> (headerSize);

        if (header.has (layout.audioId))
        {
            const auto ahead = static_cast<std::uint64_t> (layout.preamble) + (layout.sizeCountsHeader ? headerSize : 0);
            AudioExtent extent { bodyAt + layout.preamble, {} };

            // A writer of RIFF that has not come back to its header has left both lengths as they were before any audio.
            const auto neverFinished = size == 0 && kind != FileKind::caf && wholeSize + 8 <= static_cast<std::uint64_t> (bodyAt);

            if (longSize && size == 0xffffffffu)
                extent.length = *longSize != 0 && ! isPlaceholder (*longSize, 8) ? std::optional (static_cast<std::int64_t> (*longSize)) : std::nullopt;
            else if (! neverFinished && ! isPlaceholder (size, layout.sizeSize))
                extent.length = static_cast<std::int64_t> (std::max (size, ahead) - ahead);

            return extent;
        }

        if (header.has ("ds64"))
            longSize = Excerpt<16> (readAt, bodyAt).number (8, 8, false);

        if (size > std::uint64_t { 1 } << 60 || (layout.sizeCountsHeader && size < headerSize))
            return {};

        const auto length = static_cast<std::int64_t> (size) + (layout.sizeCountsHeader ? 0 : static_cast<std::int64_t> (headerSize));
        at += (length + layout.alignment - 1) / layout.alignment * layout.alignment;
    }

    return {};
}

bool oggIsComplete (std::int64_t fileLength, const ReadAt& readAt)
{
    constexpr std::int64_t headerSize = 27, largestPage = headerSize + 255 + 255 * 255;
    const auto from = std::max<std::int64_t> (0, fileLength - 2 * largestPage);
    std::vector<unsigned char> end (static_cast<std::size_t> (fileLength - from));
    end.resize (readAt (from, end.data(), end.size()));
    const auto size = static_cast<std::int64_t> (end.size());
    constexpr std::array<unsigned char, 4> mark { 'O', 'g', 'g', 'S' };

    for (auto start = size - headerSize; start >= 0; --start)
    {
        const auto* const page = end.data() + start;

        if (! std::equal (mark.begin(), mark.end(), page))
            continue;

        const auto numSegments = static_cast<int> (page[26]);
        auto pageEnd = start + headerSize + numSegments;

        for (int i = 0; i < numSegments && start + headerSize + i < size; ++i)
            pageEnd += page[headerSize + i];

        const auto isLast = (page[5] & 4) != 0;
        return isLast && pageEnd <= size;
    }

    return false;
}

} // namespace varnel
