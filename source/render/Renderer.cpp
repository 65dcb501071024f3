// SPDX-License-Identifier: AGPL-3.0-only
#include "Renderer.h"

#include "Errors.h"
#include "InputAudioFile.h"
#include "OutputAudioFile.h"
#include "Stop.h"
#include "engine/ReverbEngine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <numeric>

namespace varnel
{

namespace
{

constexpr float inaudible = 1.58489319e-5f; ///< -96 dBFS
constexpr double longestTail = 60.0;        ///< seconds, of a tail that ends by itself

/** What is higher is no sound, and no number better than none. Far below what the engine takes for a fault: it would
    forget its tail at the end of the block, and so the result would depend on the blocks. */
constexpr double highestSample = 1e10;

//==============================================================================
/** A single sample of 1.0 in some channels, and silence in the others. */
class Impulse : public FrameSource
{
public:
    explicit Impulse (std::vector<double> frameToUse)
        : frame (std::move (frameToUse)) {}

    int read (double* interleaved, int numFrames) override
    {
        if (isDone || numFrames == 0)
            return 0;

        std::copy (frame.begin(), frame.end(), interleaved);
        isDone = true;
        return 1;
    }

private:
    const std::vector<double> frame;
    bool isDone = false;
};

/** How long both channels have been inaudible. */
class TailEnd
{
public:
    explicit TailEnd (int sampleRate)
        : framesOfSilence (sampleRate) {}

    /** @returns the number of frames up to the end, or all if it has not come yet */
    int find (const std::vector<float*>& channels, int numFrames)
    {
        for (int i = 0; i < numFrames; ++i)
        {
            auto quiet = true;

            for (const auto* channel : channels)
                quiet = quiet && std::abs (channel[i]) < inaudible;

            silent = quiet ? silent + 1 : 0;

            if (reached())
                return i + 1;
        }

        return numFrames;
    }

    bool reached() const { return silent >= framesOfSilence; }
    void startAgain() { silent = 0; }

private:
    const std::int64_t framesOfSilence;
    std::int64_t silent = 0;
};

/** Takes finished frames: interleaved samples. */
using Sink = std::function<void (const double* interleaved, int numFrames)>;

/** Holds the last frames back until it is known whether they have to fade. */
class FadeOut
{
public:
    FadeOut (int numChannelsToUse, std::int64_t numFramesToFade, Sink sinkToUse)
        : numChannels (static_cast<size_t> (numChannelsToUse)), numFaded (static_cast<size_t> (numFramesToFade) * numChannels), sink (std::move (sinkToUse))
    {
    }

    void push (const double* interleaved, int numFrames)
    {
        if (numFaded == 0)
        {
            sink (interleaved, numFrames);
            return;
        }

        held.insert (held.end(), interleaved, interleaved + static_cast<size_t> (numFrames) * numChannels);

        // Now and then, so that what is held need not be moved with every block
        if (held.size() > 2 * numFaded + 4096 * numChannels)
        {
            const auto numReady = held.size() - numFaded;
            put (0, numReady);
            held.erase (held.begin(), held.begin() + static_cast<std::ptrdiff_t> (numReady));
        }
    }

    void finish (bool fade)
    {
        if (fade)
        {
            const auto first = held.size() - std::min (held.size(), numFaded);
            const auto length = static_cast<double> ((held.size() - first) / numChannels);

            for (auto i = first; i < held.size(); ++i)
            {
                const auto left = 1.0 - static_cast<double> ((i - first) / numChannels + 1) / length;
                held[i] *= left * left * (3.0 - 2.0 * left);
            }
        }

        put (0, held.size());
        held.clear();
    }

private:
    void put (size_t first, size_t end)
    {
        constexpr size_t most = 4096; // frames

        for (; first < end; first += most * numChannels)
            sink (held.data() + first, static_cast<int> (std::min (most, (end - first) / numChannels)));
    }

    const size_t numChannels, numFaded; // faded: samples of all channels
    const Sink sink;
    std::vector<double> held;
};

//==============================================================================
/** An engine, and the two channels that it has. */
struct Reverb
{
    ReverbEngine engine;
    size_t left = 0, right = 0; ///< channels of the output

    void prepare (int sampleRate, int numInputs, const ParameterValues& values)
    {
        engine.prepare (sampleRate, numInputs);

        for (size_t i = 0; i < values.size(); ++i)
            (engine.*parameterTable[i].apply) (values[i]);
    }
};

/** The way of a sound from where it comes from to its end, which may be gone several times. */
class Rendering
{
public:
    Rendering (const Job& jobToDo, JobProgress& progressToShow)
        : job (jobToDo), treatment (jobToDo.treatment), progress (progressToShow)
    {
    }

