// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <stdexcept>

namespace varnel
{

/** A file or the system would not do; the message names the file and the reason. Exit status 1. */
struct RenderError : std::runtime_error
{
    explicit RenderError (const juce::String& message)
        : runtime_error (message.toStdString()) {}
    RenderError (const juce::File& file, const juce::String& reason)
        : RenderError (file.getFullPathName() + ": " + reason) {}
};

/** The command line asks for what cannot be. Exit status 2. */
struct UsageError : std::runtime_error
{
    explicit UsageError (const juce::String& message)
        : runtime_error (message.toStdString()) {}
};

/** The user or the system asked the program to stop. */
struct Interrupted : std::exception
{
};

} // namespace varnel
