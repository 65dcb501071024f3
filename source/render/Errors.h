// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "processor/Files.h"

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

/** Makes sure that a file is there and can be opened without waiting, as a pipe or a device cannot.
    @throws RenderError */
inline void requireRegularFile (const juce::File& file)
{
    if (! file.exists())
        throw RenderError (file, "no such file");

    if (file.isDirectory())
        throw RenderError (file, "is a folder");

    if (! isRegularFile (file))
        throw RenderError (file, "is not a regular file");
}

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
