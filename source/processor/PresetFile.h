// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "BinaryRecord.h"
#include "PresetProcessor.h"

#include <optional>

namespace varnel
{

/** What a file that may be a preset holds. */
struct PresetFile
{
    enum class Form
    {
        preset,    ///< XML whose root has a "presetName"
        otherXml,  ///< any other XML
        noXml,     ///< a binary record, or nothing that anybody knows
        unreadable ///< no regular file, not to be opened, or XML that must not be parsed
    };

    Form form = Form::unreadable;
    ParameterState state; ///< of XML
    juce::String problem; ///< why it is unreadable, for people, as in "(the file) ..."
};

/** Looks into a file. The form is told by what it holds, not by its extension. Never waits for a pipe. Any thread. */
PresetFile readPresetFile (const juce::File& file);

/** Reads a file as a binary record, whatever it holds. @returns nothing for what is no regular file or cannot be opened */
std::optional<BinaryRecord> readBinaryRecordFile (const juce::File& file);

/** Writes a parameter tree as an XML preset, whole or not at all. @see writeWhole */
juce::Result writePresetFile (const juce::ValueTree& state, const juce::File& file);

/** Loads a file into a processor: a preset, or else a binary record. What is unreadable, or not there, changes nothing.
    Message thread. @returns why it changed nothing */
juce::Result loadPreset (PresetProcessor& processor, const juce::File& file);

} // namespace varnel
