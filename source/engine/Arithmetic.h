// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <cfloat>
#include <cmath>
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

/** std::bit_cast, which some standard libraries lack though their compilers have it. */
template <typename To, typename From>
constexpr To bitCast (From from) noexcept
{
    static_assert (sizeof (To) == sizeof (From));
    return __builtin_bit_cast(To, from);
}

/** The greatest whole number that is not above x, for |x| below 2^31.
    std::floor is a library call on processors without a rounding instruction; this is not. */
constexpr std::int32_t wholeFloor (float x) noexcept
{
    const auto truncated = static_cast<std::int32_t> (x);
    return truncated - (static_cast<float> (truncated) > x ? 1 : 0);
}

/** sum + x * gain to the bit, without the product where the sum would not feel it. Processors take some fifty cycles
    and more for a product in the denormal range; that of a denormal input is skipped where the sum rests on a guard.
    @param gain  -1 to 1 */
inline float addProduct (float sum, float x, float gain) noexcept
{
    constexpr float tiny = 0x1p-100f, unmoved = 0x1p-74f; // of which the half of a last place is 2^-99 at least

    if (std::abs (x) < tiny) [[unlikely]]
    {
        if (std::abs (sum) >= unmoved)
            return sum;

        if (gain == 1.0f) // NOLINT: only then is there nothing to round
            return sum + x;
    }

    return sum + x * gain;
}

/** One step of the one-pole glide by which settings reach the sound, of a float or of lanes. */
template <typename FloatOrLanes>
FloatOrLanes glide (FloatOrLanes current, FloatOrLanes target, FloatOrLanes coefficient) noexcept
{
    return ((target - current) * coefficient + current) + denormalGuard;
}

} // namespace varnel
