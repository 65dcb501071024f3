// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "ParameterTable.h"

#include <juce_data_structures/juce_data_structures.h>

#include <array>
#include <optional>

namespace varnel
{

/** The identifiers of the parameter tree, in memory and in XML. */
namespace stateIds
{
inline const juce::Identifier root { "ReverbParams" }, parameter { "PARAM" }, id { "id" }, value { "value" }, presetName { "presetName" };
}

/** What a host's chunk, a preset or an older binary record says about the seven parameters: the one form that all of
    them become, and from which the parameters are set. Whatever the source, it holds only values that the engine may be
    given. The functions here keep no state and may be called on any thread. */
struct ParameterState
{
    /** Plain values in host order, finite and within their ranges; the default of what the source does not say. */
    std::array<float, Parameter::count> values = defaults();

    /** What the source calls the preset: a path, any other text, or nothing where it says nothing. */
    std::optional<juce::String> presetName;

    /** Takes a value, held at the ends of the parameter's range; for what is not finite, the default. */
    void setValue (size_t index, double value);

    static std::array<float, Parameter::count> defaults();
};

/** The parameters in an element's children, found by their "id", whatever the tags are called. A "value" is read as a
    number, 0 where it is none; a child without one stands for the default. Of several children for one parameter the
    last holds. */
ParameterState stateFromXml (const juce::XmlElement& xml);

/** The same, for a tree in memory. */
ParameterState stateFromTree (const juce::ValueTree& tree);

/** The tree of all values, in host order, with the root "ReverbParams". */
juce::ValueTree treeFromState (const ParameterState& state);

} // namespace varnel
