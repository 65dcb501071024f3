// SPDX-License-Identifier: AGPL-3.0-only
// Arithmetic and edges that no walk of the engine is sure to meet.

#include "engine/DelayLine.h"
#include "engine/Exp2.h"
#include "engine/SpinLfo.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

using namespace varnel;

TEST (Arithmetic, LeavesOutNoProductThatASumWouldFeel)
{
    // All kinds of magnitudes on either side of every threshold, and their neighbours.
    std::vector<float> magnitudes { 0.0f, 1e-45f, 1e-42f, 1.1e-38f, 1.2e-38f, 1e-30f, 1e-18f, 0.3f, 1.0f, 7.0f };
    for (int exponent = -130; exponent <= -60; ++exponent)
        for (const auto value : { std::ldexp (1.0f, exponent), std::ldexp (1.7f, exponent) })
            magnitudes.insert (magnitudes.end(), { std::nextafter (value, 0.0f), value, std::nextafter (value, 1.0f) });

    for (const auto sum : magnitudes)
        for (const auto x : magnitudes)
            for (const auto gain : { 1.0f, -1.0f, 0.667f, -0.667f, 0.0f, 0.999f, 1e-3f })
                for (const auto sign : { 1.0f, -1.0f })
                {
                    const volatile float product = x * sign * gain; // rounded by itself
                    ASSERT_EQ (std::bit_cast<std::uint32_t> (addProduct (sum, x * sign, gain)), std::bit_cast<std::uint32_t> (sum + product))
                        << sum << " + " << x * sign << " * " << gain;
                }
}

TEST (Exp2, RoundsToTheNearestFloat)
{
    // glibc gives 23.9728851 for the first of these, which the smallest Size asks for. The others have the powers that are
    // closest to the middle between two floats, of all floats. The nearest double to the last of them is such a middle.
    EXPECT_EQ (varnel::exp2 (4.58333158f), 23.9728832f);
    EXPECT_EQ (varnel::exp2 (-0x1.a7a04cp-14f), 0x1.fff6d2p-1f);
    EXPECT_EQ (varnel::exp2 (-0x1.5a3f34p-21f), 0x1.fffffp-1f);
    EXPECT_EQ (varnel::exp2 (-0x1.e7526ep-6f), 0x1.f58d62p-1f);

    // A double is right here unless it is within its own error of such a middle.
    for (auto x = -41.0f; x < 41.0f; x += 0.00372f)
    {
        const auto power = std::exp2 (static_cast<double> (x));
        const auto lower = static_cast<float> (power * (1.0 - 0x1p-51)), upper = static_cast<float> (power * (1.0 + 0x1p-51));
        ASSERT_TRUE (varnel::exp2 (x) == lower || lower != upper) << x;
    }

    EXPECT_EQ (varnel::exp2 (-INFINITY), 0.0f);
    EXPECT_EQ (varnel::exp2 (128.0f), INFINITY);
    EXPECT_TRUE (std::isnan (varnel::exp2 (NAN)));
}

TEST (DelayLine, IsAsLongAsALogarithmInFloatsSays)
{
    for (int exponent = 4; exponent < 24; ++exponent) // as of 16, two samples less and more are exact
        for (int steps = -8; steps <= 8; ++steps)
        {
            const auto wanted = std::bit_cast<float> (std::bit_cast<std::int32_t> (std::ldexp (1.0f, exponent)) + steps);
            const auto logarithm = static_cast<float> (std::log2 (static_cast<double> (wanted)));
            EXPECT_EQ (DelayLine::sizeFor (1.0f, wanted - 2.0f), 1 << static_cast<int> (std::ceil (logarithm))) << wanted;
        }
}

TEST (SpinLfo, WrapsBehindHalfACycle)
{
    constexpr float increment = 1.0f / 64.0f, depth = 0.001f;
    float phase = 0.5f - increment;
    SpinLfo::step (phase, increment, depth);
    EXPECT_EQ (phase, 0.5f);
    SpinLfo::step (phase, increment, depth);
    EXPECT_EQ (phase, -0.5f + increment);
}
