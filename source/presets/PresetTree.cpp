// SPDX-License-Identifier: AGPL-3.0-only
#include "PresetTree.h"

#include "processor/Text.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#if ! JUCE_WINDOWS
    #include <dirent.h>
    #include <fcntl.h>
    #include <sys/stat.h>
    #include <unistd.h>
#endif

namespace varnel
{

namespace
{

/** What two paths to one folder have in common: the device and the number on it. */
using Identity = std::pair<juce::uint64, juce::uint64>;

/** What a directory says of one name in it. */
struct Entry
{
    enum class Kind
    {
        file,
        folder,
        other
    };

    std::string name;
    Kind kind = Kind::other;
    std::optional<Identity> linkedFolder; ///< of a link to a folder
};

#if JUCE_WINDOWS

std::optional<Identity> identityOf (const std::string& path)
{
    const auto number = juce::File (juce::String::fromUTF8 (path.data(), static_cast<int> (path.size()))).getFileIdentifier();
    return number != 0 ? std::optional (Identity { 0, number }) : std::nullopt;
}

// Bytes are in the system's code page to the standard library, and UTF-8 to us.
std::filesystem::path pathFrom (const std::string& utf8)
{
    return std::u8string (utf8.begin(), utf8.end());
}

std::string utf8From (const std::filesystem::path& path)
{
    const auto utf8 = path.u8string();
    return { utf8.begin(), utf8.end() };
}

class Directory
{
public:
    Directory (const std::string& pathToUse, const Directory* /*parent*/, const std::string& /*name*/)
        : path (pathToUse), iterator (pathFrom (path), error) {}

    std::optional<Identity> identity() const { return identityOf (path); }

    bool next (Entry& entry)
    {
        if (error || iterator == std::filesystem::directory_iterator())
            return false;

        std::error_code gone;
        entry = { utf8From (iterator->path().filename()), Entry::Kind::other, {} };

        if (iterator->is_directory (gone))
            entry.kind = Entry::Kind::folder;
        else if (iterator->is_regular_file (gone))
            entry.kind = Entry::Kind::file;

        if (entry.kind == Entry::Kind::folder && iterator->is_symlink (gone))
            entry.linkedFolder = identityOf (utf8From (iterator->path()));

        iterator.increment (error);
        return true;
    }

private:
    std::string path;
    std::error_code error;
    std::filesystem::directory_iterator iterator;
};

#else

Identity identityOf (const struct stat& status)
{
    return { static_cast<juce::uint64> (status.st_dev), static_cast<juce::uint64> (status.st_ino) };
}

std::filesystem::path pathFrom (const std::string& bytes)
{
    return bytes;
}
std::string utf8From (const std::filesystem::path& path)
{
    return path.string();
}

std::optional<Identity> identityOf (const std::string& path)
{
    struct stat status;
    return stat (path.c_str(), &status) == 0 ? std::optional (identityOf (status)) : std::nullopt;
}

/** The system's own directory stream. Both JUCE's iterator, which also trusts names to be UTF-8, and the standard
    library's take a path apart for every name in it, and paths get long. */
class Directory
{
public:
    /** By its name in an open parent, if there is one, or else by its path, through which the system goes from the root. */
    Directory (const std::string& path, const Directory* parent, const std::string& name)
    {
        constexpr auto flags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;
        const auto descriptor = parent != nullptr && parent->stream != nullptr ? openat (dirfd (parent->stream), name.c_str(), flags)
                                                                               : open (path.c_str(), flags);

        if (descriptor >= 0 && (stream = fdopendir (descriptor)) == nullptr)
            close (descriptor);
    }

    ~Directory()
    {
        if (stream != nullptr)
            closedir (stream);
    }

    std::optional<Identity> identity() const
    {
        struct stat status;
        return stream != nullptr && fstat (dirfd (stream), &status) == 0 ? std::optional (identityOf (status)) : std::nullopt;
    }

