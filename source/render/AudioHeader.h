// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace varnel
{

/** What the first bytes of a file say that it is. */
enum class FileKind
{
    wav,  ///< RIFF or RIFX, WAVE
    rf64, ///< RF64 or BW64
    w64,  ///< Sony's Wave64
    aiff, ///< AIFF or AIFC
    au,
    caf,
    flac,
    ogg,
    mpeg
};

/** Where the audio of a file lies, by its own header. */
struct AudioExtent
{
    std::int64_t offset = 0;            ///< bytes before the first frame
    std::optional<std::int64_t> length; ///< bytes; none where the header was never finished, as a stream's
};

/** Reads bytes at a place. @returns how many there are */
using ReadAt = std::function<std::size_t (std::int64_t offset, void* destination, std::size_t numBytes)>;

std::optional<FileKind> kindOf (const ReadAt& readAt);

/** Looks for the audio in a file of chunks. @returns nothing for kinds without a length in their header, and where the
    header is damaged */
std::optional<AudioExtent> findAudio (FileKind kind, const ReadAt& readAt);

/** Whether the last page of an Ogg file is all there and says that it is the last (RFC 3533). */
bool oggIsComplete (std::int64_t fileLength, const ReadAt& readAt);

} // namespace varnel
