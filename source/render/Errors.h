// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Paths.h"
#include "processor/Files.h"

#include <stdexcept>

namespace varnel
{

/** A file or the system would not do; the message names the file and the reason. Exit status 1. */
struct RenderError : std::runtime_error
{
    using runtime_error::runtime_error;
    explicit RenderError (const juce::String& message)
        : runtime_error (message.toStdString()) {}
    RenderError (const std::filesystem::path& file, const std::string& reason)
        : runtime_error (shown (file) + ": " + reason) {}
    RenderError (const juce::File& file, const juce::String& reason)
        : RenderError (file.getFullPathName() + ": " + reason) {}
};

/** The command line asks for what cannot be. Exit status 2. */
struct UsageError : std::runtime_error
{
    using runtime_error::runtime_error;
};

} // namespace varnel