    bool next (Entry& entry)
    {
        const auto* const read = stream != nullptr ? readdir (stream) : nullptr;

        if (read == nullptr)
            return false;

        entry = { read->d_name, Entry::Kind::other, {} };

        if (read->d_type == DT_DIR)
            entry.kind = Entry::Kind::folder;
        else if (read->d_type == DT_REG)
            entry.kind = Entry::Kind::file;
        else if (struct stat status; (read->d_type == DT_LNK || read->d_type == DT_UNKNOWN) && fstatat (dirfd (stream), read->d_name, &status, 0) == 0)
        {
            if (S_ISDIR (status.st_mode))
                entry.kind = Entry::Kind::folder;
            else if (S_ISREG (status.st_mode))
                entry.kind = Entry::Kind::file;

            if (struct stat link; S_ISDIR (status.st_mode) && fstatat (dirfd (stream), read->d_name, &link, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK (link.st_mode))
                entry.linkedFolder = identityOf (status);
        }

        return true;
    }

    Directory (const Directory&) = delete;
    Directory& operator= (const Directory&) = delete;

private:
    DIR* stream = nullptr;
};

#endif

/** By shown name, which for UTF-8 is by code point; by the whole name where that is the same. */
void sortByShownName (std::vector<std::string>& names)
{
    const auto lengthOfShown = [] (const std::string& name)
    {
        const auto dot = name.rfind ('.');
        return dot == std::string::npos || dot == 0 ? name.size() : dot;
    };

    std::sort (names.begin(), names.end(), [&] (const std::string& a, const std::string& b)
               {
        const auto order = a.compare (0, lengthOfShown (a), b, 0, lengthOfShown (b));
        return order != 0 ? order < 0 : a < b; });
}

class Scan
{
public:
    Scan (PresetFolder& rootToFill, const juce::StringArray& extensionsToFind)
        : root (rootToFill), extensions (extensionsToFind) {}

    void run()
    {
        folders.push_back ({ &root, {}, none, {} });

        // Level by level, not branch by branch: where it stops, every branch has got something.
        for (size_t i = 0; i < folders.size() && numEntries < mostEntries; ++i)
            read (i);
    }

private:
    static constexpr int mostEntries = 100000;
    static constexpr size_t longestPath = 4096; // bytes; the system takes none that is longer
    static constexpr size_t mostOpen = 8;
    static constexpr auto none = static_cast<size_t> (-1);

    struct Step
    {
        PresetFolder* folder;
        std::string name;
        size_t parent; ///< in the list of steps
        std::optional<Identity> identity;
    };

    void read (size_t step)
    {
        auto& folder = *folders[step].folder;
        const auto path = juce::File::addTrailingSeparator (folder.folder.getFullPathName());
        std::vector<std::string> fileNames, folderNames;

        if (path.getNumBytesAsUTF8() > longestPath)
            return;

        auto& directory = open (step, path.toStdString());
        folders[step].identity = directory.identity();

        for (Entry entry; numEntries < mostEntries && directory.next (entry); ++numEntries)
        {
            // A name that is not UTF-8 cannot be shown.
            if (entry.name == "." || entry.name == ".." || ! isUtf8 (entry.name.data(), entry.name.size()))
                continue;

            if (entry.kind == Entry::Kind::file && isPreset (entry.name))
                fileNames.push_back (std::move (entry.name));
            else if (entry.kind == Entry::Kind::folder && ! (entry.linkedFolder && isOnTheWay (step, *entry.linkedFolder)))
                folderNames.push_back (std::move (entry.name));
        }

        sortByShownName (fileNames);
        sortByShownName (folderNames);

        const auto child = [&path] (const std::string& name)
        { return juce::File::createFileWithoutCheckingPath (path + juce::String::fromUTF8 (name.data(), static_cast<int> (name.size()))); };

        std::transform (fileNames.begin(), fileNames.end(), std::back_inserter (folder.files), child);
        std::transform (folderNames.begin(), folderNames.end(), std::back_inserter (folder.subfolders), [&] (const std::string& name)
                        { return PresetFolder { folder.owner, child (name), {}, {} }; });

        for (size_t i = 0; i < folderNames.size(); ++i)
            folders.push_back ({ &folder.subfolders[i], std::move (folderNames[i]), step, {} });
    }

