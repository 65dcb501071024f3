// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_data_structures/juce_data_structures.h>

namespace varnel
{

/** The keys of the user's settings file. The MIDI map's keys are the decimal indexes of the parameters. */
namespace settingsKeys
{
constexpr auto initialized = "initialized";           ///< int: 1 once an instance has started
constexpr auto defaultPreset = "defaultPreset";       ///< full path of the preset that a new instance starts with
constexpr auto userPresetFolder = "userPresetFolder"; ///< full path
constexpr auto scale = "Scale";                       ///< double: pixels per unit of the window's design
constexpr auto showTooltips = "Show Tooltips";        ///< bool
} // namespace settingsKeys

/** Where the user's settings lie and how they are kept: an XML file in the user's application data folder (on Linux
    ~/.config/Application Support/Ostry/Varnel Reverb/Varnel Reverb.settings). A change is written three seconds later
    or when the settings object goes. Without HOME there are no settings; then, or if saving is not wanted, nothing is written. */
juce::PropertiesFile::Options settingsStorage (bool save);

/** Looks at a settings file before JUCE does, whose parser follows nesting and document types wherever they lead and
    waits for pipes. A file that JUCE cannot read, or not without danger, is put aside, as "(its name).unreadable" with
    a number behind it from the second on, and the settings start empty. Where that cannot be done, or is not a regular
    file, or nothing is to be written, the options come back with no place to read from or write to. */
juce::PropertiesFile::Options checkedStorage (juce::PropertiesFile::Options storage);

} // namespace varnel
