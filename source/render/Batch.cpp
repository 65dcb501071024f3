// SPDX-License-Identifier: AGPL-3.0-only
#include "Batch.h"

#include "Errors.h"
#include "Manifest.h"
#include "ProgressBar.h"
#include "processor/Text.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace varnel
{

namespace fs = std::filesystem;

namespace
{

/** An input, where in the output folder its result goes, and why it cannot be read, if that is known. */
struct Found
{
    fs::path input, place;
    std::string failure;
};

/** Looks for audio files, by their names, in a folder and the folders in it. Hidden ones are left out, and the one that the
    outputs go to. */
void search (const fs::path& folder, const fs::path& place, const fs::path& leftOut, std::vector<Found>& found)
{
    std::error_code error;
    std::vector<fs::path> entries;

    for (fs::directory_iterator at (folder, error); ! error && at != fs::directory_iterator(); at.increment (error))
        entries.push_back (at->path());

    if (error)
        found.push_back ({ folder, place, RenderError (folder, "cannot be read: " + error.message()).what() });

    std::sort (entries.begin(), entries.end());

    for (const auto& entry : entries)
    {
        const auto name = entry.filename();
        const auto status = fs::symlink_status (entry, error);

        if (name.native().starts_with ('.'))
            continue;

        if (fs::is_directory (status) && ! isSameFile (entry, leftOut))
            search (entry, place / name, leftOut, found);
        else if (fs::is_regular_file (fs::status (entry, error)) && containerFor (name.extension().string()))
            found.push_back ({ entry, place / name, {} });
    }
}

std::vector<Found> findInputs (const Options& options)
{
    std::vector<Found> found;

    for (const auto& typed : options.inputs)
    {
        const fs::path input (typed);
        std::error_code error;

        if (! fs::is_directory (input, error))
            found.push_back ({ input, input.filename(), {} });
        else if (options.recursive)
            search (input, {}, *options.outputFolder, found);
        else
            throw RenderError (input, std::string ("is a folder; --recursive goes through it"));
    }

    return found;
}

/** An output's name in the output folder. */
fs::path outputFor (const Found& found, const Options& options)
{
    auto name = found.place.stem();
    name += options.suffix;
    name += options.treatment.container ? fs::path (std::string (nameOf (*options.treatment.container).extensions).substr (0, std::string (nameOf (*options.treatment.container).extensions).find (' '))) : found.place.extension();
    return *options.outputFolder / found.place.parent_path() / name;
}

/** A name for a file, the same however it is put, whether the file is there or not. */
fs::path placeOf (const fs::path& path)
{
    std::error_code error;
    const auto whole = fs::weakly_canonical (followLinks (path), error);
    return error ? fs::absolute (path, error).lexically_normal() : whole;
}

/** @throws RenderError, UsageError  if two files would be one */
void requireDifferentFiles (const std::vector<Job>& jobs, const Options& options)
{
    std::map<fs::path, const Job*> inputs, outputs;

    for (const auto& job : jobs)
        if (! job.input.empty() && job.input != standardStream)
            inputs.emplace (placeOf (job.input), &job);

    for (const auto& job : jobs)
    {
        if (job.output == standardStream)
            continue;

        const auto place = placeOf (job.output);

        if (const auto other = outputs.emplace (place, &job); ! other.second)
            throw UsageError (shown (other.first->second->input) + " and " + shown (job.input) + " would both become " + shown (job.output));

        if (inputs.count (place) != 0)
            throw RenderError (job.output, std::string ("is an input file, which is never overwritten"));
    }

    for (const auto& saved : { options.saveState, options.savePreset, options.manifest })
    {
        if (saved && inputs.count (placeOf (*saved)) != 0)
            throw RenderError (fs::path (*saved), std::string ("is an input file, which is never overwritten"));

        if (saved && outputs.count (placeOf (*saved)) != 0)
            throw RenderError (fs::path (*saved), std::string ("is the sound's own output"));
    }
}

std::vector<Job> jobsOfManifest (const Options& options)
{
    auto jobs = jobsOf (*options.fromManifest);

    // Their own names go on from the other folder, whatever folders they begin with.
    if (options.outputFolder)
        for (auto& job : jobs)
            job.output = *options.outputFolder / fs::path ("/" / job.output.relative_path()).lexically_normal().relative_path();

    return jobs;
}

/** Runs one job, whatever comes of it. */
Outcome outcomeOf (const Job& job, bool isKept, const Options& options, Manifest* manifest, JobProgress& progress)
{
    Outcome outcome;

    try
    {
        std::error_code error;

        if (! job.failure.empty())
            throw RenderError (job.failure);

        if (isKept && fs::exists (fs::symlink_status (job.output, error)))
        {
            outcome.kind = Outcome::Kind::kept;
            return outcome;
        }

        if ((options.outputFolder || options.fromManifest) && job.output.has_parent_path())
            if (fs::create_directories (job.output.parent_path(), error); error)
                throw RenderError (job.output.parent_path(), "cannot be made: " + error.message());

        outcome.summary = render (job, progress, [manifest, &job] (const RenderSummary& summary)
                                  {
                                      if (manifest != nullptr)
                                          manifest->add (job, summary); });
        outcome.kind = Outcome::Kind::made;
    }
    catch (const UsageError& error)
    {
        outcome.error = error.what();
        outcome.isUsageError = true;
    }
    catch (const std::bad_alloc&)
    {
        outcome.error = (job.input.empty() ? std::string() : shown (job.input) + ": ") + "not enough memory";
    }
    catch (const std::exception& error)
    {
        outcome.error = error.what();
    }

    return outcome;
}

} // namespace

std::vector<Job> planJobs (const Options& options, PluginSettings& settings)
{
    const auto base = settings.values();

    if (options.fromManifest)
    {
        auto jobs = jobsOfManifest (options);
        requireDifferentFiles (jobs, options);
        return jobs;
    }

    std::vector<Job> jobs;

    if (options.outputFolder)
        for (const auto& found : findInputs (options))
            jobs.push_back ({ found.input, outputFor (found, options), base, options.treatment, {}, found.failure });
    else
        jobs.push_back ({ options.inputs.empty() ? fs::path() : fs::path (options.inputs.front()), *options.output, base, options.treatment, {}, {} });

    for (auto& job : jobs)
    {
        if (options.random.empty())
            break;

        settings.set (base);

        for (const auto& range : options.random)
            settings.set ({ range.index, range.typed, drawValue (range, options.seed, job.input.lexically_normal().generic_string()) });

        job.values = settings.values();
    }

    settings.set (jobs.size() == 1 ? jobs.front().values : base);
    requireDifferentFiles (jobs, options);
    return jobs;
}

void runJobs (const Options& options, const std::vector<Job>& jobs, const std::function<void (const Job&, const Outcome&)>& tell)
{
    std::optional<Manifest> manifest;

    if (options.manifest)
        manifest.emplace (*options.manifest, options.seed);

    const auto isBatch = options.outputFolder || options.fromManifest;
    const auto numCores = std::max (1u, std::thread::hardware_concurrency());
    const auto numThreads = std::min (jobs.size(), options.jobs > 0 ? static_cast<size_t> (options.jobs) : numCores);

    std::vector<std::optional<Outcome>> outcomes (jobs.size());
    std::vector<JobProgress> progresses (std::max<size_t> (1, numThreads));
    std::atomic<size_t> next { 0 }, numDone { 0 };
    std::atomic<double> secondsDone { 0.0 };
    std::mutex lock;
    std::condition_variable changed;

    const auto work = [&] (JobProgress& progress)
    {
        for (size_t i = 0; (i = next++) < jobs.size();)
        {
            progress.fraction = 0.0;
            auto outcome = outcomeOf (jobs[i], isBatch && ! options.overwrite, options, manifest ? &*manifest : nullptr, progress);
            secondsDone += progress.audioSeconds.exchange (0.0);
            ++numDone;

            const std::lock_guard guard (lock);
            outcomes[i] = std::move (outcome);
            changed.notify_one();
        }
    };

    std::vector<std::thread> threads;

    for (size_t i = 0; i < numThreads; ++i)
        threads.emplace_back (work, std::ref (progresses[i]));

    ProgressBar bar (! options.quiet);
    size_t numTold = 0;

    const auto showProgress = [&]
    {
        auto seconds = secondsDone.load(), fractions = static_cast<double> (numDone);

        for (const auto& progress : progresses)
        {
            seconds += progress.audioSeconds;
            fractions += std::max (0.0, progress.fraction.load());
        }

        if (isBatch)
            bar.show (fractions / static_cast<double> (jobs.size()), seconds, juce::String (numDone.load()) + " of " + juce::String (jobs.size()) + " files");
        else
            bar.show (progresses[0].fraction, seconds, textFrom (shown (jobs[0].output.filename())));
    };

    while (numTold < jobs.size())
    {
        {
            std::unique_lock guard (lock);
            changed.wait_for (guard, std::chrono::milliseconds (100), [&]
                              { return outcomes[numTold].has_value(); });
        }

        showProgress();

        for (; numTold < jobs.size(); ++numTold)
        {
            {
                const std::lock_guard guard (lock);

                if (! outcomes[numTold])
                    break;
            }

            bar.clear();
            tell (jobs[numTold], *outcomes[numTold]);
            outcomes[numTold]->summary.notes.clear();
        }
    }

    for (auto& thread : threads)
        thread.join();
}

} // namespace varnel
