// SPDX-License-Identifier: AGPL-3.0-only
#include "Metadata.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace varnel
{

namespace
{

constexpr std::pair<int, const char*> textNames[] {
    { SF_STR_TITLE, "title" },
    { SF_STR_COPYRIGHT, "copyright" },
    { SF_STR_SOFTWARE, "software" },
    { SF_STR_ARTIST, "artist" },
    { SF_STR_COMMENT, "comment" },
    { SF_STR_DATE, "date" },
    { SF_STR_ALBUM, "album" },
    { SF_STR_LICENSE, "licence" },
    { SF_STR_TRACKNUMBER, "track number" },
    { SF_STR_GENRE, "genre" },
};

/** A record of the library that ends with a text of any length.
    @param lengthOf  the length that the record itself names */
template <typename Record>
std::vector<char> recordOf (SNDFILE* file, int command, std::uint32_t Record::*lengthOf, size_t textAt)
{
    Record record {};

    if (sf_command (file, command, &record, sizeof (record)) != SF_TRUE)
        return {};

    // The library takes back no more than there is.
    const auto* const bytes = reinterpret_cast<const char*> (&record);
    return { bytes, bytes + std::min (sizeof (record) - 1, textAt + record.*lengthOf) };
}

} // namespace

Metadata Metadata::of (SNDFILE* file, int numChannels)
{
    using Broadcast = SF_BROADCAST_INFO_VAR (16384);
    using Cart = SF_CART_INFO_VAR (16384);
    constexpr std::uint32_t mostCues = 10000;

    Metadata result;

    for (const auto& [kind, name] : textNames)
        if (const auto* const text = sf_get_string (file, kind); text != nullptr && *text != '\0')
            result.texts.emplace_back (kind, text);

    if (std::uint32_t count = 0; sf_command (file, SFC_GET_CUE_COUNT, &count, sizeof (count)) == SF_TRUE && count > 0 && count <= mostCues)
    {
        result.cues.resize (sizeof (std::uint32_t) + count * sizeof (SF_CUE_POINT));

        if (sf_command (file, SFC_GET_CUE, result.cues.data(), static_cast<int> (result.cues.size())) != SF_TRUE)
            result.cues.clear();
    }

    result.broadcast = recordOf<Broadcast> (file, SFC_GET_BROADCAST_INFO, &Broadcast::coding_history_size, offsetof (Broadcast, coding_history));
    result.cart = recordOf<Cart> (file, SFC_GET_CART_INFO, &Cart::tag_text_size, offsetof (Cart, tag_text));

    if (SF_INSTRUMENT loops; sf_command (file, SFC_GET_INSTRUMENT, &loops, sizeof (loops)) == SF_TRUE)
        result.loops = loops;

    result.channelMap.resize (static_cast<size_t> (numChannels));

    if (sf_command (file, SFC_GET_CHANNEL_MAP_INFO, result.channelMap.data(), static_cast<int> (result.channelMap.size() * sizeof (int))) != SF_TRUE)
        result.channelMap.clear();

    return result;
}

void Metadata::writeTo (SNDFILE* file, int numChannels) const
{
    for (const auto& [kind, text] : texts)
        sf_set_string (file, kind, text.c_str());

    const auto set = [file] (int command, std::vector<char> record) // which the library takes as if it would write to it
    {
        if (! record.empty())
            sf_command (file, command, record.data(), static_cast<int> (record.size()));
    };

    set (SFC_SET_CUE, cues);
    set (SFC_SET_BROADCAST_INFO, broadcast);
    set (SFC_SET_CART_INFO, cart);

    if (auto copy = loops)
        sf_command (file, SFC_SET_INSTRUMENT, &*copy, sizeof (*copy));

    if (auto places = channelMap; places.size() == static_cast<size_t> (numChannels))
        sf_command (file, SFC_SET_CHANNEL_MAP_INFO, places.data(), static_cast<int> (places.size() * sizeof (int)));
}

std::vector<std::string> Metadata::missingIn (const Metadata& kept) const
{
    std::vector<std::string> lost;

    for (const auto& [kind, name] : textNames)
    {
        const auto hasText = [kind = kind] (const Metadata& data)
        {
            return std::any_of (data.texts.begin(), data.texts.end(), [kind] (const auto& text)
                                { return text.first == kind; });
        };

        if (hasText (*this) && ! hasText (kept))
            lost.emplace_back (name);
    }

    if (! cues.empty() && kept.cues.empty())
        lost.emplace_back ("cue points");

    if (loops && ! kept.loops)
        lost.emplace_back ("loops");

    if (! broadcast.empty() && kept.broadcast.empty())
        lost.emplace_back ("broadcast data");

    if (! cart.empty() && kept.cart.empty())
        lost.emplace_back ("cart data");

    return lost;
}

} // namespace varnel
