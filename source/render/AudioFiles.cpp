// SPDX-License-Identifier: AGPL-3.0-only
#include "AudioFiles.h"

#include "AudioHeader.h"
#include "Errors.h"
#include "PendingFile.h"
#include "SampleRates.h"

#include <ogg/ogg.h>
#include <sndfile.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace varnel
{

namespace fs = std::filesystem;

//==============================================================================
/** Texts, each with its kind; records of the library, byte for byte; a place for each channel. */
struct Metadata
{
    std::vector<std::pair<int, std::string>> texts;
    std::vector<char> cues, broadcast, cart;
    std::optional<SF_INSTRUMENT> loops;
    std::vector<int> channelMap;

    bool isEmpty() const { return texts.empty() && cues.empty() && broadcast.empty() && cart.empty() && ! loops; }
};

namespace
{

constexpr int mostChannels = 256;

struct CloseFile
{
    void operator() (SNDFILE* file) const { sf_close (file); }
};

using SoundFile = std::unique_ptr<SNDFILE, CloseFile>;

/** The bytes that the library works on, whatever they are. Its functions return less than asked for if they fail. */
struct Bytes
{
    virtual ~Bytes() = default;
    virtual std::int64_t length() = 0;
    virtual std::int64_t read (void* destination, std::int64_t numBytes) = 0;
    virtual std::int64_t write (const void* source, std::int64_t numBytes) = 0;

    std::int64_t position = 0;
};

SF_VIRTUAL_IO callbacks()
{
    SF_VIRTUAL_IO result;
    result.get_filelen = [] (void* bytes) -> sf_count_t
    { return static_cast<Bytes*> (bytes)->length(); };
    result.tell = [] (void* bytes) -> sf_count_t
    { return static_cast<Bytes*> (bytes)->position; };
    result.read = [] (void* destination, sf_count_t numBytes, void* bytes) -> sf_count_t
    { return static_cast<Bytes*> (bytes)->read (destination, numBytes); };
    result.write = [] (const void* source, sf_count_t numBytes, void* bytes) -> sf_count_t
    { return static_cast<Bytes*> (bytes)->write (source, numBytes); };
    result.seek = [] (sf_count_t offset, int whence, void* user) -> sf_count_t
    {
        auto& bytes = *static_cast<Bytes*> (user);
        const auto from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? bytes.position
                                                                      : bytes.length();

        if (offset < -from || offset > std::numeric_limits<sf_count_t>::max() - from)
            return -1;

        return bytes.position = from + offset;
    };
    return result;
}

/** Opens a file with the library, of which a part is shared by all threads.
    @param reason  receives what the library says if it will not */
SoundFile openSound (Bytes& bytes, int mode, SF_INFO& info, std::string& reason)
{
    static std::mutex opening;
    static auto functions = callbacks();
    const std::lock_guard lock (opening);
    SoundFile file (sf_open_virtual (&functions, mode, &info, &bytes));

    if (file == nullptr)
    {
        reason = sf_strerror (nullptr);

        while (! reason.empty() && (reason.back() == '.' || reason.back() == '\n'))
            reason.pop_back();
    }

    return file;
}

//==============================================================================
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

//==============================================================================
Encoding encodingOf (int format)
{
    switch (format & SF_FORMAT_SUBMASK)
    {
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
            return Encoding::int8;
        case SF_FORMAT_PCM_24:
        case SF_FORMAT_ALAC_20:
        case SF_FORMAT_ALAC_24:
            return Encoding::int24;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_ALAC_32:
            return Encoding::int32;
        case SF_FORMAT_FLOAT:
            return Encoding::float32;
        case SF_FORMAT_DOUBLE:
            return Encoding::float64;
        case SF_FORMAT_ULAW:
            return Encoding::ulaw;
        case SF_FORMAT_ALAW:
            return Encoding::alaw;
        case SF_FORMAT_VORBIS:
        case SF_FORMAT_OPUS:
        case SF_FORMAT_MPEG_LAYER_I:
        case SF_FORMAT_MPEG_LAYER_II:
        case SF_FORMAT_MPEG_LAYER_III:
            return Encoding::coded;
        default: // the codecs of telephones, and what else stands for 16 bits
            return Encoding::int16;
    }
}

Container containerOf (int format)
{
    switch (format & SF_FORMAT_TYPEMASK)
    {
        case SF_FORMAT_RF64:
            return Container::rf64;
        case SF_FORMAT_W64:
            return Container::w64;
        case SF_FORMAT_AIFF:
            return Container::aiff;
        case SF_FORMAT_AU:
            return Container::au;
        case SF_FORMAT_CAF:
            return Container::caf;
        case SF_FORMAT_FLAC:
            return Container::flac;
        case SF_FORMAT_OGG:
            return (format & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS ? Container::opus : Container::vorbis;
        case SF_FORMAT_MPEG:
            return Container::mp3;
        default:
            return Container::wav;
    }
}

int codeOf (const OutputFormat& format)
{
    const auto container = [&format]() -> int
    {
        switch (format.container)
        {
            case Container::wav:
                // Begun as RF64, a file becomes WAV again if it stays below 4 GB.
                if (format.mostFrames && *format.mostFrames <= *mostBytes (Container::wav) / (format.numChannels * bytesPerSample (format.encoding)))
                    return format.extensible ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
                return SF_FORMAT_RF64;
            case Container::rf64:
                return SF_FORMAT_RF64;
            case Container::w64:
                return SF_FORMAT_W64;
            case Container::aiff:
                return SF_FORMAT_AIFF;
            case Container::au:
                return SF_FORMAT_AU;
            case Container::caf:
                return SF_FORMAT_CAF;
            case Container::flac:
                return SF_FORMAT_FLAC;
            case Container::vorbis:
                return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
            case Container::opus:
                return SF_FORMAT_OGG | SF_FORMAT_OPUS;
            case Container::mp3:
                break;
        }

        return SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    }();

    switch (format.encoding)
    {
        case Encoding::int8:
            return container | (container == SF_FORMAT_AIFF || container == SF_FORMAT_AU || container == SF_FORMAT_CAF || container == SF_FORMAT_FLAC ? SF_FORMAT_PCM_S8 : SF_FORMAT_PCM_U8);
        case Encoding::int16:
            return container | SF_FORMAT_PCM_16;
        case Encoding::int24:
            return container | SF_FORMAT_PCM_24;
        case Encoding::int32:
            return container | SF_FORMAT_PCM_32;
        case Encoding::float32:
            return container | SF_FORMAT_FLOAT;
        case Encoding::float64:
            return container | SF_FORMAT_DOUBLE;
        case Encoding::ulaw:
            return container | SF_FORMAT_ULAW;
        case Encoding::alaw:
            return container | SF_FORMAT_ALAW;
        case Encoding::coded:
            break;
    }

    return container;
}

//==============================================================================
constexpr std::pair<int, const char*> textNames[] {
    { SF_STR_TITLE, "title" },
    { SF_STR_COPYRIGHT, "copyright" },
    { SF_STR_SOFTWARE, "software" },
    { SF_STR_ARTIST, "artist" },
    { SF_STR_COMMENT, "comment" },
    { SF_STR_DATE, "date" },
    { SF_STR_ALBUM, "album" },
    { SF_STR_LICENSE, "licence" },
    { SF_STR_TRACKNUMBER, "track number" },
    { SF_STR_GENRE, "genre" },
};

/** A record of the library that ends with a text of any length.
    @param lengthOf  the length that the record itself names */
template <typename Record>
std::vector<char> recordOf (SNDFILE* file, int command, std::uint32_t Record::*lengthOf, size_t textAt)
{
    Record record {};

    if (sf_command (file, command, &record, sizeof (record)) != SF_TRUE)
        return {};

    // The library takes back no more than there is.
    const auto* const bytes = reinterpret_cast<const char*> (&record);
    return { bytes, bytes + std::min (sizeof (record) - 1, textAt + record.*lengthOf) };
}

Metadata metadataOf (SNDFILE* file, int numChannels)
{
    using Broadcast = SF_BROADCAST_INFO_VAR (16384);
    using Cart = SF_CART_INFO_VAR (16384);
    constexpr std::uint32_t mostCues = 10000;

    Metadata result;

    for (const auto& [kind, name] : textNames)
        if (const auto* const text = sf_get_string (file, kind); text != nullptr && *text != '\0')
            result.texts.emplace_back (kind, text);

    if (std::uint32_t count = 0; sf_command (file, SFC_GET_CUE_COUNT, &count, sizeof (count)) == SF_TRUE && count > 0 && count <= mostCues)
    {
        result.cues.resize (sizeof (std::uint32_t) + count * sizeof (SF_CUE_POINT));

        if (sf_command (file, SFC_GET_CUE, result.cues.data(), static_cast<int> (result.cues.size())) != SF_TRUE)
            result.cues.clear();
    }

    result.broadcast = recordOf<Broadcast> (file, SFC_GET_BROADCAST_INFO, &Broadcast::coding_history_size, offsetof (Broadcast, coding_history));
    result.cart = recordOf<Cart> (file, SFC_GET_CART_INFO, &Cart::tag_text_size, offsetof (Cart, tag_text));

    if (SF_INSTRUMENT loops; sf_command (file, SFC_GET_INSTRUMENT, &loops, sizeof (loops)) == SF_TRUE)
        result.loops = loops;

    result.channelMap.resize (static_cast<size_t> (numChannels));

    if (sf_command (file, SFC_GET_CHANNEL_MAP_INFO, result.channelMap.data(), static_cast<int> (result.channelMap.size() * sizeof (int))) != SF_TRUE)
        result.channelMap.clear();

    return result;
}

/** Has to come before the first frame. */
void setMetadata (SNDFILE* file, int numChannels, Metadata metadata)
{
    for (const auto& [kind, text] : metadata.texts)
        sf_set_string (file, kind, text.c_str());

    const auto set = [file] (int command, std::vector<char>& record)
    {
        if (! record.empty())
            sf_command (file, command, record.data(), static_cast<int> (record.size()));
    };

    set (SFC_SET_CUE, metadata.cues);
    set (SFC_SET_BROADCAST_INFO, metadata.broadcast);
    set (SFC_SET_CART_INFO, metadata.cart);

    if (metadata.loops)
        sf_command (file, SFC_SET_INSTRUMENT, &*metadata.loops, sizeof (*metadata.loops));

    if (metadata.channelMap.size() == static_cast<size_t> (numChannels))
        sf_command (file, SFC_SET_CHANNEL_MAP_INFO, metadata.channelMap.data(), static_cast<int> (metadata.channelMap.size() * sizeof (int)));
}

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
        setMetadata (file.get(), format.numChannels, *metadata);

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
        kept = metadataOf (file.get(), info.channels);

    std::vector<std::string> lost;

    for (const auto& [kind, name] : textNames)
    {
        const auto hasText = [kind = kind] (const Metadata& data)
        {
            return std::any_of (data.texts.begin(), data.texts.end(), [kind] (const auto& text)
                                { return text.first == kind; });
        };

        if (hasText (metadata) && ! hasText (kept))
            lost.emplace_back (name);
    }

    if (! metadata.cues.empty() && kept.cues.empty())
        lost.emplace_back ("cue points");

    if (metadata.loops && ! kept.loops)
        lost.emplace_back ("loops");

    if (! metadata.broadcast.empty() && kept.broadcast.empty())
        lost.emplace_back ("broadcast data");

    if (! metadata.cart.empty() && kept.cart.empty())
        lost.emplace_back ("cart data");

    return lost;
}

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
        data = metadataOf (sound.get(), info.channels);
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

//==============================================================================
namespace
{

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
