// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "PresetManager.h"

namespace varnel
{

/** Fills a folder with the presets and folders that lie in it, all the way down, in the order of their names.

    Upper case comes before lower, by code point. What cannot be read is left out, as is what only looks like a
    file (a pipe, a link to nowhere). A link to a folder is followed unless it leads back to where it lies, or
    has been followed before, so the scan ends whatever the links. */
void scanPresets (PresetManager::Folder& folder);

/** Loads a preset of either form into a processor, by what the file holds and not by its extension: XML whose root has
    a "presetName", or else a binary record. A file that is not there changes nothing. */
void loadPreset (PresetManager::Processor& processor, const juce::File& file);

/** Writes a parameter tree as an XML preset, whole or not at all. @see writeWhole */
juce::Result writePreset (const juce::ValueTree& state, const juce::File& file);

} // namespace varnel
