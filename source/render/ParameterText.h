// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "processor/ParameterTable.h"

#include <array>
#include <cstdint>
#include <string>

namespace varnel
{

/** One plain value for each parameter, in host order. */
using ParameterValues = std::array<float, Parameter::count>;

/** A parameter and a value for it, as somebody typed them. */
struct TypedSetting
{
    size_t index = 0;  ///< of the parameter
    std::string typed; ///< the parameter's name as it was typed
    float value = 0.0f;
};

/** A parameter and the values that it may be given by chance. */
struct RandomRange
{
    size_t index = 0;
    std::string typed;
    float lowest = 0.0f, highest = 0.0f;
};

/** Reads "Size=20", "size=20%", "Lo=-3dB", "Insert Mode=off". @throws UsageError  that lists what there is */
TypedSetting parseSetting (const std::string& text);

/** Reads "Size=10:60". @throws UsageError */
RandomRange parseRandomRange (const std::string& text);

/** A value that a file's name and a seed choose from a range, all steps alike likely. The same on every machine. */
float drawValue (const RandomRange& range, std::uint64_t seed, const std::string& fileName);

/** A value in the fewest digits that lead back to it. */
std::string numberText (float value);

/** Names, ranges, steps and defaults of all parameters, a line each. */
std::string parameterList();

} // namespace varnel
