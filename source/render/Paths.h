// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <filesystem>
#include <string>

namespace varnel
{

/** What stands for standard input or output among names of files. */
inline const std::filesystem::path standardStream { "-" };

/** A name as messages show it: byte for byte, whatever its encoding, but with a question mark for what would move the
    cursor or begin another line. */
std::string shown (const std::filesystem::path& path);

/** Whether two names lead to one file. */
bool isSameFile (const std::filesystem::path& a, const std::filesystem::path& b);

/** Where a name leads when links are followed, also one to a file that is not there yet. */
std::filesystem::path followLinks (std::filesystem::path path);

/** Makes sure that a file is there and can be opened without waiting, as a pipe or a device cannot.
    @throws RenderError */
void requireRegularFile (const std::filesystem::path& file);

} // namespace varnel
