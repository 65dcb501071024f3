// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <string>

namespace varnel
{

/** Whether bytes are valid UTF-8 (RFC 3629). Unlike JUCE's own check, this one looks at the bytes that follow the first
    of a character. */
bool isUtf8 (const char* text, size_t numBytes);

/** The text that bytes from outside hold, up to the first zero: UTF-8, or Latin-1 where they are not.
    JUCE's own conversions trust the bytes, and write past their buffers if they should not have. */
juce::String textFrom (const char* bytes, size_t numBytes);
juce::String textFrom (const std::string& bytes);

/** What stands for a character that could not be read. */
constexpr juce::juce_wchar replacementCharacter = 0xfffd;

/** The text of a file, whose first bytes may be a mark of its encoding: UTF-8 or UTF-16 of either byte order. Without
    a mark it is what textFrom() says. */
juce::String textOfFile (const juce::MemoryBlock& bytes);

/** The number at the start of a text, as JUCE reads it: 0 where there is none. It may be infinite, or no number. */
double numberIn (const juce::String& text);

} // namespace varnel
