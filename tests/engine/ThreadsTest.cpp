// SPDX-License-Identifier: AGPL-3.0-only
// Threads that process, turn controls and read the meters at once. The thread sanitizer judges; without it the tests still
// find values that are not whole, and settings that are mixtures of two.

#include "TestSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

TEST (Threads, MayTurnEveryControlAndReadTheMetersWhileABlockRuns)
{
    auto engine = preparedEngine (48000.0);
    std::atomic<bool> running { true };
    std::atomic<int> turns { 0 }, readings { 0 };
    bool sane = true;
    float highestPeak = 0.0f;

    std::thread controls ([&]
                          {
        for (; running; ++turns)
            for (const auto& parameter : varnel::parameterTable)
                (*engine.*parameter.apply) (parameter.start + (parameter.end - parameter.start) * static_cast<float> (turns % 101) / 100.0f); });

    std::thread meters ([&]
                        {
        while (running)
        {
            for (auto* peak : { &engine->peakInL, &engine->peakInR, &engine->peakOutL, &engine->peakOutR })
            {
                const float value = *peak;
                highestPeak = std::max (highestPeak, value);
                readings += value > 0.0f ? 1 : 0;
                *peak = 0.0f;
            }

            sane = sane && std::abs (engine->spinPhase) <= 0.5f;
        } });

    // As long as it takes the other threads to do their part, within reason
    Noise noise;
    bool finite = true;
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes (2);
    while ((turns < 200 || readings < 1000) && std::chrono::steady_clock::now() < giveUp)
        for (const auto sample : runNoise (*engine, noise, 64, 64))
            finite = finite && std::isfinite (sample);

    running = false;
    controls.join();
    meters.join();

    EXPECT_GE (turns, 200);
    EXPECT_GE (readings, 200);
    EXPECT_TRUE (finite);
    EXPECT_TRUE (sane);
    EXPECT_GT (highestPeak, 0.1f);
    EXPECT_LT (highestPeak, 100.0f);
}

TEST (Threads, MayTurnTheSameControlsAtOnceAndLeaveNoMixture)
{
    auto engine = preparedEngine (48000.0), other = preparedEngine (48000.0);
    std::atomic<int> started { 0 }, finished { 0 };
    constexpr int rounds = 3000;

    std::thread second ([&]
                        {
        for (int i = 1; i <= rounds; ++i)
        {
            while (started < i)
                std::this_thread::yield();

            engine->setSize (90.0f);
            engine->setLow (12.0f);
            engine->setInsertMode (static_cast<float> (i % 2));
            finished = i;
        } });

    Noise noise;
    for (int i = 1; i <= rounds; ++i)
    {
        started = i;
        engine->setSize (20.0f);
        engine->setLow (-12.0f);
        engine->setPosition (static_cast<float> (i % 101));
        while (finished < i)
            std::this_thread::yield();

        // Whoever came last has had his way, with all of it.
        other->setSize (engine->diffuserNote > 30.0f ? 20.0f : 90.0f);
        other->setLow (engine->outLow.gainDb);
        other->setPosition (static_cast<float> (i % 101));
        other->setInsertMode (static_cast<float> (i % 2));
        EXPECT_EQ (engine->tankTarget[7], other->tankTarget[7]) << "round " << i;
        EXPECT_EQ (engine->sizeTrim, other->sizeTrim) << "round " << i;
        EXPECT_EQ (engine->innerLow.b1, other->innerLow.b1) << "round " << i;

        const auto sound = noiseChannels (noise, 2, 1);
        auto one = sound, another = sound;
        run (*engine, one, 1);
        run (*other, another, 1);
        EXPECT_EQ (one, another) << "round " << i;
    }

    second.join();
}
