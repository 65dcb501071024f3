// SPDX-License-Identifier: AGPL-3.0-only
#include "Options.h"
#include "processor/Product.h"

#include "Errors.h"
#include "SampleRates.h"
#include "processor/ParameterTable.h"
#include "processor/Text.h"

#include <CLI/CLI.hpp>

namespace varnel
{

namespace
{

/** What the parser fills in before anything is looked at more closely. */
struct Words
{
    std::vector<std::string> files, settings, random;
    std::optional<std::string> tail, bits, dither, format;
};

constexpr auto examples = "Examples:\n"
                          "  varnel-render voice.wav wet.wav\n"
                          "  varnel-render --set Size=80 --set Hi=-6dB --set \"Insert Mode=off\" drums.flac hall.wav\n"
                          "  varnel-render --preset \"Halls/Great Hall\" voice.wav wet.wav\n"
                          "  varnel-render --output-folder wet --recursive --jobs 4 recordings\n"
                          "  varnel-render --output-folder wet --random Size=10:60 --seed 7 --same-length --manifest wet.jsonl dry/*.wav\n"
                          "  varnel-render --impulse 4 --rate 96000 --true-stereo --set ReverbSize=60 response.wav\n"
                          "  ffmpeg -i film.mkv -f wav - | varnel-render - - | sox -t wav - wet.flac\n"
                          "  varnel-render --state session.chunk --save-preset \"My Hall.xml\"\n"
                          "\n"
                          "Exit status: 0 done, 1 a file would not do (in a batch the others are done), 2 wrong usage;\n"
                          "129, 130, 131, 141, 143 ended by the signal HUP, INT, QUIT, PIPE or TERM, with nothing unfinished left behind.";

template <typename Names>
std::string choices (const Names& names)
{
    std::string all;

    for (const auto& name : names)
        all += std::string (all.empty() ? "" : "|") + name.option;

    return all;
}

std::string bitsChoices()
{
    return choices (std::vector (encodingNames.begin(), encodingNames.end() - 1)); // what is coded is no choice
}

void addFiles (CLI::App& app, Options& options, Words& words)
{
    app.add_option ("FILES", words.files, "The file to read and the file to write, or with --output-folder all files and folders to read; - is standard input or output");
    app.add_option ("-o,--output", options.output, "The file to write; it appears whole or not at all")->type_name ("FILE");
    app.add_option ("--output-folder", options.outputFolder, "Write each input's result into this folder, under its own name")->type_name ("FOLDER");
    app.add_option ("--suffix", options.suffix, "Add this to the names in the output folder, before the extension")->type_name ("TEXT");
    app.add_flag ("--recursive", options.recursive, "Go through folders among the inputs and keep their tree");
    app.add_flag ("--overwrite", options.overwrite, "Write outputs in the output folder again that are there; otherwise they are kept");
    app.add_option ("--jobs", options.jobs, "How many files to do at a time; otherwise one for each core")->type_name ("N")->check (CLI::Range (1, 256));
    app.add_option ("--format", words.format, "What kind of file to write; otherwise the output's extension says, or the input's")->type_name (choices (containerNames));
    app.add_option ("--bits", words.bits, "Sample format to write, 32 and 64 being float; otherwise the input's own")->type_name (bitsChoices());
    app.add_option ("--dither", words.dither, "Noise that hides the steps of 16 bits and fewer, on samples that had to be rounded; tpdf unless said otherwise")->type_name ("tpdf|none");
}

void addSettings (CLI::App& app, Options& options, Words& words)
{
    const auto preset = app.add_option ("--preset", options.preset, "Start from a preset: its name, Folder/Name, number in --list-presets, or a file's path; the user's presets come before the factory's");
    preset->type_name ("NAME");
    app.add_option ("--state", options.state, "Start from what a host stored: a state chunk or a binary record in a file")->type_name ("FILE")->excludes (preset);
    app.add_option ("--set", words.settings, "Set a parameter, by ID or name; may be repeated, and comes last")->type_name ("ID=VALUE")->allow_extra_args (false);
    app.add_option ("--random", words.random, "Draw a parameter for each file from a range; may be repeated")->type_name ("ID=LOW:HIGH")->allow_extra_args (false);
    app.add_option ("--seed", options.seed, "Another number, other draws; they depend on it and on the input's path as given")->type_name ("N")->capture_default_str();
}

void addTreatment (CLI::App& app, Options& options, Words& words)
{
    auto& treatment = options.treatment;
    const auto tail = app.add_option ("--tail", words.tail, "Seconds to go on after the input ends; auto: until both channels stay under -96 dBFS for a second, 60 s at most");
    tail->type_name ("SECONDS|auto");
    const auto sameLength = app.add_flag ("--same-length", treatment.sameLength, "Cut the tail where the input ends")->excludes (tail);
    app.add_option ("--fade", treatment.fadeSeconds, "Fade out over the end of a tail that is cut")->type_name ("SECONDS")->check (CLI::Range (0.0, 3600.0))->capture_default_str();
    const auto gain = app.add_option ("--gain", treatment.gain, "Make all louder or, below 0, softer")->type_name ("DB")->check (CLI::Range (-200.0, 200.0));
    app.add_option ("--normalise", treatment.normalise, "Make the highest sample this loud; takes two passes")->type_name ("DBFS")->check (CLI::Range (-200.0, 200.0))->excludes (gain);
    const auto mono = app.add_flag ("--mono", treatment.mono, "Write one channel: of a mono file its own, else the mean of both sides");
    app.add_option ("--channels", treatment.channels, "Which two channels of many go through, counted from 1; the others stay dry")->type_name ("A,B")->delimiter (',')->expected (2)->allow_extra_args (false);
    app.add_option ("--block", treatment.blockSize, "Frames in a block; the result does not depend on it")->type_name ("N")->check (CLI::Range (1, 1 << 20))->capture_default_str();

    const auto impulse = app.add_option ("--impulse", treatment.impulseSeconds, "Write the impulse response of this length, left and right driven together");
    impulse->type_name ("SECONDS")->check (CLI::Range (0.001, 3600.0))->excludes (tail)->excludes (sameLength);
    app.add_option ("--rate", treatment.impulseSampleRate, "Sample rate of the impulse response")->type_name ("HZ")->check (CLI::Range (lowestSampleRate, highestSampleRate))->needs (impulse)->capture_default_str();
    app.add_flag ("--true-stereo", treatment.trueStereo, "Write its four channels: left to left, left to right, right to left, right to right")->needs (impulse)->excludes (mono);
}

void addReports (CLI::App& app, Options& options)
{
    app.add_option ("--save-state", options.saveState, "Write the settings in force as a host would store them")->type_name ("FILE");
    app.add_option ("--save-preset", options.savePreset, "Write the settings in force as a preset")->type_name ("FILE");
    app.add_option ("--manifest", options.manifest, "Add a line of JSON for each file made, from which it can be made again")->type_name ("FILE");
    app.add_option ("--from-manifest", options.fromManifest, "Make all files of a manifest again, to the bit")->type_name ("FILE");
    app.add_flag ("--show", options.show, "Print the values that --preset, --state and --set come to");
    app.add_flag ("--list-presets", options.listPresets, "Print all presets in their order");
    app.add_flag ("--list-parameters", options.listParameters, "Print all parameters");
    app.add_flag ("--json", options.json, "Print JSON, an object for each file");
    app.add_flag ("--dry-run", options.dryRun, "Say what would be done, and do nothing");
    app.add_flag ("-q,--quiet", options.quiet, "Print errors only");
    app.set_help_flag ("-h,--help", "Print this");
    app.set_version_flag ("-V,--version", std::string ("varnel-render ") + product::version, "Print the version");
}

/** @returns whether there is anything left to do. @throws UsageError */
bool parse (CLI::App& app, int argc, const char* const* argv)
{
    try
    {
        app.parse (argc, argv);
    }
    catch (const CLI::Success& request) // --help, --version
    {
        app.exit (request);
        return false;
    }
    catch (const CLI::ParseError& error)
    {
        throw UsageError (error.what());
    }

    // The parser itself would list them from the last to the first.
    if (const auto unknown = app.remaining(); ! unknown.empty())
        throw UsageError (unknown.front() + ": there is no such option");

    return true;
}

void readTail (const std::string& text, Treatment& treatment)
{
    if (text == "auto")
        return;

    double seconds = 0.0;

    if (! CLI::detail::lexical_cast (text, seconds) || ! (seconds >= 0.0 && seconds <= 86400.0))
        throw UsageError ("--tail " + text + ": seconds from 0 to 86400 or auto are needed");

    treatment.tailSeconds = seconds;
}

/** @throws UsageError */
void readWords (const Words& words, Options& options)
{
    const auto find = [] (const char* option, const std::string& typed, const auto& names, const std::string& all)
    {
        for (const auto& name : names)
            if (typed == name.option)
                return &name;

        throw UsageError (std::string (option) + " " + typed + ": one of " + all + " is needed");
    };

    if (words.tail)
        readTail (*words.tail, options.treatment);

    if (words.bits)
        options.treatment.encoding = find ("--bits", *words.bits, std::vector (encodingNames.begin(), encodingNames.end() - 1), bitsChoices())->encoding;

    if (words.format)
        options.treatment.container = find ("--format", *words.format, containerNames, choices (containerNames))->container;

    if (words.dither && *words.dither != "tpdf" && *words.dither != "none")
        throw UsageError ("--dither " + *words.dither + ": tpdf or none is needed");

    options.treatment.dither = ! words.dither || *words.dither == "tpdf";

    for (const auto& setting : words.settings)
        options.settings.push_back (parseSetting (setting));

    for (const auto& range : words.random)
        options.random.push_back (parseRandomRange (range));
}

/** @throws UsageError */
void checkTogether (const Options& options)
{
    for (const auto& range : options.random)
        for (const auto& setting : options.settings)
            if (range.index == setting.index)
                throw UsageError ("--random " + range.typed + ": --set has given it a value");

    if (const auto& channels = options.treatment.channels; ! channels.empty() && (channels[0] < 1 || channels[1] < 1 || channels[0] == channels[1]))
        throw UsageError ("--channels: two different numbers from 1 on are needed");

    if (! options.treatment.channels.empty() && options.treatment.impulseSeconds)
        throw UsageError ("--channels: an impulse response has no others");

    if (options.treatment.impulseSeconds && (options.outputFolder || options.fromManifest))
        throw UsageError ("--impulse takes an output file only");
}

/** Takes the names apart: what is read and what is written. @throws UsageError */
void readFiles (const std::vector<std::string>& files, Options& options)
{
    options.inputs = files;

    if (options.outputFolder || options.fromManifest)
    {
        if (options.output)
            throw UsageError ("--output-folder and --from-manifest say where to write; there is no single output");

        if (options.fromManifest && ! files.empty())
            throw UsageError ("--from-manifest says what to read; there are no other inputs");

        if (! options.fromManifest && files.empty())
            throw UsageError ("--output-folder: an input is needed");

        if (std::find (files.begin(), files.end(), standardStream.string()) != files.end())
            throw UsageError ("standard input has no name that an output in a folder could have");

        return;
    }

    const auto asksSomething = options.listPresets || options.listParameters || options.show || options.saveState || options.savePreset;

    if (files.empty() && ! options.output && ! options.treatment.impulseSeconds && asksSomething)
        return;

    if (! options.output && ! files.empty() && (files.size() > 1 || options.treatment.impulseSeconds))
    {
        options.output = files.back();
        options.inputs.pop_back();
    }

    if (options.treatment.impulseSeconds && ! options.inputs.empty())
        throw UsageError ("--impulse takes an output file only");

    if (options.inputs.empty() && ! options.treatment.impulseSeconds)
        throw UsageError ("an input file and an output file are needed");

    if (! options.output)
        throw UsageError ("an output file is needed");

    if (options.inputs.size() > 1)
        throw UsageError ("one input goes into one output; several go into --output-folder");
}

} // namespace

std::optional<Options> parseOptions (int argc, const char* const* argv)
{
    Options options;
    Words words;
    CLI::App app { "Puts Varnel Reverb on audio files (WAV, RF64, Wave64, AIFF, AU, CAF, FLAC, Ogg Vorbis, Opus,\n"
                   "MP3), or writes the reverb's impulse response.",
                   "varnel-render" };
    app.footer (examples);
    app.allow_extras();

    addFiles (app, options, words);
    addSettings (app, options, words);
    addTreatment (app, options, words);
    addReports (app, options);

    if (! parse (app, argc, argv))
        return {};

    readWords (words, options);
    checkTogether (options);

    if (! options.listParameters && ! options.listPresets)
        readFiles (words.files, options);

    return options;
}

} // namespace varnel
