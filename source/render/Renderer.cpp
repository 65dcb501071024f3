// SPDX-License-Identifier: AGPL-3.0-only
#include "Renderer.h"

#include "AudioFiles.h"
#include "Errors.h"
#include "PresetSearch.h"
#include "ProgressBar.h"
#include "processor/HostBinding.h"
#include "processor/PresetFile.h"

#include <cmath>
#include <filesystem>
#include <iostream>

namespace varnel
{

namespace
{

constexpr float inaudible = 1.58489319e-5f; ///< -96 dBFS
constexpr double longestTail = 60.0;        ///< seconds, of a tail that ends by itself

bool isSameFile (const juce::File& a, const juce::File& b)
{
    std::error_code error;
    return std::filesystem::equivalent (a.getFullPathName().toStdString(), b.getFullPathName().toStdString(), error);
}

/** Sets the parameters as a host would. @returns what became of values between two steps */
juce::StringArray applySettings (VarnelReverbAudioProcessor& processor, HostBinding& binding, const std::map<juce::String, float>& settings)
{
    juce::StringArray notes;

    for (const auto& [id, value] : settings)
    {
        auto* const parameter = dynamic_cast<juce::AudioParameterFloat*> (processor.parameterState.getParameter (id));

        // A default may lie between two steps, and setting it again would move it to one of them.
        if (juce::exactlyEqual (parameter->get(), value))
            continue;

        binding.setParameter (id, parameter->convertTo0to1 (value));

        if (std::abs (parameter->get() - value) > 1e-4f)
            notes.add (id + " moves in steps of " + juce::String (parameter->range.interval) + ": " + juce::String (value) + " became " + parameter->getCurrentValueAsText());
    }

    return notes;
}

/** Restores what a host once stored. @throws RenderError */
void applyState (HostBinding& binding, const juce::File& file)
{
    constexpr juce::int64 longest = 64 << 20; // bytes; a chunk has less than a thousand

    requireRegularFile (file);

    juce::MemoryBlock chunk;
    juce::FileInputStream stream (file);

    if (stream.failedToOpen())
        throw RenderError (file, "cannot be read: " + stream.getStatus().getErrorMessage());

    if (stream.getTotalLength() > longest)
        throw RenderError (file, "is too large for a state");

    stream.readIntoMemoryBlock (chunk);

    if (const auto result = binding.setChunk (HostBinding::chunkType, chunk.getData(), chunk.getSize()); result.failed())
        throw RenderError (file, result.getErrorMessage());
}

/** Loads a preset, of which the plug-in itself would take anything for one. @throws RenderError */
void applyPreset (VarnelReverbAudioProcessor& processor, const juce::String& name)
{
    const auto file = NamedPresets (processor.settings).find (name);
    requireRegularFile (file);
    const auto preset = readPresetFile (file);

    if (preset.form == PresetFile::Form::otherXml)
        throw RenderError (file, "is no preset: its root has no \"presetName\"");

    if (preset.form == PresetFile::Form::noXml)
        if (const auto record = readBinaryRecordFile (file); ! record || ! record->isComplete)
            throw RenderError (file, "is no preset: neither XML nor a whole binary record");

    processor.currentPresetFile = file;

    if (const auto result = loadPreset (processor, file); result.failed())
        throw RenderError (file, result.getErrorMessage());
}

/** @returns what the user should know */
juce::StringArray applyAll (VarnelReverbAudioProcessor& processor, HostBinding& binding, const Options& options)
{
    if (options.state)
        applyState (binding, *options.state);

    if (options.preset)
        applyPreset (processor, *options.preset);

    return applySettings (processor, binding, options.settings);
}

/** Writes the settings in force where they are wanted. @throws RenderError */
void saveSettings (VarnelReverbAudioProcessor& processor, const HostBinding& binding, const Options& options)
{
    const auto check = [] (const juce::File& file, const juce::Result& result)
    {
        if (result.failed())
            throw RenderError (file, result.getErrorMessage());
    };

    if (options.saveState)
    {
        const auto chunk = binding.chunk (HostBinding::chunkType);
        check (*options.saveState, writeWhole (*options.saveState, chunk->getData(), chunk->getSize()));
    }

    if (options.savePreset)
    {
        auto tree = processor.copyParameterState();
        tree.setProperty (stateIds::presetName, "", nullptr);
        check (*options.savePreset, writePresetFile (tree, *options.savePreset));
    }
}

juce::AudioChannelSet channelSet (int numChannels)
{
    if (numChannels == 1)
        return juce::AudioChannelSet::mono();

    return numChannels == 2 ? juce::AudioChannelSet::stereo() : juce::AudioChannelSet::discreteChannels (numChannels);
}

/** How many of the samples to keep until a second of them in a row has been inaudible. */
class TailEnd
{
public:
    explicit TailEnd (double sampleRate)
        : samplesOfSilence (std::max<juce::int64> (1, std::llround (sampleRate))) {}

    /** @returns the number of samples up to the end, or all if it has not come yet */
    int find (const juce::AudioBuffer<float>& buffer, int numSamples)
    {
        for (int i = 0; i < numSamples; ++i)
        {
            auto quiet = true;

            for (int channel = 0; channel < std::min (2, buffer.getNumChannels()); ++channel)
                quiet = quiet && std::abs (buffer.getSample (channel, i)) < inaudible;

            silent = quiet ? silent + 1 : 0;

            if (reached())
                return i + 1;
        }

        return numSamples;
    }

