// SPDX-License-Identifier: AGPL-3.0-only
#include "ParameterText.h"

#include "Errors.h"
#include "processor/Decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace varnel
{

namespace
{

std::string lowerCase (std::string text)
{
    for (auto& letter : text)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char> (letter - 'A' + 'a');

    return text;
}

std::string trimmed (const std::string& text)
{
    const auto first = text.find_first_not_of (" \t");
    return first == std::string::npos ? std::string() : text.substr (first, text.find_last_not_of (" \t") - first + 1);
}

/** What follows a number of this parameter; nothing where it has no unit. */
std::string unitOf (const Parameter& parameter)
{
    return trimmed (parameter.label);
}

std::string rangeText (const Parameter& parameter)
{
    if (parameter.isSwitch)
        return "0 (off) to 1 (on)";

    return trimmed (numberText (parameter.start) + " to " + numberText (parameter.end) + " " + unitOf (parameter));
}

/** Looks for a parameter by ID or name. @throws UsageError  with the text in front */
size_t parameterNamed (const std::string& name, const std::string& context)
{
    for (size_t i = 0; i < parameterTable.size(); ++i)
        if (lowerCase (name) == lowerCase (parameterTable[i].id) || lowerCase (name) == lowerCase (parameterTable[i].name))
            return i;

    auto list = parameterList();
    list.pop_back();
    throw UsageError (context + ": there is no parameter \"" + name + "\"; there are\n" + list);
}

/** @throws UsageError  with the text in front */
float parseValue (const Parameter& parameter, const std::string& typedName, const std::string& text, const std::string& context)
{
    const auto lower = lowerCase (trimmed (text));

    if (parameter.isSwitch && (lower == "on" || lower == "true" || lower == "yes"))
        return 1.0f;

    if (parameter.isSwitch && (lower == "off" || lower == "false" || lower == "no"))
        return 0.0f;

    const auto* first = lower.c_str();
    const auto* const last = first + lower.size();

    if (*first == '+')
        ++first;

    double value = 0.0;
    const auto [end, error] = readDecimal (first, last, value);
    const auto unit = trimmed ({ end, last });

    if (error != std::errc() || ! std::isfinite (value) || (! unit.empty() && unit != "%" && unit != "db"))
        throw UsageError (context + ": a number is needed after the =" + (parameter.isSwitch ? " (or on, off)" : "") + ", " + rangeText (parameter));

    // A percentage suits all that goes from 0 to 100.
    const auto isPercentage = ! parameter.isSwitch && parameter.end == 100.0f;

    if (! unit.empty() && unit != lowerCase (unitOf (parameter)) && ! (unit == "%" && isPercentage))
        throw UsageError (context + ": " + typedName + " has no such unit as " + unit + "; it goes from " + rangeText (parameter));

    if (value < parameter.start || value > parameter.end)
        throw UsageError (context + ": " + typedName + " goes from " + rangeText (parameter));

    return static_cast<float> (value);
}

std::pair<std::string, std::string> splitAt (const std::string& text, char separator)
{
    const auto at = text.find (separator);
    return at == std::string::npos ? std::pair (trimmed (text), std::string()) : std::pair (trimmed (text.substr (0, at)), trimmed (text.substr (at + 1)));
}

/** A number in which every bit of the seed has a say (S. Vigna's splitmix64, 2015). */
std::uint64_t mixed (std::uint64_t number)
{
    number += 0x9e3779b97f4a7c15u;
    number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9u;
    number = (number ^ (number >> 27)) * 0x94d049bb133111ebu;
    return number ^ (number >> 31);
}

/** The first and the last step of a range, counted from the parameter's start. */
std::pair<double, double> stepsOf (const RandomRange& range)
{
    const auto& parameter = parameterTable[range.index];
    constexpr double tolerance = 1e-4; // of a step, that a decimal misses as a float

    const auto stepOf = [&parameter] (float value)
    {
        return (static_cast<double> (value) - static_cast<double> (parameter.start)) / static_cast<double> (parameter.interval);
    };
    return { std::ceil (stepOf (range.lowest) - tolerance), std::floor (stepOf (range.highest) + tolerance) };
}

} // namespace

std::string numberText (float value)
{
    char text[32];
    return { text, std::to_chars (text, text + sizeof (text), value).ptr };
}

TypedSetting parseSetting (const std::string& text)
{
    const auto context = "--set " + text;
    const auto [name, value] = splitAt (text, '=');
    const auto index = parameterNamed (name, context);
    return { index, name, parseValue (parameterTable[index], name, value, context) };
}

RandomRange parseRandomRange (const std::string& text)
{
    const auto context = "--random " + text;
    const auto [name, range] = splitAt (text, '=');
    const auto index = parameterNamed (name, context);
    const auto& parameter = parameterTable[index];

    if (range.find (':') == std::string::npos)
        throw UsageError (context + ": two values with a colon between them are needed after the =, as in " + name + "=" + numberText (parameter.start) + ":" + numberText (parameter.end));

    const auto [low, high] = splitAt (range, ':');
    const RandomRange result { index, name, parseValue (parameter, name, low, context), parseValue (parameter, name, high, context) };

    if (result.lowest > result.highest)
        throw UsageError (context + ": the lower value comes first");

    if (const auto [first, last] = stepsOf (result); first > last)
        throw UsageError (context + ": no step of " + name + " lies between them; it moves by " + numberText (parameter.interval));

    return result;
}

float drawValue (const RandomRange& range, std::uint64_t seed, const std::string& fileName)
{
    const auto& parameter = parameterTable[range.index];
    const auto [first, last] = stepsOf (range);

    // Fowler, Noll and Vo's hash (1991) of the name, then the parameter, so that no draw depends on another
    std::uint64_t hash = 0xcbf29ce484222325u;

    for (const auto letter : fileName + '\0' + parameter.id)
        hash = (hash ^ static_cast<unsigned char> (letter)) * 0x100000001b3u;

    const auto uniform = static_cast<double> (mixed (mixed (seed) ^ hash) >> 11) * 0x1p-53;
    const auto step = first + std::floor (uniform * (last - first + 1.0));
    return static_cast<float> (static_cast<double> (parameter.start) + step * static_cast<double> (parameter.interval));
}

std::string parameterList()
{
    std::string text;

    const auto row = [&text] (const std::string& id, const std::string& name, const std::string& range, const std::string& step, const std::string& defaultValue)
    {
        const auto padded = [] (std::string cell, size_t width)
        {
            cell.resize (std::max (cell.size() + 1, width), ' ');
            return cell;
        };
        text += "  " + padded (id, 18) + padded (name, 13) + padded (range, 20) + padded (step, 6) + defaultValue + "\n";
    };

    row ("ID", "name", "range", "step", "default");

    for (const auto& parameter : parameterTable)
        row (parameter.id, parameter.name, rangeText (parameter), numberText (parameter.interval), numberText (parameter.defaultValue));

    return text;
}

} // namespace varnel
