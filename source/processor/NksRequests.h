// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <cstdint>

namespace varnel
{

/** Answers a request of an NKS host; keeps nothing. Writes a line to standard output when the host sets the view
    mode or tells its version. Any thread. @see nks::INKS1Plugin::nksCall */
std::intptr_t answerNksRequest (std::int32_t index, std::intptr_t value, void* ptr);

} // namespace varnel
