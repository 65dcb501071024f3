// SPDX-License-Identifier: AGPL-3.0-only
#include "Files.h"

#include "Text.h"

#include <filesystem>

namespace varnel
{

namespace
{

std::filesystem::path pathOf (const juce::File& file)
{
#if JUCE_WINDOWS
    return file.getFullPathName().toWideCharPointer(); // a path of bytes would be in the system's code page
#else
    return file.getFullPathName().toStdString();
#endif
}

juce::String textOf (const std::filesystem::path& path)
{
#if JUCE_WINDOWS
    return path.c_str();
#else
    return textFrom (path.string());
#endif
}

/** Where writing to a file would end, also if nothing is there yet. */
juce::File targetOf (const juce::File& file)
{
    constexpr int mostLinks = 40; // as the system has it
    auto path = pathOf (file);
    std::error_code error;

    for (int i = 0; i < mostLinks && std::filesystem::is_symlink (path, error); ++i)
        path = (path.parent_path() / std::filesystem::read_symlink (path, error)).lexically_normal();

    return juce::File::createFileWithoutCheckingPath (textOf (path));
}

} // namespace

juce::File childOf (const juce::File& folder, const juce::String& name)
{
    return juce::File::createFileWithoutCheckingPath (juce::File::addTrailingSeparator (folder.getFullPathName()) + name);
}

bool isRegularFile (const juce::File& file)
{
    std::error_code error;
    return std::filesystem::is_regular_file (pathOf (file), error);
}

juce::String whyUnreadable (const juce::File& file)
{
    if (! file.exists())
        return "is not there";

    if (file.isDirectory())
        return "is a folder";

    if (! isRegularFile (file))
        return "is not a regular file";

    return "cannot be read: " + juce::FileInputStream (file).getStatus().getErrorMessage();
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
    const auto target = targetOf (file);

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

bool moveAside (const juce::File& file, const juce::String& newName)
{
    constexpr int mostCopies = 1000;

    for (int i = 1; i <= mostCopies; ++i)
    {
        const auto path = pathOf (childOf (file.getParentDirectory(), i == 1 ? newName : newName + " " + juce::String (i)));
        std::error_code error;

        // A second name for the same file is the one thing that the system gives only if it is free. Where it knows no
        // such thing, a copy does as much.
        std::filesystem::create_hard_link (pathOf (file), path, error);

        if (error && error != std::errc::file_exists && ! std::filesystem::exists (std::filesystem::symlink_status (path, error)))
        {
            std::filesystem::copy_file (pathOf (file), path, std::filesystem::copy_options::none, error);

            if (error)
            {
                std::error_code ignored;
                std::filesystem::remove (path, ignored);
                return false;
            }
        }

        if (! error)
            return std::filesystem::remove (pathOf (file), error);
    }

    return false;
}

} // namespace varnel
