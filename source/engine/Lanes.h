// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Arithmetic.h"

#include <cstring>

namespace varnel
{

/** @file
    Four numbers that are worked on side by side. Where the compiler has vector types they share a
    register; elsewhere they are four separate operations. Either way each lane is rounded as a lone
    float is, so the choice shows in the speed alone.
*/

#if (defined(__GNUC__) || defined(__clang__)) && ! defined(VARNEL_PLAIN_LANES)

using Lanes = float __attribute__ ((vector_size (16)));
using WholeLanes = std::int32_t __attribute__ ((vector_size (16)));

// Versions of clang-format disagree about these built-in functions.
// clang-format off
inline Lanes toFloat (WholeLanes x) noexcept { return __builtin_convertvector (x, Lanes); }
inline WholeLanes truncate (Lanes x) noexcept { return __builtin_convertvector (x, WholeLanes); }
// clang-format on

inline Lanes magnitude (Lanes x) noexcept
{
    return x < 0.0f ? -x : x;
}

/** wholeFloor() of each lane. */
inline WholeLanes wholeFloor (Lanes x) noexcept
{
    const auto truncated = truncate (x);
    return truncated + (toFloat (truncated) > x); // a comparison of lanes gives -1 where it holds
}

#else

template <typename Type>
struct FourOf
{
    Type lane[4];

    Type operator[] (int i) const noexcept { return lane[i]; }

    template <typename Function>
    auto map (Function function) const noexcept
    {
        return FourOf<decltype (function (lane[0]))> { { function (lane[0]), function (lane[1]), function (lane[2]), function (lane[3]) } };
    }
};

using Lanes = FourOf<float>;
using WholeLanes = FourOf<std::int32_t>;

inline Lanes operator+ (Lanes a, Lanes b) noexcept
{
    return { { a[0] + b[0], a[1] + b[1], a[2] + b[2], a[3] + b[3] } };
}
inline Lanes operator- (Lanes a, Lanes b) noexcept
{
    return { { a[0] - b[0], a[1] - b[1], a[2] - b[2], a[3] - b[3] } };
}
inline Lanes operator+ (Lanes a, float b) noexcept
{
    return a.map ([b] (float x)
                  { return x + b; });
}
inline Lanes operator- (Lanes a, float b) noexcept
{
    return a.map ([b] (float x)
                  { return x - b; });
}
inline Lanes operator* (Lanes a, float b) noexcept
{
    return a.map ([b] (float x)
                  { return x * b; });
}
inline Lanes operator* (float a, Lanes b) noexcept
{
    return b * a;
}

inline Lanes magnitude (Lanes x) noexcept
{
    return x.map ([] (float value)
                  { return value < 0.0f ? -value : value; });
}

inline Lanes toFloat (WholeLanes x) noexcept
{
    return x.map ([] (std::int32_t value)
                  { return static_cast<float> (value); });
}

inline WholeLanes wholeFloor (Lanes x) noexcept
{
    return x.map ([] (float value)
                  { return wholeFloor (value); });
}

#endif

inline Lanes loadLanes (const float* source) noexcept
{
    Lanes lanes;
    std::memcpy (&lanes, source, sizeof (lanes));
    return lanes;
}

inline void storeLanes (Lanes lanes, float* destination) noexcept
{
    std::memcpy (destination, &lanes, sizeof (lanes));
}

} // namespace varnel
