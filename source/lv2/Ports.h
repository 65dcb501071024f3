// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "library/varnel_reverb.h"

#include <array>
#include <cstdint>

namespace varnel::lv2
{

/** The ports by their numbers, which belong to sessions of hosts and never change: the audio, and then a control for each
    parameter in the library's order. */
enum Port : std::uint32_t
{
    inLeft,
    inRight,
    outLeft,
    outRight,
    firstControl
};

/** What a parameter's port is called in sessions and scripts. */
inline constexpr std::array<const char*, VARNEL_REVERB_NUM_PARAMETERS> symbols { "size", "spin", "lo", "hi", "position", "enabled", "insert_mode" };

} // namespace varnel::lv2