    RenderSummary run (const std::function<void (const RenderSummary&)>& whenDone)
    {
        const auto start = std::chrono::steady_clock::now();
        open();
        checkTargets();
        prepareOutput();
        OutputAudioFile output (job.output, format, input ? &input->metadata() : nullptr);

        if (treatment.normalise)
            normalise();
        else if (treatment.gain)
            summary.gain = std::pow (10.0, *treatment.gain / 20.0);

        pass ([&output] (const double* interleaved, int numFrames)
              { output.write (interleaved, numFrames); });

        output.complete();
        summary.numClipped = output.numClipped();
        addNotes();
        summary.elapsedSeconds = std::chrono::duration<double> (std::chrono::steady_clock::now() - start).count();

        const Undisturbed undisturbed;
        output.finish();
        whenDone (summary);
        return std::move (summary);
    }

private:
    bool isImpulse() const { return treatment.impulseSeconds.has_value(); }

    void open()
    {
        if (! isImpulse())
            input.emplace (job.input, treatment.normalise ? InputAudioFile::Passes::several : InputAudioFile::Passes::one);

        summary.sampleRate = input ? input->sampleRate() : treatment.impulseSampleRate;
        numInputs = input ? input->numChannels() : treatment.trueStereo ? 4
                                               : treatment.mono         ? 1
                                                                        : 2;
        summary.numChannels = treatment.mono ? 1 : std::max (2, numInputs);
    }

    void checkTargets() const
    {
        if (input && isSameFile (job.input, job.output))
            throw RenderError (job.output, std::string ("is the input file, which is never overwritten"));

        for (const auto channel : treatment.channels)
            if (channel > numInputs)
                throw RenderError (job.input, "has " + std::to_string (numInputs) + (numInputs == 1 ? " channel" : " channels") + "; there is no channel " + std::to_string (channel));
    }

    void prepareOutput()
    {
        format.container = containerOf (job.output, treatment);
        const auto natural = input ? input->encoding() : Encoding::float32;

        if (treatment.encoding && canHold (format.container, Encoding::coded))
            throw UsageError (std::string (nameOf (format.container).name) + " files have no sample format to choose");

        if (treatment.encoding && ! canHold (format.container, *treatment.encoding))
            throw UsageError (std::string (nameOf (format.container).name) + " files cannot hold " + nameOf (*treatment.encoding).name + "; choose --bits 16 or 24, or a .wav file");

        format.encoding = treatment.encoding.value_or (nearestEncoding (format.container, natural));
        format.extensible = input && input->isExtensible() && format.container == Container::wav;
        format.sampleRate = summary.sampleRate;
        format.numChannels = summary.numChannels;
        format.dither = treatment.dither;

        if (const auto frames = input ? input->numFrames() : std::optional<std::int64_t> (1))
            format.mostFrames = lengthFor (*frames);

        summary.container = format.container;
        summary.encoding = format.encoding;
    }

    /** The length in frames that an input of so many frames comes to, or may come to. */
    std::int64_t lengthFor (std::int64_t framesIn) const
    {
        const auto frames = [this] (double seconds)
        {
            return static_cast<std::int64_t> (std::llround (seconds * summary.sampleRate));
        };

        if (isImpulse())
            return std::max<std::int64_t> (1, frames (*treatment.impulseSeconds));

        return framesIn + (treatment.sameLength ? 0 : frames (treatment.tailSeconds.value_or (longestTail)));
    }

    bool tailEndsByItself() const { return ! isImpulse() && ! treatment.tailSeconds && ! treatment.sameLength; }

    /** Goes the whole way once to find the highest sample, and chooses the gain by it. */
    void normalise()
    {
        pass ([] (const double*, int) {});

        if (summary.peakOut > 0.0)
            summary.gain = std::pow (10.0, *treatment.normalise / 20.0) / summary.peakOut;

        if (input)
            input->rewind();
    }

    std::unique_ptr<FrameSource> makeImpulse() const
    {
        return std::make_unique<Impulse> (treatment.trueStereo ? std::vector { 1.0, 0.0, 0.0, 1.0 } : std::vector<double> (static_cast<size_t> (numInputs), 1.0));
    }

