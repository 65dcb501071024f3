// SPDX-License-Identifier: AGPL-3.0-only
#include "AudioFiles.h"

#include "Errors.h"
#include "Options.h"

#include <FLAC/stream_decoder.h>

#include <cmath>
#include <cstring>

namespace varnel
{

namespace
{

constexpr unsigned int mostChannels = 256, fewestBits = 8, mostBits = 64;

/** All formats that can be read and written. */
struct Formats : juce::AudioFormatManager
{
    Formats() { registerBasicFormats(); }
};

/** Whether a FLAC file can be decoded up to its last sample. The reader gives silence for what it misses. */
bool flacIsComplete (const juce::File& file, juce::int64 numSamples)
{
    const std::unique_ptr<FLAC__StreamDecoder, decltype (&FLAC__stream_decoder_delete)> decoder (FLAC__stream_decoder_new(), &FLAC__stream_decoder_delete);

    const auto ignoreAudio = [] (const FLAC__StreamDecoder*, const FLAC__Frame*, const FLAC__int32* const*, void*)
    {
        return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
    };
    const auto ignoreError = [] (const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void*) {};

    return decoder != nullptr
           && FLAC__stream_decoder_init_file (decoder.get(), file.getFullPathName().toRawUTF8(), ignoreAudio, nullptr, ignoreError, nullptr) == FLAC__STREAM_DECODER_INIT_STATUS_OK
           && FLAC__stream_decoder_process_until_end_of_metadata (decoder.get())
           && FLAC__stream_decoder_seek_absolute (decoder.get(), static_cast<FLAC__uint64> (numSamples - 1));
}

/** Whether the last page of an Ogg file is all there and says that it is the last (RFC 3533). */
bool oggIsComplete (const juce::File& file)
{
    constexpr juce::int64 headerSize = 27, largestPage = headerSize + 255 + 255 * 255;
    juce::FileInputStream stream (file);
    stream.setPosition (std::max<juce::int64> (0, stream.getTotalLength() - 2 * largestPage));

    juce::MemoryBlock end;
    stream.readIntoMemoryBlock (end);
    const auto* const bytes = static_cast<const juce::uint8*> (end.getData());

    for (auto start = static_cast<juce::int64> (end.getSize()) - headerSize; start >= 0; --start)
    {
        if (std::memcmp (bytes + start, "OggS", 4) != 0)
            continue;

        const auto numSegments = static_cast<int> (bytes[start + 26]);
        auto pageEnd = start + headerSize + numSegments;

        for (int i = 0; i < numSegments && start + headerSize + i < static_cast<juce::int64> (end.getSize()); ++i)
            pageEnd += bytes[start + headerSize + i];

        const auto isLast = (bytes[start + 5] & 4) != 0;
        return isLast && pageEnd <= static_cast<juce::int64> (end.getSize());
    }

    return false;
}

} // namespace

//==============================================================================
/** Notices when a read gets less than it asked for: some readers give silence for what is missing. */
struct InputAudioFile::WatchedStream : juce::InputStream
{
    explicit WatchedStream (const juce::File& file)
        : fileStream (file), buffered (fileStream, 1 << 16)
    {
    }

    juce::int64 getTotalLength() override { return buffered.getTotalLength(); }
    bool isExhausted() override { return buffered.isExhausted(); }
    juce::int64 getPosition() override { return buffered.getPosition(); }
    bool setPosition (juce::int64 newPosition) override { return buffered.setPosition (newPosition); }

    int read (void* destination, int maxBytes) override
    {
        const auto got = buffered.read (destination, maxBytes);
        ranShort = ranShort || got < maxBytes;
        return got;
    }

