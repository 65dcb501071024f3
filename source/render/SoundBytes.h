// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <sndfile.h>

namespace varnel
{

struct CloseFile
{
    void operator() (SNDFILE* file) const { sf_close (file); }
};

/** A file that libsndfile has open. */
using SoundFile = std::unique_ptr<SNDFILE, CloseFile>;

/** The bytes that libsndfile works on, whatever they are. Its functions return less than asked for if they fail. */
struct Bytes
{
    virtual ~Bytes() = default;
    virtual std::int64_t length() = 0;
    virtual std::int64_t read (void* destination, std::int64_t numBytes) = 0;
    virtual std::int64_t write (const void* source, std::int64_t numBytes) = 0;

    std::int64_t position = 0;
};

/** Opens a file with libsndfile, of which a part is shared by all threads. May be called on any thread.
    @param mode    SFM_READ or SFM_WRITE
    @param reason  receives what the library says if it will not
    @returns null if it will not */
SoundFile openSound (Bytes& bytes, int mode, SF_INFO& info, std::string& reason);

} // namespace varnel
