// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <memory>

namespace varnel
{

/** No XML that is read here may be longer, in bytes. */
constexpr size_t longestXml = 16 << 20;

/** What became of a text that may be XML. */
struct SafeXml
{
    /** The document's element; null where JUCE's parser sees none, and where the text was kept from it. */
    std::unique_ptr<juce::XmlElement> root;

    /** Why the text was kept from the parser, for people, as in "(the file) ..."; empty where it was not. */
    juce::String danger;

    /** Where the start tag of the root ends, in bytes from the start of the text. */
    size_t endOfRootTag = 0;
};

/** Parses XML as juce::XmlDocument does, with all its leniency (but what is malformed stays so, where JUCE's parser
    forgets it over an entity that nobody has declared), and never hands the parser what it cannot
    stand: its recursion ends on the stack, text behind an instruction makes it go round for ever, entities grow
    without end, and a character's number that is cut short makes it read behind the text. No other file is opened.
    Any thread. */
SafeXml parseSafely (const juce::String& text);

} // namespace varnel
