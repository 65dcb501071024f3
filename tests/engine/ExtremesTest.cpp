// SPDX-License-Identifier: AGPL-3.0-only
// The engine where no session goes: absurd rates and blocks, no preparation, controls that are noise.

#include "TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace varnel;

namespace
{

/** More than any setting makes of noise, with an hour's tail in it. */
constexpr float loudestExpected = 40.0f;

/** Moves every control to where noise says. */
void scatterControls (ReverbEngine& engine, Noise& noise)
{
    for (const auto& parameter : parameterTable)
        (engine.*parameter.apply) (parameter.start + (noise() + 0.5f) * (parameter.end - parameter.start));
}

testing::AssertionResult isBounded (const std::vector<float>& samples)
{
    for (std::size_t i = 0; i < samples.size(); ++i)
        if (! (std::abs (samples[i]) <= loudestExpected)) // nor if it is no number
            return testing::AssertionFailure() << samples[i] << " at sample " << i;

    return testing::AssertionSuccess();
}

} // namespace

TEST (Extremes, AnyRateGivesBoundedSound)
{
    for (const auto rate : { 1.0, 2.0, 10.0, 100.0, 1000.0, 8000.0, 384000.0, 768000.0, 1536000.0 })
        for (const auto size : { 0.0f, 33.0f, 100.0f })
            for (const auto shelf : { -12.0f, 12.0f })
            {
                auto engine = preparedEngine (rate, { { "ReverbSize", size }, { "ReverbMod", 100.0f }, { "ReverbLo", shelf }, { "ReverbHi", shelf } });
                Noise noise;
                EXPECT_TRUE (isBounded (runNoise (*engine, noise, 20000, 512))) << rate << " Hz, Size " << size << ", shelves " << shelf;
            }
}

TEST (Extremes, AMillionSamplesAreABlockLikeAnyOther)
{
    constexpr int most = 1048576;
    Noise noise;
    auto whole = noiseChannels (noise, 2, most);
    auto inPieces = whole;

    auto once = preparedEngine (48000.0);
    run (*once, whole, most);

    // Pieces of all sizes, none among them
    auto often = preparedEngine (48000.0);
    int size = 0;
    for (int start = 0; start < most; start += size, size = size < 6000 ? size * 3 + 1 : 0)
    {
        size = std::min (size, most - start);
        float* const pointers[] { inPieces[0].data() + start, inPieces[1].data() + start };
        often->processBlock (pointers, 2, size);
    }

    EXPECT_EQ (whole, inPieces);
}

TEST (Extremes, NothingHasToBePreparedOrIsSpoiltByPreparingAgain)
{
    ReverbEngine unprepared;
    Noise noise;
    EXPECT_TRUE (isBounded (runNoise (unprepared, noise, 4410, 100)));
    scatterControls (unprepared, noise);
    unprepared.setBypass (1.0f);
    EXPECT_TRUE (isBounded (runNoise (unprepared, noise, 4410, 100)));

    // Whatever has been before, a prepared engine is a new one, but for the last places of delays that came a long way.
    ReverbEngine again;
    for (const auto rate : { 44100.0, 1.0, 1536000.0, 8000.0, 44100.0 })
    {
        again.prepare (rate, 2);
        scatterControls (again, noise);
        again.setBypass (1.0f);
        runNoise (again, noise, 3000, 64);
    }

    again.prepare (44100.0, 2);
    again.tankFeedbackL = again.tankFeedbackR = 0.0f; // the one sample that a preparation leaves
    for (const auto& parameter : parameterTable)
        (again.*parameter.apply) (parameter.defaultValue);

    auto fresh = preparedEngine (44100.0);
    Noise one, other;
    const auto got = runNoise (again, one, 20000, 512), expected = runNoise (*fresh, other, 20000, 512);
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_NEAR (got[i], expected[i], 1e-4f) << "sample " << i;
}

TEST (Extremes, ControlsThatAreNoiseGiveBoundedSound)
{
    for (const auto blockSize : { 1, 7, 512 })
    {
        auto engine = preparedEngine (48000.0);
        Noise noise;

        for (int done = 0; done < 200000; done += blockSize)
        {
            scatterControls (*engine, noise);
            ASSERT_TRUE (isBounded (runNoise (*engine, noise, blockSize, blockSize))) << "blocks of " << blockSize << ", after " << done;
        }
    }
}

// A Size that is swept fast makes the tail grow, which nobody hears at Position 0.
TEST (Extremes, WhatGrowsInTheTankIsForgottenEvenUnheard)
{
    auto engine = preparedEngine (48000.0, { { "Position", 0.0f } });
    Noise noise;
    auto highest = 0.0f;
    int forgotten = 0;

    for (int block = 0; block < 60 * 375; ++block) // of 128 samples, a minute
    {
        engine->setSize (90.0f + 10.0f * std::sin (static_cast<float> (block % 375) / 375.0f * 6.0f * 6.2831853f));
        auto channels = noiseChannels (noise, 2, 128);
        for (auto& channel : channels)
            for (auto& sample : channel)
                sample *= 1e12f; // to begin near the limit
        run (*engine, channels, 128);

        ASSERT_TRUE (std::isfinite (engine->tankFeedbackL));
        highest = std::max (highest, std::abs (engine->tankFeedbackL));
        forgotten += engine->tankFeedbackL == 0.0f ? 1 : 0;
    }

    EXPECT_GT (forgotten, 0) << "it has not grown";
    EXPECT_LT (highest, 1e15f);
}
