// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Options.h"
#include "PluginSettings.h"

namespace varnel
{

/** The jobs that the options come to, each with its own values.
    @param settings  are those that all jobs start from; a single job leaves its own there
    @throws RenderError, UsageError  if a name cannot be, or two results would have one */
std::vector<Job> planJobs (const Options& options, PluginSettings& settings);

/** What became of a job. */
struct Outcome
{
    enum class Kind
    {
        made,
        kept, ///< the output was there already
        failed
    };

    Kind kind = Kind::failed;
    RenderSummary summary;
    std::string error;         ///< one line
    bool isUsageError = false; ///< whose cause is the command line
};

/** Does all jobs, several at a time, and shows how far they are.
    @param tell  is told of each in the jobs' order, on the calling thread
    @throws RenderError  if the manifest cannot be written */
void runJobs (const Options& options, const std::vector<Job>& jobs, const std::function<void (const Job&, const Outcome&)>& tell);

} // namespace varnel
