// SPDX-License-Identifier: AGPL-3.0-only
// One thread processes, one turns every control, one reads and clears the meters. The thread sanitizer
// judges; without it the test still finds values that are not whole.

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
    while ((turns < 1000 || readings < 1000) && std::chrono::steady_clock::now() < giveUp)
        for (const auto sample : runNoise (*engine, noise, 64, 64))
            finite = finite && std::isfinite (sample);

    running = false;
    controls.join();
    meters.join();

    EXPECT_GE (turns, 1000);
    EXPECT_GE (readings, 1000);
    EXPECT_TRUE (finite);
    EXPECT_TRUE (sane);
    EXPECT_GT (highestPeak, 0.1f);
    EXPECT_LT (highestPeak, 100.0f);
}
