// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <cfloat>
#include <cstdint>
#include <limits>

/** @file
    The rules of arithmetic that every stage of the engine shares.

    The engine's output is defined to the bit: all signals are IEEE 754 binary32 numbers, each
    operation is rounded by itself and in the order in which it is written. The build switches off
    contraction into fused multiply-adds; this file refuses whatever else would change a result.
*/

#if defined(__FAST_MATH__)
    #error "The engine must not be compiled with -ffast-math: its output is defined to the bit"
#endif

static_assert (std::numeric_limits<float>::is_iec559 && sizeof (float) == 4);
static_assert (FLT_EVAL_METHOD == 0, "float expressions must not be evaluated in a wider format (on 32-bit x86: -mfpmath=sse)");

namespace varnel
{

/** Added in recursive paths: far below anything audible, far above the denormal range, so that no
    recursive state ever decays into numbers that a processor handles slowly. */
constexpr float denormalGuard = 1e-18f;

/** The greatest whole number that is not above x, for |x| below 2^31.
    std::floor is a library call on processors without a rounding instruction; this is not. */
constexpr std::int32_t wholeFloor (float x) noexcept
{
    const auto truncated = static_cast<std::int32_t> (x);
    return truncated - (static_cast<float> (truncated) > x ? 1 : 0);
}

} // namespace varnel
