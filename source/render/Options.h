// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "ParameterText.h"
#include "Renderer.h"

namespace varnel
{

/** What the command line asks varnel-render to do. */
struct Options
{
    std::vector<std::string> inputs;         ///< files, folders, or "-" for standard input
    std::optional<std::string> output;       ///< of a single input or an impulse
    std::optional<std::string> outputFolder; ///< of many
    std::string suffix;                      ///< between an output's name and its extension
    bool recursive = false, overwrite = false;
    int jobs = 0; ///< threads; 0 for as many as there are cores

    std::optional<std::string> state;  ///< a host chunk or binary record to start from
    std::optional<std::string> preset; ///< a preset to start from: its name, "Folder/Name", number or path
    std::vector<TypedSetting> settings;
    std::vector<RandomRange> random;
    std::uint64_t seed = 0;
    Treatment treatment;

    std::optional<std::string> saveState;  ///< where to write the settings in force as a host chunk
    std::optional<std::string> savePreset; ///< and as an XML preset
    std::optional<std::string> manifest, fromManifest;

    bool listPresets = false, listParameters = false, show = false;
    bool dryRun = false, json = false, quiet = false;

    /** Whether settings are all that is asked for. */
    bool isWithoutSound() const { return inputs.empty() && ! treatment.impulseSeconds && ! fromManifest; }
};

/** Reads the command line. Answers --help and --version itself.
    @returns nothing when all is done
    @throws UsageError */
std::optional<Options> parseOptions (int argc, const char* const* argv);

} // namespace varnel
