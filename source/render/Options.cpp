// SPDX-License-Identifier: AGPL-3.0-only
#include "Options.h"

#include "Errors.h"
#include "processor/ParameterTable.h"
#include "processor/Text.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <iostream>

namespace varnel
{

namespace
{

/** A parameter's value as people write it: no more places than its step has. */
juce::String valueText (const Parameter& parameter, float value)
{
    if (parameter.isSwitch)
        return value < 0.5f ? "0 (Off)" : "1 (On)";

    return juce::String (value, parameter.interval < 1.0f ? 1 : 0);
}

juce::String rangeText (const Parameter& parameter)
{
    return valueText (parameter, parameter.start) + " to "
           + (valueText (parameter, parameter.end) + " " + parameter.label).trimEnd();
}

juce::String parameterList()
{
    juce::String text;
    const auto row = [&text] (const juce::String& id, const juce::String& name, const juce::String& range, const juce::String& step, const juce::String& defaultValue)
    {
        text << "  " << id.paddedRight (' ', 18) << name.paddedRight (' ', 13) << range.paddedRight (' ', 20) << step.paddedRight (' ', 6) << defaultValue << "\n";
    };

    row ("ID", "name", "range", "step", "default");

    for (const auto& parameter : parameterTable)
        row (parameter.id,
             parameter.name,
             rangeText (parameter),
             juce::String (parameter.interval, parameter.interval < 1.0f ? 1 : 0),
             // A default may lie between two steps, so it keeps its own places.
             parameter.isSwitch ? valueText (parameter, parameter.defaultValue) : juce::String (parameter.defaultValue));

    return text;
}

/** @throws UsageError  that lists what there is */
std::pair<juce::String, float> parseSetting (const juce::String& text)
{
    const auto name = text.upToFirstOccurrenceOf ("=", false, false).trim();
    const auto valueAsText = text.fromFirstOccurrenceOf ("=", false, false).trim();

    for (const auto& parameter : parameterTable)
    {
        if (! name.equalsIgnoreCase (parameter.id) && ! name.equalsIgnoreCase (parameter.name))
            continue;

        if (parameter.isSwitch && (valueAsText.equalsIgnoreCase ("on") || valueAsText.equalsIgnoreCase ("off")))
            return { parameter.id, valueAsText.equalsIgnoreCase ("on") ? 1.0f : 0.0f };

        double value = 0.0;

        if (valueAsText.isEmpty() || ! CLI::detail::lexical_cast (valueAsText.toStdString(), value) || ! std::isfinite (value))
            throw UsageError ("--set " + text + ": a number is needed after the ="
                              + (parameter.isSwitch ? " (or on, off)" : "") + ", " + rangeText (parameter));

        if (value < parameter.start || value > parameter.end)
            throw UsageError ("--set " + text + ": " + parameter.id + " goes from " + rangeText (parameter));

        return { parameter.id, static_cast<float> (value) };
    }

    throw UsageError ("--set " + text + ": there is no parameter \"" + name + "\"; there are\n" + parameterList().trimEnd());
}

juce::File fileFor (const std::string& path)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile (textFrom (path));
}

} // namespace

