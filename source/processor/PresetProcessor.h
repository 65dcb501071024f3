// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_data_structures/juce_data_structures.h>

namespace varnel
{

class PresetManager;

/** What presets are loaded into: the processor, as PresetManager sees it, under the name PresetManager::Processor.

    The four members belong to the message thread. A host that restores a state on another thread has the
    change of the current preset handed over to it.
*/
class PresetProcessor
{
public:
    virtual ~PresetProcessor() = default;

    /** A handle on the live parameter tree, not a copy, with every value that a parameter has by now. Message thread,
        and only while no other thread restores or asks for a state; copyParameterState() is free of that. */
    virtual juce::ValueTree getParameterState() = 0;

    /** A copy of the parameter tree, with every value that a parameter has by now. Any thread. */
    virtual juce::ValueTree copyParameterState() = 0;

    /** Takes the values that a tree holds; what it lacks stays as it is. Every parameter's present value then goes to
        the engine. Any thread. */
    virtual void setParameterState (const juce::ValueTree& tree) = 0;

    /** Takes the values of a binary record. A file that cannot be opened changes nothing. Message thread. */
    virtual void loadBinaryPreset (const juce::File& file) = 0;

    /** Sets the name that the parameter tree, and so the host's chunk, keeps. Any thread. */
    virtual void setPresetName (const juce::String& name) = 0;

    juce::File currentPresetFile;                         ///< where the values came from; empty if that is not known
    juce::String currentPresetName;                       ///< from a binary record, with a leading "/"
    juce::ApplicationProperties* settingsStore = nullptr; ///< the user's settings, not owned
    PresetManager* presetManager = nullptr;               ///< set and cleared by the manager itself

protected:
    /** Tells the listeners of the attached manager, if there is one, that the current preset is another. Message thread.
        It stands beside the manager, so that a processor need not know what a manager is. */
    void tellCurrentPresetChanged();
};

} // namespace varnel
