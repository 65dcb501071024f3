// SPDX-License-Identifier: AGPL-3.0-only
#include "SafeXml.h"

#include <cstring>
#include <set>
#include <string_view>

namespace varnel
{

namespace
{

// Far beyond anything that is written for us, and what the parser takes in its stride: a few frames of its recursion
// for each level, a few hundred bytes for each element.
constexpr int mostLevels = 256;
constexpr int mostParts = 200000; // tags, attributes and sections of text

// The names of tags and attributes go into a sorted list of the whole process, where they stay for a while.
constexpr size_t mostNames = 1000;

// Each reference within an attribute makes the parser copy what it has read of the attribute.
constexpr size_t mostCopied = 256 << 20; // bytes

constexpr int mostDigits = 8; // of a character's number

/** Goes through a text the way that JUCE's parser does, turn by turn, but without its recursion, and looks at what each
    turn would lead to. */
class ParserWalk
{
public:
    enum class Verdict
    {
        sound,     ///< the parser finds a root element, and nothing on the way to it is a danger
        malformed, ///< the parser finds none
        dangerous
    };

    explicit ParserWalk (const juce::String& text)
        : start (text.getCharPointer()), at (start) {}

    Verdict walk()
    {
        skipBlank();
        passDocumentType();
        skipBlank();

        if (! passStartTag())
            return verdict();

        endOfRootTag = static_cast<size_t> (at.getAddress() - start.getAddress());

        for (int level = hasContent ? 1 : 0; level > 0 && ! isOver;)
        {
            const auto passedInstruction = skipBlank();

            if (outOfData)
                return fail();

            if (startsWith ("</"))
            {
                // The names of end tags are not compared. Where the last one is cut short, all levels end.
                if (! passUpTo (">"))
                    break;

                --level;
            }
            else if (startsWith ("<![CDATA["))
            {
                countPart();

                if (! passUpTo ("]]>"))
                    fail();
            }
            else if (*at == '<')
            {
                if (passStartTag() && hasContent && ++level > mostLevels)
                    return refuse ("is nested too deep");
            }
            else if (passedInstruction)
            {
                return refuse ("has text behind a processing instruction");
            }
            else
            {
                passText();
            }
        }

        return verdict();
    }

    const char* danger = nullptr;
    size_t endOfRootTag = 0;

private:
    Verdict fail()
    {
        isOver = true;
        return verdict();
    }

    Verdict refuse (const char* reason)
    {
        danger = reason;
        return fail();
    }

    Verdict verdict() const
    {
        return danger != nullptr ? Verdict::dangerous : isOver ? Verdict::malformed
                                                               : Verdict::sound;
    }

    bool startsWith (const char* text) const
    {
        return std::strncmp (at.getAddress(), text, std::strlen (text)) == 0;
    }

    /** Goes behind the next place where a text stands, or nowhere if it stands nowhere. */
    bool passUpTo (const char* text)
    {
        const auto* const found = std::strstr (at.getAddress(), text);

        if (found == nullptr)
            return false;

        at = juce::CharPointer_UTF8 (found + std::strlen (text));
        return true;
    }

    /** White space, comments and instructions. @returns whether there was an instruction */
    bool skipBlank()
    {
        for (auto passedInstruction = false;;)
        {
            at.incrementToEndOfWhitespace();
            const auto isInstruction = startsWith ("<?");

            if (! isInstruction && ! startsWith ("<!--"))
            {
                outOfData = outOfData || at.isEmpty();
                return passedInstruction;
            }

            at += isInstruction ? 2 : 4;
            passedInstruction = passedInstruction || isInstruction;

            if (! passUpTo (isInstruction ? "?>" : "-->"))
            {
                outOfData = true;
                return passedInstruction;
            }
        }
    }

    void passDocumentType()
    {
        if (! startsWith ("<!DOCTYPE"))
            return;

        hasDocumentType = true;
        ++at;

        for (int open = 1; open > 0; ++at)
        {
            if (at.isEmpty())
            {
                fail();
                return;
            }

            open += *at == '<' ? 1 : *at == '>' ? -1
                                                : 0;
        }
    }

    bool passName()
    {
        const auto* const first = at.getAddress();

        while (at.isLetterOrDigit() || *at == '_' || *at == '-' || *at == ':' || *at == '.')
            ++at;

        const std::string_view name (first, static_cast<size_t> (at.getAddress() - first));

        if (name.empty())
            return false;

        countPart();

        if (names.insert (name).second && names.size() > mostNames)
            refuse ("has too many names of tags and attributes");

        return true;
    }

    void countPart()
    {
        if (++numParts > mostParts)
            refuse ("has too many tags and attributes");
    }

