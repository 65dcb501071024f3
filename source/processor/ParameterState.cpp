// SPDX-License-Identifier: AGPL-3.0-only
#include "ParameterState.h"

#include "Files.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

namespace varnel
{

namespace
{

/** The number at the start of a text. @returns nothing where there is no digit to start with */
std::optional<double> numberIn (const juce::String& text)
{
    auto start = text.trimStart();

    if (start.startsWithChar ('-') || start.startsWithChar ('+'))
        start = start.substring (1);

    if (start.startsWithChar ('.'))
        start = start.substring (1);

    if (! juce::CharacterFunctions::isDigit (start[0]))
        return {};

    // JUCE counts the exponent in an int, which must not overflow.
    const auto exponent = start.fromFirstOccurrenceOf ("e", false, true).trimCharactersAtStart ("+-0").initialSectionContainingOnly ("0123456789");

    if (exponent.length() > 8)
        return {};

    return text.getDoubleValue();
}

std::optional<double> numberIn (const juce::var& value)
{
    if (value.isDouble() || value.isInt() || value.isInt64() || value.isBool())
        return static_cast<double> (value);

    return numberIn (value.toString());
}

std::optional<size_t> indexOf (const juce::String& id)
{
    for (size_t i = 0; i < parameterTable.size(); ++i)
        if (id == parameterTable[i].id)
            return i;

    return {};
}

constexpr juce::juce_wchar byteOrderMark = 0xfeff;

/** A text that ends with a zero, or with the stream. */
juce::String readText (juce::InputStream& stream)
{
    std::string text;

    while (const auto character = stream.readByte()) // 0 at the end, too
        text.push_back (character);

    return textFrom (text);
}

/** Whether all characters that a text gives by their numbers ("&#228;", "&#xe4;") are complete, and are characters. JUCE's
    parser reads on behind the end of the text where one is cut short. */
bool hasSoundCharacterNumbers (const juce::String& text)
{
    constexpr auto longest = 8; // digits

    for (auto at = text.getCharPointer(); ! at.isEmpty();)
    {
        if (at.getAndAdvance() != '&' || *at != '#')
            continue;

        ++at;
        const auto base = *at == 'x' || *at == 'X' ? 16 : 10;
        juce::int64 number = 0;
        auto numDigits = 0;

        if (base == 16)
            ++at;

        for (; *at != ';' && numDigits < longest; ++numDigits)
        {
            const auto digit = juce::CharacterFunctions::getHexDigitValue (*at);

            if (digit < 0 || digit >= base)
                return false;

            number = number * base + digit;
            ++at;
        }

        if (*at != ';' || number == 0 || number > 0x10ffff || (number >= 0xd800 && number < 0xe000))
            return false;
    }

    return true;
}

/** A byte more than anything that is read here may have, to tell that there is too much. */
constexpr size_t mostOfFile = longestStateText + 1;

} // namespace

void ParameterState::setValue (size_t index, double value)
{
    const auto& parameter = parameterTable[index];

    if (std::isfinite (value))
        values[index] = static_cast<float> (std::clamp (value, static_cast<double> (parameter.start), static_cast<double> (parameter.end)));
}

//==============================================================================
std::unique_ptr<juce::XmlElement> parseStateXml (const juce::String& text)
{
    int numTags = 0;

    for (auto character = text.getCharPointer(); ! character.isEmpty(); ++character)
        numTags += *character == '<' ? 1 : 0;

    // A document type may define entities that grow without end or name other files. A processing instruction in front
    // of text makes JUCE's parser go round in circles; only the declaration in front of everything looks like one.
    if (numTags > mostStateTags || text.getNumBytesAsUTF8() > longestStateText || text.containsIgnoreCase ("<!DOCTYPE")
        || text.lastIndexOf ("<?") > text.indexOfChar ('<') || ! hasSoundCharacterNumbers (text))
        return {};

    return juce::XmlDocument (text).getDocumentElement();
}

std::unique_ptr<juce::XmlElement> parseStateFile (const juce::File& file)
{
    const auto bytes = startOf (file, mostOfFile);

    if (! bytes || bytes->getSize() > longestStateText)
        return {};

    const auto text = textFrom (static_cast<const char*> (bytes->getData()), bytes->getSize());
    return parseStateXml (text.trimCharactersAtStart (juce::String::charToString (byteOrderMark)));
}

//==============================================================================
ParameterState stateFromXml (const juce::XmlElement& xml)
{
    ParameterState state;

    if (xml.hasAttribute (stateIds::presetName))
        state.presetName = xml.getStringAttribute (stateIds::presetName);

    for (const auto* child : xml.getChildIterator())
        if (const auto index = indexOf (child->getStringAttribute (stateIds::id)))
            if (const auto value = numberIn (child->getStringAttribute (stateIds::value)))
                state.setValue (*index, *value);

    return state;
}

ParameterState stateFromTree (const juce::ValueTree& tree)
{
    ParameterState state;

    if (tree.hasProperty (stateIds::presetName))
        state.presetName = tree.getProperty (stateIds::presetName).toString();

    for (const auto& child : tree)
        if (const auto index = indexOf (child.getProperty (stateIds::id).toString()))
            if (const auto value = numberIn (child.getProperty (stateIds::value)))
                state.setValue (*index, *value);

    return state;
}

juce::ValueTree treeFromState (const ParameterState& state)
{
    juce::ValueTree tree (stateIds::root);

    if (state.presetName)
        tree.setProperty (stateIds::presetName, *state.presetName, nullptr);

    for (size_t i = 0; i < Parameter::count; ++i)
        if (state.values[i])
            tree.appendChild ({ stateIds::parameter, { { stateIds::id, parameterTable[i].id }, { stateIds::value, *state.values[i] } } }, nullptr);

    return tree;
}

ParameterState stateFromBinary (juce::InputStream& stream)
{
    ParameterState state;
    const auto start = stream.getPosition();
    char magic[sizeof (binaryStateMagic)] {};

    if (stream.read (magic, sizeof (magic)) == sizeof (magic) && std::memcmp (magic, binaryStateMagic, sizeof (magic)) == 0)
        stream.readInt(); // the version, of which there has been one
    else
        stream.setPosition (start);

    readText (stream);
    state.presetName = readText (stream);
    stream.readInt();
    state.isComplete = stream.getNumBytesRemaining() >= static_cast<juce::int64> (Parameter::count * sizeof (float));

    for (size_t i = 0; i < Parameter::count; ++i)
        state.setValue (i, stream.readFloat());

    return state;
}

std::optional<ParameterState> stateFromBinaryFile (const juce::File& file)
{
    const auto bytes = startOf (file, mostOfFile);

    if (! bytes)
        return {};

    juce::MemoryInputStream stream (*bytes, false);
    return stateFromBinary (stream);
}

} // namespace varnel
