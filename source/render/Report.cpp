// SPDX-License-Identifier: AGPL-3.0-only
#include "Report.h"

#include "Paths.h"
#include "processor/Text.h"

#include <cmath>
#include <cstdio>

namespace varnel
{

namespace
{

std::string formatted (const char* format, double number)
{
    char text[64];
    std::snprintf (text, sizeof (text), format, number);
    return text;
}

std::string decibels (double peak)
{
    return peak > 0.0 ? formatted ("%.1f dBFS", 20.0 * std::log10 (peak)) : "silent";
}

/** JSON has no number for silence. */
Json decibelsObject (double peak)
{
    return peak > 0.0 ? Json (std::round (2000.0 * std::log10 (peak)) / 100.0) : Json (nullptr);
}

/** A float as the decimal that stands for it, so that people can read it and programs get it back. */
double decimalOf (float value)
{
    return std::stod (numberText (value));
}

} // namespace

std::string summaryLine (const Job& job, const RenderSummary& summary)
{
    return (job.output == standardStream ? "standard output" : shown (job.output.filename())) + ": " + formatted ("%.2f s", summary.seconds()) + formatted (" (%.2f s of it tail)", summary.tailSeconds())
           + ", peak in " + decibels (summary.peakIn) + ", out " + decibels (summary.peakOut)
           + formatted (", %.0f times real time", summary.seconds() / std::max (summary.elapsedSeconds, 1e-3));
}

Json summaryObject (const Job& job, const RenderSummary& summary)
{
    Json object;
    object["input"] = job.input.empty() ? Json (nullptr) : jsonOf (job.input);
    object["output"] = jsonOf (job.output);
    object["format"] = nameOf (summary.container).option;
    object["bits"] = nameOf (summary.encoding).option;
    object["channels"] = summary.numChannels;
    object["sampleRate"] = summary.sampleRate;
    object["frames"] = summary.numFrames;
    object["seconds"] = summary.seconds();
    object["tailSeconds"] = summary.tailSeconds();
    object["tailEnded"] = summary.tailEnded;
    object["peakIn"] = decibelsObject (summary.peakIn);
    object["peakOut"] = decibelsObject (summary.peakOut);
    object["gain"] = decibelsObject (summary.gain);
    object["clipped"] = summary.numClipped;
    object["replaced"] = summary.numReplaced;
    object["elapsedSeconds"] = summary.elapsedSeconds;
    object["settings"] = jsonOf (job.values);
    object["notes"] = summary.notes;
    return object;
}

Json jsonOf (const std::filesystem::path& path)
{
    const auto& bytes = path.native();

    if (isUtf8 (bytes.data(), bytes.size()))
        return bytes;

    auto array = Json::array();

    for (const auto byte : bytes)
        array.push_back (static_cast<int> (static_cast<unsigned char> (byte)));

    return array;
}

std::filesystem::path pathOf (const Json& json)
{
    if (json.is_string())
        return json.get<std::string>();

    std::string bytes;

    for (const auto& byte : json)
        bytes.push_back (static_cast<char> (byte.get<unsigned char>()));

    return bytes;
}

Json jsonOf (const ParameterValues& values)
{
    Json object;

    for (size_t i = 0; i < values.size(); ++i)
        object[parameterTable[i].id] = decimalOf (values[i]);

    return object;
}

std::string valueList (const ParameterValues& values)
{
    std::string text;

    for (size_t i = 0; i < values.size(); ++i)
        text += std::string (parameterTable[i].id) + "=" + numberText (values[i]) + "\n";

    return text;
}

Json parametersObject()
{
    auto all = Json::array();

    for (const auto& parameter : parameterTable)
    {
        Json object;
        object["id"] = parameter.id;
        object["name"] = parameter.name;
        object["unit"] = juce::String (parameter.label).trim().toStdString();
        object["lowest"] = decimalOf (parameter.start);
        object["highest"] = decimalOf (parameter.end);
        object["step"] = decimalOf (parameter.interval);
        object["default"] = decimalOf (parameter.defaultValue);
        object["switch"] = parameter.isSwitch;
        all.push_back (object);
    }

    return all;
}

std::string lineOf (const Json& json)
{
    return json.dump (-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace varnel
