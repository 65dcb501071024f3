// SPDX-License-Identifier: AGPL-3.0-only
#include "InputAudioFile.h"

#include "AudioHeader.h"
#include "Errors.h"
#include "Metadata.h"
#include "PendingFile.h"
#include "SampleRates.h"
#include "SoundBytes.h"
#include "SoundCodes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace varnel
{

namespace fs = std::filesystem;

namespace
{

constexpr int mostChannels = 256;

/** Part of a file that can be read anywhere. */
struct FileBytes : Bytes
{
    std::int64_t length() override { return end - start; }

    std::int64_t read (void* destination, std::int64_t numBytes) override
    {
        const auto got = readAt (position, destination, static_cast<size_t> (std::clamp<std::int64_t> (numBytes, 0, std::max<std::int64_t> (0, length() - position))));
        position += static_cast<std::int64_t> (got);
        return static_cast<std::int64_t> (got);
    }

    std::int64_t write (const void*, std::int64_t) override { return 0; }

    size_t readAt (std::int64_t offset, void* destination, size_t numBytes)
    {
        size_t done = 0;

        while (done < numBytes)
        {
            const auto got = pread (descriptor, static_cast<char*> (destination) + done, numBytes - done, start + offset + static_cast<std::int64_t> (done));

            if (got < 0 && errno == EINTR)
                continue;

            if (got < 0)
                error = errno;

            if (got <= 0)
                break;

            done += static_cast<size_t> (got);
        }

        return done;
    }

    int descriptor = -1;
    std::int64_t start = 0, end = 0;
    int error = 0; ///< of the last read that failed
};

/** A file's descriptor, which is closed also where opening goes no further. */
struct Descriptor
{
    Descriptor() = default;
    Descriptor (const Descriptor&) = delete;
    Descriptor& operator= (const Descriptor&) = delete;

    ~Descriptor()
    {
        if (number >= 0)
            close (number);
    }

    int number = -1;
};

/** A stream: its beginning is kept for as long as its header is looked at, and then it runs through. */
struct StreamBytes : Bytes
{
    std::int64_t length() override { return isRunning ? std::numeric_limits<std::int64_t>::max() / 2 : static_cast<std::int64_t> (head.size()); }

    std::int64_t read (void* destination, std::int64_t numBytes) override
    {
        auto* const bytes = static_cast<char*> (destination);
        std::int64_t done = 0;

        if (const auto inHead = start + position; inHead < static_cast<std::int64_t> (head.size()))
        {
            done = std::min (numBytes, static_cast<std::int64_t> (head.size()) - inHead);
            std::memcpy (bytes, head.data() + inHead, static_cast<size_t> (done));
        }

        if (isRunning)
            done += fetch (bytes + done, numBytes - done);

        position += done;
        return done;
    }

    std::int64_t write (const void*, std::int64_t) override { return 0; }

    /** Reads on until so many bytes of the beginning are kept, or the stream ends. */
    size_t keep (size_t numBytes)
    {
        if (const auto kept = head.size(); kept < numBytes)
        {
            head.resize (numBytes);
            head.resize (kept + static_cast<size_t> (fetch (head.data() + kept, static_cast<std::int64_t> (numBytes - kept))));
        }

        return head.size();
    }

    std::int64_t fetch (char* destination, std::int64_t numBytes)
    {
        std::int64_t done = 0;

        while (done < numBytes)
        {
            const auto got = ::read (STDIN_FILENO, destination + done, static_cast<size_t> (numBytes - done));

            if (got < 0 && errno == EINTR)
                continue;

            if (got < 0)
                error = errno;

            if (got <= 0)
                break;

            done += got;
        }

        return done;
    }

    std::vector<char> head;
    std::int64_t start = 0;
    bool isRunning = false;
    int error = 0;
};

} // namespace

//==============================================================================
struct InputAudioFile::Implementation
{
    Implementation (fs::path fileToRead, Passes passes)
        : file (std::move (fileToRead))
    {
        if (file == standardStream)
            openStream (passes);
        else
            openFile();

        check();
    }

    [[noreturn]] void fail (const std::string& reason) const
    {
        if (file == standardStream)
            throw RenderError ("standard input " + reason);

        throw RenderError (file, reason);
    }

    void openFile()
    {
        requireRegularFile (file);
        opened.number = open (file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);

        if (opened.number < 0)
            fail (std::string ("cannot be read: ") + std::strerror (errno));

        openRegular (opened.number);
    }

    /** A file that can be read anywhere. */
    void openRegular (int descriptor)
    {
        struct stat status = {};

        if (fstat (descriptor, &status) != 0 || ! S_ISREG (status.st_mode))
            fail ("is not a regular file");

        fileBytes.descriptor = descriptor;
        fileBytes.end = status.st_size;
        bytes = &fileBytes;

        if (status.st_size == 0)
            fail ("is empty");

        const auto readAt = [this] (std::int64_t offset, void* destination, size_t numBytes)
        {
            return fileBytes.readAt (offset, destination, numBytes);
        };
        const auto kind = requireKind (readAt);
        const auto extent = findAudio (kind, readAt);

        if (extent && extent->length && *extent->length > fileBytes.end - extent->offset)
            fail ("is cut short: " + std::to_string (*extent->length - std::max<std::int64_t> (0, fileBytes.end - extent->offset)) + " bytes of its audio are missing");

        if (kind == FileKind::ogg && ! oggIsComplete (fileBytes.end, readAt))
            fail ("is cut short");

        openBytes();

        if (extent && ! extent->length)
        {
            remarks.emplace_back ("the header was never finished; all that follows it was read");

            if (isPlain())
                openPlain (extent->offset);
        }

        // The last frame can be read only if all is there.
        if (kind == FileKind::flac && info.frames < SF_COUNT_MAX)
        {
            std::vector<double> frame (static_cast<size_t> (info.channels));

            if (sf_seek (sound.get(), info.frames - 1, SEEK_SET) != info.frames - 1 || sf_readf_double (sound.get(), frame.data(), 1) != 1)
                fail ("is cut short");

            openBytes();
        }
    }

    /** Standard input: as it comes where the samples are plain, else from a file in which it has been kept. */
    void openStream (Passes passes)
    {
        constexpr size_t longestHead = 64 << 20; // bytes; pictures may stand in front of the audio

        if (isatty (STDIN_FILENO) != 0)
            fail ("is a terminal; sound comes from a pipe or a file");

        if (struct stat status = {}; fstat (STDIN_FILENO, &status) == 0 && S_ISREG (status.st_mode) && lseek (STDIN_FILENO, 0, SEEK_CUR) == 0)
            return openRegular (STDIN_FILENO);

        const auto readAt = [this] (std::int64_t offset, void* destination, size_t numBytes)
        {
            if (offset < 0 || static_cast<size_t> (offset) + numBytes > longestHead)
                return size_t { 0 };

            const auto available = streamBytes.keep (static_cast<size_t> (offset) + numBytes);
            const auto got = std::clamp (static_cast<std::int64_t> (available) - offset, std::int64_t { 0 }, static_cast<std::int64_t> (numBytes));
            std::memcpy (destination, streamBytes.head.data() + offset, static_cast<size_t> (got));
            return static_cast<size_t> (got);
        };

        if (streamBytes.keep (1) == 0)
            fail (streamBytes.error != 0 ? std::string ("cannot be read: ") + std::strerror (streamBytes.error) : "is empty");

        const auto kind = requireKind (readAt);
        const auto extent = findAudio (kind, readAt);

        if (passes == Passes::several || ! extent)
            return openSpool();

        streamBytes.keep (static_cast<size_t> (extent->offset) + 4096);
        bytes = &streamBytes;
        openBytes();

        if (! isPlain())
            return openSpool();

        openPlain (extent->offset);
        info.frames = extent->length ? *extent->length / (bytesPerSample (encodingOf (info.format)) * info.channels) : SF_COUNT_MAX;
    }

    /** Keeps the whole stream in a file without a name. */
    void openSpool()
    {
        spool.emplace();
        constexpr std::int64_t pieceSize = 1 << 20;
        std::vector<char> piece = std::move (streamBytes.head);

        while (! piece.empty())
        {
            for (size_t done = 0; done < piece.size();)
            {
                const auto written = ::write (spool->descriptor(), piece.data() + done, piece.size() - done);

                if (written < 0)
                    throw RenderError (std::string ("standard input cannot be kept in a temporary file: ") + std::strerror (errno));

                done += static_cast<size_t> (written);
            }

            piece.resize (static_cast<size_t> (pieceSize));
            piece.resize (static_cast<size_t> (streamBytes.fetch (piece.data(), pieceSize)));
        }

        openRegular (spool->descriptor());
    }

    FileKind requireKind (const ReadAt& readAt) const
    {
        const auto kind = kindOf (readAt);

        if (! kind)
            fail ("is no audio file that can be read (WAV, RF64, Wave64, AIFF, AU, CAF, FLAC, Ogg Vorbis, Opus, MP3)");

        return *kind;
    }

    void openBytes()
    {
        std::string reason;
        sound.reset();
        bytes->position = 0;
        info = {};
        sound = openSound (*bytes, SFM_READ, info, reason);

        if (sound == nullptr)
            fail ("cannot be read: " + reason);

        fileFormat = info.format;
        position = 0;
        data = Metadata::of (sound.get(), info.channels);
    }

    /** Whether the samples stand in the file as they are. */
    bool isPlain() const
    {
        const auto subtype = info.format & SF_FORMAT_SUBMASK;
        return encodingOf (info.format) != Encoding::coded && (subtype <= SF_FORMAT_ALAW || subtype == SF_FORMAT_PCM_S8);
    }

    /** Leaves the header aside and reads from a place to the end. */
    void openPlain (std::int64_t offset)
    {
        const auto type = info.format & SF_FORMAT_TYPEMASK;
        auto endian = info.format & SF_FORMAT_ENDMASK;

        if (endian == SF_ENDIAN_FILE)
            endian = type == SF_FORMAT_AIFF || type == SF_FORMAT_AU || type == SF_FORMAT_CAF ? SF_ENDIAN_BIG : SF_ENDIAN_LITTLE;

        sound.reset();
        plainFrom = offset;
        bytes->position = 0;
        streamBytes.start = fileBytes.start = offset;
        streamBytes.isRunning = true;
        info.format = SF_FORMAT_RAW | (info.format & SF_FORMAT_SUBMASK) | endian;
        info.frames = 0;
        std::string reason;
        sound = openSound (*bytes, SFM_READ, info, reason);

        if (sound == nullptr)
            fail ("cannot be read: " + reason);
    }

    void check() const
    {
        // A few bytes may claim any number.
        if (info.channels > mostChannels)
            fail ("has " + std::to_string (info.channels) + " channels; up to " + std::to_string (mostChannels) + " can be read");

        if (info.samplerate < lowestSampleRate || info.samplerate > highestSampleRate)
            fail ("has a sample rate of " + std::to_string (info.samplerate) + " Hz; 1 Hz to 768 kHz can be processed");

        if (info.frames <= 0)
            fail ("holds no audio");
    }

    int read (double* interleaved, int numFrames)
    {
        if (info.frames != SF_COUNT_MAX)
            numFrames = static_cast<int> (std::min<std::int64_t> (numFrames, info.frames - position));

        const auto got = numFrames > 0 ? sf_readf_double (sound.get(), interleaved, numFrames) : 0;
        position += got;

        if (got < numFrames && info.frames != SF_COUNT_MAX)
            failEarly();

        if (got < numFrames && position == 0)
            fail ("holds no audio");

        return static_cast<int> (got);
    }

    [[noreturn]] void failEarly() const
    {
        if (const auto error = fileBytes.error != 0 ? fileBytes.error : streamBytes.error)
            fail (std::string ("cannot be read to its end: ") + std::strerror (error));

        fail ("is cut short: it ends before the " + std::to_string (info.frames) + " frames that it promises");
    }

    void rewind()
    {
        if (plainFrom)
        {
            bytes->position = 0;
            sf_seek (sound.get(), 0, SEEK_SET);
            position = 0;
        }
        else
            openBytes();
    }

    const fs::path file;
    FileBytes fileBytes;
    StreamBytes streamBytes;
    std::optional<NamelessFile> spool;
    Descriptor opened;
    Bytes* bytes = nullptr;
    SoundFile sound;
    SF_INFO info = {};
    int fileFormat = 0; // of the whole file, of which info may describe the samples alone
    Metadata data;
    std::vector<std::string> remarks;
    std::optional<std::int64_t> plainFrom;
    std::int64_t position = 0; // frames
};

InputAudioFile::InputAudioFile (const fs::path& file, Passes passes)
    : implementation (std::make_unique<Implementation> (file, passes))
{
}

InputAudioFile::~InputAudioFile() = default;

int InputAudioFile::numChannels() const
{
    return implementation->info.channels;
}

int InputAudioFile::sampleRate() const
{
    return implementation->info.samplerate;
}

std::optional<std::int64_t> InputAudioFile::numFrames() const
{
    const auto frames = implementation->info.frames;
    return frames == SF_COUNT_MAX ? std::nullopt : std::optional<std::int64_t> (frames);
}

Container InputAudioFile::container() const
{
    return containerOf (implementation->fileFormat);
}

Encoding InputAudioFile::encoding() const
{
    return encodingOf (implementation->fileFormat);
}

bool InputAudioFile::isExtensible() const
{
    return (implementation->fileFormat & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAVEX;
}

const Metadata& InputAudioFile::metadata() const
{
    return implementation->data;
}

const std::vector<std::string>& InputAudioFile::notes() const
{
    return implementation->remarks;
}

int InputAudioFile::read (double* interleaved, int numFrames)
{
    return implementation->read (interleaved, numFrames);
}

void InputAudioFile::rewind()
{
    implementation->rewind();
}

} // namespace varnel
