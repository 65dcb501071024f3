// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "ParameterText.h"
#include "SoundFormat.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace varnel
{

/** What is made of a sound besides what the parameters say. */
struct Treatment
{
    std::optional<double> tailSeconds;    ///< without it, until the tail is inaudible
    bool sameLength = false;              ///< cut the tail at the input's length
    std::optional<double> gain;           ///< dB, over all
    std::optional<double> normalise;      ///< dBFS that the highest sample gets
    double fadeSeconds = 0.01;            ///< at the end of a tail that is cut
    bool dither = true;                   ///< of integers of up to 16 bits
    bool mono = false;                    ///< one channel in the output
    std::vector<int> channels;            ///< the two, counted from 1, that go through; otherwise the first two
    std::optional<Encoding> encoding;     ///< without it, the input's own
    std::optional<Container> container;   ///< without it, as the output's name says
    std::optional<double> impulseSeconds; ///< length of the impulse response to write instead
    int impulseSampleRate = 48000;        ///< Hz
    bool trueStereo = false;              ///< of the impulse response: left to left and right, right to left and right
    int blockSize = 512;                  ///< frames
};

/** One sound to make. */
struct Job
{
    std::filesystem::path input; ///< empty with an impulse; "-" is standard input
    std::filesystem::path output;
    ParameterValues values {};
    Treatment treatment;
    std::vector<std::string> notes; ///< what is known already
    std::string failure;            ///< why it cannot be done, if that is known already
};

/** How far a job is, for whoever shows it. */
struct JobProgress
{
    std::atomic<double> fraction { -1.0 };    ///< 0 to 1; below 0 while the end is not known
    std::atomic<double> audioSeconds { 0.0 }; ///< done so far
};

/** What a rendering came to. */
struct RenderSummary
{
    Container container = Container::wav;
    Encoding encoding = Encoding::int16;
    int sampleRate = 0; ///< Hz
    int numChannels = 0;
    std::int64_t numFrames = 0;
    std::int64_t numTailFrames = 0; ///< of them behind the end of the input
    bool tailEnded = false;         ///< by itself, inaudibly
    double peakIn = 0.0;            ///< highest magnitude of all channels, 1.0 is full scale
    double peakOut = 0.0;
    double gain = 1.0;              ///< that gain or normalisation came to
    std::int64_t numClipped = 0;    ///< samples that an integer output could not hold
    std::int64_t numReplaced = 0;   ///< samples of the input that were no numbers
    double elapsedSeconds = 0.0;    ///< of real time
    std::vector<std::string> notes; ///< what the user should know

    double seconds() const { return static_cast<double> (numFrames) / sampleRate; }
    double tailSeconds() const { return static_cast<double> (numTailFrames) / sampleRate; }
};

/** The container that an output's name or the treatment asks for. @throws UsageError */
Container containerOf (const std::filesystem::path& output, const Treatment& treatment);

/** Runs the engine over a file, or over an impulse, in little memory. The samples are those of the plug-in's processor.
    Any thread; several at once.
    @param whenDone  is told as soon as the file has its name, with no signal between
    @throws RenderError, UsageError; then nothing is left behind and the target is as it was */
RenderSummary render (const Job& job, JobProgress& progress, const std::function<void (const RenderSummary&)>& whenDone);

} // namespace varnel
