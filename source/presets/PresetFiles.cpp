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

/** Remembers which folders links have led to. */
class FollowedLinks
{
public:
    /** Whether to enter a folder, which is a link unless it is not. */
    bool mayEnter (const juce::File& folder)
    {
        if (! folder.isSymbolicLink())
            return true;

        std::error_code error;
        const auto target = std::filesystem::canonical (pathOf (folder), error);
        const auto here = std::filesystem::canonical (pathOf (folder.getParentDirectory()), error);

        if (error)
            return false;

        // A link that leads to where it lies, or above, would lead there for ever.
        const auto isAbove = std::mismatch (target.begin(), target.end(), here.begin(), here.end()).first == target.end();
        return ! isAbove && followed.insert (target).second;
    }

private:
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

void scan (PresetManager::Folder& folder, FollowedLinks& links)
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

    auto& subfolders = folder.subfolders;
    subfolders.erase (std::remove_if (subfolders.begin(), subfolders.end(), [&links] (const auto& subfolder)
                                      { return ! links.mayEnter (subfolder.folder); }),
                      subfolders.end());

    for (auto& subfolder : subfolders)
        scan (subfolder, links);
}

} // namespace

void scanPresets (PresetManager::Folder& folder)
{
    FollowedLinks links;
    scan (folder, links);
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
