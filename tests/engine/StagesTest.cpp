// SPDX-License-Identifier: AGPL-3.0-only
// The stages by themselves: lines, allpass sections, shelves, oscillator.

#include "engine/AllpassStage.h"
#include "engine/Exp2.h"
#include "engine/SpinLfo.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

using namespace varnel;

namespace
{

/** A line with memory of its own. */
struct OwnLine : DelayLine
{
    OwnLine (float rate, float capacitySeconds)
        : memory (static_cast<std::size_t> (sizeFor (rate, capacitySeconds)))
    {
        setUp (rate, sizeFor (rate, capacitySeconds), memory.data());
    }

    std::vector<float> memory;
};

OwnLine filledLine (float delaySamples)
{
    OwnLine line (1000.0f, 0.014f); // 16 samples
    for (int i = 0; i < 40; ++i)
        line.pushWhole (static_cast<float> (i * i % 17));
    line.setDelay (delaySamples / 1000.0f);
    return line;
}

template <typename ShelfType>
ShelfCoefficients design (float sampleRate, float cornerHz, float gainDb)
{
    return ShelfType::design (3.14159274f / sampleRate, cornerHz, gainDb);
}

} // namespace

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

TEST (DelayLine, ReadsItsOwnInputAtNoDelay)
{
    auto line = filledLine (0.0f);
    EXPECT_EQ (line.pushWhole (99.0f), 99.0f);

    // The slot behind the newest sample holds the oldest one, here an infinity that must not be looked at.
    line.buffer[(line.writeIndex + 1) & line.mask] = INFINITY;
    EXPECT_EQ (line.pushHermite (98.0f), 98.0f);
}

TEST (DelayLine, ReadsWholeDelaysWithoutInterpolationError)
{
    for (const auto delay : { 1, 2, 7, 13 })
    {
        OwnLine line (1000.0f, 0.014f);
        line.setDelay (static_cast<float> (delay) / 1000.0f);
        ASSERT_EQ (line.delayWhole, delay);
        ASSERT_EQ (line.delayFraction, 0.0f);

        for (int i = 0; i < 50; ++i)
            EXPECT_EQ (line.pushHermite (std::sin (static_cast<float> (i))), i < delay ? 0.0f : std::sin (static_cast<float> (i - delay)));
    }
}

TEST (DelayLine, MovesTowardsTheOlderSampleAsTheFractionGrows)
{
    OwnLine line (1.0f, 14.0f);
    line.setDelay (3.75f);

    for (int i = 0; i < 10; ++i)
        line.pushHermite (static_cast<float> (i));

    EXPECT_EQ (line.pushHermite (10.0f), 6.25f); // exact: a straight line needs no curve
}

TEST (DelayLine, FloorsTheDelayAndKeepsEveryIndexInside)
{
    auto line = filledLine (0.0f);

    for (const auto& [samples, whole] : { std::pair { -0.25f, -1 }, { -3.0f, -3 }, { 2.999f, 2 }, { 100000.5f, 100000 } })
    {
        line.sampleRate = 1.0f;
        line.setDelay (samples);
        EXPECT_EQ (line.delayWhole, whole);
        EXPECT_GE (line.delayFraction, 0.0f);
        EXPECT_LT (line.delayFraction, 1.0f);
        EXPECT_TRUE (std::isfinite (line.pushHermite (0.5f)));
    }
}

TEST (AllpassStage, DelaysByOneMoreThanItsLineAndLeaksTheInputByItsCoefficient)
{
    OwnLine line (1000.0f, 0.1f);
    const auto flatStage = [&line] (float coefficient)
    {
        AllpassStage stage;
        stage.delay.setUp (1000.0f, line.size, line.buffer);
        stage.low.setUp (3.14159274f / 1000.0f);
        stage.high.setUp (3.14159274f / 1000.0f);
        stage.low.use ({ 0.9f, 1.0f, -0.9f });
        stage.high.use ({ 0.5f, 1.0f, -0.5f });
        stage.delay.setDelay (0.01f);
        stage.coefficient = coefficient;
        return stage;
    };

    auto pureDelay = flatStage (0.0f);
    for (int i = 0; i < 30; ++i)
        EXPECT_NEAR (pureDelay.processWhole (i == 0 ? 1.0f : 0.0f), i == 11 ? 1.0f : 0.0f, 1e-7f) << "sample " << i;

    // All of an impulse's energy comes out of an allpass, the first part at once.
    auto allpass = flatStage (-0.667f);
    const auto first = allpass.processHermite (1.0f);
    EXPECT_FLOAT_EQ (first, 0.667f);
    auto energy = static_cast<double> (first) * first;
    for (int i = 0; i < 2000; ++i)
    {
        const double y = allpass.processHermite (0.0f);
        energy += y * y;
    }
    EXPECT_NEAR (energy, 1.0, 1e-5);
}