std::optional<Options> parseOptions (int argc, const char* const* argv)
{
    Options options;
    std::string input, output, tail = "auto";
    std::string state, preset, saveState, savePreset;
    std::vector<std::string> settings;
    double impulseSeconds = 0.0;
    int bits = 0;
    bool listParameters = false;

    CLI::App app { "Puts Varnel Reverb on an audio file (WAV, AIFF, FLAC or Ogg Vorbis; the output's extension\n"
                   "chooses its format), or writes the reverb's impulse response.",
                   "varnel-render" };

    app.footer ("Examples:\n"
                "  varnel-render voice.wav wet.wav\n"
                "  varnel-render --set Size=80 --set Hi=-6 --set \"Insert Mode=off\" drums.flac hall.wav\n"
                "  varnel-render --preset \"Halls/Great Hall\" voice.wav wet.wav\n"
                "  varnel-render --state session.chunk --save-preset \"My Hall.xml\"\n"
                "  varnel-render --impulse 4 --rate 96000 --set ReverbSize=60 response.wav\n"
                "\n"
                "Exit status: 0 done, 1 a file would not do, 2 wrong usage.");

    app.add_option ("INPUT", input, "Audio file to read; none with --impulse");
    app.add_option ("OUTPUT", output, "Audio file to write; it appears whole or not at all");

    const auto presetOption = app.add_option ("--preset", preset, "Start from a preset: its name, Folder/Name, or a file's path; looked for among the user's presets, then the factory's");
    presetOption->type_name ("NAME");

    const auto stateOption = app.add_option ("--state", state, "Start from what a host stored: a state chunk or a binary record in a file");
    stateOption->type_name ("FILE")->excludes (presetOption);

    const auto set = app.add_option ("--set", settings, "Set a parameter, by ID or name; may be repeated, and comes last");
    set->type_name ("ID=VALUE")->allow_extra_args (false);

    const auto tailOption = app.add_option ("--tail", tail, "Seconds to go on after the input ends; auto: until both channels stay under -96 dBFS for a second, 60 s at most");
    tailOption->type_name ("SECONDS|auto")->capture_default_str();

    app.add_option ("--block", options.blockSize, "Samples in a block; the result does not depend on it")
        ->type_name ("N")
        ->check (CLI::Range (1, 1 << 20))
        ->capture_default_str();

    const auto bitsOption = app.add_option ("--bits", bits, "Sample format of the output, 32 is float; otherwise the input's own");
    bitsOption->type_name ("16|24|32")->check (CLI::IsMember (std::set<int> { 16, 24, 32 }));

    app.add_flag ("--mono", options.mono, "Keep a mono file mono; without it, it gives a stereo result");

    const auto impulse = app.add_option ("--impulse", impulseSeconds, "Write the impulse response of this length, left and right driven together");
    impulse->type_name ("SECONDS")->check (CLI::Range (0.001, 3600.0));

    app.add_option ("--rate", options.impulseSampleRate, "Sample rate of the impulse response")
        ->type_name ("HZ")
        ->check (CLI::Range (lowestSampleRate, highestSampleRate))
        ->needs (impulse)
        ->capture_default_str();

    tailOption->excludes (impulse);
    const auto saveStateOption = app.add_option ("--save-state", saveState, "Write the settings in force as a host would store them");
    saveStateOption->type_name ("FILE");

    const auto savePresetOption = app.add_option ("--save-preset", savePreset, "Write the settings in force as a preset");
    savePresetOption->type_name ("FILE");

    app.add_flag ("--list-presets", options.listPresets, "Print all presets in their order and stop");
    app.add_flag ("--list-parameters", listParameters, "Print all parameters and stop");
    app.add_flag ("--quiet", options.quiet, "Print errors only");
    app.set_version_flag ("--version", "varnel-render " VARNEL_VERSION);

    try
    {
        app.parse (argc, argv);
    }
    catch (const CLI::Success& request) // --help, --version
    {
        app.exit (request);
        return {};
    }
    catch (const CLI::ParseError& error)
    {
        throw UsageError (textFrom (std::string (error.what())));
    }

    if (listParameters)
    {
        std::cout << parameterList();
        return {};
    }

    for (const auto& setting : settings)
    {
        const auto [id, value] = parseSetting (textFrom (setting));
        options.settings.insert_or_assign (id, value);
    }

    if (*bitsOption)
        options.bits = bits;

    if (tail != "auto")
    {
        double seconds = 0.0;

        if (! CLI::detail::lexical_cast (tail, seconds) || ! (seconds >= 0.0 && seconds <= 86400.0))
            throw UsageError ("--tail " + textFrom (tail) + ": seconds from 0 to 86400 or auto are needed");

        options.tailSeconds = seconds;
    }

    if (*presetOption)
        options.preset = textFrom (preset);

    if (*stateOption)
        options.state = fileFor (state);

    if (*saveStateOption)
        options.saveState = fileFor (saveState);

    if (*savePresetOption)
        options.savePreset = fileFor (savePreset);

    // Settings may be converted, and presets listed, without any audio.
    if (options.listPresets || ((options.saveState || options.savePreset) && input.empty() && ! *impulse))
        return options;

    if (*impulse)
    {
        if (! output.empty())
            throw UsageError ("--impulse takes an output file only");

        options.impulseSeconds = impulseSeconds;
        std::swap (input, output);
    }
    else if (input.empty())
        throw UsageError ("an input file and an output file are needed");

    if (output.empty())
        throw UsageError ("an output file is needed");

    if (! *impulse)
        options.input = fileFor (input);

    options.output = fileFor (output);
    return options;
}

} // namespace varnel
