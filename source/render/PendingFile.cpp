// SPDX-License-Identifier: AGPL-3.0-only
#include "PendingFile.h"

#include "Errors.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace varnel
{

namespace fs = std::filesystem;

PendingFile::PendingFile (const fs::path& targetToWrite)
    : asked (targetToWrite), target (followLinks (targetToWrite))
{
    std::error_code error;
    const auto status = fs::status (target, error);

    if (fs::is_directory (status))
        throw RenderError (asked, "is a folder");

    if (fs::is_fifo (status) || fs::is_socket (status))
        throw RenderError (asked, "is a pipe, which cannot be replaced by a file; write to standard output, with - as its name");

    if (fs::exists (status) && ! fs::is_regular_file (status))
        throw RenderError (asked, "is a device");

    const auto folder = target.has_parent_path() ? target.parent_path() : fs::path (".");

    if (! fs::is_directory (folder, error))
        throw RenderError (asked, "its folder does not exist");

    try
    {
        file.emplace (folder);
    }
    catch (const std::system_error& reason)
    {
        throw RenderError (asked, "cannot be written: " + reason.code().message());
    }
}

void PendingFile::finish()
{
    struct stat old = {};

    if (stat (target.c_str(), &old) == 0)
    {
        // Whose it was it stays where we may give files away.
        [[maybe_unused]] const auto given = fchown (file->descriptor(), old.st_uid, old.st_gid);
        fchmod (file->descriptor(), old.st_mode & 07777);
        fsync (file->descriptor()); // a loss of power must not leave neither of the two
    }

    if (const auto error = file->moveTo (target); error != 0)
        throw RenderError (asked, std::string ("cannot be replaced: ") + std::strerror (error));
}

NamelessFile::NamelessFile()
{
    std::error_code error;
    const auto folder = fs::temp_directory_path (error);
    auto name = (folder / "varnel-render.XXXXXX").string();
    const Undisturbed undisturbed;
    file = error ? -1 : mkostemp (name.data(), O_CLOEXEC);

    if (file < 0)
        throw RenderError (folder, std::string ("no file can be made for what standard input or output has to wait in: ") + (error ? error.message() : std::strerror (errno)));

    unlink (name.c_str());
}

NamelessFile::~NamelessFile()
{
    close (file);
}

} // namespace varnel
