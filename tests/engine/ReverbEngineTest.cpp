// SPDX-License-Identifier: AGPL-3.0-only
// The engine as a whole, over its own library alone.

#include "TestSignals.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

using varnel::ReverbEngine;

namespace
{

/** Mean power of a stretch of 2205 samples, in dB. */
double powerDb (const std::vector<float>& samples, std::size_t start)
{
    const auto first = samples.begin() + static_cast<std::ptrdiff_t> (start);
    return 10.0 * std::log10 (std::inner_product (first, first + 2205, first, 0.0, std::plus<>(), [] (float a, float b)
                                                  { return static_cast<double> (a) * b; })
                              / 2205.0);
}

std::size_t firstAbove (const std::vector<float>& samples, std::size_t start, float limit)
{
    const auto found = std::find_if (samples.begin() + static_cast<std::ptrdiff_t> (start), samples.end(), [limit] (float x)
                                     { return std::abs (x) > limit; });
    return static_cast<std::size_t> (found - samples.begin());
}

} // namespace

TEST (ReverbEngine, GivesEachLineRoomForItsLongestDelay)
{
    ReverbEngine engine;
    const std::array lines { &engine.preDelayL, &engine.preDelayR, &engine.tankDelayL, &engine.tankDelayR, &engine.diffuserL1.delay, &engine.diffuserL2.delay, &engine.diffuserL3.delay, &engine.diffuserR1.delay, &engine.diffuserR2.delay, &engine.diffuserR3.delay, &engine.tankL1.delay, &engine.tankL2.delay, &engine.tankL3.delay, &engine.tankR1.delay, &engine.tankR2.delay, &engine.tankR3.delay };

    const std::array<std::pair<double, std::array<int, 16>>, 3> sizes { {
        { 44100.0, { 2048, 2048, 16384, 16384, 4096, 4096, 8192, 4096, 8192, 8192, 8192, 8192, 16384, 8192, 8192, 16384 } },
        { 48000.0, { 2048, 2048, 16384, 16384, 4096, 8192, 8192, 4096, 8192, 8192, 8192, 16384, 16384, 8192, 8192, 16384 } },
        { 96000.0, { 4096, 4096, 32768, 32768, 8192, 16384, 16384, 8192, 16384, 16384, 16384, 32768, 32768, 16384, 16384, 32768 } },
    } };

    for (const auto& [rate, expected] : sizes)
    {
        engine.setUp (rate);
        for (std::size_t i = 0; i < lines.size(); ++i)
            EXPECT_EQ (lines[i]->size, expected[i]) << "line " << i << " at " << rate << " Hz";
    }

    // At the largest size and full modulation no line is asked for more than it holds.
    for (const auto rate : { 8000.0, 22050.0, 44100.0, 192000.0, 768000.0 })
    {
        auto largest = preparedEngine (rate, { { "ReverbSize", 100.0f }, { "ReverbMod", 100.0f } });
        Noise noise;
        for (int i = 0; i < 20; ++i)
        {
            runNoise (*largest, noise, static_cast<int> (rate / 20.0), 4096);
            for (const auto* line : { &largest->preDelayL, &largest->diffuserL3.delay, &largest->diffuserR3.delay, &largest->tankL1.delay, &largest->tankL2.delay, &largest->tankL3.delay, &largest->tankDelayL, &largest->tankDelayR })
                EXPECT_LE (line->delayWhole + 2, line->mask) << rate << " Hz";
        }
    }
}

TEST (ReverbEngine, AnswersAnImpulseAsEver)
{
    struct Row
    {
        float low;
        std::array<float, 3> onset;
        std::array<double, 3> powerDb;
    };

    for (const auto& row : { Row { 0.0f, { 0.083409f, 0.004989f, 0.002795f }, { -34.3, -61.4, -108.2 } },
                             Row { -1.5f, { 0.083281f, 0.004727f, 0.002527f }, { -34.3, -61.6, -109.7 } } })
    {
        auto engine = preparedEngine (44100.0, { { "ReverbLo", row.low } });
        auto channels = silence (2, 44100);
        channels[0][0] = 1.0f;
        run (*engine, channels, 512);

        const auto& left = channels[0];
        EXPECT_NEAR (left[0], 0.8911f, 1e-6f);
        EXPECT_EQ (firstAbove (left, 1, 1e-6f), 515u);
        EXPECT_EQ (firstAbove (channels[1], 0, 1e-6f), 2636u);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR (left[515 + i], row.onset[i], 5e-7f);
        EXPECT_NEAR (powerDb (left, 0), row.powerDb[0], 0.05);
        EXPECT_NEAR (powerDb (left, 8820), row.powerDb[1], 0.05);
        EXPECT_NEAR (powerDb (left, 33075), row.powerDb[2], 0.05);
    }
}

