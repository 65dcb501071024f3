// SPDX-License-Identifier: AGPL-3.0-only
#include "SoundFormat.h"

#include <algorithm>
#include <sstream>

namespace varnel
{

const ContainerName& nameOf (Container container)
{
    return containerNames[static_cast<std::size_t> (container)];
}

const EncodingName& nameOf (Encoding encoding)
{
    return encodingNames[static_cast<std::size_t> (encoding)];
}

std::optional<Container> containerFor (std::string_view extension)
{
    std::string lower (extension);

    for (auto& letter : lower)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char> (letter - 'A' + 'a');

    for (const auto& candidate : containerNames)
    {
        std::istringstream all (candidate.extensions);

        for (std::string one; all >> one;)
            if (one == lower)
                return candidate.container;
    }

    return {};
}

int integerBits (Encoding encoding)
{
    switch (encoding)
    {
        case Encoding::int8:
            return 8;
        case Encoding::int16:
            return 16;
        case Encoding::int24:
            return 24;
        case Encoding::int32:
            return 32;
        default:
            return 0;
    }
}

bool canHold (Container container, Encoding encoding)
{
    switch (container)
    {
        case Container::flac:
            return encoding == Encoding::int8 || encoding == Encoding::int16 || encoding == Encoding::int24;
        case Container::vorbis:
        case Container::opus:
        case Container::mp3:
            return encoding == Encoding::coded;
        default:
            return encoding != Encoding::coded;
    }
}

Encoding nearestEncoding (Container container, Encoding wanted)
{
    if (canHold (container, wanted))
        return wanted;

    if (canHold (container, Encoding::coded))
        return Encoding::coded;

    if (wanted == Encoding::coded && canHold (container, Encoding::float32))
        return Encoding::float32;

    return wanted == Encoding::ulaw || wanted == Encoding::alaw ? Encoding::int16 : Encoding::int24;
}

std::optional<long long> mostBytes (Container container)
{
    constexpr long long header = 1 << 20; // room for what else the length counts

    if (container == Container::wav || container == Container::aiff || container == Container::au)
        return (1LL << 32) - header;

    return {};
}

int bytesPerSample (Encoding encoding)
{
    switch (encoding)
    {
        case Encoding::float32:
            return 4;
        case Encoding::float64:
            return 8;
        case Encoding::ulaw:
        case Encoding::alaw:
        case Encoding::coded:
            return 1;
        default:
            return integerBits (encoding) / 8;
    }
}

} // namespace varnel
