// SPDX-License-Identifier: AGPL-3.0-only
// Usage: varnel-peers [--quick] [--vst3=BUNDLE] [--lv2=BUNDLE] RESULTS.json
// Times our bundles and other reverbs in one host and writes the time of every turn, for report.py to sum up. --quick is
// only good to see that it works.
// Exits with 1 if a reverb could not be measured; it is then named with the reason.

#include "Measurement.h"
#include "support/TemporaryHome.h"

#include "HostedPlugin.h"

#include <cstdio>
#include <iterator>

namespace
{

constexpr auto noiseInput = Conditions::Input::noise;
constexpr auto silentInput = Conditions::Input::silence;

const Conditions allConditions[] {
    { "noise", 48000.0, 256, noiseInput, true },
    { "smallBlocks", 48000.0, 32, noiseInput, true },
    { "largeBlocks", 48000.0, 1024, noiseInput, true },
    { "highRate", 96000.0, 256, noiseInput, true },
    { "silence", 48000.0, 256, silentInput, true },
    { "silenceWithoutFlush", 48000.0, 256, silentInput, false },
};

constexpr int allTurns = 525; ///< three minutes at 48 kHz: all but the longest tails become denormal, if they do at all
constexpr int fewTurns = 20;
constexpr int framesOfBlocks = 1 << 20; ///< 22 s, so that the slowest of a thousand blocks of 1024 is one of a few

/** Loads a reverb once for each of the conditions and has it answer a click there.
    @returns its runs, or none and the reason in the facts */
std::vector<Run> prepareRuns (const Peer& peer, PeerHost& host, juce::DynamicObject& facts)
{
    std::vector<Run> runs;
    facts.setProperty ("name", peer.name);
    facts.setProperty ("format", peer.format);
    facts.setProperty ("package", peer.package);
    facts.setProperty ("remark", peer.remark);

    for (const auto& conditions : allConditions)
    {
        juce::String reason;
        auto plugin = host.load (peer, conditions.sampleRate, conditions.blockSize, reason);

        if (plugin != nullptr)
        {
            deliverMessages (50); // some finish loading later
            const auto response = responseOf (*plugin, conditions);
            reason = response.fault;

            if (runs.empty())
            {
                facts.setProperty ("inputs", plugin->getTotalNumInputChannels());
                facts.setProperty ("latency", plugin->getLatencySamples());
                facts.setProperty ("tail", response.seconds);
            }
        }

        if (reason.isNotEmpty())
        {
            if (! runs.empty())
                reason << ", at " << conditions.sampleRate << " Hz in blocks of " << conditions.blockSize;
            facts.setProperty ("reason", reason);
            std::fprintf (stderr, "peers: %s %s: %s\n", peer.name.toRawUTF8(), peer.format.toRawUTF8(), reason.toRawUTF8());
            return {};
        }

        runs.push_back ({ &conditions, std::move (plugin), {}, {} });
    }

    std::fprintf (stderr, "peers: %s %s: ready\n", peer.name.toRawUTF8(), peer.format.toRawUTF8());
    return runs;
}

juce::String compiler()
{
#if defined(__clang__)
    return "Clang " __clang_version__;
#elif defined(__GNUC__)
    return "GCC " __VERSION__;
#else
    return "another compiler";
#endif
}

int compare (const juce::ArgumentList& arguments)
{
    const auto option = [&] (const char* name, const char* otherwise)
    { return arguments.containsOption (name) ? arguments.getValueForOption (name) : juce::String (otherwise); };

    PeerHost host;
    std::vector<Run> runs;
    std::vector<juce::DynamicObject::Ptr> owners; // of the runs
    juce::Array<juce::var> reverbs, failures;

    for (const auto& peer : allPeers (option ("--vst3", VARNEL_VST3_BUNDLE), option ("--lv2", VARNEL_LV2_BUNDLE)))
    {
        const juce::DynamicObject::Ptr facts (new juce::DynamicObject());
        auto own = prepareRuns (peer, host, *facts);
        (own.empty() ? failures : reverbs).add (facts.get());
        owners.insert (owners.end(), own.size(), facts);
        std::move (own.begin(), own.end(), std::back_inserter (runs));
    }

    std::fprintf (stderr, "peers: measuring\n");
    measure (runs, arguments.containsOption ("--quick") ? fewTurns : allTurns);

    const auto list = [] (const std::vector<double>& times)
    {
        juce::Array<juce::var> values;
        for (const auto time : times)
            values.add (time);
        return values;
    };

    for (size_t i = 0; i < runs.size(); ++i)
    {
        const juce::String name (runs[i].conditions->name);
        owners[i]->setProperty (runs[i].conditions->name, list (runs[i].times));

        if (name == "smallBlocks" || name == "largeBlocks")
        {
            measureBlocks (runs[i], arguments.containsOption ("--quick") ? 1000 : framesOfBlocks / runs[i].conditions->blockSize);
            owners[i]->setProperty (name + "Each", list (runs[i].blocks));
        }
    }

    juce::DynamicObject::Ptr results (new juce::DynamicObject());
    results->setProperty ("date", juce::Time::getCurrentTime().formatted ("%Y-%m-%d"));
    results->setProperty ("processor", juce::SystemStats::getCpuModel());
    results->setProperty ("cores", juce::SystemStats::getNumCpus());
    results->setProperty ("compiler", compiler());
    results->setProperty ("reverbs", reverbs);
    results->setProperty ("failures", failures);

    if (! arguments[arguments.size() - 1].resolveAsFile().replaceWithText (juce::JSON::toString (results.get(), true) + "\n"))
    {
        std::fprintf (stderr, "peers: the results cannot be written\n");
        return 2;
    }

    return failures.isEmpty() ? 0 : 1;
}

} // namespace

int main (int argc, char** argv)
{
    const juce::ArgumentList arguments (argc, argv);
    if (arguments.size() == 0 || arguments[arguments.size() - 1].isOption())
    {
        std::fprintf (stderr, "usage: varnel-peers [--quick] [--vst3=BUNDLE] [--lv2=BUNDLE] RESULTS.json\n");
        return 2;
    }

    const TemporaryHome home;
    const juce::ScopedJuceInitialiser_GUI juce;
    return compare (arguments);
}
