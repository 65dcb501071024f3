// SPDX-License-Identifier: AGPL-3.0-only
#include "OutputAudioFile.h"

#include "AudioHeader.h"
#include "Errors.h"
#include "Metadata.h"
#include "PendingFile.h"
#include "SampleRates.h"
#include "SoundBytes.h"
#include "SoundCodes.h"

#include <ogg/ogg.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <unistd.h>

namespace varnel
{

namespace fs = std::filesystem;

namespace
{

/** Opens a file to write, in a way that gives the same bytes every time. */
SoundFile openOutput (Bytes& bytes, const OutputFormat& format, const Metadata* metadata, std::string& reason)
{
    SF_INFO info = {};
    info.samplerate = format.sampleRate;
    info.channels = format.numChannels;
    info.format = codeOf (format);
    auto file = openSound (bytes, SFM_WRITE, info, reason);

    if (file == nullptr)
        return {};

    sf_command (file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE); // it holds the time of day
    sf_command (file.get(), SFC_SET_CLIPPING, nullptr, SF_FALSE);

    if (format.container == Container::wav && (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RF64)
        sf_command (file.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);

    if (auto best = 1.0; format.container == Container::vorbis)
        sf_command (file.get(), SFC_SET_VBR_ENCODING_QUALITY, &best, sizeof (best));

    if (auto strongest = 0.0; format.container == Container::mp3 || format.container == Container::opus)
        sf_command (file.get(), SFC_SET_COMPRESSION_LEVEL, &strongest, sizeof (strongest));

    if (metadata != nullptr)
        metadata->writeTo (file.get(), format.numChannels);

    return file;
}

/** A file in memory, to try things with. */
struct MemoryBytes : Bytes
{
    std::int64_t length() override { return static_cast<std::int64_t> (data.size()); }

    std::int64_t read (void* destination, std::int64_t numBytes) override
    {
        numBytes = std::clamp<std::int64_t> (length() - position, 0, numBytes);
        std::memcpy (destination, data.data() + position, static_cast<size_t> (numBytes));
        position += numBytes;
        return numBytes;
    }

    std::int64_t write (const void* source, std::int64_t numBytes) override
    {
        data.resize (static_cast<size_t> (std::max (length(), position + numBytes)));
        std::memcpy (data.data() + position, source, static_cast<size_t> (numBytes));
        position += numBytes;
        return numBytes;
    }

    std::vector<char> data;
};

/** Turns samples into integers: rounded to the nearest step, so that what is on a step stays as it was. */
class IntegerSamples
{
public:
    IntegerSamples (int bits, bool dither)
        : fullScale (std::ldexp (1.0, bits - 1)), unit (1LL << (32 - bits)), withNoise (dither)
    {
    }

    /** @returns the integer, shifted to the top of 32 bits */
    int convert (double sample)
    {
        auto scaled = sample * fullScale;

        // Full scale itself is one step above the highest integer; that is no clipping to speak of.
        if (scaled > fullScale || scaled < -fullScale)
            ++numClipped;
        else if (const auto whole = static_cast<double> (static_cast<long long> (scaled)); withNoise && ! (whole >= scaled && whole <= scaled))
            scaled += noise();

        // Beyond this number doubles have no fractions: what is added to it is rounded to the nearest, or of two to the even.
        constexpr auto wholeOnly = 0x1.8p52;
        const auto rounded = (std::clamp (scaled, -fullScale, fullScale - 1.0) + wholeOnly) - wholeOnly;
        return static_cast<int> (static_cast<long long> (rounded) * unit);
    }

    std::int64_t numClipped = 0;

private:
    /** Triangular noise between -1 and 1 from two uniform numbers of a linear congruential generator
        (multiplier: P. L'Ecuyer, 1999). It begins alike in every file, so every run gives the same bytes. */
    double noise()
    {
        const auto next = [this]
        {
            state = state * 2862933555777941757u + 3037000493u;
            return static_cast<double> (state >> 11) * 0x1p-53;
        };
        const auto first = next();
        return first - next();
    }

    const double fullScale;
    const long long unit;
    const bool withNoise;
    std::uint64_t state = 1;
};

/** Gives the streams of an Ogg file the numbers 1, 2, 3 instead of random ones, so that every run gives the same bytes.
    @returns whether that could be done */
bool numberOggStreams (int descriptor)
{
    const auto length = lseek (descriptor, 0, SEEK_END);
    std::vector<unsigned char> page;
    std::vector<std::uint32_t> serials;

    for (off_t at = 0; at < length;)
    {
        constexpr size_t headerSize = 27;
        page.resize (headerSize + 255);

        if (pread (descriptor, page.data(), page.size(), at) < static_cast<ssize_t> (headerSize) || std::memcmp (page.data(), "OggS", 4) != 0)
            return false;

        const auto headSize = headerSize + page[26];
        size_t bodySize = 0;

        for (size_t i = headerSize; i < headSize; ++i)
            bodySize += page[i];

        page.resize (headSize + bodySize);

        if (pread (descriptor, page.data(), page.size(), at) != static_cast<ssize_t> (page.size()))
            return false;

        std::uint32_t serial = 0;
        std::memcpy (&serial, page.data() + 14, 4);
        auto known = std::find (serials.begin(), serials.end(), serial);

        if (known == serials.end())
            known = serials.insert (known, serial);

        const auto number = static_cast<std::uint32_t> (known - serials.begin()) + 1;

        for (size_t i = 0; i < 4; ++i)
            page[14 + i] = static_cast<unsigned char> (number >> (8 * i));

        ogg_page whole { page.data(), static_cast<long> (headSize), page.data() + headSize, static_cast<long> (bodySize) };
        ogg_page_checksum_set (&whole);

        if (pwrite (descriptor, page.data(), headSize, at) != static_cast<ssize_t> (headSize))
            return false;

        at += static_cast<off_t> (page.size());
    }

    return true;
}

/** A file that is written, and why that failed if it did. After a failure it only counts, so that the library, which then
    completes the header, finds itself where it expects. */
struct WrittenFile : Bytes
{
    explicit WrittenFile (int descriptorToUse)
        : descriptor (descriptorToUse) {}

    std::int64_t length() override { return size; }

    std::int64_t read (void* destination, std::int64_t numBytes) override
    {
        const auto got = pread (descriptor, destination, static_cast<size_t> (numBytes), position);
        position += std::max<std::int64_t> (0, got);
        return got;
    }

    std::int64_t write (const void* source, std::int64_t numBytes) override
    {
        for (std::int64_t done = 0; done < numBytes && error == 0;)
        {
            const auto written = pwrite (descriptor, static_cast<const char*> (source) + done, static_cast<size_t> (numBytes - done), position + done);

            if (written > 0)
                done += written;
            else if (written == 0 || errno != EINTR)
                error = written == 0 ? ENOSPC : errno;
        }

        position += numBytes;
        size = std::max (size, position);
        return numBytes;
    }

    const int descriptor;
    std::int64_t size = 0;
    int error = 0;
};

/** Standard output: all is held back until the audio has begun, and then nobody goes back to the header. */
struct OutputStream : Bytes
{
    std::int64_t length() override { return size; }
    std::int64_t read (void*, std::int64_t) override { return 0; }

    std::int64_t write (const void* source, std::int64_t numBytes) override
    {
        const auto* const data = static_cast<const char*> (source);

        if (! isRunning)
        {
            head.resize (static_cast<size_t> (std::max (size, position + numBytes)));
            std::memcpy (head.data() + position, data, static_cast<size_t> (numBytes));
        }
        else if (position == size && ! isClosed)
            put (data, numBytes);

        position += numBytes;
        size = std::max (size, position);
        return numBytes;
    }

    /** Lets through what has been held back. */
    void run()
    {
        isRunning = true;
        put (head.data(), static_cast<std::int64_t> (head.size()));
        head.clear();
    }

    void put (const char* data, std::int64_t numBytes)
    {
        for (std::int64_t done = 0; done < numBytes && error == 0;)
        {
            const auto written = ::write (STDOUT_FILENO, data + done, static_cast<size_t> (numBytes - done));

            if (written >= 0)
                done += written;
            else if (errno != EINTR)
                error = errno;
        }
    }

    std::vector<char> head;
    std::int64_t size = 0;
    bool isRunning = false, isClosed = false;
    int error = 0;
};

/** Writes into a header that the length is not known, as whoever reads streams expects it. */
void leaveLengthOpen (std::vector<char>& header, Container container)
{
    const auto fill = [&header] (std::int64_t at)
    {
        if (at + 4 <= static_cast<std::int64_t> (header.size()))
            std::fill_n (header.begin() + at, 4, '\xff');
    };

    if (container == Container::au)
        fill (8);

    if (container != Container::wav)
        return;

    const auto extent = findAudio (FileKind::wav, [&header] (std::int64_t offset, void* destination, size_t numBytes)
                                   {
                                       numBytes = static_cast<size_t> (std::clamp<std::int64_t> (static_cast<std::int64_t> (header.size()) - offset, 0, static_cast<std::int64_t> (numBytes)));
                                       std::memcpy (destination, header.data() + offset, numBytes);
                                       return numBytes; });
    fill (4);

    if (extent)
        fill (extent->offset - 4);
}

} // namespace

std::vector<std::string> lostIn (const OutputFormat& format, const Metadata& metadata)
{
    if (metadata.isEmpty())
        return {};

    MemoryBytes bytes;
    std::string reason;
    Metadata kept;

    // Whoever writes a file of one frame and reads it knows.
    if (const auto file = openOutput (bytes, format, &metadata, reason))
    {
        const std::vector<double> frame (static_cast<size_t> (format.numChannels));
        sf_writef_double (file.get(), frame.data(), 1);
    }

    bytes.position = 0;
    SF_INFO info = {};

    if (const auto file = openSound (bytes, SFM_READ, info, reason))
        kept = Metadata::of (file.get(), info.channels);

    return metadata.missingIn (kept);
}

//==============================================================================
struct OutputAudioFile::Implementation
{
    Implementation (const fs::path& target, const OutputFormat& formatToWrite, const Metadata* metadata)
        : file (target), format (formatToWrite), numBits (integerBits (format.encoding)), integers (numBits != 0 ? numBits : 16, format.dither && numBits != 0 && numBits <= 16)
    {
        if (file != standardStream)
            pending.emplace (file);
        else if (isatty (STDOUT_FILENO) != 0)
            throw RenderError ("standard output is a terminal; sound goes to a pipe or a file");

        const auto isStreaming = ! pending && (format.container == Container::wav || format.container == Container::au || format.container == Container::flac);

        if (! pending && ! isStreaming)
            spool.emplace();

        if (isStreaming)
        {
            stream.emplace();
            format.mostFrames = 0; // a stream has no header that could be made another later
        }
        else
            written.emplace (pending ? pending->descriptor() : spool->descriptor());

        std::string reason;
        sound = openOutput (bytes(), format, metadata, reason);

        if (sound == nullptr && error() != 0)
            failToWrite();

        if (sound == nullptr)
            fail (std::string (nameOf (format.container).name) + " cannot hold " + std::to_string (format.numChannels) + " channels at " + std::to_string (format.sampleRate) + " Hz"
                  + (format.container == Container::opus ? "; it knows 8000, 12000, 16000, 24000 and 48000 Hz" : format.encoding == Encoding::coded ? std::string()
                                                                                                                                                    : std::string (" in ") + nameOf (format.encoding).name));
    }

