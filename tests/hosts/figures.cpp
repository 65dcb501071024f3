// SPDX-License-Identifier: AGPL-3.0-only
// Usage: varnel-host-figures [--gtest_filter=*VST3*]
// Prints how soon a bundle sounds and what an instance takes. No test: it is run by hand, and compares nothing.

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

struct Figures : testing::TestWithParam<Bundle>
{
};

} // namespace

TEST_P (Figures, OfABundle)
{
    using Clock = std::chrono::steady_clock;
    const auto milliseconds = [start = Clock::now()]
    { return std::chrono::duration<double, std::milli> (Clock::now() - start).count(); };

    std::optional<Scanned> host { std::in_place, GetParam() };
    const auto scanned = milliseconds();
    auto first = host->create();
    prepare (*first, 48000.0, 512);
    run (*first, noise (2, 512), 512);
    std::printf ("%s: scanned in %.0f ms, first audio after %.0f ms\n", GetParam().format, scanned, milliseconds());

    for (const auto rate : { 48000.0, 192000.0 })
    {
        constexpr int number = 20;
        std::vector<std::unique_ptr<juce::AudioPluginInstance>> plugins;
        const auto before = megabytesInUse();

        for (int i = 0; i < number; ++i)
        {
            plugins.push_back (host->create (rate, 512));
            prepare (*plugins.back(), rate, 512);
            run (*plugins.back(), noise (2, static_cast<int> (rate)), 512); // touches all of the delays' memory
        }

        std::printf ("%s: %.2f MB for each of %d instances at %.0f Hz\n", GetParam().format, (megabytesInUse() - before) / number, number, rate);
    }
}

INSTANTIATE_TEST_SUITE_P (Formats, Figures, testing::ValuesIn (bundles), [] (const auto& test)
                          { return std::string (test.param.format); });