    void prepareReverbs()
    {
        reverbs.clear();
        reverbs.resize (treatment.trueStereo ? 2 : 1);

        for (auto& reverb : reverbs)
        {
            reverb = std::make_unique<Reverb>();
            reverb->prepare (summary.sampleRate, std::min (2, numInputs), job.values);
        }

        if (treatment.trueStereo)
            reverbs[1]->left = 2;

        if (! treatment.channels.empty())
            reverbs[0]->left = static_cast<size_t> (treatment.channels[0] - 1);

        for (auto& reverb : reverbs)
            reverb->right = reverb->left + 1;

        if (! treatment.channels.empty())
            reverbs[0]->right = static_cast<size_t> (treatment.channels[1] - 1);
    }

    /** Goes the whole way once. */
    void pass (const Sink& sink)
    {
        const auto impulse = input ? nullptr : makeImpulse();
        auto& source = input ? static_cast<FrameSource&> (*input) : *impulse;

        prepareReverbs();
        summary.peakIn = summary.peakOut = 0.0;
        summary.numReplaced = 0;
        const auto numBuffers = static_cast<size_t> (std::max (numInputs, treatment.mono && numInputs == 1 ? 1 : 2));
        const auto blockSize = static_cast<size_t> (treatment.blockSize);
        block.assign (numBuffers, std::vector<float> (blockSize));
        in.assign (blockSize * static_cast<size_t> (numInputs), 0.0);
        out.assign (blockSize * static_cast<size_t> (summary.numChannels), 0.0);

        FadeOut fade (summary.numChannels, std::llround (treatment.fadeSeconds * summary.sampleRate), [this, &sink] (const double* interleaved, int numFrames)
                      {
                          for (size_t i = 0; i < static_cast<size_t> (numFrames) * static_cast<size_t> (summary.numChannels); ++i)
                              summary.peakOut = std::max (summary.peakOut, std::abs (interleaved[i]));

                          sink (interleaved, numFrames); });
        TailEnd tailEnd (summary.sampleRate);
        const auto lengthIn = input ? input->numFrames() : std::optional<std::int64_t> (1);
        std::int64_t framesIn = 0, done = 0;

        // The input, up to its end; a block never straddles it.
        while (const auto numFrames = source.read (in.data(), treatment.blockSize))
        {
            makeClean (numFrames);
            process (numFrames);
            tailEnd.find (watched(), numFrames);
            fade.push (out.data(), numFrames);
            framesIn = done += numFrames;
            show (done, tailEndsByItself() ? lengthIn : lengthIn ? std::optional (lengthFor (*lengthIn))
                                                                 : std::nullopt);
        }

        const auto end = lengthFor (framesIn);
        std::fill (in.begin(), in.end(), 0.0);

        if (tailEndsByItself())
            tailEnd.startAgain();

        while (done < end && ! (tailEndsByItself() && tailEnd.reached()))
        {
            const auto numFrames = static_cast<int> (std::min<std::int64_t> (treatment.blockSize, end - done));
            process (numFrames);
            const auto upToEnd = tailEnd.find (watched(), numFrames);
            const auto numKept = tailEndsByItself() ? upToEnd : numFrames;
            fade.push (out.data(), numKept);
            done += numKept;
            show (done, tailEndsByItself() ? lengthIn : std::optional (end));
        }

        summary.numFrames = done;
        summary.numTailFrames = std::max<std::int64_t> (0, done - framesIn);
        summary.tailEnded = tailEnd.reached();
        fade.finish (! summary.tailEnded && ! isOff());
    }

    /** Without the effect there is no tail that could be cut. */
    bool isOff() const
    {
        const auto isBypass = [] (const Parameter& parameter)
        {
            return parameter.apply == &ReverbEngine::setBypass;
        };
        const auto index = std::find_if (parameterTable.begin(), parameterTable.end(), isBypass) - parameterTable.begin();
        return job.values[static_cast<size_t> (index)] < 0.5f;
    }

    void show (std::int64_t done, std::optional<std::int64_t> end)
    {
        progress.audioSeconds = static_cast<double> (done) / summary.sampleRate;
        progress.fraction = end ? std::min (1.0, static_cast<double> (done) / static_cast<double> (std::max<std::int64_t> (1, *end))) : -1.0;
    }

    /** The channels whose end is the tail's end: those with reverb. */
    std::vector<float*> watched()
    {
        std::vector<float*> channels;

        for (const auto& reverb : reverbs)
            for (const auto channel : { reverb->left, reverb->right })
                if (channel < block.size())
                    channels.push_back (block[channel].data());

        return channels;
    }

    /** Puts silence where the input holds no sound. */
    void makeClean (int numFrames)
    {
        for (size_t i = 0; i < static_cast<size_t> (numFrames) * static_cast<size_t> (numInputs); ++i)
        {
            if (! (std::abs (in[i]) <= highestSample))
            {
                in[i] = 0.0;
                ++summary.numReplaced;
            }

            summary.peakIn = std::max (summary.peakIn, std::abs (in[i]));
        }
    }