    bool reached() const { return silent >= samplesOfSilence; }

private:
    const juce::int64 samplesOfSilence;
    juce::int64 silent = 0;
};

} // namespace

void convert (const Options& options)
{
    VarnelReverbAudioProcessor processor (VarnelReverbAudioProcessor::UserSettings::ignored);
    HostBinding binding (processor);

    if (options.listPresets)
        std::cout << NamedPresets (processor.settings).list();

    for (const auto& note : applyAll (processor, binding, options))
        std::cerr << "varnel-render: note: " << note << "\n";

    saveSettings (processor, binding, options);
}

RenderSummary render (const Options& options, const std::atomic<bool>& interrupted)
{
    std::unique_ptr<InputAudioFile> input;

    if (! options.impulseSeconds)
        input = std::make_unique<InputAudioFile> (options.input);

    const auto sampleRate = input != nullptr ? input->sampleRate() : options.impulseSampleRate;
    const auto numInputs = input != nullptr ? input->numChannels() : (options.mono ? 1 : 2);
    const auto numOutputs = numInputs == 1 && ! options.mono ? 2 : numInputs;

    if (options.mono && numInputs != 1)
        throw RenderError (options.input, "has " + juce::String (numInputs) + " channels; --mono needs a mono file");

    if (input != nullptr && isSameFile (options.input, options.output))
        throw RenderError (options.output, "is the input file, which is never overwritten");

    for (const auto& saved : { options.saveState, options.savePreset })
        if (saved && input != nullptr && isSameFile (options.input, *saved))
            throw RenderError (*saved, "is the input file, which is never overwritten");

    VarnelReverbAudioProcessor processor (VarnelReverbAudioProcessor::UserSettings::ignored);
    HostBinding binding (processor);
    RenderSummary summary;
    summary.notes = applyAll (processor, binding, options);

    processor.setNonRealtime (true);
    binding.setLayout (channelSet (numInputs), channelSet (numOutputs));
    binding.prepare (sampleRate, options.blockSize);

    OutputAudioFile output (options.output, { sampleRate, numOutputs, options.bits, input != nullptr ? input->bits() : 32 });

    const auto samplesIn = input != nullptr ? input->numSamples() : static_cast<juce::int64> (1);
    const auto longest = options.impulseSeconds ? std::max<juce::int64> (1, std::llround (*options.impulseSeconds * sampleRate))
                                                : samplesIn + std::llround (options.tailSeconds.value_or (longestTail) * sampleRate);
    const auto tailEndsByItself = input != nullptr && ! options.tailSeconds;

    ProgressBar progress (! options.quiet);
    TailEnd tailEnd (sampleRate);
    juce::AudioBuffer<float> buffer (numOutputs, options.blockSize);
    juce::MidiBuffer noMidi;
    juce::int64 done = 0;

    while (done < longest && ! tailEnd.reached())
    {
        if (interrupted)
            throw Interrupted();

        // A block never straddles the end of the input.
        const auto inTail = done >= samplesIn;
        const auto numSamples = static_cast<int> (std::min<juce::int64> (options.blockSize, (inTail ? longest : std::min (samplesIn, longest)) - done));
        juce::AudioBuffer<float> block (buffer.getArrayOfWritePointers(), numOutputs, numSamples);
        block.clear();

        if (! inTail)
        {
            if (input != nullptr)
            {
                input->read (block, numSamples);

                // The engine reads a mono input once, but what it leaves alone has to be on both sides.
                if (numInputs < numOutputs)
                    block.copyFrom (1, 0, block, 0, 0, numSamples);
            }
            else
                for (int channel = 0; channel < numInputs; ++channel)
                    block.setSample (channel, 0, 1.0f);

            summary.peakIn = std::max (summary.peakIn, block.getMagnitude (0, numSamples));
        }

        binding.process (block, noMidi);

        const auto numToWrite = inTail && tailEndsByItself ? tailEnd.find (block, numSamples) : numSamples;
        summary.peakOut = std::max (summary.peakOut, block.getMagnitude (0, numToWrite));
        output.write (block, numToWrite);
        done += numToWrite;

        const auto seconds = static_cast<double> (done) / sampleRate;
        if (inTail && tailEndsByItself)
            progress.show (1.0, seconds, "tail");
        else
            progress.show (static_cast<double> (done) / static_cast<double> (tailEndsByItself ? samplesIn : longest), seconds, options.output.getFileName());
    }

    output.finish();
    saveSettings (processor, binding, options);

    if (tailEndsByItself && ! tailEnd.reached())
        summary.notes.add ("the tail was still audible after 60 s and was cut; --tail SECONDS lets it ring");

    summary.seconds = static_cast<double> (done) / sampleRate;
    summary.tailSeconds = static_cast<double> (std::max<juce::int64> (0, done - samplesIn)) / sampleRate;
    summary.numClipped = output.numClipped();
    summary.elapsedSeconds = progress.elapsedSeconds();
    return summary;
}

} // namespace varnel
