// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Peer.h"

/** Under which conditions a reverb runs. */
struct Conditions
{
    enum class Input
    {
        noise,
        silence ///< after noise, so that tails die
    };

    const char* name;
    double sampleRate;
    int blockSize;
    Input input;
    bool hostFlushes; ///< whether the host has the processor take denormal numbers for zero, as most hosts do
};

/** A reverb under conditions, and what it has taken. */
struct Run
{
    const Conditions* conditions;
    std::unique_ptr<juce::AudioPluginInstance> plugin;
    std::vector<double> times;     ///< processor time of the audio thread, turn by turn, in nanoseconds per stereo frame
    std::vector<double> blocks {}; ///< time of each block of a stretch of noise, in nanoseconds per stereo frame
};

/** How a reverb answers one click. */
struct Response
{
    juce::String fault;   ///< empty if there is a reverb to be heard
    double seconds = 0.0; ///< until the tail has lost 60 dB
};

/** Plays a click. What is bypassed, or dry by default, has no tail and so a fault: its timing would be of nothing. */
Response responseOf (juce::AudioPluginInstance&, const Conditions&);

/** Lets prepared plug-ins take turns and times each turn. Whatever disturbs the machine for a while disturbs all alike;
    the order changes from round to round, so that nobody always comes after the same one. */
void measure (std::vector<Run>&, int numTurns);

/** Times each block of the same noise, from the moment at which the plug-in is prepared. Several passes, of which each
    block's least time counts: what the machine does between comes at other places in each of them, what the plug-in does
    at the same ones. */
void measureBlocks (Run&, int numBlocks);
