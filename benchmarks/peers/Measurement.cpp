// SPDX-License-Identifier: AGPL-3.0-only
#include "Measurement.h"

#include "HostedPlugin.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>
#include <numeric>
#include <random>

namespace
{

constexpr int framesPerTurn = 16384; ///< a millisecond or more of work, next to which reading the clock is nothing

void process (juce::AudioPluginInstance& plugin, juce::AudioBuffer<float>& buffer, int blockSize)
{
    juce::MidiBuffer midi;
    for (int start = 0; start < buffer.getNumSamples(); start += blockSize)
    {
        juce::AudioBuffer<float> block (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), start, std::min (blockSize, buffer.getNumSamples() - start));
        plugin.processBlock (block, midi);
        midi.clear();
    }
}

/** Processor time does not count while somebody else has the core. */
double threadNanoseconds()
{
    timespec time {};
    clock_gettime (CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double> (time.tv_sec) * 1e9 + static_cast<double> (time.tv_nsec);
}

} // namespace

Response responseOf (juce::AudioPluginInstance& plugin, const Conditions& conditions)
{
    const auto sampleRate = conditions.sampleRate;
    const auto blockSize = conditions.blockSize;
    constexpr double longest = 30.0, afterwards = 0.05; // seconds; what comes later than that is neither dry nor a delay of the host
    constexpr double faintest = 1e-10;                  // of the click's energy
    std::vector<double> energies;

    onAudioThread ([&]
                   {
        juce::FloatVectorOperations::disableDenormalisedNumberSupport();
        juce::AudioBuffer<float> buffer (2, static_cast<int> (sampleRate));
        buffer.clear();
        process (plugin, buffer, blockSize); // until settings have glided to their places

        buffer.setSize (2, blockSize);
        for (int i = 0; i < static_cast<int> (longest * sampleRate) / blockSize; ++i)
        {
            buffer.clear();
            if (i == 0)
                for (int channel = 0; channel < 2; ++channel)
                    buffer.setSample (channel, 0, 1.0f);

            process (plugin, buffer, blockSize);

            double energy = 0.0;
            for (int channel = 0; channel < 2; ++channel)
                for (int j = 0; j < blockSize; ++j)
                    energy += juce::square (static_cast<double> (buffer.getSample (channel, j)));
            energies.push_back (energy);
        } });

    // From the end, so that each place has the energy that is still to come
    std::partial_sum (energies.rbegin(), energies.rend(), energies.rbegin());
    const auto start = energies.begin() + static_cast<int> (afterwards * sampleRate) / blockSize;

    if (! std::isfinite (energies.front()))
        return { "its output is not finite", 0.0 };
    if (*start < faintest)
        return { "no tail follows a click: it is bypassed or dry", 0.0 };

    const auto end = std::find_if (start, energies.end(), [&] (double energy)
                                   { return energy < 1e-6 * *start; });
    return { {}, static_cast<double> (end - energies.begin()) * blockSize / sampleRate };
}

void measure (std::vector<Run>& runs, int numTurns)
{
    const auto sound = noise (2, framesPerTurn);
    juce::AudioBuffer<float> buffer;

    onAudioThread ([&]
                   {
        juce::FloatVectorOperations::disableDenormalisedNumberSupport();
        for (auto& run : runs)
            for (int i = 0; i * framesPerTurn < static_cast<int> (2.0 * run.conditions->sampleRate); ++i)
            {
                buffer.makeCopyOf (sound);
                process (*run.plugin, buffer, run.conditions->blockSize);
            }

        std::vector<Run*> order;
        for (auto& run : runs)
            order.push_back (&run);
        std::mt19937 random;

        for (int i = 0; i < numTurns; ++i)
        {
            std::shuffle (order.begin(), order.end(), random);

            for (auto* const run : order)
            {
                buffer.makeCopyOf (sound);
                if (run->conditions->input == Conditions::Input::silence)
                    buffer.clear();

                // Every time, since a plug-in may leave it as it likes
                juce::FloatVectorOperations::disableDenormalisedNumberSupport (run->conditions->hostFlushes);

                const auto start = threadNanoseconds();
                process (*run->plugin, buffer, run->conditions->blockSize);
                run->times.push_back ((threadNanoseconds() - start) / framesPerTurn);
            }
        } });
}

void measureBlocks (Run& run, int numBlocks)
{
    using Clock = std::chrono::steady_clock; // a look at the thread's own time would take longer than a small block
    constexpr int numPasses = 4;
    const auto blockSize = run.conditions->blockSize;
    const auto sound = noise (2, blockSize);
    run.blocks.assign (static_cast<size_t> (numBlocks), std::numeric_limits<double>::max());

    for (int pass = 0; pass < numPasses; ++pass)
    {
        run.plugin->releaseResources();
        prepare (*run.plugin, run.conditions->sampleRate, blockSize);

        onAudioThread ([&]
                       {
            juce::FloatVectorOperations::disableDenormalisedNumberSupport();
            juce::AudioBuffer<float> buffer;
            juce::MidiBuffer midi;

            for (int i = 0; i < 2 * numBlocks; ++i) // settings come to rest in the first half
            {
                buffer.makeCopyOf (sound, true);
                const auto start = Clock::now();
                run.plugin->processBlock (buffer, midi);
                const std::chrono::duration<double, std::nano> time = Clock::now() - start;
                midi.clear();

                if (i >= numBlocks)
                {
                    auto& least = run.blocks[static_cast<size_t> (i - numBlocks)];
                    least = std::min (least, time.count() / blockSize);
                }
            } });
    }
}
