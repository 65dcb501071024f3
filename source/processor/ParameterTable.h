// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "engine/ReverbEngine.h"

#include <array>

namespace varnel
{

/** All that is to be known of one control: how hosts and files name it, its values, what it moves. */
struct Parameter
{
    const char* id;     ///< in host state, presets and scripts; never changes
    const char* name;   ///< shown to people
    const char* label;  ///< unit that follows the value; one space where there is none
    float start;        ///< lowest value, in the unit of the label
    float end;          ///< highest value
    float interval;     ///< step between values, counted from start
    float defaultValue; ///< may lie between two steps
    bool isSwitch;      ///< shown as "Off" below 0.5 and "On" from there

    void (ReverbEngine::*apply) (float) noexcept; ///< the engine's setting, which takes a value of this range

    static constexpr std::size_t count = 7;
};

/** The seven controls in host order. This is the only place that states them. */
inline constexpr std::array<Parameter, Parameter::count> parameterTable { {
    { "ReverbSize", "Size", " ", 0.0f, 100.0f, 1.0f, 33.0f, false, &ReverbEngine::setSize },
    { "ReverbMod", "Spin", "%", 0.0f, 100.0f, 1.0f, 33.0f, false, &ReverbEngine::setSpin },
    { "ReverbLo", "Lo", "dB", -12.0f, 12.0f, 0.2f, 0.0f, false, &ReverbEngine::setLow },
    { "ReverbHi", "Hi", "dB", -12.0f, 12.0f, 0.2f, -1.5f, false, &ReverbEngine::setHigh },
    { "Position", "Position", "%", 0.0f, 100.0f, 1.0f, 33.0f, false, &ReverbEngine::setPosition },
    { "Bypass", "Effect", " ", 0.0f, 1.0f, 1.0f, 1.0f, true, &ReverbEngine::setBypass },
    { "ReverbInsertMode", "Insert Mode", " ", 0.0f, 1.0f, 1.0f, 1.0f, true, &ReverbEngine::setInsertMode },
} };

/** The step of a parameter that is nearest to a value within its range: the value that a host, a preset or a session sets it
    to. As juce::NormalisableRange has it, in 32 bits, so a step need not be the float nearest to its decimal. */
constexpr float nearestStep (const Parameter& parameter, float value) noexcept
{
    const auto step = static_cast<float> (static_cast<int> ((value - parameter.start) / parameter.interval + 0.5f));
    const auto nearest = parameter.start + parameter.interval * step;
    return nearest < parameter.end ? nearest : parameter.end;
}

} // namespace varnel
