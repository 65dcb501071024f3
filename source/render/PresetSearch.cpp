// SPDX-License-Identifier: AGPL-3.0-only
#include "PresetSearch.h"

#include "Errors.h"
#include "presets/PresetFiles.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace varnel
{

namespace
{

struct Entry
{
    juce::String path; ///< shown names from the root of the tree down, with "/" between them
    juce::File file;
};

void append (std::vector<Entry>& entries, const PresetManager::Folder& folder, const juce::String& path = {})
{
    for (const auto& file : folder.files)
        entries.push_back ({ path + file.getFileNameWithoutExtension(), file });

    for (const auto& subfolder : folder.subfolders)
        append (entries, subfolder, path + subfolder.folder.getFileNameWithoutExtension() + "/");
}

/** The factory's presets, or in a build tree, where none need be installed, the ones beside the program. */
PresetManager::Folder factoryPresets (const PresetManager& presets)
{
    if (presets.factoryRoot.folder.isDirectory())
        return presets.factoryRoot;

    auto besideProgram = juce::File::getSpecialLocation (juce::File::hostApplicationPath).getSiblingFile (presets.factoryRoot.folder.getFileName());
    PresetManager::Folder folder { presets.factoryRoot.owner, besideProgram, {}, {} };
    scanPresets (folder);
    return folder;
}

bool fits (const juce::String& path, const juce::String& name, bool ignoreCase)
{
    return ignoreCase ? path.equalsIgnoreCase (name) || path.endsWithIgnoreCase ("/" + name)
                      : path == name || path.endsWith ("/" + name);
}

std::vector<Entry> fitting (const std::vector<Entry>& entries, const juce::String& name)
{
    for (const auto ignoreCase : { false, true })
    {
        std::vector<Entry> found;
        std::copy_if (entries.begin(), entries.end(), std::back_inserter (found), [&] (const Entry& entry)
                      { return fits (entry.path, name, ignoreCase); });

        if (! found.empty())
            return found;
    }

    return {};
}

/** How many letters have to be put in, left out or exchanged to make one text of another (V. Levenshtein, 1965). */
size_t distance (const juce::String& a, const juce::String& b)
{
    std::vector<size_t> row (static_cast<size_t> (b.length()) + 1);
    std::iota (row.begin(), row.end(), size_t { 0 });

    for (auto inA = a.getCharPointer(); ! inA.isEmpty(); ++inA)
    {
        auto diagonal = row[0]++;
        auto inB = b.getCharPointer();

        for (size_t i = 1; i < row.size(); ++i, ++inB)
            diagonal = std::exchange (row[i], std::min ({ row[i] + 1, row[i - 1] + 1, diagonal + (*inA == *inB ? 0u : 1u) }));
    }

    return row.back();
}

juce::String quoted (const std::vector<Entry>& entries)
{
    juce::StringArray paths;

    for (const auto& entry : entries)
        paths.add ("\"" + entry.path + "\"");

    return paths.joinIntoString (", ");
}

/** The presets whose names are closest to one that there is not, the closest first. */
std::vector<Entry> nearest (std::vector<Entry> entries, const juce::String& name)
{
    constexpr size_t most = 5;
    const auto wanted = name.fromLastOccurrenceOf ("/", false, false).toLowerCase();

    const auto rank = [&wanted] (const Entry& entry)
    {
        const auto shown = entry.path.fromLastOccurrenceOf ("/", false, false).toLowerCase();
        return wanted.isNotEmpty() && shown.contains (wanted) ? size_t { 0 } : distance (shown, wanted);
    };

    std::vector<std::pair<size_t, size_t>> ranks;

    for (size_t i = 0; i < entries.size(); ++i)
        if (const auto r = rank (entries[i]); r <= static_cast<size_t> (wanted.length()) / 2)
            ranks.emplace_back (r, i);

    std::sort (ranks.begin(), ranks.end());
    ranks.resize (std::min (ranks.size(), most));

    std::vector<Entry> result;

    for (const auto& [r, index] : ranks)
        result.push_back (entries[index]);

    return result;
}

} // namespace

juce::File findPresetByName (const juce::String& name, const PresetManager& presets)
{
    const auto asPath = juce::File::getCurrentWorkingDirectory().getChildFile (name);

    if (asPath.exists() && ! asPath.isDirectory())
        return asPath;

    std::vector<Entry> all;

    for (const auto& root : { presets.userRoot, factoryPresets (presets) })
    {
        std::vector<Entry> entries;
        append (entries, root);
        const auto found = fitting (entries, name);

        if (found.size() == 1)
            return found.front().file;

        if (found.size() > 1)
            throw RenderError ("preset \"" + name + "\": several have this name: " + quoted (found));

        all.insert (all.end(), entries.begin(), entries.end());
    }

    const auto near = nearest (all, name);
    throw RenderError ("preset \"" + name + "\": there is no such file or preset"
                       + (near.empty() ? "; --list-presets prints all that there are" : "; near it: " + quoted (near)));
}

juce::String presetList (const PresetManager& presets)
{
    juce::String text;
    auto index = 0;

    for (const auto& root : { presets.userRoot, factoryPresets (presets) })
    {
        std::vector<Entry> entries;
        append (entries, root);
        text << root.folder.getFullPathName() << "\n";

        for (const auto& entry : entries)
            text << juce::String (index++).paddedLeft (' ', 6) << "  " << entry.path << "\n";
    }

    return text;
}

} // namespace varnel
