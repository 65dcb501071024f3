// SPDX-License-Identifier: AGPL-3.0-only
#include "Errors.h"
#include "Options.h"
#include "Renderer.h"

#include <juce_audio_basics/juce_audio_basics.h>
#include <juce_events/juce_events.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

namespace
{

std::atomic<bool> interrupted { false };
static_assert (std::atomic<bool>::is_always_lock_free, "a signal handler may not lock");

void printError (const char* message)
{
    std::fprintf (stderr, "varnel-render: %s\n", message);
}

juce::String decibels (float peak)
{
    return peak > 0.0f ? juce::String (juce::Decibels::gainToDecibels (peak, -200.0f), 1) + " dBFS" : juce::String ("silent");
}

void print (const varnel::Options& options, const varnel::RenderSummary& summary)
{
    for (const auto& note : summary.notes)
        std::fprintf (stderr, "varnel-render: note: %s\n", note.toRawUTF8());

    if (summary.numClipped > 0)
        std::fprintf (stderr, "varnel-render: note: %lld samples were clipped; --bits 32 keeps them\n", static_cast<long long> (summary.numClipped));

    std::printf ("%s: %.2f s (%.2f s of it tail), peak in %s, out %s, %.0f times real time\n",
                 options.output.getFileName().toRawUTF8(),
                 summary.seconds,
                 summary.tailSeconds,
                 decibels (summary.peakIn).toRawUTF8(),
                 decibels (summary.peakOut).toRawUTF8(),
                 summary.seconds / std::max (summary.elapsedSeconds, 1e-3));
}

} // namespace

int main (int argc, char** argv)
{
    // A stop leaves nothing behind; a file-size limit shows as a failed write.
    for (const auto signal : { SIGINT, SIGTERM, SIGHUP })
        std::signal (signal, [] (int)
                     { interrupted = true; });

    std::signal (SIGXFSZ, SIG_IGN);

    try
    {
        if (const auto options = varnel::parseOptions (argc, argv))
        {
            const juce::ScopedJuceInitialiser_GUI juce; // parameters need JUCE's message thread

            if (options->output == juce::File())
            {
                varnel::convert (*options);
                return 0;
            }

            const auto summary = varnel::render (*options, interrupted);

            if (! options->quiet)
                print (*options, summary);
        }

        return 0;
    }
    catch (const varnel::UsageError& error)
    {
        printError (error.what());
        std::fputs ("Try varnel-render --help\n", stderr);
        return 2;
    }
    catch (const varnel::Interrupted&)
    {
        printError ("stopped; nothing was written");
        return 130;
    }
    catch (const std::bad_alloc&)
    {
        printError ("not enough memory");
        return 1;
    }
    catch (const std::exception& error)
    {
        printError (error.what());
        return 1;
    }
}
