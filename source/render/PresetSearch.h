// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "presets/PresetTree.h"

#include <juce_data_structures/juce_data_structures.h>

namespace varnel
{

/** The presets that people can name: the user's, and the factory's, or in a build tree, where none need be installed, the
    ones beside the program. */
struct NamedPresets
{
    /** Reads both folders. */
    explicit NamedPresets (juce::ApplicationProperties& settings);

    /** Finds a preset by the path of a file, by a name as list() prints it, by its shown name or by "Folder/Name". Of
        several with one shown name the user's come first. Letter case counts only where it decides between two.
        @throws RenderError  if the name is unknown or fits several; the message lists what is near */
    juce::File find (const juce::String& name) const;

    /** All presets in their flat order, one a line: index, and a name that only this preset has: the shown one, or where
        several share that, the file's. */
    juce::String list() const;

    PresetFolder user, factory;
};

} // namespace varnel