    juce::FileInputStream fileStream;
    juce::BufferedInputStream buffered;
    bool ranShort = false;
};

InputAudioFile::InputAudioFile (const juce::File& fileToRead)
    : file (fileToRead)
{
    requireRegularFile (file);

    auto watched = std::make_unique<WatchedStream> (file);

    if (watched->fileStream.failedToOpen())
        throw RenderError (file, "cannot be read: " + watched->fileStream.getStatus().getErrorMessage());

    if (watched->getTotalLength() == 0)
        throw RenderError (file, "is empty");

    stream = watched.get();
    reader.reset (Formats().createReaderFor (std::move (watched)));

    if (reader == nullptr || reader->numChannels == 0)
        throw RenderError (file, "is no audio file that can be read (WAV, AIFF, FLAC, Ogg Vorbis), or is cut short in its header");

    // JUCE's readers never end where a frame does not fit their buffer of 5760 bytes, and divide by one that has none.
    if (reader->numChannels > mostChannels || reader->bitsPerSample < fewestBits || reader->bitsPerSample > mostBits)
        throw RenderError (file, "has " + juce::String (reader->numChannels) + " channels of " + juce::String (reader->bitsPerSample) + " bits; up to " + juce::String (mostChannels) + " of " + juce::String (fewestBits) + " to " + juce::String (mostBits) + " bits can be read");

    if (! (reader->sampleRate >= lowestSampleRate && reader->sampleRate <= highestSampleRate))
        throw RenderError (file, "has a sample rate of " + juce::String (reader->sampleRate) + " Hz; 1 Hz to 768 kHz can be processed");

    if (reader->lengthInSamples <= 0)
        throw RenderError (file, "holds no audio");

    const auto name = reader->getFormatName();

    if ((name.startsWith ("FLAC") && ! flacIsComplete (file, reader->lengthInSamples)) || (name.startsWith ("Ogg") && ! oggIsComplete (file)))
        throw RenderError (file, "is cut short");

    stream->ranShort = false;
    samples.resize (reader->numChannels);
}

InputAudioFile::~InputAudioFile() = default;

int InputAudioFile::numChannels() const
{
    return static_cast<int> (reader->numChannels);
}

double InputAudioFile::sampleRate() const
{
    return reader->sampleRate;
}

juce::int64 InputAudioFile::numSamples() const
{
    return reader->lengthInSamples;
}

int InputAudioFile::bits() const
{
    if (reader->usesFloatingPointData || reader->bitsPerSample > 24)
        return 32;

    return reader->bitsPerSample > 16 ? 24 : 16;
}

void InputAudioFile::read (juce::AudioBuffer<float>& buffer, int numSamplesToRead)
{
    std::vector<int*> pointers;

    for (auto& channel : samples)
    {
        channel.resize (static_cast<size_t> (numSamplesToRead));
        pointers.push_back (channel.data());
    }

    const auto readAll = reader->read (pointers.data(), numChannels(), position, numSamplesToRead, false);

    // Codecs read ahead in pieces of their own and were checked when the file was opened.
    const auto isUncompressed = ! reader->getFormatName().startsWith ("FLAC") && ! reader->getFormatName().startsWith ("Ogg");

    if (! readAll || (isUncompressed && stream->ranShort))
        throw RenderError (file, "is cut short: it ends before the " + juce::String (numSamples()) + " samples that its header promises");

    position += numSamplesToRead;

    for (int channel = 0; channel < numChannels(); ++channel)
    {
        const auto& source = samples[static_cast<size_t> (channel)];
        auto* const destination = buffer.getWritePointer (channel);

        if (reader->usesFloatingPointData)
            std::memcpy (destination, source.data(), source.size() * sizeof (float));
        else // left-justified integers, whatever their size
            for (size_t i = 0; i < source.size(); ++i)
                destination[i] = static_cast<float> (source[i]) * 0x1p-31f;
    }
}

//==============================================================================
/** Hands everything on to a stream that outlives the writer, and keeps account of what became of it: not
    every writer minds a failure. After one it only counts, so that a writer which then completes its header
    finds itself where it expects. */
struct OutputAudioFile::WatchedStream : juce::OutputStream
{
    WatchedStream (juce::OutputStream& streamToUse, Account& accountToKeep)
        : inner (streamToUse), account (accountToKeep)
    {
    }

    void flush() override
    {
        if (! account.failed)
            inner.flush();
    }

    bool setPosition (juce::int64 newPosition) override
    {
        position = newPosition;
        account.failed = account.failed || ! inner.setPosition (newPosition);
        return true;
    }

    juce::int64 getPosition() override { return position; }

    bool write (const void* data, size_t numBytes) override
    {
        account.failed = account.failed || ! inner.write (data, numBytes);
        position += static_cast<juce::int64> (numBytes);
        account.size = std::max (account.size, position);
        return ! account.failed;
    }

