// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Renderer.h"

#include <filesystem>
#include <vector>

namespace varnel
{

/** One line of JSON for each file that was made: all that it takes to make it again. */
class Manifest
{
public:
    /** Lines are added to what there is. @throws RenderError */
    Manifest (const std::filesystem::path& file, std::uint64_t seed);
    ~Manifest();

    Manifest (const Manifest&) = delete;
    Manifest& operator= (const Manifest&) = delete;

    /** Adds a line, in one piece. Any thread, and any process. @throws RenderError */
    void add (const Job& job, const RenderSummary& summary);

private:
    const std::filesystem::path path;
    const std::uint64_t seed;
    int file;
};

/** The jobs of a manifest. Where several lines have one output, the last counts. @throws RenderError */
std::vector<Job> jobsOf (const std::filesystem::path& manifest);

} // namespace varnel
