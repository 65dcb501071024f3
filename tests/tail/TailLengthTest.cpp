// SPDX-License-Identifier: AGPL-3.0-only
#include "tail/TailLength.h"
#include "engine/TestSignals.h"

#include <gtest/gtest.h>

#include <cmath>

TEST (TailLength, IsForetold)
{
    struct Case
    {
        double rate;
        float size, low, high, position, insert;
    };

    // A room, a hall without highs, a tuned pipe without lows, the early part almost alone
    for (const auto& [rate, size, low, high, position, insert] : { Case { 44100, 5, -10, 1, 50, 1 }, { 48000, 50, 9, -9, 70, 0 }, { 96000, 33, -9, 3, 39, 1 }, { 48000, 10, 0, 6, 10, 1 } })
    {
        const auto engine = preparedEngine (rate, { { "ReverbSize", size }, { "ReverbLo", low }, { "ReverbHi", high }, { "Position", position }, { "ReverbInsertMode", insert } });
        const auto foretold = varnel::tailLength (*engine);
        auto response = silence (2, static_cast<int> (rate * std::min (30.0, foretold * 1.5)));
        response[0][0] = response[1][0] = 1.0f;
        run (*engine, response, 4096);

        // Energy from each sample to the end; the dry sound is the first sample, and none of it.
        std::vector<double> energy (response[0].size());
        for (auto i = energy.size() - 1, left = i; i > 0; left = i--)
            energy[i] = (left == i ? 0.0 : energy[left]) + std::pow (response[0][i], 2.0) + std::pow (response[1][i], 2.0);

        const auto end = std::find_if (energy.begin() + 1, energy.end(), [&energy] (double x)
                                       { return x < energy[1] * 1e-6; });
        const auto measured = static_cast<double> (end - energy.begin()) / rate;
        EXPECT_GE (foretold, measured) << "Size " << size << ", in seconds";
        EXPECT_LE (foretold, measured * 1.3) << "Size " << size << ", in seconds";
    }

    EXPECT_EQ (varnel::tailLength (*preparedEngine (48000, { { "Bypass", 0.0f } })), 0.0);
    EXPECT_EQ (varnel::tailLength (*preparedEngine (48000, { { "Position", 0.0f } })), 0.0) << "all dry";
}
