// SPDX-License-Identifier: AGPL-3.0-only
// Measures how long every factory preset rings, at three rates, beside what tailLength() says. Takes some minutes; fails if
// the rule says less than is measured, or more than 1.3 times that.

#include "library/varnel_reverb.h"
#include "processor/ParameterTable.h"
#include "tail/TailLength.h"

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace varnel;

namespace
{

/** Seconds until the backward-integrated energy of the wet part has fallen by 60 dB, for an impulse on both sides. */
double measure (ReverbEngine& engine, double rate)
{
    const auto hop = static_cast<std::size_t> (rate / 1000.0);
    std::vector<double> energies;
    auto total = 0.0, recent = 0.0;

    // Until what is still to come no longer counts, as long decays as well
    for (auto seconds = 0.0; seconds < 0.3 || recent * 1e8 * std::max (1.0, 0.28 * seconds) >= total; seconds += static_cast<double> (hop) / rate)
    {
        std::vector<float> left (hop), right (hop);
        float* const channels[] { left.data(), right.data() };
        const auto isFirst = energies.empty();
        left[0] = right[0] = isFirst ? 1.0f : 0.0f;
        engine.processBlock (channels, 2, static_cast<int> (hop));

        auto energy = 0.0;
        for (std::size_t i = isFirst ? 1 : 0; i < hop; ++i) // the first sample is the dry sound
            energy += static_cast<double> (left[i]) * static_cast<double> (left[i]) + static_cast<double> (right[i]) * static_cast<double> (right[i]);

        energies.push_back (energy);
        total += energy;
        recent = recent * 0.995 + energy;
    }

    auto left = 0.0;
    auto last = energies.size();
    while (left <= total * 1e-6)
        left += energies[--last];

    return static_cast<double> ((last + 1) * hop) / rate;
}

} // namespace

int main()
{
    auto lowest = 9.0, highest = 0.0;

    for (std::size_t number = 0; number < varnel_reverb_num_presets(); ++number)
        for (const auto rate : { 44100.0, 48000.0, 96000.0 })
        {
            const auto& preset = *varnel_reverb_preset_at (number);
            ReverbEngine engine;
            engine.prepare (rate, 2);

            for (std::size_t i = 0; i < parameterTable.size(); ++i)
                (engine.*parameterTable[i].apply) (preset.values[i]);

            const auto foretold = tailLength (engine), measured = measure (engine, rate), ratio = foretold / measured;
            std::printf ("%-28s %6.0f Hz: measured %7.3f s, foretold %7.3f s, %.3f times\n", preset.name, rate, measured, foretold, ratio);
            lowest = std::min (lowest, ratio);
            highest = std::max (highest, ratio);
        }

    std::printf ("%.3f to %.3f times what is measured\n", lowest, highest);
    return lowest >= 1.0 && highest <= 1.3 ? 0 : 1;
}
