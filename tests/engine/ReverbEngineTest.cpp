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

TEST (ReverbEngine, TunesItsDelaysToNotes)
{
    struct Row
    {
        float size, diffuserNote, tankNote, preDelayMs, coefficient, reverbTime, decayGain, sizeTrim;
        std::array<float, 6> diffuserMs;
        std::array<float, 8> tankMs;
    };

    auto engine = preparedEngine (44100.0);

    for (const auto& row : {
             Row { 0, 60, 48, 2.0f, 0.333f, 0.1f, 0.411439f, 0.735529f, { 3.608f, 4.545f, 5.727f, 4.050f, 5.102f, 6.428f }, { 7.983f, 9.493f, 11.290f, 13.426f, 7.320f, 8.705f, 10.353f, 12.311f } },
             Row { 33, 37.9725f, 25.9725f, 11.692f, 0.479703f, 0.219794f, 0.236410f, 0.697891f, { 12.877f, 16.224f, 20.441f, 14.454f, 18.211f, 22.944f }, { 28.493f, 33.884f, 40.296f, 47.920f, 26.128f, 31.072f, 36.951f, 43.943f } },
             Row { 50, 28.75f, 16.75f, 15.75f, 0.541125f, 0.947463f, 0.565559f, 0.633087f, { 21.936f, 27.638f, 34.822f, 24.623f, 31.023f, 39.086f }, { 48.540f, 57.724f, 68.645f, 81.634f, 44.511f, 52.933f, 62.948f, 74.858f } },
             Row { 100, 10, -2, 24.0f, 0.666f, 1000, 0.998406f, 0.397924f, { 64.793f, 81.634f, 102.852f, 72.727f, 91.631f, 115.447f }, { 143.369f, 170.496f, 202.755f, 241.117f, 131.470f, 156.345f, 185.927f, 221.105f } },
         })
    {
        engine->setSize (row.size);
        EXPECT_NEAR (engine->diffuserNote, row.diffuserNote, 1e-4f);
        EXPECT_NEAR (engine->tankNote, row.tankNote, 1e-4f);
        EXPECT_NEAR (engine->preDelayBase, row.preDelayMs * 1e-3f, 0.6e-6f);
        EXPECT_EQ (engine->preDelayTarget[0], engine->preDelayBase);
        EXPECT_EQ (engine->preDelayTarget[1], engine->preDelayBase);
        EXPECT_NEAR (engine->tankCoefficient, row.coefficient, 1e-6f);
        EXPECT_NEAR (engine->reverbTime, row.reverbTime, row.reverbTime * 1e-5f);
        EXPECT_NEAR (engine->decayGain, row.decayGain, 1e-6f);
        EXPECT_NEAR (engine->sizeTrim, row.sizeTrim, 1e-6f);

        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_NEAR (engine->diffuserTarget[i] * 1000.0f, row.diffuserMs[i], 0.0006f) << "diffuser " << i << ", size " << row.size;
        for (std::size_t i = 0; i < 8; ++i)
            EXPECT_NEAR (engine->tankTarget[i] * 1000.0f, row.tankMs[i], 0.0006f) << "tank " << i << ", size " << row.size;
    }

    EXPECT_NEAR (1.0f / ReverbEngine::noteDelay (69.0f), 440.0f, 0.001f);
}

TEST (ReverbEngine, CutsInsideTheLoopsAndBoostsAtTheOutputOnly)
{
    auto engine = preparedEngine (44100.0, { { "ReverbLo", 12.0f }, { "ReverbHi", -12.0f } });
    auto channels = silence (2, 1);
    run (*engine, channels, 1);

    EXPECT_NEAR (engine->outLowL.b0, 1.013859f, 1e-6f);
    EXPECT_NEAR (engine->outHighR.b0, 0.349166f, 1e-6f);
    for (const auto* stage : { &engine->diffuserL1, &engine->diffuserR3, &engine->tankL2, &engine->tankR3 })
    {
        EXPECT_EQ (stage->low.b0, 1.0f);
        EXPECT_NEAR (stage->high.b0, 0.589201f, 1e-6f); // half of the cut
    }
    EXPECT_EQ (engine->tankLowR.b0, 1.0f);
    EXPECT_NEAR (engine->tankHighL.a1, 0.647107f, 1e-6f);
}

