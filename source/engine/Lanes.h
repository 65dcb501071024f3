// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Arithmetic.h"

#include <cstring>

/** @file
    Four numbers that share a register and are worked on side by side, by means of the compiler's vector types. Each lane is
    rounded as a lone float is. Where there are no such types, or VARNEL_PLAIN_LOOP is defined, VARNEL_HAS_LANES is not. Nor
    is it on 32-bit ARM, whose vector instructions take denormals for 0, unlike those for lone floats.

    Names of lanes count from 0. "Lower" are lanes 0 and 1, "upper" are lanes 2 and 3.
*/

#if defined(__has_builtin) && ! defined(VARNEL_PLAIN_LOOP) && ! defined(__arm__)
    #if __has_builtin(__builtin_shufflevector) && __has_builtin(__builtin_convertvector)
        #define VARNEL_HAS_LANES 1
    #endif
#endif

#if VARNEL_HAS_LANES

namespace varnel
{

using Lanes = float __attribute__ ((vector_size (16)));
using WholeLanes = std::int32_t __attribute__ ((vector_size (16)));

// Versions of clang-format disagree about these built-in functions.
// clang-format off
inline Lanes toFloat (WholeLanes x) noexcept { return __builtin_convertvector (x, Lanes); }
inline WholeLanes truncate (Lanes x) noexcept { return __builtin_convertvector (x, WholeLanes); }

template <int... lanes>
Lanes shuffled (Lanes a, Lanes b) noexcept { return __builtin_shufflevector (a, b, lanes...); } // 4 to 7 are those of b
// clang-format on

inline Lanes lowerOfBoth (Lanes a, Lanes b) noexcept
{
    return shuffled<0, 1, 4, 5> (a, b);
}
inline Lanes upperOfBoth (Lanes a, Lanes b) noexcept
{
    return shuffled<2, 3, 6, 7> (a, b);
}
inline Lanes lowerAndUpper (Lanes a, Lanes b) noexcept
{
    return shuffled<0, 1, 6, 7> (a, b);
}
inline Lanes upperAndLower (Lanes a, Lanes b) noexcept
{
    return shuffled<2, 3, 4, 5> (a, b);
}
inline Lanes zippedLower (Lanes a, Lanes b) noexcept
{
    return shuffled<0, 4, 1, 5> (a, b);
}
inline Lanes zippedUpper (Lanes a, Lanes b) noexcept
{
    return shuffled<2, 6, 3, 7> (a, b);
}

inline Lanes splat (float x) noexcept
{
    return Lanes { x, x, x, x };
}

inline WholeLanes splat (std::int32_t x) noexcept
{
    return WholeLanes { x, x, x, x };
}

inline Lanes magnitude (Lanes x) noexcept
{
    return bitCast<Lanes> (bitCast<WholeLanes> (x) & 0x7fffffff);
}

/** x where the mask is set, 0 elsewhere. */
inline Lanes where (WholeLanes mask, Lanes x) noexcept
{
    return bitCast<Lanes> (mask & bitCast<WholeLanes> (x));
}

/** Whether any lane of a mask is set. */
inline bool any (WholeLanes mask) noexcept
{
    struct Halves
    {
        std::uint64_t lower, upper;
    };
    const auto halves = bitCast<Halves> (mask);
    return (halves.lower | halves.upper) != 0;
}

/** wholeFloor() of each lane. */
inline WholeLanes wholeFloor (Lanes x) noexcept
{
    const auto truncated = truncate (x);
    return truncated + (toFloat (truncated) > x); // a comparison of lanes gives -1 where it holds
}

/** std::assume_aligned<16>, which some standard libraries lack. */
template <typename Type>
Type* aligned (Type* lanes) noexcept
{
    return static_cast<Type*> (__builtin_assume_aligned (lanes, 16));
}

template <typename Vector = Lanes, typename Type>
Vector loadLanes (const Type* source) noexcept
{
    Vector lanes;
    std::memcpy (&lanes, source, sizeof (lanes));
    return lanes;
}

template <typename Vector, typename Type>
void storeLanes (Vector lanes, Type* destination) noexcept
{
    std::memcpy (destination, &lanes, sizeof (lanes));
}

} // namespace varnel

#endif