// What the walks come to is from reference_model.py, which shares no code with the engine. A different order of rounding
// anywhere in the loop or in a setting moves last bits.
TEST (ReverbEngine, RoundsInTheStatedOrder)
{
    for (const auto& [rate, expected] : std::initializer_list<std::pair<double, std::uint64_t>> {
             { 100.0, 0x427b92d5e9c4d12a },
             { 8000.0, 0x7daeb758ffeb6d33 },
             { 44100.0, 0xfcefb2d19b025fd4 },
             { 48000.0, 0x8548bd1695bdd24c },
             { 192000.0, 0x07debce1bbe5bc48 },
             { 5000000.0, 0xdef67d7a9fa6550e },
         })
    {
        Noise noise;
        Hash heard;
        ReverbEngine engine;
        std::array<float, varnel::Parameter::count> values {};
        const auto pick = [&noise] (std::uint32_t number)
        { return noise(), (noise.state >> 8) % number; };
        const auto apply = [&] (std::size_t number)
        { (engine.*varnel::parameterTable[number].apply) (values[number]); };

        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = varnel::parameterTable[i].defaultValue;

        for (int block = 0; block < 60; ++block)
        {
            if (block == 0 || pick (15) == 0)
            {
                engine.prepare (rate, 1 + static_cast<int> (pick (2)));
                for (std::size_t i = 0; i < values.size(); ++i)
                    apply (i);
            }

            if (const auto number = pick (10); number < values.size())
            {
                const auto& parameter = varnel::parameterTable[number];
                const auto numSteps = std::lround ((parameter.end - parameter.start) / parameter.interval);
                values[number] = parameter.start + parameter.interval * static_cast<float> (pick (static_cast<std::uint32_t> (numSteps) + 1));
                apply (number);
            }

            auto channels = silence (pick (5) != 0 ? 2 : 1, 0);
            const auto level = std::array { 1.0f, 0.0f, 1e-6f }[pick (3)];
            const auto length = pick (100);
            for (std::uint32_t i = 0; i < length; ++i)
                for (auto& channel : channels)
                    channel.push_back (noise() * level);

            float* const pointers[] { channels.front().data(), channels.back().data() };
            engine.processBlock (pointers, static_cast<int> (channels.size()), static_cast<int> (length));
            for (const auto& channel : channels)
                for (const auto x : channel)
                    heard.add (x);
            for (auto* peak : { &engine.peakInL, &engine.peakInR, &engine.peakOutL, &engine.peakOutR })
                heard.add (*peak);
            heard.add (engine.spinPhase);
            if (pick (4) == 0)
                engine.peakInL = engine.peakInR = engine.peakOutL = engine.peakOutR = 0.0f;
        }

        EXPECT_EQ (heard.state, expected) << rate << " Hz";
    }
}

