// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "ParameterState.h"

#include <juce_data_structures/juce_data_structures.h>

namespace varnel
{

class PresetManager;

/** What presets are loaded into: the processor, as PresetManager sees it, under the name PresetManager::Processor.

    Whoever implements it has to give three operations; the others are made of them, and a processor whose tree other
    threads touch as well does better.

    The four members belong to the message thread. A host that restores a state on another thread has the change of the
    current preset handed over to it: walking the listeners of a manager that may be closing, or changing a file's name
    while somebody reads it, would do harm. So currentPresetFile and currentPresetName follow a moment later than the
    parameters then, and not at all if another preset has been loaded by that time.
*/
class PresetProcessor
{
public:
    virtual ~PresetProcessor() = default;

    /** A handle on the live parameter tree, not a copy, with every value that a parameter has by now. It is live until
        the next state or preset, which brings a tree of its own. Message thread, and only while no other thread restores
        or asks for a state; copyParameterState() is free of that. */
    virtual juce::ValueTree getParameterState() = 0;

    /** Takes the values that a tree holds, and the defaults of what it lacks. Every parameter's present value then goes to
        the engine. The tree is read and not kept: the live one is made anew, with nothing in it that is not a parameter's. */
    virtual void setParameterState (const juce::ValueTree& tree) = 0;

    /** Takes the values of a binary record. A file that cannot be opened changes nothing. Message thread. */
    virtual void loadBinaryPreset (const juce::File& file) = 0;

    /** A copy of the parameter tree, with every value that a parameter has by now. */
    virtual juce::ValueTree copyParameterState() { return getParameterState().createCopy(); }

    /** setParameterState(), without the way through a tree. */
    virtual void applyState (const ParameterState& state) { setParameterState (treeFromState (state)); }

    /** Sets the name that the parameter tree, and so the host's chunk, keeps. */
    virtual void setPresetName (const juce::String& name) { getParameterState().setProperty (stateIds::presetName, name, nullptr); }

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