    juce::OutputStream& inner;
    Account& account;
    juce::int64 position = 0;
};

OutputAudioFile::OutputAudioFile (const juce::File& fileToWrite, const Format& format)
    : target (fileToWrite), temporary (fileToWrite, juce::TemporaryFile::useHiddenFile)
{
    Formats formats;
    auto* const audioFormat = formats.findFormatForFileExtension (target.getFileExtension());

    if (audioFormat == nullptr)
        throw UsageError (target.getFileName() + ": the extension has to be one of .wav, .aiff, .flac, .ogg");

    // Ogg Vorbis has no sample format to choose; its encoder takes all that there is.
    const auto depths = audioFormat->getPossibleBitDepths();
    const auto name = audioFormat->getFormatName().upToFirstOccurrenceOf (" file", false, false);
    auto bits = format.wantedBits.value_or (format.naturalBits);

    if (audioFormat->isCompressed() && depths.size() == 1)
        bits = depths[0];
    else if (format.wantedBits && ! depths.contains (bits))
        throw UsageError (name + " files cannot hold " + (bits == 32 ? "float samples" : juce::String (bits) + " bits") + "; choose --bits 16 or 24, or a .wav file");
    else if (! depths.contains (bits))
        bits = 24;

    if (target.isDirectory())
        throw RenderError (target, "is a folder");

    if (! target.getParentDirectory().isDirectory())
        throw RenderError (target, "its folder does not exist");

    stream = std::make_unique<juce::FileOutputStream> (temporary.getFile());

    if (stream->failedToOpen())
        throw RenderError (target, "cannot be written: " + stream->getStatus().getErrorMessage());

    auto watched = std::make_unique<WatchedStream> (*stream, account);
    writer.reset (audioFormat->createWriterFor (watched.get(), format.sampleRate, static_cast<unsigned int> (format.numChannels), bits, {}, audioFormat->getQualityOptions().size() - 1));

    if (writer == nullptr)
        throw RenderError (target, name + " cannot hold " + juce::String (format.numChannels) + " channels at " + juce::String (format.sampleRate) + " Hz");

    static_cast<void> (watched.release()); // the writer's now
    samples.resize (static_cast<size_t> (format.numChannels));
}

OutputAudioFile::~OutputAudioFile() = default;

void OutputAudioFile::fail (const juce::String& reason)
{
    // A write that was cut short gives no reason; another, at the end, that fails altogether does.
    for (int attempt = 0; attempt < 3 && ! stream->getStatus().failed(); ++attempt)
    {
        stream->setPosition (temporary.getFile().getSize());
        stream->writeRepeatedByte (0, 1 << 16);
        stream->flush();
    }

    const auto status = stream->getStatus();
    throw RenderError (target, reason + (status.failed() ? ": " + status.getErrorMessage() : juce::String()));
}

void OutputAudioFile::write (const juce::AudioBuffer<float>& buffer, int numSamplesToWrite)
{
    std::vector<const int*> pointers;

    // Integers are rounded to the nearest step and left-justified, which keeps untouched samples as they were.
    const auto bits = writer->isFloatingPoint() ? 32 : static_cast<int> (writer->getBitsPerSample());
    const auto fullScale = std::ldexp (1.0, bits - 1);
    const auto justify = static_cast<juce::int64> (1) << (32 - bits);

    for (int channel = 0; channel < static_cast<int> (samples.size()); ++channel)
    {
        const auto* const source = buffer.getReadPointer (channel);
        auto& destination = samples[static_cast<size_t> (channel)];
        destination.resize (static_cast<size_t> (numSamplesToWrite));

        if (writer->isFloatingPoint())
        {
            std::memcpy (destination.data(), source, destination.size() * sizeof (float));
        }
        else
        {
            for (size_t i = 0; i < destination.size(); ++i)
            {
                const auto scaled = std::isnan (source[i]) ? 0.0 : std::round (source[i] * fullScale);
                const auto held = std::clamp (scaled, -fullScale, fullScale - 1.0);

                // Full scale itself is one step above the highest integer; that is no clipping to speak of.
                clipped += scaled > fullScale || scaled < -fullScale ? 1 : 0;
                destination[i] = static_cast<int> (static_cast<juce::int64> (held) * justify);
            }
        }

        pointers.push_back (destination.data());
    }

    pointers.push_back (nullptr);

    if (! writer->write (pointers.data(), numSamplesToWrite) || account.failed)
        fail ("cannot be written");
}

void OutputAudioFile::finish()
{
    writer.reset(); // completes the header
    stream->flush();

    // The last flush may be cut short without a word.
    if (account.failed || stream->getStatus().failed() || temporary.getFile().getSize() != account.size)
        fail ("cannot be written");

    stream.reset();

    if (! temporary.overwriteTargetFileWithTemporary())
        throw RenderError (target, "cannot be replaced");
}

} // namespace varnel