// The fast loop is the plain one worked out otherwise: whatever is done to both, they differ in nothing.
TEST (ReverbEngine, GivesTheSameByTheFastLoopAsByThePlainOne)
{
    Noise random;
    const auto between = [&random] (float low, float high)
    { return low + (random() + 0.5f) * (high - low); };
    const auto isSame = [] (float a, float b)
    { return std::memcmp (&a, &b, sizeof (a)) == 0 || (std::isnan (a) && std::isnan (b)); };

    for (const auto rate : { 500.0, 1000.0, 2000.0, 8000.0, 44100.0, 48000.0, 192000.0 })
        for (int walk = 0; walk < 12; ++walk)
        {
            const auto numChannels = walk % 3 == 0 ? 1u : 2u;
            auto fast = preparedEngine (rate, { { "ReverbMod", walk % 4 == 0 ? 0.0f : 60.0f }, { "Position", walk % 4 == 1 ? 0.0f : 50.0f } }, walk % 5 == 0 ? 1 : 2);
            auto plain = preparedEngine (rate, { { "ReverbMod", walk % 4 == 0 ? 0.0f : 60.0f }, { "Position", walk % 4 == 1 ? 0.0f : 50.0f } }, walk % 5 == 0 ? 1 : 2);
            plain->plainLoopOnly = true;

            for (int block = 0; block < 60; ++block)
            {
                if (const auto which = static_cast<std::size_t> (between (0.0f, 14.0f)); which < varnel::parameterTable.size())
                {
                    const auto& parameter = varnel::parameterTable[which];
                    const auto value = between (parameter.start, parameter.end);
                    (*fast.*parameter.apply) (value);
                    (*plain.*parameter.apply) (value);
                }

                // Noise, silence, denormals, all magnitudes, and now and then what is no sound
                auto one = noiseChannels (random, numChannels, static_cast<int> (between (1.0f, walk % 2 == 0 ? 20.0f : 700.0f)));
                const auto kind = static_cast<int> (between (0.0f, 5.0f));
                for (auto& channel : one)
                    for (auto& sample : channel)
                        sample *= kind == 1 ? 0.0f : kind == 2 ? 1e-39f
                                                 : kind == 3   ? std::ldexp (1.0f, -static_cast<int> (between (0.0f, 149.0f)))
                                                               : 1.0f;
                if (between (0.0f, 25.0f) < 1.0f)
                    one.back().back() = std::array { NAN, INFINITY, 1e30f }[static_cast<std::size_t> (between (0.0f, 3.0f))];

                auto other = one;
                const auto length = static_cast<int> (one[0].size());
                run (*fast, one, length);
                run (*plain, other, length);

                const auto where = testing::Message() << rate << " Hz, walk " << walk << ", block " << block << " of " << length;
                for (std::size_t channel = 0; channel < numChannels; ++channel)
                    for (std::size_t i = 0; i < one[channel].size(); ++i)
                        ASSERT_TRUE (isSame (one[channel][i], other[channel][i])) << where << ", sample " << i;
                ASSERT_EQ (fast->tankCurrent, plain->tankCurrent) << where;
                for (const auto& [a, b] : { std::pair<float, float> { fast->peakInL, plain->peakInL }, { fast->peakOutR, plain->peakOutR }, { fast->spinPhase, plain->spinPhase }, { fast->tankFeedbackL, plain->tankFeedbackL }, { fast->diffuserR2.lastFiltered, plain->diffuserR2.lastFiltered }, { fast->tankL3.low.state, plain->tankL3.low.state }, { fast->outHighR.state, plain->outHighR.state }, { fast->tankDelayR.delayFraction, plain->tankDelayR.delayFraction } })
                    ASSERT_TRUE (isSame (a, b)) << where << ": " << a << " and " << b;
                ASSERT_EQ (fast->tankR1.delay.writeIndex, plain->tankR1.delay.writeIndex) << where;
            }
        }
}

TEST (ReverbEngine, LeavesAloneWhatItIsNotGiven)
{
    Noise noise;
    auto many = noiseChannels (noise, 5, 1000);
    const auto before = many;
    auto engine = preparedEngine (44100.0);
    run (*engine, many, 64);
    EXPECT_NE (many[1], before[1]);
    for (const std::size_t channel : { 2u, 3u, 4u })
        EXPECT_EQ (many[channel], before[channel]);

    const float phase = engine->spinPhase;
    float* const pointers[] { many[0].data(), many[1].data() };
    engine->processBlock (nullptr, 0, 512);
    engine->processBlock (pointers, 2, -1);
    EXPECT_EQ (engine->spinPhase, phase);
    EXPECT_EQ (preparedEngine (1.0)->smoothCoeff, 1.0f);

    engine->setBypass (1e-6f); // only an exact 0 bypasses
    engine->setInsertMode (0.5f);
    EXPECT_TRUE (! engine->bypassed && engine->insertMode);
}

