// SPDX-License-Identifier: AGPL-3.0-only

#include <benchmark/benchmark.h>
#include <juce_events/juce_events.h>

int main (int argc, char** argv)
{
    const juce::ScopedJuceInitialiser_GUI juce; // parameters need JUCE's message thread
    benchmark::Initialize (&argc, argv);

    if (benchmark::ReportUnrecognizedArguments (argc, argv))
        return 1;

    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
