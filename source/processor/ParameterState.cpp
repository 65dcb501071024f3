// SPDX-License-Identifier: AGPL-3.0-only
#include "ParameterState.h"

#include "Text.h"

#include <algorithm>
#include <cmath>

namespace varnel
{

namespace
{

double numberIn (const juce::var& value)
{
    return value.isString() ? numberIn (value.toString()) : static_cast<double> (value);
}

/** Sets the parameter that a child names, if it names one. */
void take (ParameterState& state, const juce::String& id, const std::optional<double>& value)
{
    for (size_t i = 0; i < parameterTable.size(); ++i)
        if (id == parameterTable[i].id)
            state.setValue (i, value.value_or (parameterTable[i].defaultValue));
}

} // namespace

std::array<float, Parameter::count> ParameterState::defaults()
{
    std::array<float, Parameter::count> result {};
    std::transform (parameterTable.begin(), parameterTable.end(), result.begin(), [] (const Parameter& parameter)
                    { return parameter.defaultValue; });
    return result;
}

void ParameterState::setValue (size_t index, double value)
{
    const auto& parameter = parameterTable[index];
    values[index] = std::isfinite (value) ? static_cast<float> (std::clamp (value, static_cast<double> (parameter.start), static_cast<double> (parameter.end)))
                                          : parameter.defaultValue;
}

ParameterState stateFromXml (const juce::XmlElement& xml)
{
    ParameterState state;

    if (xml.hasAttribute (stateIds::presetName))
        state.presetName = xml.getStringAttribute (stateIds::presetName);

    for (const auto* child : xml.getChildIterator())
        take (state,
              child->getStringAttribute (stateIds::id),
              child->hasAttribute (stateIds::value) ? std::optional (numberIn (child->getStringAttribute (stateIds::value))) : std::nullopt);

    return state;
}

ParameterState stateFromTree (const juce::ValueTree& tree)
{
    ParameterState state;

    if (tree.hasProperty (stateIds::presetName))
        state.presetName = tree.getProperty (stateIds::presetName).toString();

    for (const auto& child : tree)
        take (state,
              child.getProperty (stateIds::id).toString(),
              child.hasProperty (stateIds::value) ? std::optional (numberIn (child.getProperty (stateIds::value))) : std::nullopt);

    return state;
}

juce::ValueTree treeFromState (const ParameterState& state)
{
    juce::ValueTree tree (stateIds::root);

    if (state.presetName)
        tree.setProperty (stateIds::presetName, *state.presetName, nullptr);

    for (size_t i = 0; i < Parameter::count; ++i)
        tree.appendChild ({ stateIds::parameter, { { stateIds::id, parameterTable[i].id }, { stateIds::value, state.values[i] } } }, nullptr);

    return tree;
}

} // namespace varnel