    Bytes& bytes()
    {
        if (stream)
            return *stream;

        return *written;
    }

    int error() const { return stream ? stream->error : written->error; }

    [[noreturn]] void fail (const std::string& reason) const
    {
        if (file == standardStream)
            throw RenderError ("standard output: " + reason);

        throw RenderError (file, reason);
    }

    [[noreturn]] void failToWrite() const { fail (std::string ("cannot be written: ") + std::strerror (error())); }

    void write (const double* interleaved, int numFrames)
    {
        const auto numSamples = static_cast<size_t> (numFrames) * static_cast<size_t> (format.numChannels);
        size += static_cast<std::int64_t> (numSamples) * bytesPerSample (format.encoding);

        if (const auto most = mostBytes (format.container); most && ! stream && format.container != Container::wav && size > *most)
            fail (std::string (nameOf (format.container).name) + " files hold no more than 4 GB");

        sf_count_t done = 0;

        if (numBits != 0 || format.encoding == Encoding::ulaw || format.encoding == Encoding::alaw)
        {
            converted.resize (numSamples);

            for (size_t i = 0; i < numSamples; ++i)
                converted[i] = integers.convert (interleaved[i]);

            done = sf_writef_int (sound.get(), converted.data(), numFrames);
        }
        else
            done = sf_writef_double (sound.get(), interleaved, numFrames);

        if (stream && ! stream->isRunning)
        {
            leaveLengthOpen (stream->head, format.container);
            stream->run();
        }

        if (error() != 0)
            failToWrite();

        if (done != numFrames)
            fail (std::string ("cannot be written: ") + sf_strerror (sound.get()));
    }

