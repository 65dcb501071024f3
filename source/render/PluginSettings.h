// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "ParameterText.h"
#include "processor/HostBinding.h"

#include <filesystem>
#include <vector>

namespace varnel
{

/** A preset's name, which no other has, and its file. */
struct PresetEntry
{
    std::string name, file;
};

/** The plug-in's parameters as a host would set, store and restore them. The message thread. */
class PluginSettings
{
public:
    /** All at their defaults, whatever the user's own settings are. */
    PluginSettings();

    /** Restores what a host once stored. @throws RenderError */
    void loadState (const std::string& file);

    /** Loads a preset by its name, number or path. @throws RenderError */
    void loadPreset (const std::string& name);

    /** Sets a parameter. @returns what became of a value between two steps, if it was one */
    std::optional<std::string> set (const TypedSetting& setting);

    /** Sets all of them, as they once were. */
    void set (const ParameterValues& values);

    ParameterValues values() const;

    /** @throws RenderError */
    void saveState (const std::string& file) const;
    void savePreset (const std::string& file);

    /** All presets, in the order of their numbers, and the same for people to read. */
    std::vector<PresetEntry> presets();
    std::string presetList();

private:
    void setTo (size_t index, float value);

    VarnelReverbAudioProcessor processor { VarnelReverbAudioProcessor::UserSettings::ignored };
    HostBinding binding { processor };
};

} // namespace varnel
