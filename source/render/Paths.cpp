// SPDX-License-Identifier: AGPL-3.0-only
#include "Paths.h"

#include "Errors.h"

namespace varnel
{

namespace fs = std::filesystem;

std::string shown (const fs::path& path)
{
    auto text = path.string();

    for (auto& letter : text)
        if (const auto code = static_cast<unsigned char> (letter); code < 0x20 || code == 0x7f)
            letter = '?';

    return text;
}

bool isSameFile (const fs::path& a, const fs::path& b)
{
    std::error_code error;
    return fs::equivalent (a, b, error);
}

fs::path followLinks (fs::path path)
{
    constexpr int mostLinks = 40; // as the kernel has it
    std::error_code error;

    for (int i = 0; i < mostLinks && fs::is_symlink (fs::symlink_status (path, error)); ++i)
        path = path.parent_path() / fs::read_symlink (path, error);

    return path;
}

void requireRegularFile (const fs::path& file)
{
    std::error_code error;
    const auto status = fs::status (file, error);

    if (status.type() == fs::file_type::not_found)
        throw RenderError (file, "no such file");

    if (status.type() == fs::file_type::none)
        throw RenderError (file, "cannot be read: " + error.message());

    if (fs::is_directory (status))
        throw RenderError (file, "is a folder");

    if (! fs::is_regular_file (status))
        throw RenderError (file, "is not a regular file");
}

} // namespace varnel
