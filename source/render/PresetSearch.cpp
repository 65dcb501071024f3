// SPDX-License-Identifier: AGPL-3.0-only
#include "PresetSearch.h"

#include "Errors.h"
#include "processor/Files.h"
#include "processor/Places.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <vector>

namespace varnel
{

namespace
{

struct Entry
{
    juce::String path; ///< shown names from the root of the tree down, with "/" between them
    juce::String name; ///< what is printed, which is no other's
    juce::File file;
};

using Entries = std::vector<Entry>;

void append (Entries& entries, const PresetFolder& folder, const juce::String& path = {})
{
    for (const auto& file : folder.files)
        entries.push_back ({ path + shownName (file), {}, file });

    for (const auto& subfolder : folder.subfolders)
        append (entries, subfolder, path + shownName (subfolder.folder) + "/");
}

/** The presets of several trees in their flat order, tree by tree. */
std::vector<Entries> entriesOf (std::initializer_list<const PresetFolder*> roots)
{
    std::vector<Entries> trees;
    std::map<juce::String, int> numWithPath, numWithFile;

    const auto fileIn = [] (const PresetFolder& root, const Entry& entry)
    { return entry.file.getFullPathName().substring (root.folder.getFullPathName().length() + 1); };

    for (const auto* root : roots)
    {
        append (trees.emplace_back(), *root);

        for (const auto& entry : trees.back())
        {
            ++numWithPath[entry.path];
            ++numWithFile[fileIn (*root, entry)];
        }
    }

    for (auto tree = trees.begin(); const auto* root : roots)
    {
        for (auto& entry : *tree)
        {
            const auto file = fileIn (*root, entry);
            entry.name = numWithPath[entry.path] == 1 ? entry.path : numWithFile[file] == 1 ? file
                                                                                            : entry.file.getFullPathName();
        }

        ++tree;
    }

    return trees;
}

bool fits (const juce::String& path, const juce::String& name, bool ignoreCase)
{
    return ignoreCase ? path.equalsIgnoreCase (name) || path.endsWithIgnoreCase ("/" + name)
                      : path == name || path.endsWith ("/" + name);
}

Entries fitting (const Entries& entries, const juce::String& name)
{
    for (const auto ignoreCase : { false, true })
    {
        Entries found;
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

juce::String quoted (const Entries& entries)
{
    juce::StringArray paths;

    for (const auto& entry : entries)
        paths.add ("\"" + entry.name + "\"");

    return paths.joinIntoString (", ");
}

/** The presets whose names are closest to one that there is not, the closest first. */
Entries nearest (Entries entries, const juce::String& name)
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

    Entries result;

    for (const auto& [r, index] : ranks)
        result.push_back (entries[index]);

    return result;
}

} // namespace

NamedPresets::NamedPresets (juce::ApplicationProperties& settings)
{
    user.folder = getUserPresetFolder (settings);
    factory.folder = getFactoryPresetFolder();

    if (! factory.folder.isDirectory())
        factory.folder = juce::File::getSpecialLocation (juce::File::hostApplicationPath).getSiblingFile (factory.folder.getFileName());

    scanPresets (user);
    scanPresets (factory);
}

juce::File NamedPresets::find (const juce::String& name) const
{
    // A name that begins with "~" is one like any other here: a shell has expanded what it should.
    const auto asPath = juce::File::isAbsolutePath (name) && ! name.startsWithChar ('~') ? juce::File (name) : childOf (juce::File::getCurrentWorkingDirectory(), name);

    if (asPath.exists() && ! asPath.isDirectory())
        return asPath;

    const auto trees = entriesOf ({ &user, &factory });

    for (const auto& entries : trees)
        for (const auto& entry : entries)
            if (entry.name == name)
                return entry.file;

    Entries all;

    for (const auto& entries : trees)
    {
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

juce::String NamedPresets::list() const
{
    juce::String text;
    auto index = 0;
    const auto trees = entriesOf ({ &user, &factory });

    for (auto tree = trees.begin(); const auto* root : { &user, &factory })
    {
        text << root->folder.getFullPathName() << "\n";

        for (const auto& entry : *tree++)
            text << juce::String (index++).paddedLeft (' ', 6) << "  " << entry.name << "\n";
    }

    return text;
}

} // namespace varnel
