// SPDX-License-Identifier: AGPL-3.0-only
// Prints a hash of what the engine makes of noise while every control moves.

#include "TestSignals.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

int main()
{
    std::uint64_t hash = 14695981039346656037u; // FNV-1a
    Noise noise;
    float random[8];

    for (const auto rate : { 8000.0, 44100.0, 96000.0 })
    {
        auto engine = preparedEngine (rate);

        for (int block = 0; block < 100; ++block)
        {
            for (std::size_t i = 0; i < varnel::parameterTable.size(); ++i)
            {
                const auto& parameter = varnel::parameterTable[i];
                random[i] = noise() + 0.5f;
                if (random[i] > 0.7f && parameter.apply != &varnel::ReverbEngine::setBypass)
                    (*engine.*parameter.apply) (parameter.start + (random[i] - 0.7f) / 0.3f * (parameter.end - parameter.start));
            }

            for (const auto sample : runNoise (*engine, noise, 512, 512))
            {
                std::uint32_t bits;
                std::memcpy (&bits, &sample, sizeof (bits));
                hash = (hash ^ bits) * 1099511628211u;
            }
        }
    }

    std::printf ("%016" PRIx64 "\n", hash);
}
