// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_data_structures/juce_data_structures.h>

namespace varnel
{

/** The folder of the presets that come with the plug-in, which is never written. On Linux it is below /opt. */
juce::File getFactoryPresetFolder();

/** The folder of the user's own presets: the one that the settings name, if that is a full path, or else the one in
    the user's documents. It need not exist. Message thread. */
juce::File getUserPresetFolder (juce::ApplicationProperties& settings);

/** The preset that a new instance starts with: the one that the settings name, if that is a full path, or else the
    factory's "New Sound.xml". It need not exist. Message thread. */
juce::File getDefaultPresetFile (juce::ApplicationProperties& settings);

/** The file that a stored text names: none unless the text is a full path or begins with "~". Of the characters that
    not every system allows it is cleared, except where only the path with them is there. */
juce::File fileFromPath (const juce::String& path);

} // namespace varnel
