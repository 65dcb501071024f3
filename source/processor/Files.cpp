// SPDX-License-Identifier: AGPL-3.0-only
#include "Files.h"

#include <algorithm>
#include <filesystem>

namespace varnel
{

bool isRegularFile (const juce::File& file)
{
    std::error_code error;
    return std::filesystem::is_regular_file (file.getFullPathName().toStdString(), error);
}

std::optional<juce::MemoryBlock> startOf (const juce::File& file, size_t mostBytes)
{
    if (! isRegularFile (file)) // opening a pipe would wait
        return {};

    juce::FileInputStream stream (file);

    if (stream.failedToOpen())
        return {};

    juce::MemoryBlock bytes;
    stream.readIntoMemoryBlock (bytes, static_cast<juce::pointer_sized_int> (mostBytes));
    return bytes;
}

juce::Result writeWhole (const juce::File& file, const void* data, size_t numBytes)
{
    const auto target = file.getLinkedTarget();

    if (target.isDirectory())
        return juce::Result::fail ("is a folder");

    if (target.exists() && ! isRegularFile (target))
        return juce::Result::fail ("is not a regular file");

    if (! target.getParentDirectory().isDirectory())
        return juce::Result::fail ("its folder does not exist");

    const juce::TemporaryFile temporary (target, juce::TemporaryFile::useHiddenFile);

    {
        juce::FileOutputStream stream (temporary.getFile());
        auto written = stream.openedOk() && stream.write (data, numBytes);
        stream.flush();

        // The last flush may fall short without a word; another write then says why.
        if (written && temporary.getFile().getSize() != static_cast<juce::int64> (numBytes))
        {
            written = false;
            stream.write (data, numBytes);
            stream.flush();
        }

        if (! written || stream.getStatus().failed())
            return juce::Result::fail ("cannot be written: " + stream.getStatus().getErrorMessage());
    }

    return temporary.overwriteTargetFileWithTemporary() ? juce::Result::ok() : juce::Result::fail ("cannot be replaced");
}

namespace
{

/** How many bytes the character at the start of valid UTF-8 has; 0 where there is none. */
size_t lengthOfCharacter (const unsigned char* bytes, size_t numBytes)
{
    const auto first = bytes[0];
    const size_t length = first < 0x80 ? 1 : first < 0xc2 ? 0
                                         : first < 0xe0   ? 2
                                         : first < 0xf0   ? 3
                                         : first < 0xf5   ? 4
                                                          : 0;

    if (length > numBytes)
        return 0;

    for (size_t i = 1; i < length; ++i)
        if ((bytes[i] & 0xc0) != 0x80)
            return 0;

    // Longer than need be, a surrogate, or beyond the last character
    if ((first == 0xe0 && bytes[1] < 0xa0) || (first == 0xed && bytes[1] >= 0xa0) || (first == 0xf0 && bytes[1] < 0x90) || (first == 0xf4 && bytes[1] >= 0x90))
        return 0;

    return length;
}

} // namespace

bool isUtf8 (const char* text, size_t numBytes)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*> (text);

    for (size_t i = 0; i < numBytes;)
    {
        const auto length = lengthOfCharacter (bytes + i, numBytes - i);

        if (length == 0)
            return false;

        i += length;
    }

    return true;
}

juce::String textFrom (const char* bytes, size_t numBytes)
{
    numBytes = static_cast<size_t> (std::find (bytes, bytes + numBytes, '\0') - bytes);

    if (isUtf8 (bytes, numBytes))
        return juce::String::fromUTF8 (bytes, static_cast<int> (numBytes));

    std::string converted;

    for (size_t i = 0; i < numBytes; ++i)
    {
        const auto byte = static_cast<unsigned char> (bytes[i]);

        if (byte >= 0x80)
            converted.push_back (static_cast<char> (0xc0 | (byte >> 6)));

        converted.push_back (static_cast<char> (byte < 0x80 ? byte : 0x80 | (byte & 0x3f)));
    }

    return juce::String::fromUTF8 (converted.data(), static_cast<int> (converted.size()));
}

juce::String textFrom (const std::string& bytes)
{
    return textFrom (bytes.data(), bytes.size());
}

} // namespace varnel