    /** Takes a block from in to out. */
    void process (int numFrames)
    {
        for (size_t channel = 0; channel < block.size(); ++channel)
        {
            // The engine reads a mono input once, but what it leaves alone has to be on both sides.
            const auto from = std::min (channel, static_cast<size_t> (numInputs - 1));

            for (size_t i = 0; i < static_cast<size_t> (numFrames); ++i)
                block[channel][i] = static_cast<float> (in[i * static_cast<size_t> (numInputs) + from]);
        }

        for (const auto& reverb : reverbs)
        {
            std::array<float*, 2> channels { block[reverb->left].data(), block[std::min (reverb->right, block.size() - 1)].data() };
            reverb->engine.processBlock (channels.data(), block.size() == 1 ? 1 : 2, numFrames);
        }

        for (size_t i = 0; i < static_cast<size_t> (numFrames); ++i)
            for (size_t channel = 0; channel < static_cast<size_t> (summary.numChannels); ++channel)
                out[i * static_cast<size_t> (summary.numChannels) + channel] = summary.gain * outputSample (channel, i);
    }

    double outputSample (size_t channel, size_t i) const
    {
        const auto& reverb = *reverbs.front();

        if (treatment.mono && block.size() > 1) // as the engine does for a host that gives it one channel
            return static_cast<double> (0.5f * (block[reverb.left][i] + block[reverb.right][i]));

        // What the reverb left alone goes out as it came in, with all its bits.
        const auto original = in[i * static_cast<size_t> (numInputs) + std::min (channel, static_cast<size_t> (numInputs - 1))];
        const auto processed = block[channel][i];
        const auto untouched = std::equal_to<>() (static_cast<float> (original), processed);
        return untouched ? original : static_cast<double> (processed);
    }

    void addNotes()
    {
        auto& notes = summary.notes;
        notes = job.notes;

        if (input)
        {
            notes.insert (notes.end(), input->notes().begin(), input->notes().end());

            if (const auto lost = lostIn (format, input->metadata()); ! lost.empty())
                notes.push_back (std::string (nameOf (format.container).name) + " files cannot hold all that the input says of itself; dropped: " + std::accumulate (lost.begin() + 1, lost.end(), lost.front(), [] (const std::string& a, const std::string& b)
                                                                                                                                                                     { return a + ", " + b; }));
        }

        if (! isImpulse() && numInputs > 2 && treatment.channels.empty())
            notes.push_back (std::to_string (numInputs - 2) + " of " + std::to_string (numInputs) + " channels " + (treatment.mono ? "are left out" : "stay dry") + "; --channels A,B says which two go through");

        if (summary.numReplaced > 0)
            notes.push_back (std::to_string (summary.numReplaced) + (summary.numReplaced == 1 ? " sample was" : " samples were") + " no number and became silence");

        if (tailEndsByItself() && ! summary.tailEnded)
            notes.emplace_back ("the tail was still audible after 60 s and was cut; --tail SECONDS lets it ring");

        if (summary.numClipped > 0)
            notes.push_back (std::to_string (summary.numClipped) + (summary.numClipped == 1 ? " sample was" : " samples were") + " clipped; " + (canHold (format.container, Encoding::float32) ? "--bits 32 keeps them, --gain makes them lower" : "--gain makes them lower"));
    }

    const Job& job;
    const Treatment& treatment;
    JobProgress& progress;
    RenderSummary summary;
    std::optional<InputAudioFile> input;
    OutputFormat format;
    int numInputs = 0;
    std::vector<std::unique_ptr<Reverb>> reverbs;
    std::vector<std::vector<float>> block; // one buffer a channel
    std::vector<double> in, out;           // interleaved
};

} // namespace

Container containerOf (const std::filesystem::path& output, const Treatment& treatment)
{
    if (treatment.container)
        return *treatment.container;

    if (output == standardStream)
        return Container::wav;

    if (const auto container = containerFor (output.extension().string()))
        return *container;

    std::string all;

    for (const auto& name : containerNames)
        all += std::string (all.empty() ? "" : " ") + name.extensions;

    throw UsageError (shown (output.filename()) + ": the extension has to be one of " + all + ", or --format has to say which");
}

RenderSummary render (const Job& job, JobProgress& progress, const std::function<void (const RenderSummary&)>& whenDone)
{
    return Rendering (job, progress).run (whenDone);
}

} // namespace varnel
