// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "presets/PresetManager.h"

namespace varnel
{

/** Finds a preset as people name it: by the path of a file, by its shown name, or by "Folder/Name". The user's presets
    come first, then the factory's, then those of a build tree. Letter case counts only where it decides between two.
    @throws RenderError  if the name is unknown or fits several; the message lists what is near */
juce::File findPresetByName (const juce::String& name, const PresetManager& presets);

/** All presets in their flat order, one a line: index, and the path that findPresetByName() takes. */
juce::String presetList (const PresetManager& presets);

} // namespace varnel