TEST (ReverbEngine, WeighsEarlyLateDryAndWetByPosition)
{
    struct Row
    {
        float position, insertA, insertB, sendA, sendB;
    };

    auto engine = preparedEngine (44100.0);

    for (const auto& row : { Row { 0, 1, 0, 1, 0 },
                             Row { 25, 0.9375f, 0.4375f, 0.984375f, 0.234375f },
                             Row { 33, 0.8911f, 0.5511f, 0.952563f, 0.388163f },
                             Row { 50, 0.75f, 0.75f, 0.75f, 0.75f },
                             Row { 75, 0.4375f, 0.9375f, 0.234375f, 0.984375f },
                             Row { 100, 0, 1, 0, 1 } })
    {
        engine->setInsertMode (0.5f);
        engine->setPosition (row.position);
        for (const float gain : { engine->earlyGainL, engine->earlyGainR, engine->dryGainL, engine->dryGainR })
            EXPECT_NEAR (gain, row.insertA, 1e-6f) << "insert mode, position " << row.position;
        for (const float gain : { engine->lateGainL, engine->lateGainR, engine->wetGainL, engine->wetGainR })
            EXPECT_NEAR (gain, row.insertB, 1e-6f) << "insert mode, position " << row.position;

        engine->setInsertMode (0.49f);
        for (const float gain : { engine->earlyGainL, engine->earlyGainR })
            EXPECT_NEAR (gain, row.sendA, 1e-6f) << "send mode, position " << row.position;
        for (const float gain : { engine->lateGainL, engine->lateGainR })
            EXPECT_NEAR (gain, row.sendB, 1e-6f) << "send mode, position " << row.position;
        EXPECT_EQ (engine->dryGainL, 0.0f);
        EXPECT_EQ (engine->wetGainR, 1.0f);
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

// The expected samples come from reference_model.py, which shares no code with the engine. A different
// order of rounding anywhere in the loop or in a setting moves their last bits.
TEST (ReverbEngine, RoundsInTheStatedOrder)
{
    struct Frame
    {
        int index;
        float left, right;
    };

    struct Run
    {
        double rate;
        std::array<float, 7> values;
        int resizeAt;
        float resizeTo;
        std::array<Frame, 5> frames;
    };

    for (const auto& expected : {
             Run { 44100.0, { 33, 33, 0, -1.5f, 33, 1, 1 }, -1, 0, { { { 0, -0x1.e0f628p-3f, -0x1.dd27b6p-4f }, { 1, 0x1.ef7564p-9f, 0x1.75e802p-3f }, { 700, -0x1.0cb6cap-2f, 0x1.f2f5e8p-6f }, { 3500, 0x1.cb3ad6p-3f, 0x1.44144cp-2f }, { 6000, 0x1.2f6beap-2f, -0x1.772d8p-5f } } } },
             Run { 48000.0, { 62, 80, -6, 4, 71, 1, 0 }, 3000, 20, { { { 0, -0x1.6a3ffap-63f, -0x1.6a3ffap-63f }, { 1, 0x1.0e6a16p-58f, 0x1.0e6a16p-58f }, { 700, 0x1.ea7bep-55f, 0x1.ea7bep-55f }, { 3500, 0x1.1ae44cp-5f, 0x1.adaf7p-5f }, { 6000, -0x1.07e676p-5f, -0x1.3eba9p-8f } } } },
             Run { 8000.0, { 5, 100, 12, -12, 50, 1, 1 }, -1, 0, { { { 0, -0x1.94cdeap-3f, -0x1.9199c4p-4f }, { 1, 0x1.a1018p-9f, 0x1.3ab35cp-3f }, { 700, -0x1.69f26cp-3f, -0x1.4b5f6p-5f }, { 3500, 0x1.5bed4cp-3f, 0x1.b579d2p-2f }, { 6000, 0x1.49b00ep-2f, -0x1.b59a48p-8f } } } },
         })
    {
        auto engine = preparedEngine (expected.rate);
        for (std::size_t i = 0; i < expected.values.size(); ++i)
            (*engine.*varnel::parameterTable[i].apply) (expected.values[i]);

        Noise noise;
        auto next = expected.frames.begin();

        for (int n = 0; n <= 6000; ++n)
        {
            if (n == expected.resizeAt)
                engine->setSize (expected.resizeTo);

            const auto frame = runNoise (*engine, noise, 1, 1);

            if (n == next->index)
            {
                EXPECT_EQ (frame[0], next->left) << "sample " << n << " at " << expected.rate << " Hz";
                EXPECT_EQ (frame[1], next->right) << "sample " << n << " at " << expected.rate << " Hz";
                ++next;
            }
        }
    }
}

TEST (ReverbEngine, IsTheSameAtEveryBlockSize)
{
    const auto render = [] (int blockSize)
    {
        auto engine = preparedEngine (48000.0, { { "ReverbMod", 90.0f } });
        Noise noise;
        return runNoise (*engine, noise, 10000, blockSize);
    };

    const auto whole = render (10000);
    for (const auto blockSize : { 1, 7, 64, 4096 })
        EXPECT_EQ (render (blockSize), whole) << "blocks of " << blockSize;
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

TEST (ReverbEngine, LeavesABypassedBlockAloneAndForgetsTheTail)
{
    auto engine = preparedEngine (44100.0, { { "ReverbSize", 80.0f } });
    Noise noise;
    runNoise (*engine, noise, 20000, 512);
    engine->peakInL = engine->peakInR = engine->peakOutL = engine->peakOutR = 0.0f;
    const auto delaysBefore = engine->tankCurrent;

    engine->setBypass (0.0f);
    const auto input = noiseChannels (noise, 2, 512);
    auto channels = input;
    run (*engine, channels, 512);
    EXPECT_EQ (channels, input);
    EXPECT_EQ (engine->spinPhase, 0.0f);
    EXPECT_EQ (engine->peakInL + engine->peakInR + engine->peakOutL + engine->peakOutR, 0.0f);

    engine->setBypass (0.5f); // only an exact 0 bypasses
    auto after = silence (2, 44100);
    run (*engine, after, 512);
    for (const auto& channel : after)
        EXPECT_EQ (firstAbove (channel, 0, 1e-15f), channel.size()) << "old tail after bypass";
    EXPECT_EQ (engine->tankCurrent, delaysBefore);

    // A bypass that arrives with an empty block clears as well.
    runNoise (*engine, noise, 20000, 512);
    engine->setBypass (0.0f);
    engine->processBlock (nullptr, 0, 0);
    engine->setBypass (1.0f);
    after = silence (2, 4410);
    run (*engine, after, 512);
    EXPECT_EQ (firstAbove (after[0], 0, 1e-15f), after[0].size());
}

TEST (ReverbEngine, TakesEveryNumberOfChannelsAndSamples)
{
    // Mono: both sides hear the channel, it gets their mean.
    Noise noise;
    const auto input = noiseChannels (noise, 1, 8000);
    auto mono = input;
    auto monoEngine = preparedEngine (44100.0, {}, 1);
    run (*monoEngine, mono, 100);

    auto twice = Channels { input[0], input[0] };
    auto stereoEngine = preparedEngine (44100.0);
    run (*stereoEngine, twice, 100);
    for (std::size_t i = 0; i < mono[0].size(); ++i)
        ASSERT_EQ (mono[0][i], (twice[0][i] + twice[1][i]) * 0.5f) << "sample " << i;
    EXPECT_EQ (monoEngine->peakOutL, monoEngine->peakOutR);
    EXPECT_EQ (monoEngine->peakInL, monoEngine->peakInR);

    // One input channel on a stereo buffer: channel 0 feeds both, channel 1 is overwritten.
    auto spread = Channels { input[0], noiseChannels (noise, 1, 8000)[0] };
    auto spreadEngine = preparedEngine (44100.0, {}, 1);
    run (*spreadEngine, spread, 100);
    EXPECT_EQ (spread, twice);

    // Further channels stay as they were.
    auto many = noiseChannels (noise, 5, 1000);
    const auto before = many;
    auto manyEngine = preparedEngine (44100.0);
    run (*manyEngine, many, 64);
    EXPECT_NE (many[1], before[1]);
    for (const std::size_t channel : { 2u, 3u, 4u })
        EXPECT_EQ (many[channel], before[channel]);

    // No channel, no sample: nothing is touched.
    const float phase = manyEngine->spinPhase;
    manyEngine->processBlock (nullptr, 0, 512);
    float* const pointers[] { many[0].data(), many[1].data() };
    manyEngine->processBlock (pointers, 2, 0);
    manyEngine->processBlock (pointers, 2, -1);
    EXPECT_EQ (manyEngine->spinPhase, phase);
}

TEST (ReverbEngine, GlidesWithATimeConstantOfATenthOfASecond)
{
    for (const auto rate : { 8000.0, 44100.0, 192000.0 })
    {
        auto engine = preparedEngine (rate);
        EXPECT_NEAR (engine->smoothCoeff, 10.0 / rate, 1e-4 / rate * 10.0);

        auto channels = silence (2, 1);
        run (*engine, channels, 1);
        EXPECT_FLOAT_EQ (engine->tankCurrent[3], engine->tankTarget[3]) << "no glide in the first sample";

        const auto start = engine->tankCurrent[3];
        const float decayBefore = engine->decayGain;
        engine->setSize (90.0f);
        EXPECT_NE (engine->decayGain, decayBefore) << "the decay acts at once";

        channels = silence (2, static_cast<int> (rate / 10.0));
        run (*engine, channels, 512);
        const auto travelled = (engine->tankCurrent[3] - start) / (engine->tankTarget[3] - start);
        EXPECT_NEAR (travelled, 1.0 - std::exp (-1.0), 0.001) << rate << " Hz";
    }

    EXPECT_EQ (preparedEngine (1.0)->smoothCoeff, 1.0f);
}

TEST (ReverbEngine, SoundsAlikeAtEverySampleRate)
{
    // The time after which half of the wet energy has arrived, and the level, hardly depend on the rate.
    const auto measure = [] (double rate)
    {
        auto engine = preparedEngine (rate, { { "ReverbInsertMode", 0.0f }, { "ReverbSize", 60.0f }, { "ReverbHi", 0.0f } });
        auto channels = silence (2, static_cast<int> (rate * 2.0));
        channels[0][0] = channels[1][0] = 1.0f;
        run (*engine, channels, 512);

        std::vector<double> energy (channels[0].size());
        std::transform (channels[0].begin(), channels[0].end(), energy.begin(), [] (float x)
                        { return static_cast<double> (x) * x; });
        std::partial_sum (energy.begin(), energy.end(), energy.begin());
        const auto half = std::lower_bound (energy.begin(), energy.end(), energy.back() / 2.0) - energy.begin();
        return std::pair { static_cast<double> (half) / rate, 10.0 * std::log10 (energy.back()) };
    };

    const auto [time, level] = measure (48000.0);
    for (const auto rate : { 8000.0, 11025.0, 44100.0, 88200.0, 96000.0, 192000.0 })
    {
        const auto [otherTime, otherLevel] = measure (rate);
        EXPECT_NEAR (otherTime, time, 0.01) << rate << " Hz, seconds";
        EXPECT_NEAR (otherLevel, level, 0.5) << rate << " Hz, dB";
    }
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

            // The bad sample itself, and what comes of it until the end of the block in which it leaves the pre-delay
            const auto preDelay = static_cast<int> (engine->preDelayTarget[1] * 44100.0f);
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
