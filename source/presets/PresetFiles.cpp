// SPDX-License-Identifier: AGPL-3.0-only
#include "PresetFiles.h"

#include "processor/Files.h"
#include "processor/ParameterState.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace varnel
{

namespace
{

std::string pathOf (const juce::File& file)
{
    return file.getFullPathName().toStdString();
}

/** The way down to the folder that is being scanned, and where links have led. */
class Trail
{
public:
    /** Whether to go into a folder, which is a link unless it is not. */
    bool mayEnter (const juce::File& folder)
    {
        if (! folder.isSymbolicLink())
            return true;

        const auto target = realPath (folder);

        // A link that leads to a folder on the way here, or above one, would lead here for ever.
        const auto isAbove = [&target] (const auto& onTheWay)
        { return std::mismatch (target.begin(), target.end(), onTheWay.begin(), onTheWay.end()).first == target.end(); };

        return ! target.empty() && std::none_of (way.begin(), way.end(), isAbove) && followed.insert (target).second;
    }

    void enter (const juce::File& folder) { way.push_back (realPath (folder)); }
    void leave() { way.pop_back(); }

private:
    static std::filesystem::path realPath (const juce::File& file)
    {
        std::error_code error;
        auto path = std::filesystem::canonical (pathOf (file), error);
        return error ? std::filesystem::path() : path;
    }

    std::vector<std::filesystem::path> way;
    std::set<std::filesystem::path> followed;
};

/** Sorts by what a key function says of each element; by the full path where that is the same. */
template <typename Element, typename FileOf>
void sortByName (std::vector<Element>& elements, FileOf fileOf)
{
    struct Entry
    {
        juce::String name, path;
        Element element;
    };

    std::vector<Entry> entries;
    entries.reserve (elements.size());

    for (auto& element : elements)
    {
        const juce::File& file = fileOf (element);
        entries.push_back ({ file.getFileNameWithoutExtension(), file.getFullPathName(), std::move (element) });
    }

    std::sort (entries.begin(), entries.end(), [] (const Entry& a, const Entry& b)
               {
        const auto order = a.name.compare (b.name);
        return order != 0 ? order < 0 : a.path.compare (b.path) < 0; });

    std::transform (entries.begin(), entries.end(), elements.begin(), [] (Entry& entry)
                    { return std::move (entry.element); });
}

void scan (PresetManager::Folder& folder, Trail& trail)
{
    folder.files.clear();
    folder.subfolders.clear();

    // Not JUCE's iterator: it trusts names to be UTF-8. A name that is not cannot be shown anyway.
    std::error_code error;

    for (std::filesystem::directory_iterator entry (pathOf (folder.folder), error), end; ! error && entry != end; entry.increment (error))
    {
        const auto name = entry->path().filename().string();

        if (! isUtf8 (name.data(), name.size()))
            continue;

        const auto file = folder.folder.getChildFile (textFrom (name));
        std::error_code gone;

        if (entry->is_directory (gone))
            folder.subfolders.push_back ({ folder.owner, file, {}, {} });
        else if (entry->is_regular_file (gone) && (file.hasFileExtension (folder.owner->getPresetFileExtension()) || file.hasFileExtension (folder.owner->getBinaryPresetFileExtension())))
            folder.files.push_back (file);
    }

    sortByName (folder.files, [] (const juce::File& file) -> const juce::File&
                { return file; });
    sortByName (folder.subfolders, [] (const PresetManager::Folder& subfolder) -> const juce::File&
                { return subfolder.folder; });

    trail.enter (folder.folder);
    auto& subfolders = folder.subfolders;
    subfolders.erase (std::remove_if (subfolders.begin(), subfolders.end(), [&trail] (const auto& subfolder)
                                      { return ! trail.mayEnter (subfolder.folder); }),
                      subfolders.end());

    for (auto& subfolder : subfolders)
        scan (subfolder, trail);

    trail.leave();
}

} // namespace

void scanPresets (PresetManager::Folder& folder)
{
    Trail trail;
    scan (folder, trail);
}

void loadPreset (PresetManager::Processor& processor, const juce::File& file)
{
    if (const auto xml = parseStateFile (file); xml != nullptr && xml->hasAttribute (stateIds::presetName))
    {
        auto state = stateFromXml (*xml);
        state.presetName = file.getFullPathName();
        processor.setParameterState (treeFromState (state));
    }
    else if (file.exists())
    {
        processor.loadBinaryPreset (file);
    }
}

juce::Result writePreset (const juce::ValueTree& state, const juce::File& file)
{
    const auto xml = state.createXml();
    const auto text = xml != nullptr ? xml->toString() : juce::String();
    return writeWhole (file, text.toRawUTF8(), text.getNumBytesAsUTF8());
}

} // namespace varnel
