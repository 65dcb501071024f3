// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <csignal>
#include <filesystem>

namespace varnel
{

/** From now on INT, TERM, HUP, QUIT and PIPE end the program at once, whatever it is doing, and take the files along that
    are being written. A limit to the size of files shows as a failed write. */
void endOnSignals();

/** While one lives, on any thread, signals wait a moment: while files change hands. */
class Undisturbed
{
public:
    Undisturbed();
    ~Undisturbed();

    Undisturbed (const Undisturbed&) = delete;
    Undisturbed& operator= (const Undisturbed&) = delete;

private:
    sigset_t before;
};

/** A new file of its own that a signal takes along. Any thread. */
class FleetingFile
{
public:
    /** Makes an empty file that nobody else has. @throws std::system_error */
    explicit FleetingFile (const std::filesystem::path& folder);

    /** Removes it. */
    ~FleetingFile();

    FleetingFile (const FleetingFile&) = delete;
    FleetingFile& operator= (const FleetingFile&) = delete;

    /** Moves it to its place, to stay. @returns 0, or the error's number */
    int moveTo (const std::filesystem::path& target);

    const std::filesystem::path& path() const { return name; }
    int descriptor() const { return file; } ///< open for reading and writing until the end

private:
    std::filesystem::path name;
    int file = -1;
    int slot = -1;
};

} // namespace varnel
