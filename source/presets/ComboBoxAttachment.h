// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "PresetManager.h"

namespace varnel
{

/** Fills a combo box with the presets and their commands, keeps the name that it shows in step with the current preset,
    and loads what is chosen.

    An item's id is the preset's flat index plus 1. The row of a folder that holds the current preset has the id
    ComboBoxImproved::onTheWay, that of any other folder 0; commands and spacers have -1.

    Message thread.
*/
class PresetManager::ComboBoxAttachment : private juce::ComboBox::Listener,
                                          private PresetManager::Listener,
                                          private juce::AsyncUpdater
{
public:
    /** Neither is owned; both have to outlive this. */
    ComboBoxAttachment (PresetManager& managerToUse, juce::ComboBox& comboBoxToUse);
    ~ComboBoxAttachment() override;

private:
    struct MenuBuilder;

    void comboBoxChanged (juce::ComboBox* box) override;
    void presetListChanged() override;
    void currentPresetChanged() override;
    void handleAsyncUpdate() override;

    void addCommands (MenuBuilder& builder);
    void choose (const juce::String& title, const juce::File& initial, const juce::String& patterns, int browserFlags, void (ComboBoxAttachment::*chosen) (const juce::File&));
    void load (const juce::File& file);
    void changeUserFolder (const juce::File& folder);

    PresetManager* const manager;
    juce::ComboBox* const comboBox;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ComboBoxAttachment)
};

} // namespace varnel
