// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Options.h"

#include <atomic>

namespace varnel
{

/** What a rendering came to. */
struct RenderSummary
{
    double seconds = 0.0;     ///< of audio written
    double tailSeconds = 0.0; ///< of it behind the end of the input
    float peakIn = 0.0f;      ///< highest magnitude of all channels, 1.0 is full scale
    float peakOut = 0.0f;
    juce::int64 numClipped = 0;  ///< samples that an integer output could not hold
    double elapsedSeconds = 0.0; ///< of real time
    juce::StringArray notes;     ///< what the user should know
};

/** Does what the options ask for short of audio: lists presets, converts settings. @throws RenderError, UsageError */
void convert (const Options& options);

/** Runs the plug-in's processor over a file, or over an impulse, in constant memory.
    @param interrupted  ends the rendering soon after it becomes true
    @throws RenderError, UsageError, Interrupted; then nothing is left behind and the target is as it was */
RenderSummary render (const Options& options, const std::atomic<bool>& interrupted);

} // namespace varnel