    void complete()
    {
        if (stream)
            stream->isClosed = format.container != Container::flac; // what follows would be taken for audio

        if (const auto closed = sf_close (sound.release()); error() == 0 && closed != 0)
            fail (std::string ("cannot be written: ") + sf_error_number (closed));

        if (error() == 0 && (format.container == Container::vorbis || format.container == Container::opus) && ! numberOggStreams (written->descriptor))
            fail ("cannot be read again after it has been written");

        if (error() != 0)
            failToWrite();

        if (spool)
            copyToOutput();
    }

    void finish()
    {
        if (pending)
            pending->finish();
    }

    void copyToOutput()
    {
        OutputStream output;
        output.isRunning = true;
        std::vector<char> piece (1 << 20);
        written->position = 0;

        for (std::int64_t got = 0; output.error == 0 && (got = written->read (piece.data(), static_cast<std::int64_t> (piece.size()))) > 0;)
            output.put (piece.data(), got);

        if (output.error != 0)
            fail (std::string ("cannot be written: ") + std::strerror (output.error));
    }

    const fs::path file;
    OutputFormat format;
    const int numBits; // of integers
    IntegerSamples integers;
    std::optional<PendingFile> pending;
    std::optional<NamelessFile> spool;
    std::optional<WrittenFile> written;
    std::optional<OutputStream> stream;
    SoundFile sound; // after what it writes to
    std::vector<int> converted;
    std::int64_t size = 0; // bytes of audio
};

OutputAudioFile::OutputAudioFile (const fs::path& file, const OutputFormat& format, const Metadata* metadata)
    : implementation (std::make_unique<Implementation> (file, format, metadata))
{
}

OutputAudioFile::~OutputAudioFile() = default;

void OutputAudioFile::write (const double* interleaved, int numFrames)
{
    implementation->write (interleaved, numFrames);
}

void OutputAudioFile::complete()
{
    implementation->complete();
}

void OutputAudioFile::finish()
{
    implementation->finish();
}

std::int64_t OutputAudioFile::numClipped() const
{
    return implementation->integers.numClipped;
}

} // namespace varnel
