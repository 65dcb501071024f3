// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Stop.h"

#include <optional>

namespace varnel
{

/** A file that appears under its name only when it is whole. A link as target is written through, and a file that was
    there keeps its permissions. */
class PendingFile
{
public:
    /** @throws RenderError */
    explicit PendingFile (const std::filesystem::path& target);

    int descriptor() const { return file->descriptor(); }

    /** Moves it to its place. @throws RenderError */
    void finish();

private:
    const std::filesystem::path asked, target;
    std::optional<FleetingFile> file;
};

/** A file without a name, for as long as its descriptor is open. @throws RenderError */
class NamelessFile
{
public:
    NamelessFile();
    ~NamelessFile();

    NamelessFile (const NamelessFile&) = delete;
    NamelessFile& operator= (const NamelessFile&) = delete;

    int descriptor() const { return file; }

private:
    int file;
};

} // namespace varnel
