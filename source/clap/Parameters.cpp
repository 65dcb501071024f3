// SPDX-License-Identifier: AGPL-3.0-only
#include "Parameters.h"

#include "processor/Text.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace varnel::clap
{

namespace
{

bool isParameter (clap_id id)
{
    return id < parameterTable.size();
}

float within (const Parameter& row, double value)
{
    return static_cast<float> (std::clamp (value, static_cast<double> (row.start), static_cast<double> (row.end)));
}

} // namespace

Parameters::Parameters (VarnelReverbAudioProcessor& processorToShow, HostBinding& bindingToUse)
    : processor (processorToShow), binding (bindingToUse)
{
}

bool Parameters::describe (uint32_t index, clap_param_info_t& info) const
{
    if (! isParameter (index))
        return false;

    const auto& row = parameterTable[index];
    info = {};
    info.id = index;
    info.flags = CLAP_PARAM_IS_AUTOMATABLE;

    // Hosts draw what is stepped as stairs, and fades of the other controls are to be slopes.
    if (row.isSwitch)
        info.flags |= CLAP_PARAM_IS_STEPPED;

    std::strncpy (info.name, row.name, sizeof (info.name) - 1);
    info.min_value = row.start;
    info.max_value = row.end;
    info.default_value = row.defaultValue;
    return true;
}

bool Parameters::read (clap_id id, double& value) const
{
    if (! isParameter (id))
        return false;

    value = binding.plainValue (id);
    return true;
}

bool Parameters::writeText (clap_id id, double value, char* text, uint32_t size) const
{
    if (! isParameter (id) || ! std::isfinite (value) || text == nullptr || size == 0)
        return false;

    const auto& row = parameterTable[id];
    const auto& parameter = *processor.parameterState.getParameter (processor.paramIds[id]);
    const auto shown = parameter.getText (parameter.convertTo0to1 (within (row, value)), 0) + " " + row.label;
    shown.trimEnd().copyToUTF8 (text, size);
    return true;
}

bool Parameters::readText (clap_id id, const char* text, double& value) const
{
    if (! isParameter (id) || text == nullptr)
        return false;

    const auto number = textFrom (text, std::strlen (text)).getFloatValue();

    if (! std::isfinite (number))
        return false;

    const auto& row = parameterTable[id];
    const auto& range = processor.parameterState.getParameter (processor.paramIds[id])->getNormalisableRange();
    value = range.snapToLegalValue (within (row, number));
    return true;
}

void Parameters::apply (const clap_event_param_value_t& event)
{
    if (isParameter (event.param_id) && std::isfinite (event.value))
        binding.setPlainValue (event.param_id, within (parameterTable[event.param_id], event.value));
}

} // namespace varnel::clap
