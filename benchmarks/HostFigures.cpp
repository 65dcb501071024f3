// SPDX-License-Identifier: AGPL-3.0-only
// Usage: varnel-host-figures --gtest_filter=*VST3_48000
// Prints how soon a bundle sounds, what an instance takes and how long a frame takes it, one format and rate in a process. No test: it is run by
// hand, and compares nothing.

#include "HostedPlugin.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace
{

double megabytesInUse()
{
    std::ifstream statm ("/proc/self/statm");
    double total = 0.0, resident = 0.0;
    statm >> total >> resident;
    return resident * static_cast<double> (sysconf (_SC_PAGESIZE)) / 1048576.0;
}

struct Figures : testing::TestWithParam<std::tuple<Bundle, int>>
{
};

} // namespace

TEST_P (Figures, OfABundle)
{
    using Clock = std::chrono::steady_clock;
    const auto milliseconds = [start = Clock::now()]
    { return std::chrono::duration<double, std::milli> (Clock::now() - start).count(); };

    const auto [bundle, rate] = GetParam();
    Scanned host (bundle);
    const auto scanned = milliseconds();

    constexpr int number = 20;
    std::vector<std::unique_ptr<juce::AudioPluginInstance>> plugins;
    double first = 0.0, soundsAfter = 0.0;

    for (int i = 0; i <= number; ++i)
    {
        plugins.push_back (host.create (rate, 512));
        prepare (*plugins.back(), rate, 512);
        run (*plugins.back(), noise (2, 512), 512);

        if (i == 0)
            soundsAfter = milliseconds();

        run (*plugins.back(), noise (2, rate), 512); // touches all of the delays' memory

        if (i == 0)
            first = megabytesInUse();
    }

    std::printf ("%s at %d Hz: scanned in %.0f ms, first audio after %.0f ms, %.2f MB for each further of %d instances\n",
                 bundle.format,
                 rate,
                 scanned,
                 soundsAfter,
                 (megabytesInUse() - first) / number,
                 number);
}

TEST_P (Figures, OfAFrame)
{
    const auto [bundle, rate] = GetParam();
    Scanned host (bundle);

    for (const auto size : { 16, 32, 64, 256 })
    {
        const auto plugin = host.create (rate, size);
        prepare (*plugin, rate, size);
        const auto input = noise (2, size);
        auto buffer = input;
        juce::MidiBuffer midi;
        auto best = 1e9;

        for (int run = 0; run < 20; ++run)
        {
            const auto numBlocks = rate / 5 / size;
            const auto start = std::chrono::steady_clock::now();
            for (int i = 0; i < numBlocks; ++i)
            {
                buffer.makeCopyOf (input, true); // or it would feed itself
                plugin->processBlock (buffer, midi);
            }
            const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
            best = std::min (best, time.count() / (numBlocks * size));
        }

        std::printf ("%s at %d Hz, blocks of %d: %.1f ns per frame\n", bundle.format, rate, size, best);
    }
}

INSTANTIATE_TEST_SUITE_P (Formats, Figures, testing::Combine (testing::ValuesIn (bundles), testing::Values (48000, 192000)), [] (const auto& test)
                          { return (juce::String (std::get<0> (test.param).format) + "_" + juce::String (std::get<1> (test.param))).toStdString(); });
