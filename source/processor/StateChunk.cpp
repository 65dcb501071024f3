// SPDX-License-Identifier: AGPL-3.0-only
#include "StateChunk.h"

#include "BinaryRecord.h"
#include "SafeXml.h"
#include "Text.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <algorithm>
#include <cstring>

namespace varnel
{

juce::Result StateChunk::read (const void* data, int sizeInBytes)
{
    constexpr char xmlMagic[] { 'V', 'C', '2', '!' };
    constexpr int headerSize = 8;

    if (data == nullptr || sizeInBytes < static_cast<int> (sizeof (xmlMagic)))
        return juce::Result::fail ("is too short for a state");

    if (std::memcmp (data, binaryStateMagic, sizeof (binaryStateMagic)) == 0)
    {
        juce::MemoryInputStream stream (data, static_cast<size_t> (sizeInBytes), false);
        state = readBinaryRecord (stream).state;
        isBinaryRecord = true;
        return juce::Result::ok();
    }

    if (std::memcmp (data, xmlMagic, sizeof (xmlMagic)) != 0)
        return juce::Result::fail ("holds no state: it begins with neither \"VC2!\" nor \"Ostr\"");

    if (sizeInBytes <= headerSize)
        return juce::Result::fail ("is cut short in its header");

    const auto* const bytes = static_cast<const char*> (data);
    const auto length = static_cast<int> (juce::ByteOrder::littleEndianInt (bytes + sizeof (xmlMagic)));

    if (length <= 0)
        return juce::Result::fail ("holds no text: its length field says " + juce::String (length));

    const auto xml = parseSafely (textFrom (bytes + headerSize, static_cast<size_t> (std::min (length, sizeInBytes - headerSize))));

    if (xml.danger.isNotEmpty())
        return juce::Result::fail ("holds XML that " + xml.danger);

    if (xml.root == nullptr)
        return juce::Result::fail ("holds XML that cannot be parsed");

    if (! xml.root->getTagName().equalsIgnoreCase (stateIds::root.toString()))
        return juce::Result::fail ("holds XML with the root \"" + xml.root->getTagName() + "\" instead of \"" + stateIds::root + "\"");

    state = stateFromXml (*xml.root);
    isBinaryRecord = false;
    return juce::Result::ok();
}

void StateChunk::write (const juce::ValueTree& tree, juce::MemoryBlock& chunk)
{
    if (const auto xml = tree.createXml())
        juce::AudioProcessor::copyXmlToBinary (*xml, chunk);
}

} // namespace varnel
