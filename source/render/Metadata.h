// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <sndfile.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace varnel
{

/** What a file says about its sound. Texts come each with its kind, records byte for byte as libsndfile has them, and a
    place for each channel. */
struct Metadata
{
    std::vector<std::pair<int, std::string>> texts;
    std::vector<char> cues, broadcast, cart;
    std::optional<SF_INSTRUMENT> loops;
    std::vector<int> channelMap;

    /** @param numChannels  of the open file */
    static Metadata of (SNDFILE* file, int numChannels);

    /** Gives all of it to a file that is open for writing, before the first frame. */
    void writeTo (SNDFILE* file, int numChannels) const;

    /** What of it is missing in another one, in words. */
    std::vector<std::string> missingIn (const Metadata& kept) const;

    bool isEmpty() const { return texts.empty() && cues.empty() && broadcast.empty() && cart.empty() && ! loops; }
};

} // namespace varnel