TEST (Shelves, HaveTheDesignedCoefficients)
{
    struct Row
    {
        float gainDb;
        ShelfCoefficients low, high;
    };

    for (const auto& row : {
             Row { 0.0f, { 0.981533f, 1.0f, -0.981533f }, { 0.529897f, 1.0f, -0.529897f } },
             Row { -0.75f, { 0.980726f, 0.999203f, -0.981523f }, { 0.546137f, 0.936049f, -0.482186f } },
             Row { -1.5f, { 0.979884f, 0.998405f, -0.981479f }, { 0.561903f, 0.876137f, -0.438040f } },
             Row { -6.0f, { 0.974013f, 0.993519f, -0.980494f }, { 0.647107f, 0.589201f, -0.236308f } },
             Row { -12.0f, { 0.963485f, 0.986329f, -0.977157f }, { 0.738312f, 0.349166f, -0.087478f } },
             Row { 12.0f, { 0.990702f, 1.013859f, -0.976842f }, { 0.194072f, 2.779807f, -1.973879f } },
         })
    {
        const auto check = [&row] (const ShelfCoefficients& got, const ShelfCoefficients& expected)
        {
            EXPECT_NEAR (got.a1, expected.a1, 1e-6f) << row.gainDb << " dB";
            EXPECT_NEAR (got.b0, expected.b0, 1e-6f) << row.gainDb << " dB";
            EXPECT_NEAR (got.b1, expected.b1, 1e-6f) << row.gainDb << " dB";
        };

        check (design<LowShelf> (44100.0f, 130.820999f, row.gainDb), row.low);
        check (design<HighShelf> (44100.0f, 4185.0f, row.gainDb), row.high);

        // Gains at both ends of the spectrum: (b0 + b1) / (1 - a1) at 0 Hz, (b0 - b1) / (1 + a1) at Nyquist.
        const auto squared = std::pow (10.0f, row.gainDb / 20.0f);
        const auto low = design<LowShelf> (44100.0f, 130.820999f, row.gainDb);
        const auto high = design<HighShelf> (44100.0f, 4185.0f, row.gainDb);
        EXPECT_NEAR ((low.b0 + low.b1) / (1.0f - low.a1), squared, 1e-4f * squared);
        EXPECT_NEAR ((low.b0 - low.b1) / (1.0f + low.a1), 1.0f, 1e-5f);
        EXPECT_NEAR ((high.b0 + high.b1) / (1.0f - high.a1), 1.0f, 1e-5f);
        EXPECT_NEAR ((high.b0 - high.b1) / (1.0f + high.a1), squared, 1e-4f * squared);
    }
}

TEST (Shelves, HoldTheirCornerBelowNyquist)
{
    // Above the limit the corner no longer follows the frequency.
    const auto held = design<HighShelf> (8000.0f, 4185.0f, 12.0f);
    const auto higher = design<HighShelf> (8000.0f, 20000.0f, 12.0f);
    EXPECT_EQ (held.a1, higher.a1);
    EXPECT_EQ (held.b1, higher.b1);
    EXPECT_NE (held.a1, design<HighShelf> (8000.0f, 1000.0f, 12.0f).a1);
}

TEST (SpinLfo, GivesFourTrianglesAnEighthOfACycleApart)
{
    float phase = 0.0f;
    constexpr float increment = 1.0f / 64.0f, depth = 0.001f;

    for (int n = 1; n <= 200; ++n)
    {
        const auto taps = SpinLfo::step (phase, increment, depth);
        EXPECT_GE (phase, -0.5f);
        EXPECT_LE (phase, 0.5f);

        for (int tap = 0; tap < 4; ++tap)
        {
            const auto cycles = n / 64.0 + tap / 8.0;
            const auto distance = std::abs (cycles - std::round (cycles)); // 0 to 0.5
            EXPECT_NEAR (taps[static_cast<std::size_t> (tap)], (distance - 0.25) * 4.0 * 0.001, 1e-9) << "step " << n << ", tap " << tap;
        }
    }

    // Exactly half a cycle is not wrapped, the step after it is.
    phase = 0.5f - increment;
    SpinLfo::step (phase, increment, depth);
    EXPECT_EQ (phase, 0.5f);
    SpinLfo::step (phase, increment, depth);
    EXPECT_EQ (phase, -0.5f + increment);
}
