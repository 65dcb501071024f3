// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "PresetTree.h"
#include "processor/PresetProcessor.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <vector>

namespace varnel
{

/** The presets of a window: the user's and the factory's tree, the current preset, and what is done with it.

    A preset is a file whose name, less its extension, is the name that people see. All presets have a
    place in one flat order: the user's tree, then the factory's; within a tree a folder's files first, then
    its subfolders, depth first. An index is 0-based and counts files alone.

    Everything here is for the message thread. Nothing reports a failure: what cannot be read or written
    leaves things as they were.
*/
class PresetManager
{
public:
    /** What the presets are loaded into. */
    using Processor = PresetProcessor;

    /** Hears of changes, on the message thread. */
    class Listener
    {
    public:
        virtual ~Listener() = default;

        virtual void presetListChanged() {}
        virtual void currentPresetChanged() {}
    };

    /** A node of a tree of presets. */
    using Folder = PresetFolder;

    /** Ties the selector of a window to a manager. @see ComboBoxAttachment.h */
    class ComboBoxAttachment;

    /** Scans both folders and attaches itself to the processor, which has to outlive it. */
    explicit PresetManager (Processor& processorToUse);

    /** Detaches itself, and ends a file chooser that is still open. */
    virtual ~PresetManager();

    /** ".xml", the form that is read and written. */
    virtual juce::String getPresetFileExtension() const;

    /** ".qvz", the older form, which is read only. */
    virtual juce::String getBinaryPresetFileExtension() const;

    /** Reads both folders anew, the user's from where the settings say, and tells the listeners. Takes as long as
        the disk does. */
    void rescan();

    /** Loads the current preset's file into the processor, whatever its extension says about its form. */
    void loadCurrentPreset();

    /** Makes a file the current preset, without loading it, and tells the listeners if it is another. */
    void setCurrentPreset (const juce::File& file);

    /** Writes the present values over the current preset; if that is a factory preset, asks for a new name instead. */
    void savePreset();

    /** Makes a file the current preset and writes the present values into it. Nothing happens without a file name. */
    void writePresetAs (const juce::File& file);

    /** Makes the current preset, if its file exists, the one that new instances start with. */
    void setAsDefaultPreset();

    /** How many presets a folder holds, with all below it. */
    static int countPresets (const Folder& folder);

    /** The place of a preset in a folder's own flat order, or -1. */
    static int findPreset (const Folder& folder, const juce::File& file);

    /** The place of the current preset in the flat order of all, or -1. */
    int indexOfCurrentPreset() const;

    /** The preset at a place in the flat order of all, or an empty file. */
    juce::File presetAt (int index) const;

    /** Loads the next preset in the flat order; the first follows the last. From a preset outside the tree it goes to
        the second one. Tells the listeners either way. */
    void stepToNextPreset();

    /** Loads the one before; the last precedes the first, and any outside the tree. */
    void stepToPreviousPreset();

    /** The file that "Save as.." proposes: the current preset's own place, or the user's folder if that place is the
        factory's or has gone. */
    juce::File proposedFile() const;

    /** The file for a name that somebody has typed. Not every chooser completes a name, and a file without the extension would
        not be found again; the chooser then has not asked about the complete one either, so that is never an old file. */
    juce::File fileToWrite (const juce::File& typed) const;

    /** Opens a chooser for a new file name, and writes the present values into the file that is chosen. */
    void askForNewName (const juce::File& proposal);

    /** Opens a native chooser, in place of any that is open. Nothing is called if the manager goes first. */
    void openChooser (const juce::String& title, const juce::File& initial, const juce::String& patterns, int browserFlags, std::function<void (const juce::File&)> chosen);

    Processor* const processor;
    Folder userRoot, factoryRoot;
    std::vector<Listener*> listeners; ///< not owned, in order of registration

private:
    void stepTo (const juce::File& target);

    std::unique_ptr<juce::FileChooser> fileChooser;

    JUCE_DECLARE_NON_COPYABLE (PresetManager)
};

} // namespace varnel
