// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace varnel
{

/** The kinds of files that can be written. */
enum class Container
{
    wav,
    rf64,
    w64,
    aiff,
    au,
    caf,
    flac,
    vorbis,
    opus,
    mp3
};

/** How a file stores its samples. */
enum class Encoding
{
    int8,
    int16,
    int24,
    int32,
    float32,
    float64,
    ulaw,
    alaw,
    coded ///< by a codec that has no steps: Vorbis, Opus, MP3
};

/** What people call a container, and what its files are called. */
struct ContainerName
{
    Container container;
    const char* option;     ///< of --format
    const char* name;       ///< in messages
    const char* extensions; ///< with blanks between; the first is given to new files
};

inline constexpr std::array containerNames {
    ContainerName { Container::wav, "wav", "WAV", ".wav .wave" },
    ContainerName { Container::rf64, "rf64", "RF64", ".rf64" },
    ContainerName { Container::w64, "w64", "Wave64", ".w64" },
    ContainerName { Container::aiff, "aiff", "AIFF", ".aiff .aif .aifc" },
    ContainerName { Container::au, "au", "AU", ".au .snd" },
    ContainerName { Container::caf, "caf", "CAF", ".caf" },
    ContainerName { Container::flac, "flac", "FLAC", ".flac" },
    ContainerName { Container::vorbis, "ogg", "Ogg Vorbis", ".ogg .oga" },
    ContainerName { Container::opus, "opus", "Opus", ".opus" },
    ContainerName { Container::mp3, "mp3", "MP3", ".mp3" },
};

struct EncodingName
{
    Encoding encoding;
    const char* option; ///< of --bits
    const char* name;   ///< in messages, after "cannot hold"
};

inline constexpr std::array encodingNames {
    EncodingName { Encoding::int8, "8", "8 bits" },
    EncodingName { Encoding::int16, "16", "16 bits" },
    EncodingName { Encoding::int24, "24", "24 bits" },
    EncodingName { Encoding::int32, "32i", "integers of 32 bits" },
    EncodingName { Encoding::float32, "32", "float samples" },
    EncodingName { Encoding::float64, "64", "float samples of 64 bits" },
    EncodingName { Encoding::ulaw, "ulaw", "u-law samples" },
    EncodingName { Encoding::alaw, "alaw", "A-law samples" },
    EncodingName { Encoding::coded, "coded", "coded samples" },
};

const ContainerName& nameOf (Container container);
const EncodingName& nameOf (Encoding encoding);

/** @param extension  with its dot, in any letter case */
std::optional<Container> containerFor (std::string_view extension);

/** Bits of integers and 0 for all else. */
int integerBits (Encoding encoding);

bool canHold (Container container, Encoding encoding);

/** What a container stores samples as that were stored as something else: the same, or the nearest that loses least. */
Encoding nearestEncoding (Container container, Encoding wanted);

/** The most bytes of audio that a container's header can count. */
std::optional<long long> mostBytes (Container container);

int bytesPerSample (Encoding encoding);

} // namespace varnel
