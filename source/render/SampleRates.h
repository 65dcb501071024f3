// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

namespace varnel
{

constexpr int lowestSampleRate = 1, highestSampleRate = 768000; ///< Hz, that the renderer takes

} // namespace varnel
