// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <string>

namespace varnel
{

/** Whether a path is an ordinary file, also by way of a link: what can be opened without waiting for anybody. */
bool isRegularFile (const juce::File& file);

/** Up to so many bytes from the start of a file. @returns nothing for what is no regular file or cannot be read; never
    waits for a pipe */
std::optional<juce::MemoryBlock> startOf (const juce::File& file, size_t mostBytes);

/** Writes a file that is the old one until it is wholly the new one; a link is followed. Where that cannot be done, the
    old file stays and nothing else is left behind. @returns the reason, without the file's name */
juce::Result writeWhole (const juce::File& file, const void* data, size_t numBytes);

/** Whether bytes are valid UTF-8 (RFC 3629). */
bool isUtf8 (const char* text, size_t numBytes);

/** The text that bytes from outside hold, up to the first zero: UTF-8, or Latin-1 where they are not.
    JUCE's own conversions trust the bytes, and write past their buffers if they should not have. */
juce::String textFrom (const char* bytes, size_t numBytes);
juce::String textFrom (const std::string& bytes);

} // namespace varnel
