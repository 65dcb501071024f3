// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <optional>

namespace varnel
{

/** The file or folder of this name in a folder. The name is taken as it is: juce::File::getChildFile() and its like
    make a home folder of one that begins with "~", and paths of others. */
juce::File childOf (const juce::File& folder, const juce::String& name);

/** Whether a path is an ordinary file, also by way of a link: what can be opened without waiting for anybody. */
bool isRegularFile (const juce::File& file);

/** Why startOf() gives nothing, for people, as in "(the file) ..." */
juce::String whyUnreadable (const juce::File& file);

/** Up to so many bytes from the start of a file. @returns nothing for what is no regular file or cannot be read; never
    waits for a pipe */
std::optional<juce::MemoryBlock> startOf (const juce::File& file, size_t mostBytes);

/** Writes a file that is the old one until it is wholly the new one; links are followed. Where that cannot be done, the
    old file stays and nothing else is left behind. @returns the reason, without the file's name */
juce::Result writeWhole (const juce::File& file, const void* data, size_t numBytes);

/** Gives a file another name beside itself, this one or one with a number behind it, whichever is free: nothing is ever
    written over. @returns whether it is done */
bool moveAside (const juce::File& file, const juce::String& newName);

} // namespace varnel
