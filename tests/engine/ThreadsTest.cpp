// SPDX-License-Identifier: AGPL-3.0-only
// One thread processes, one turns every control, one reads and clears the meters. The thread sanitizer
// judges; without it the test still finds values that are not whole.

#include "TestSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

TEST (Threads, MayTurnEveryControlAndReadTheMetersWhileABlockRuns)
{
    auto engine = preparedEngine (48000.0);
    std::atomic<bool> running { true };
    bool sane = true;
    float highestPeak = 0.0f;

    std::thread controls ([&]
                          {
        for (int turn = 0; running; ++turn)
            for (const auto& parameter : varnel::parameterTable)
                (*engine.*parameter.apply) (parameter.start + (parameter.end - parameter.start) * static_cast<float> (turn % 101) / 100.0f); });

    std::thread meters ([&]
                        {
        while (running)
        {
            for (auto* peak : { &engine->peakInL, &engine->peakInR, &engine->peakOutL, &engine->peakOutR })
            {
                highestPeak = std::max<float> (highestPeak, *peak);
                *peak = 0.0f;
            }

            sane = sane && std::abs (engine->spinPhase) <= 0.5f;
        } });

    Noise noise;
    for (int i = 0; i < 300; ++i)
        for (const auto sample : runNoise (*engine, noise, 256, 64))
            if (! std::isfinite (sample))
                sane = false;

    running = false;
    controls.join();
    meters.join();

    EXPECT_TRUE (sane);
    EXPECT_GT (highestPeak, 0.1f);
    EXPECT_LT (highestPeak, 100.0f);
}
