// SPDX-License-Identifier: AGPL-3.0-only
#include "SoundBytes.h"

#include <cstdio>
#include <limits>
#include <mutex>

namespace varnel
{

namespace
{

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

} // namespace

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

} // namespace varnel
