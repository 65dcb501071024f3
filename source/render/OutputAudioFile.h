// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "SoundFormat.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varnel
{

struct Metadata;

/** What a new audio file is to be. */
struct OutputFormat
{
    Container container = Container::wav;
    Encoding encoding = Encoding::int16;
    bool extensible = false;
    int sampleRate = 0; ///< Hz
    int numChannels = 0;
    std::optional<std::int64_t> mostFrames; ///< if it is known; a WAV file that may grow beyond 4 GB is then begun as one that can
    bool dither = false;                    ///< whether integers of up to 16 bits get triangular noise of one step where they had to be rounded
};

/** What of the metadata such a file cannot hold, in words. */
std::vector<std::string> lostIn (const OutputFormat& format, const Metadata& metadata);

/** An audio file that appears under its name only when it is complete. Until then it is written beside the target;
    whatever goes wrong, destruction removes it and the old target stays. Standard output gets the sound as it comes, or at
    the end where the format has to be finished first. */
class OutputAudioFile
{
public:
    /** @throws RenderError  if the file cannot be written, or the format cannot hold this sound */
    OutputAudioFile (const std::filesystem::path& file, const OutputFormat& format, const Metadata* metadata);
    ~OutputAudioFile();

    OutputAudioFile (const OutputAudioFile&) = delete;
    OutputAudioFile& operator= (const OutputAudioFile&) = delete;

    /** @throws RenderError */
    void write (const double* interleaved, int numFrames);

    /** Writes all that is left to write. @throws RenderError */
    void complete();

    /** Moves the complete file to its place. @throws RenderError */
    void finish();

    /** How many samples did not fit an integer format. */
    std::int64_t numClipped() const;

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace varnel
