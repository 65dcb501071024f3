// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

#include <memory>
#include <optional>
#include <vector>

namespace varnel
{

/** An audio file that is read from front to back. */
class InputAudioFile
{
public:
    /** @throws RenderError  if the file is missing, unreadable, empty, no audio, cut short, or out of bounds */
    explicit InputAudioFile (const juce::File& fileToRead);
    ~InputAudioFile();

    int numChannels() const;
    double sampleRate() const; ///< Hz
    juce::int64 numSamples() const;
    int bits() const; ///< 16, 24, or 32 for float: the least that holds the file's samples

    /** Reads the next samples into the buffer's first channels; 16 and 24 bits arrive exactly.
        @throws RenderError  if the file ends before it should */
    void read (juce::AudioBuffer<float>& buffer, int numSamplesToRead);

private:
    struct WatchedStream;

    const juce::File file;
    WatchedStream* stream = nullptr; // owned by the reader
    std::unique_ptr<juce::AudioFormatReader> reader;
    juce::int64 position = 0;
    std::vector<std::vector<int>> samples;

    JUCE_DECLARE_NON_COPYABLE (InputAudioFile)
};

/** An audio file that appears under its name only when it is complete. Until then it is written beside
    the target; whatever goes wrong, destruction removes it and the old target stays. */
class OutputAudioFile
{
public:
    struct Format
    {
        double sampleRate; ///< Hz
        int numChannels;
        std::optional<int> wantedBits; ///< 16, 24 or 32
        int naturalBits;               ///< where nothing is wanted: these or the next lower that the format has
    };

    /** @throws UsageError   if the extension or the wanted bits are none that can be written
        @throws RenderError  if the file cannot be written */
    OutputAudioFile (const juce::File& fileToWrite, const Format& format);
    ~OutputAudioFile();

    /** @throws RenderError */
    void write (const juce::AudioBuffer<float>& buffer, int numSamplesToWrite);

    /** Moves the file to its place. @throws RenderError */
    void finish();

    /** How many samples did not fit an integer format. */
    juce::int64 numClipped() const { return clipped; }

private:
    struct WatchedStream;

    /** What the writer has asked of the file, and whether it came to pass. */
    struct Account
    {
        juce::int64 size = 0; ///< bytes
        bool failed = false;
    };

    [[noreturn]] void fail (const juce::String& reason);

    const juce::File target;
    juce::TemporaryFile temporary;
    Account account;
    std::unique_ptr<juce::FileOutputStream> stream;
    std::unique_ptr<juce::AudioFormatWriter> writer;
    std::vector<std::vector<int>> samples;
    juce::int64 clipped = 0;

    JUCE_DECLARE_NON_COPYABLE (OutputAudioFile)
};

} // namespace varnel