    /** A start tag, or an empty element's. @returns false if there is none, which ends the parse */
    bool passStartTag()
    {
        hasContent = false;

        if (outOfData || isOver || *at != '<')
        {
            fail();
            return false;
        }

        ++at;

        if (! passName())
        {
            skipBlank();

            if (! passName())
                fail();
        }

        while (! isOver)
        {
            skipBlank();

            if (startsWith ("/>"))
            {
                at += 2;
                break;
            }

            if (*at == '>')
            {
                ++at;
                hasContent = true;
                break;
            }

            if (! passName())
            {
                // At the end of the text the parser keeps what it has.
                if (! outOfData)
                    fail();

                break;
            }

            skipBlank();

            if (*at != '=')
            {
                fail();
                break;
            }

            ++at;
            skipBlank();

            // Without a quote the element ends here, and what follows is its parent's text.
            if (*at != '"' && *at != '\'')
                break;

            passQuoted();
        }

        return ! isOver;
    }

    void passQuoted()
    {
        const auto quote = at.getAndAdvance();
        const auto* const first = at.getAddress();

        while (! outOfData && ! isOver)
        {
            if (*at == quote)
            {
                ++at;
                return;
            }

            if (at.isEmpty())
            {
                if (at.getAddress() == first)
                    outOfData = true; // the parser takes this for an empty text
                else
                    fail();
            }
            else if (*at == '&')
            {
                numCopied += static_cast<size_t> (at.getAddress() - first);

                if (numCopied > mostCopied)
                    refuse ("has too many references in its attributes");
                else
                    passReference();
            }
            else
            {
                ++at;
            }
        }
    }

    void passText()
    {
        while (! isOver && (*at != '<' || startsWith ("<!--")))
        {
            if (*at == '<')
            {
                at += 4;

                if (! passUpTo ("-->"))
                    fail();
            }
            else if (*at == '&')
            {
                passReference();

                if (outOfData)
                    fail();
            }
            else if (at.isEmpty())
            {
                fail();
            }
            else
            {
                ++at;
            }
        }
    }

    void passReference()
    {
        ++at;

        if (*at == '#')
        {
            ++at;
            passNumber();
            return;
        }

        for (const auto* known : { "amp;", "quot;", "apos;", "lt;", "gt;" })
        {
            const auto length = std::strlen (known);

            if (at.compareIgnoreCaseUpTo (juce::CharPointer_ASCII (known), static_cast<int> (length)) == 0)
            {
                at += static_cast<int> (length);
                return;
            }
        }

        // An entity. One that nobody has declared stands for its own name, which is parsed if it looks like a tag.
        const auto looksLikeTag = *at == '<';

        if (! passUpTo (";"))
            outOfData = true;
        else if (hasDocumentType)
            refuse ("uses an entity of its document type");
        else if (looksLikeTag)
            refuse ("has a tag for an entity's name");
    }

    void passNumber()
    {
        const auto isHexadecimal = *at == 'x' || *at == 'X';

        if (! isHexadecimal && ! at.isDigit())
            return; // a lone "&" to the parser

        if (isHexadecimal)
            ++at;

        juce::int64 number = 0;
        auto numDigits = 0;

        for (; *at != ';' && numDigits < mostDigits; ++numDigits, ++at)
        {
            const auto digit = juce::CharacterFunctions::getHexDigitValue (*at);

            if (digit < 0 || (digit > 9 && ! isHexadecimal))
                break;

            number = number * (isHexadecimal ? 16 : 10) + digit;
        }

        if (*at != ';' || ! juce::CharPointer_UTF32::canRepresent (static_cast<juce::juce_wchar> (number)) || number == 0 || number > 0x10ffff)
            refuse ("gives a character by a number that is none");
        else
            ++at;
    }

    const juce::CharPointer_UTF8 start;
    juce::CharPointer_UTF8 at;
    bool outOfData = false;  // the parser's own note that it has come to the end
    bool isOver = false;     // it gives up, or is kept from going on
    bool hasContent = false; // of the start tag that has been passed last
    bool hasDocumentType = false;
    int numParts = 0;
    size_t numCopied = 0;
    std::set<std::string_view> names;
};

} // namespace

SafeXml parseSafely (const juce::String& text)
{
    // What does not begin as XML is none, however long.
    if (*text.getCharPointer().findEndOfWhitespace() == '<' && text.getNumBytesAsUTF8() > longestXml)
        return { nullptr, "is longer than " + juce::String (longestXml >> 20) + " MiB", 0 };

    ParserWalk walk (text);

    switch (walk.walk())
    {
        case ParserWalk::Verdict::sound:
            return { juce::XmlDocument (text).getDocumentElement(), {}, walk.endOfRootTag };

        case ParserWalk::Verdict::dangerous:
            return { nullptr, walk.danger, 0 };

        case ParserWalk::Verdict::malformed:
            break;
    }

    return {};
}

} // namespace varnel
