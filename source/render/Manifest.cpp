// SPDX-License-Identifier: AGPL-3.0-only
#include "Manifest.h"
#include "processor/Product.h"

#include "Errors.h"
#include "Report.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>

#include <fcntl.h>
#include <unistd.h>

namespace varnel
{

namespace
{

template <typename Value>
Json jsonOf (const std::optional<Value>& value)
{
    return value ? Json (*value) : Json (nullptr);
}

template <typename Value>
std::optional<Value> optionalOf (const Json& json)
{
    return json.is_null() ? std::nullopt : std::optional (json.get<Value>());
}

Json objectOf (const Treatment& treatment)
{
    Json object;
    object["tail"] = jsonOf (treatment.tailSeconds);
    object["sameLength"] = treatment.sameLength;
    object["gain"] = jsonOf (treatment.gain);
    object["normalise"] = jsonOf (treatment.normalise);
    object["fade"] = treatment.fadeSeconds;
    object["dither"] = treatment.dither;
    object["mono"] = treatment.mono;
    object["channels"] = treatment.channels;
    object["bits"] = treatment.encoding ? Json (nameOf (*treatment.encoding).option) : Json (nullptr);
    object["format"] = treatment.container ? Json (nameOf (*treatment.container).option) : Json (nullptr);
    object["impulse"] = jsonOf (treatment.impulseSeconds);
    object["rate"] = treatment.impulseSampleRate;
    object["trueStereo"] = treatment.trueStereo;
    return object;
}

/** What a name stands for. @throws std::out_of_range  if there is no such name */
template <typename Names>
const auto& entryOf (const Names& names, const Json& json)
{
    for (const auto& name : names)
        if (json.get<std::string>() == name.option)
            return name;

    throw std::out_of_range ("\"" + json.get<std::string>() + "\" is unknown");
}

Treatment treatmentOf (const Json& object)
{
    Treatment treatment;
    treatment.tailSeconds = optionalOf<double> (object.at ("tail"));
    treatment.sameLength = object.at ("sameLength");
    treatment.gain = optionalOf<double> (object.at ("gain"));
    treatment.normalise = optionalOf<double> (object.at ("normalise"));
    treatment.fadeSeconds = object.at ("fade");
    treatment.dither = object.at ("dither");
    treatment.mono = object.at ("mono");
    treatment.channels = object.at ("channels").get<std::vector<int>>();
    treatment.impulseSeconds = optionalOf<double> (object.at ("impulse"));
    treatment.impulseSampleRate = object.at ("rate");
    treatment.trueStereo = object.at ("trueStereo");

    if (! object.at ("bits").is_null())
        treatment.encoding = entryOf (encodingNames, object.at ("bits")).encoding;

    if (! object.at ("format").is_null())
        treatment.container = entryOf (containerNames, object.at ("format")).container;

    return treatment;
}

ParameterValues valuesOf (const Json& object)
{
    ParameterValues values {};

    for (size_t i = 0; i < values.size(); ++i)
    {
        const auto& parameter = parameterTable[i];
        values[i] = object.at (parameter.id);

        if (! (values[i] >= parameter.start && values[i] <= parameter.end))
            throw std::out_of_range (std::string (parameter.id) + " is out of its range");
    }

    return values;
}

Job jobOf (const Json& object)
{
    Job job;

    if (! object.at ("input").is_null())
        job.input = pathOf (object.at ("input"));

    job.output = pathOf (object.at ("output"));
    job.values = valuesOf (object.at ("settings"));
    job.treatment = treatmentOf (object.at ("treatment"));

    if (const std::string version = object.at ("version"); version != product::version)
        job.notes.push_back ("the manifest is of version " + version + "; this is " + product::version);

    if (job.output.empty() || (job.input.empty() && ! job.treatment.impulseSeconds) || ! (job.treatment.fadeSeconds >= 0.0 && job.treatment.fadeSeconds <= 3600.0) || (! job.treatment.channels.empty() && job.treatment.channels.size() != 2))
        throw std::out_of_range ("no such file could have been made");

    return job;
}

} // namespace

Manifest::Manifest (const std::filesystem::path& fileToWrite, std::uint64_t seedToNote)
    : path (fileToWrite), seed (seedToNote), file (open (path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0666))
{
    if (file < 0)
        throw RenderError (path, std::string ("cannot be written: ") + std::strerror (errno));
}

Manifest::~Manifest()
{
    close (file);
}

void Manifest::add (const Job& job, const RenderSummary& summary)
{
    Json object;
    object["input"] = job.input.empty() ? Json (nullptr) : varnel::jsonOf (job.input);
    object["output"] = varnel::jsonOf (job.output);
    object["settings"] = varnel::jsonOf (job.values);
    object["treatment"] = objectOf (job.treatment);
    object["frames"] = summary.numFrames;
    object["seed"] = seed;
    object["version"] = product::version;
    const auto line = lineOf (object) + "\n";

    if (write (file, line.data(), line.size()) != static_cast<ssize_t> (line.size()))
        throw RenderError (path, std::string ("cannot be written: ") + std::strerror (errno));
}

std::vector<Job> jobsOf (const std::filesystem::path& manifest)
{
    requireRegularFile (manifest);
    std::ifstream stream (manifest);
    std::vector<Job> jobs;
    std::map<std::filesystem::path, size_t> known;
    int number = 0;

    for (std::string line; ++number, std::getline (stream, line);)
    {
        try
        {
            if (line.empty())
                continue;

            auto job = jobOf (Json::parse (line));
            const auto [entry, isNew] = known.emplace (job.output, jobs.size());

            if (isNew)
                jobs.push_back (std::move (job));
            else
                jobs[entry->second] = std::move (job);
        }
        catch (const std::exception& error)
        {
            throw RenderError (manifest, "line " + std::to_string (number) + " is none of a manifest: " + error.what());
        }
    }

    if (jobs.empty())
        throw RenderError (manifest, std::string ("holds no files"));

    return jobs;
}

} // namespace varnel
