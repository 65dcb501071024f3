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

/** Where frames come from: interleaved samples, of which 1.0 is full scale. */
class FrameSource
{
public:
    virtual ~FrameSource() = default;

    /** Reads the next frames. @returns how many there are; fewer than asked for only at the end
        @throws RenderError  if the end comes before it should */
    virtual int read (double* interleaved, int numFrames) = 0;
};

/** An audio file, or standard input, that is read from front to back. */
class InputAudioFile : public FrameSource
{
public:
    enum class Passes
    {
        one,
        several ///< rewind() will be called; a stream is then kept in a file without a name
    };

    /** @throws RenderError  if the file is missing, unreadable, empty, no audio, cut short, or out of bounds */
    explicit InputAudioFile (const std::filesystem::path& file, Passes passes = Passes::one);
    ~InputAudioFile() override;

    int numChannels() const;
    int sampleRate() const;                        ///< Hz
    std::optional<std::int64_t> numFrames() const; ///< nothing for a stream that ends when it ends
    Container container() const;
    Encoding encoding() const;
    bool isExtensible() const; ///< a WAV file with the longer form of its header
    const Metadata& metadata() const;
    const std::vector<std::string>& notes() const; ///< what the user should know

    /** Integers of up to 32 bits and floats of up to 64 arrive exactly. */
    int read (double* interleaved, int numFrames) override;

    /** Back to the first frame. */
    void rewind();

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace varnel
