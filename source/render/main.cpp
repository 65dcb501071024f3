// SPDX-License-Identifier: AGPL-3.0-only
#include "Batch.h"
#include "Errors.h"
#include "Report.h"
#include "Stop.h"

#include <juce_events/juce_events.h>

#include <cstdio>
#include <map>
#include <new>

namespace
{

using namespace varnel;

void printError (const std::string& message)
{
    std::fprintf (stderr, "varnel-render: %s\n", message.c_str());
}

void print (FILE* stream, const std::string& text)
{
    std::fwrite (text.data(), 1, text.size(), stream);
}

/** Tells of the jobs as they end, and counts them. */
class Reporter
{
public:
    Reporter (const Options& optionsToUse, bool outputIsSound)
        : options (optionsToUse), isBatch (options.outputFolder || options.fromManifest), stream (outputIsSound ? stderr : stdout)
    {
    }

    void tell (const Job& job, const Outcome& outcome)
    {
        if (outcome.kind == Outcome::Kind::failed)
            failures.push_back (outcome);
        else if (outcome.kind == Outcome::Kind::kept)
            ++numKept;
        else
            ++numMade;

        for (const auto& note : outcome.summary.notes)
            ++notes[note];

        if (! options.quiet)
            print (stream, line (job, outcome));
    }

    /** Says what is left to say. @returns the exit status */
    int finish() const
    {
        std::fflush (stream);

        if (! options.quiet)
            for (const auto& [note, count] : notes)
                printError ("note: " + note + (isBatch ? " (" + std::to_string (count) + (count == 1 ? " file)" : " files)") : ""));

        for (const auto& failure : failures)
            printError (failure.error);

        if (isBatch && ! options.quiet)
            printError (std::to_string (numMade) + " made, " + std::to_string (numKept) + " kept as they were, " + std::to_string (failures.size()) + " failed");

        if (isBatch || failures.empty() || ! failures.front().isUsageError)
            return failures.empty() ? 0 : 1;

        std::fputs ("Try varnel-render --help\n", stderr);
        return 2;
    }

private:
    std::string line (const Job& job, const Outcome& outcome) const
    {
        if (outcome.kind == Outcome::Kind::made)
            return (options.json ? lineOf (summaryObject (job, outcome.summary)) : summaryLine (job, outcome.summary)) + "\n";

        if (options.json)
        {
            Json object;
            object["input"] = jsonOf (job.input);
            object["output"] = jsonOf (job.output);
            object[outcome.kind == Outcome::Kind::kept ? "kept" : "error"] = outcome.kind == Outcome::Kind::kept ? Json (true) : Json (outcome.error);
            return lineOf (object) + "\n";
        }

        return outcome.kind == Outcome::Kind::kept ? shown (job.output.filename()) + ": is there already, kept\n" : "";
    }

    const Options& options;
    const bool isBatch;
    FILE* const stream;
    size_t numMade = 0, numKept = 0;
    std::map<std::string, size_t> notes;
    std::vector<Outcome> failures;
};

/** Puts the settings together that all jobs start from. @throws RenderError */
void applyAll (PluginSettings& settings, const Options& options)
{
    if (options.state)
        settings.loadState (*options.state);

    if (options.preset)
        settings.loadPreset (*options.preset);

    for (const auto& setting : options.settings)
        if (const auto note = settings.set (setting); note && ! options.quiet)
            printError ("note: " + *note);
}

/** @throws RenderError */
void saveSettings (PluginSettings& settings, const Options& options)
{
    if (options.saveState)
        settings.saveState (*options.saveState);

    if (options.savePreset)
        settings.savePreset (*options.savePreset);
}

Json presetsObject (const std::vector<PresetEntry>& presets)
{
    auto all = Json::array();

    for (const auto& preset : presets)
        all.push_back ({ { "number", all.size() }, { "name", preset.name }, { "file", preset.file } });

    return all;
}

/** Prints lists and values. */
void answer (PluginSettings& settings, const Options& options)
{
    if (options.listParameters)
        print (stdout, options.json ? parametersObject().dump (2) + "\n" : parameterList());

    if (options.listPresets)
        print (stdout, options.json ? presetsObject (settings.presets()).dump (2) + "\n" : settings.presetList());

    if (options.show)
        print (stdout, options.json ? lineOf (jsonOf (settings.values())) + "\n" : valueList (settings.values()));
}

void say (const Job& job, const Options& options)
{
    if (options.json)
    {
        Json object;
        object["input"] = job.input.empty() ? Json (nullptr) : jsonOf (job.input);
        object["output"] = jsonOf (job.output);
        object["settings"] = jsonOf (job.values);
        print (stdout, lineOf (object) + "\n");
    }
    else
        print (stdout, (job.input.empty() ? std::string ("impulse") : shown (job.input)) + " -> " + shown (job.output) + "\n");
}

int run (const Options& options)
{
    const juce::ScopedJuceInitialiser_GUI juce; // parameters need JUCE's message thread
    PluginSettings settings;
    applyAll (settings, options);

    const auto isQuestion = options.listParameters || options.listPresets;
    answer (settings, options);

    if (isQuestion || options.isWithoutSound())
    {
        if (! options.dryRun)
            saveSettings (settings, options);

        return 0;
    }

    const auto jobs = planJobs (options, settings);

    if (options.dryRun)
    {
        for (const auto& job : jobs)
            say (job, options);

        return 0;
    }

    Reporter reporter (options, ! jobs.empty() && jobs.front().output == standardStream);
    runJobs (options, jobs, [&reporter] (const Job& job, const Outcome& outcome)
             { reporter.tell (job, outcome); });
    const auto status = reporter.finish();

    if (status == 0)
        saveSettings (settings, options);

    return status;
}

} // namespace

int main (int argc, char** argv)
{
    endOnSignals();

    try
    {
        const auto options = parseOptions (argc, argv);
        const auto status = options ? run (*options) : 0;

        if (std::fflush (stdout) != 0 || std::ferror (stdout) != 0)
        {
            printError ("standard output cannot be written");
            return 1;
        }

        return status;
    }
    catch (const UsageError& error)
    {
        printError (error.what());
        std::fputs ("Try varnel-render --help\n", stderr);
        return 2;
    }
    catch (const std::bad_alloc&)
    {
        printError ("not enough memory");
        return 1;
    }
    catch (const std::exception& error)
    {
        printError (error.what());
        return 1;
    }
}