    /** The last directories stay open for those below them. In a deep tree that is where the time would go. */
    Directory& open (size_t step, const std::string& path)
    {
        const auto parent = std::find_if (recent.begin(), recent.end(), [&] (const auto& directory)
                                          { return directory.first == folders[step].parent; });
        auto directory = std::make_unique<Directory> (path, parent != recent.end() ? parent->second.get() : nullptr, folders[step].name);
        recent.emplace_back (step, std::move (directory));

        if (recent.size() > mostOpen)
            recent.pop_front();

        return *recent.back().second;
    }

    bool isPreset (const std::string& name) const
    {
        const auto text = juce::String::fromUTF8 (name.data(), static_cast<int> (name.size()));
        return std::any_of (extensions.begin(), extensions.end(), [&text] (const juce::String& extension)
                            { return text.endsWithIgnoreCase (extension); });
    }

    /** Whether a link in a folder leads to that folder or to one above it, and so would lead here for ever. */
    bool isOnTheWay (size_t step, const Identity& target)
    {
        for (; step != none; step = folders[step].parent)
            if (folders[step].identity == target)
                return true;

        if (! aboveRoot)
        {
            aboveRoot.emplace();
            std::error_code error;

            for (auto path = std::filesystem::canonical (pathFrom (root.folder.getFullPathName().toStdString()), error); ! error && path.has_relative_path();)
            {
                path = path.parent_path();

                if (const auto identity = identityOf (utf8From (path)))
                    aboveRoot->push_back (*identity);
            }
        }

        return std::find (aboveRoot->begin(), aboveRoot->end(), target) != aboveRoot->end();
    }

    PresetFolder& root;
    const juce::StringArray& extensions;
    std::vector<Step> folders;
    std::deque<std::pair<size_t, std::unique_ptr<Directory>>> recent;
    std::optional<std::vector<Identity>> aboveRoot;
    int numEntries = 0;
};

/** The preset at a place in a folder's own flat order, or an empty file; takes the presets that it passes off the index. */
juce::File presetIn (const PresetFolder& folder, int& index)
{
    const auto numFiles = static_cast<int> (folder.files.size());

    if (index < numFiles)
        return index >= 0 ? folder.files[static_cast<size_t> (index)] : juce::File();

    index -= numFiles;

    for (const auto& subfolder : folder.subfolders)
        if (auto file = presetIn (subfolder, index); file != juce::File() || index < 0)
            return file;

    return {};
}

/** findPreset(), with the number of presets in front of the folder. */
int findBehind (const PresetFolder& folder, const juce::File& file, int& numInFront)
{
    if (const auto found = std::find (folder.files.begin(), folder.files.end(), file); found != folder.files.end())
        return numInFront + static_cast<int> (found - folder.files.begin());

    numInFront += static_cast<int> (folder.files.size());

    for (const auto& subfolder : folder.subfolders)
        if (const auto index = findBehind (subfolder, file, numInFront); index >= 0)
            return index;

    return -1;
}

} // namespace

void scanPresets (PresetFolder& folder, const juce::StringArray& extensions)
{
    folder.files.clear();
    folder.subfolders.clear();
    Scan (folder, extensions).run();
}

juce::String shownName (const juce::File& file)
{
    return file.getFileNameWithoutExtension();
}

int countPresets (const PresetFolder& folder)
{
    auto count = static_cast<int> (folder.files.size());

    for (const auto& subfolder : folder.subfolders)
        count += countPresets (subfolder);

    return count;
}

int findPreset (const PresetFolder& folder, const juce::File& file)
{
    auto numInFront = 0;
    return findBehind (folder, file, numInFront);
}

juce::File presetAt (std::initializer_list<const PresetFolder*> folders, int index)
{
    if (index >= 0)
        for (const auto* folder : folders)
            if (auto file = presetIn (*folder, index); file != juce::File())
                return file;

    return {};
}

} // namespace varnel
