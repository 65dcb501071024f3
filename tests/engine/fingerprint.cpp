// SPDX-License-Identifier: AGPL-3.0-only
// Prints two hashes: of what every step of every control makes of the engine's settings at some rates, and of what the
// engine makes of noise, loud and so quiet that it is denormal, in blocks of all sizes while every control moves.

#include "TestSignals.h"

#include <cinttypes>
#include <cstdio>

namespace
{

void addSettings (Hash& hash, varnel::ReverbEngine& e)
{
    for (const float x : { e.preDelayBase, e.preDelayTarget[0], e.preDelayTarget[1], e.diffuserNote, e.tankNote, e.reverbTime, e.decayGain, e.sizeTrim, e.tankCoefficient, e.inverseSampleRate, e.spinIncrement, e.spinDepth, e.earlyGainL, e.lateGainL, e.dryGainL, e.wetGainL })
        hash.add (x);

    for (const float x : e.diffuserTarget)
        hash.add (x);

    for (const float x : e.tankTarget)
        hash.add (x);

    for (const float x : { e.outLow.a1, e.outLow.b0, e.outLow.b1, e.innerLow.a1, e.innerLow.b0, e.innerLow.b1, e.outHigh.a1, e.outHigh.b0, e.outHigh.b1, e.innerHigh.a1, e.innerHigh.b0, e.innerHigh.b1 })
        hash.add (x);

    hash.add (e.smoothCoeff);

    for (const auto* line : { &e.preDelayL, &e.diffuserL1.delay, &e.diffuserR2.delay, &e.tankL2.delay, &e.tankR3.delay, &e.tankDelayL })
        hash.add (static_cast<std::uint32_t> (line->size));
}

} // namespace

int main()
{
    Hash settings, samples;
    Noise noise;

    for (const auto rate : { 8000.0, 22050.0, 44100.0, 48000.0, 96000.0, 192000.0 })
    {
        auto engine = preparedEngine (rate);

        for (const auto& parameter : varnel::parameterTable)
        {
            const auto last = static_cast<int> ((parameter.end - parameter.start) / parameter.interval + 0.5f);

            for (int step = last; step >= 0; --step)
            {
                (*engine.*parameter.apply) (parameter.start + parameter.interval * static_cast<float> (step));
                addSettings (settings, *engine);
            }
        }

        engine = preparedEngine (rate);

        for (int block = 0; block < 80; ++block)
        {
            for (const auto& parameter : varnel::parameterTable)
                if (const auto random = noise() + 0.5f; random > 0.7f && parameter.apply != &varnel::ReverbEngine::setBypass)
                    (*engine.*parameter.apply) (parameter.start + (random - 0.7f) / 0.3f * (parameter.end - parameter.start));

            const auto numChannels = block % 9 == 8 ? 1u : 2u;
            auto channels = noiseChannels (noise, numChannels, 512);

            if (block / 10 % 4 == 3)
            {
                // All dry, or nobody would feel numbers so small
                engine->setInsertMode (1.0f);
                engine->setPosition (0.0f);

                for (auto& channel : channels)
                    for (auto& sample : channel)
                        sample *= 0x1p-128f;
            }

            run (*engine, channels, block % 7 < 4 ? 512 : 1 + block);

            for (const auto& channel : channels)
                for (const auto sample : channel)
                    samples.add (sample);

            addSettings (settings, *engine);
        }
    }

    std::printf ("%016" PRIx64 " %016" PRIx64 "\n", settings.state, samples.state);
}
