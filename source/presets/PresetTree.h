// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <initializer_list>
#include <vector>

namespace varnel
{

class PresetManager;

/** A folder and all presets that lie in it, all the way down. A folder without presets stays in the tree. It knows
    nothing of windows, and belongs to one thread. */
struct PresetFolder
{
    PresetManager* owner = nullptr; ///< the manager that shows it, if one does
    juce::File folder;
    std::vector<juce::File> files;        ///< presets directly inside, by name
    std::vector<PresetFolder> subfolders; ///< by name
};

constexpr auto presetFileExtension = ".xml";       ///< the form that is read and written
constexpr auto binaryPresetFileExtension = ".qvz"; ///< the older form, which is read only

/** Reads a folder's presets and subfolders anew, in the order of their shown names: upper case comes before lower, by code point.
    A preset's name ends with one of the extensions, in any letter case.

    What cannot be read is left out, as is what only looks like a file (a pipe, a link to nowhere). A link is what it
    leads to, but a link to a folder on the way down from the root of the disk is not followed. The folders on top are
    read first, and after 100,000 entries nothing more is, so that the scan ends whatever the links. */
void scanPresets (PresetFolder& folder, const juce::StringArray& extensions = { presetFileExtension, binaryPresetFileExtension });

/** The name that people see: of a preset or a folder. */
juce::String shownName (const juce::File& file);

/** How many presets a folder holds, with all below it. */
int countPresets (const PresetFolder& folder);

/** The place of a preset in a folder's flat order, or -1: a folder's files first, then its subfolders, depth first. */
int findPreset (const PresetFolder& folder, const juce::File& file);

/** The preset at a place in the flat order of several folders, one after the other, or an empty file. */
juce::File presetAt (std::initializer_list<const PresetFolder*> folders, int index);

} // namespace varnel
