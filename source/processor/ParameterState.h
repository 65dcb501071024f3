// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "engine/ParameterTable.h"

#include <juce_data_structures/juce_data_structures.h>

#include <array>
#include <memory>
#include <optional>

namespace varnel
{

/** @file
    What a host chunk, a preset file or an older binary record says about the seven parameters.

    All of these come from outside: from a host, from disk, from strangers. What is read here is bounded
    in size and depth, touches no file but the one that is named, and holds only values that the engine
    may be given. The functions keep no state and may be called on any thread.
*/

/** The identifiers of the parameter tree, in memory and in XML. */
namespace stateIds
{
inline const juce::Identifier root { "ReverbParams" }, parameter { "PARAM" }, id { "id" }, value { "value" }, presetName { "presetName" };
}

/** Seven values on their way to the parameters. */
struct ParameterState
{
    /** Plain values in host order, finite and within their ranges. A parameter without one keeps the value
        that it has. */
    std::array<std::optional<float>, Parameter::count> values;

    /** What the source calls the preset: a path, any other text, or nothing where it says nothing. */
    std::optional<juce::String> presetName;

    /** False for a binary record that ends before its last value. */
    bool isComplete = true;

    /** Takes a value if it is a number, held at the ends of the parameter's range. */
    void setValue (size_t index, double value);
};

/** Nothing that we write is longer, in bytes, or has more angle brackets: one pair an element. XML with
    more of either is refused before it is parsed, since the parser's recursion would end on the stack. */
constexpr size_t longestStateText = 1 << 20;
constexpr int mostStateTags = 256;

/** Parses XML without looking at any other file. @returns nothing for text that is no XML, is too long or too deep,
    brings a document type or processing instructions of its own, or numbers of characters that are none */
std::unique_ptr<juce::XmlElement> parseStateXml (const juce::String& text);

/** Reads and parses a file. @returns nothing also for what is no regular file or cannot be read; never waits for a pipe */
std::unique_ptr<juce::XmlElement> parseStateFile (const juce::File& file);

/** The parameters in an element's children, found by their "id", whatever the tags are called. Text that is no
    number counts as no value; of several values for one parameter the last holds. */
ParameterState stateFromXml (const juce::XmlElement& xml);

/** The same, for a tree in memory. */
ParameterState stateFromTree (const juce::ValueTree& tree);

/** The tree of the values that there are, in host order, with the root "ReverbParams". */
juce::ValueTree treeFromState (const ParameterState& state);

/** The first four bytes of a binary record in a host chunk; in a file they may be missing. */
constexpr char binaryStateMagic[] { 'O', 's', 't', 'r' };

/** Reads a binary record from the stream's present position: the layout of versions before the XML chunk, little-endian.
    What a record lacks at its end reads as zero and as empty text. presetName is always set. */
ParameterState stateFromBinary (juce::InputStream& stream);

/** The same from the start of a file. @returns nothing for what is no regular file or cannot be opened; never waits for a pipe */
std::optional<ParameterState> stateFromBinaryFile (const juce::File& file);

} // namespace varnel
