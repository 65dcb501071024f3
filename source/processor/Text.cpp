// SPDX-License-Identifier: AGPL-3.0-only
#include "Text.h"

#include "Decimal.h"

#include <algorithm>
#include <limits>

namespace varnel
{

namespace
{

/** How many bytes the character at the start of valid UTF-8 has; 0 where there is none. */
size_t lengthOfCharacter (const unsigned char* bytes, size_t numBytes)
{
    const auto first = bytes[0];
    const size_t length = first < 0x80 ? 1 : first < 0xc2 ? 0
                                         : first < 0xe0   ? 2
                                         : first < 0xf0   ? 3
                                         : first < 0xf5   ? 4
                                                          : 0;

    if (length > numBytes)
        return 0;

    for (size_t i = 1; i < length; ++i)
        if ((bytes[i] & 0xc0) != 0x80)
            return 0;

    // Longer than need be, a surrogate, or beyond the last character
    if ((first == 0xe0 && bytes[1] < 0xa0) || (first == 0xed && bytes[1] >= 0xa0) || (first == 0xf0 && bytes[1] < 0x90) || (first == 0xf4 && bytes[1] >= 0x90))
        return 0;

    return length;
}

/** Half a pair of UTF-16 that stands alone is no character. */
juce::String fromUtf16 (const unsigned char* bytes, size_t numBytes, bool bigEndian)
{
    juce::MemoryOutputStream text;

    const auto unitAt = [&] (size_t i) -> juce::juce_wchar
    {
        if (i + 2 > numBytes)
            return 0;

        return bigEndian ? juce::ByteOrder::bigEndianShort (bytes + i) : juce::ByteOrder::littleEndianShort (bytes + i);
    };

    for (size_t i = 0; i + 2 <= numBytes && unitAt (i) != 0; i += 2)
    {
        auto character = unitAt (i);

        if (character >= 0xd800 && character < 0xe000)
        {
            const auto next = unitAt (i + 2);
            const auto isPair = character < 0xdc00 && next >= 0xdc00 && next < 0xe000;
            character = isPair ? 0x10000 + ((character - 0xd800) << 10) + (next - 0xdc00) : replacementCharacter;
            i += isPair ? 2 : 0;
        }

        text.appendUTF8Char (character);
    }

    return text.toUTF8();
}

} // namespace

bool isUtf8 (const char* text, size_t numBytes)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*> (text);

    for (size_t i = 0; i < numBytes;)
    {
        const auto length = lengthOfCharacter (bytes + i, numBytes - i);

        if (length == 0)
            return false;

        i += length;
    }

    return true;
}

juce::String textFrom (const char* bytes, size_t numBytes)
{
    numBytes = static_cast<size_t> (std::find (bytes, bytes + numBytes, '\0') - bytes);

    if (isUtf8 (bytes, numBytes))
        return juce::String::fromUTF8 (bytes, static_cast<int> (numBytes));

    std::string converted;

    for (size_t i = 0; i < numBytes; ++i)
    {
        const auto byte = static_cast<unsigned char> (bytes[i]);

        if (byte >= 0x80)
            converted.push_back (static_cast<char> (0xc0 | (byte >> 6)));

        converted.push_back (static_cast<char> (byte < 0x80 ? byte : 0x80 | (byte & 0x3f)));
    }

    return juce::String::fromUTF8 (converted.data(), static_cast<int> (converted.size()));
}

juce::String textFrom (const std::string& bytes)
{
    return textFrom (bytes.data(), bytes.size());
}

juce::String textOfFile (const juce::MemoryBlock& file)
{
    const auto* const bytes = static_cast<const char*> (file.getData());
    const auto size = file.getSize();

    if (size >= 3 && juce::CharPointer_UTF8::isByteOrderMark (bytes))
        return textFrom (bytes + 3, size - 3);

    if (size >= 2)
        for (const auto bigEndian : { false, true })
            if (bigEndian ? juce::CharPointer_UTF16::isByteOrderMarkBigEndian (bytes) : juce::CharPointer_UTF16::isByteOrderMarkLittleEndian (bytes))
                return fromUtf16 (reinterpret_cast<const unsigned char*> (bytes) + 2, size - 2, bigEndian);

    return textFrom (bytes, size);
}

double numberIn (const juce::String& text)
{
    const auto trimmed = text.trimStart();
    const auto* start = trimmed.toRawUTF8();
    const auto* const end = start + trimmed.getNumBytesAsUTF8();

    if (*start == '+' && start[1] != '-')
        ++start;

    double number = 0.0;
    const auto [stop, error] = readDecimal (start, end, number);

    // The standard does not say which of the two it was.
    if (error == std::errc::result_out_of_range)
    {
        const std::string_view digits (start, static_cast<size_t> (stop - start));
        const auto exponent = digits.find_first_of ("eE");
        const auto isTiny = exponent != digits.npos ? digits[exponent + 1] == '-' : digits.find_first_of ("123456789") > digits.find ('.');
        return isTiny ? 0.0 : std::numeric_limits<double>::infinity();
    }

    return number;
}

} // namespace varnel