TEST (ReverbEngine, ForgetsAllWhenItIsReset)
{
    Noise noise;
    const auto engine = preparedEngine (44100.0, { { "ReverbSize", 100.0f } }), fresh = preparedEngine (44100.0, { { "ReverbSize", 0.0f } });
    runNoise (*engine, noise, 5000, 512);
    engine->setSize (0.0f);
    engine->reset();
    auto same = noise;
    EXPECT_EQ (runNoise (*engine, noise, 20000, 512), runNoise (*fresh, same, 20000, 512));
}

TEST (ReverbEngine, EndsInSilenceWithoutDenormals)
{
    auto engine = preparedEngine (48000.0);
    Noise noise;
    runNoise (*engine, noise, 48000, 512);
    auto channels = silence (2, 48000 * 20);
    run (*engine, channels, 512);

    for (std::size_t i = channels[0].size() - 1000; i < channels[0].size(); ++i)
        EXPECT_LT (std::abs (channels[0][i]), 1e-12f);

    for (const auto state : { engine->tankFeedbackL, engine->tankL2.lastFiltered, engine->tankR3.low.state, engine->tankHighL.state, engine->diffuserR1.high.state, engine->spinDepthCurrent })
        EXPECT_EQ (std::fpclassify (state), FP_NORMAL);
}

TEST (ReverbEngine, HoldsThePeaksUntilTheyAreRead)
{
    auto engine = preparedEngine (44100.0, { { "Position", 0.0f } }); // the dry input alone
    auto channels = silence (2, 300);
    channels[0][10] = -0.75f;
    channels[1][20] = 0.5f;
    channels[0][30] = NAN;
    const float* const left = channels[0].data();
    run (*engine, channels, 30);

    EXPECT_EQ (engine->peakInL, 0.75f);
    EXPECT_EQ (engine->peakInR, 0.5f);
    EXPECT_EQ (left[10], -0.75f);
    EXPECT_EQ (engine->peakOutL, 0.75f);
    EXPECT_EQ (engine->peakOutR, 0.5f);

    auto quiet = preparedEngine (44100.0);
    auto nothing = silence (2, 100);
    run (*quiet, nothing, 100);
    EXPECT_EQ (quiet->peakInL, 0.0f);
}

TEST (ReverbEngine, GetsOverSamplesThatAreNoSound)
{
    constexpr int blockSize = 64, badSample = 1000, length = 44100;
    constexpr auto infinity = std::numeric_limits<float>::infinity();

    for (const auto bad : { std::numeric_limits<float>::quiet_NaN(), infinity, -infinity, 3e38f, 1e30f })
        for (const auto size : { 0.0f, 33.0f, 100.0f })
        {
            auto engine = preparedEngine (44100.0, { { "ReverbSize", size }, { "ReverbLo", 12.0f }, { "ReverbHi", 12.0f } });
            Noise noise;
            auto channels = noiseChannels (noise, 2, length);
            channels[1][badSample] = bad;
            run (*engine, channels, blockSize);

            // The bad sample itself and its block; of what is no number also the block in which it leaves the pre-delay
            const auto preDelay = std::isnan (bad) ? static_cast<int> (engine->preDelayTarget[1] * 44100.0f) : 0;
            const auto over = ((badSample + preDelay) / blockSize + 1) * blockSize;
            auto loudest = 0.0f;
            for (const auto& channel : channels)
                for (int i = over; i < length; ++i)
                {
                    ASSERT_TRUE (std::isfinite (channel[static_cast<size_t> (i)])) << bad << " at Size " << size << ", sample " << i;
                    loudest = std::max (loudest, std::abs (channel[static_cast<size_t> (i)]));
                }

            // The effect goes on: the tail of later noise is there.
            auto tail = silence (2, 4410);
            run (*engine, tail, blockSize);
            EXPECT_GT (*std::max_element (tail[0].begin(), tail[0].end()), 1e-4f) << bad << " at Size " << size;

            EXPECT_LT (loudest, 100.0f) << bad << " at Size " << size;
        }
}
