// SPDX-License-Identifier: AGPL-3.0-only
#include "SoundCodes.h"

#include <sndfile.h>

#include <algorithm>
#include <iterator>

namespace varnel
{

namespace
{

struct ContainerCode
{
    int type, subtype; ///< no subtype where any encoding may stand in the container
    Container container;
};

constexpr ContainerCode containerCodes[] {
    { SF_FORMAT_WAV, 0, Container::wav },
    { SF_FORMAT_RF64, 0, Container::rf64 },
    { SF_FORMAT_W64, 0, Container::w64 },
    { SF_FORMAT_AIFF, 0, Container::aiff },
    { SF_FORMAT_AU, 0, Container::au },
    { SF_FORMAT_CAF, 0, Container::caf },
    { SF_FORMAT_FLAC, 0, Container::flac },
    { SF_FORMAT_OGG, SF_FORMAT_VORBIS, Container::vorbis },
    { SF_FORMAT_OGG, SF_FORMAT_OPUS, Container::opus },
    { SF_FORMAT_MPEG, SF_FORMAT_MPEG_LAYER_III, Container::mp3 },
};

struct EncodingCode
{
    int subtype;
    Encoding encoding;
};

/** Of several for one encoding the first is written. */
constexpr EncodingCode encodingCodes[] {
    { SF_FORMAT_PCM_U8, Encoding::int8 },
    { SF_FORMAT_PCM_S8, Encoding::int8 },
    { SF_FORMAT_PCM_16, Encoding::int16 },
    { SF_FORMAT_PCM_24, Encoding::int24 },
    { SF_FORMAT_ALAC_20, Encoding::int24 },
    { SF_FORMAT_ALAC_24, Encoding::int24 },
    { SF_FORMAT_PCM_32, Encoding::int32 },
    { SF_FORMAT_ALAC_32, Encoding::int32 },
    { SF_FORMAT_FLOAT, Encoding::float32 },
    { SF_FORMAT_DOUBLE, Encoding::float64 },
    { SF_FORMAT_ULAW, Encoding::ulaw },
    { SF_FORMAT_ALAW, Encoding::alaw },
    { SF_FORMAT_VORBIS, Encoding::coded },
    { SF_FORMAT_OPUS, Encoding::coded },
    { SF_FORMAT_MPEG_LAYER_I, Encoding::coded },
    { SF_FORMAT_MPEG_LAYER_II, Encoding::coded },
    { SF_FORMAT_MPEG_LAYER_III, Encoding::coded },
};

/** The containers that hold 8 bits with a sign. */
bool hasSignedBytes (int type)
{
    return type == SF_FORMAT_AIFF || type == SF_FORMAT_AU || type == SF_FORMAT_CAF || type == SF_FORMAT_FLAC;
}

/** A WAV file is begun as RF64 if it may grow beyond 4 GB, and becomes WAV again if it does not. */
int typeOfWav (const OutputFormat& format)
{
    if (format.mostFrames && *format.mostFrames <= *mostBytes (Container::wav) / (format.numChannels * bytesPerSample (format.encoding)))
        return format.extensible ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;

    return SF_FORMAT_RF64;
}

} // namespace

Encoding encodingOf (int format)
{
    const auto code = std::find_if (std::begin (encodingCodes), std::end (encodingCodes), [format] (const auto& candidate)
                                    { return candidate.subtype == (format & SF_FORMAT_SUBMASK); });

    return code != std::end (encodingCodes) ? code->encoding : Encoding::int16; // the codecs of telephones, and what else stands for 16 bits
}

Container containerOf (int format)
{
    auto result = Container::wav;

    for (const auto& code : containerCodes)
        if (code.type == (format & SF_FORMAT_TYPEMASK))
        {
            if (result == Container::wav || code.subtype == (format & SF_FORMAT_SUBMASK))
                result = code.container;
        }

    return result;
}

int codeOf (const OutputFormat& format)
{
    const auto container = *std::find_if (std::begin (containerCodes), std::end (containerCodes), [&format] (const auto& code)
                                          { return code.container == format.container; });

    if (container.subtype != 0)
        return container.type | container.subtype;

    const auto encoding = *std::find_if (std::begin (encodingCodes), std::end (encodingCodes), [&format] (const auto& code)
                                         { return code.encoding == format.encoding; });
    const auto type = format.container == Container::wav ? typeOfWav (format) : container.type;
    const auto subtype = format.encoding == Encoding::int8 && hasSignedBytes (type) ? SF_FORMAT_PCM_S8 : encoding.subtype;
    return type | subtype;
}

} // namespace varnel
