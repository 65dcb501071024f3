// SPDX-License-Identifier: AGPL-3.0-only
// What the window costs: the time until it has been drawn, and the processor time that it takes while it is open.

#include "support/Plugin.h"
#include "support/TemporaryHome.h"
#include "support/XServer.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>

namespace
{

double processorSeconds()
{
    timespec time {};
    clock_gettime (CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double> (time.tv_sec) + static_cast<double> (time.tv_nsec) * 1e-9;
}

std::unique_ptr<juce::AudioProcessorEditor> open (varnel::VarnelReverbAudioProcessor& processor)
{
    std::unique_ptr<juce::AudioProcessorEditor> editor (processor.createEditor());
    editor->addToDesktop (juce::ComponentPeer::windowIsTemporary);
    editor->setVisible (true);
    editor->getPeer()->performAnyPendingRepaintsNow();
    return editor;
}

double median (std::vector<double> values)
{
    std::sort (values.begin(), values.end());
    return values[values.size() / 2];
}

/** The share of a core that an open window takes over some seconds. */
double loadOver (varnel::VarnelReverbAudioProcessor& processor, int seconds, bool metersMove)
{
    auto& engine = processor.engine;
    juce::Random random (1);
    const auto start = processorSeconds();
    const auto end = juce::Time::getMillisecondCounterHiRes() + 1000.0 * seconds;

    while (juce::Time::getMillisecondCounterHiRes() < end)
    {
        if (metersMove)
            for (auto* peak : { &engine.peakInL, &engine.peakInR, &engine.peakOutL, &engine.peakOutR })
                *peak = random.nextFloat();

        juce::detail::dispatchNextMessageOnSystemQueue (false); // waits, as a host's own loop does
    }

    return (processorSeconds() - start) / seconds;
}

} // namespace

int main()
{
    XServer server;

    if (! server.start())
    {
        std::fputs ("varnel-window-benchmark: Xvfb does not start\n", stderr);
        return 1;
    }

    const TemporaryHome home;
    const juce::ScopedJuceInitialiser_GUI juce;
    varnel::VarnelReverbAudioProcessor processor;
    std::vector<double> times;

    for (int i = 0; i < 30; ++i)
    {
        const auto start = juce::Time::getMillisecondCounterHiRes();
        const auto editor = open (processor);
        times.push_back (juce::Time::getMillisecondCounterHiRes() - start);
    }

    std::printf ("Time until the window is drawn: %.1f ms the first time, %.1f ms after that (median)\n", times.front(), median ({ times.begin() + 1, times.end() }));

    const auto editor = open (processor);

    for (const auto width : { 600, 1200 })
    {
        editor->setSize (width, width * 620 / 1200);
        deliverMessages (500);
        std::printf ("%d pixels wide, of one core over ten seconds: %.1f %% with moving meters, %.1f %% in silence\n", width, 100.0 * loadOver (processor, 10, true), 100.0 * loadOver (processor, 10, false));
    }

    return 0;
}
