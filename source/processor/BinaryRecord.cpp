// SPDX-License-Identifier: AGPL-3.0-only
#include "BinaryRecord.h"

#include "Text.h"

#include <cstring>
#include <string>

namespace varnel
{

namespace
{

/** A text that ends with a zero, or with the stream. */
juce::String readText (juce::InputStream& stream)
{
    std::string text;

    while (const auto character = stream.readByte()) // 0 at the end, too
        text.push_back (character);

    return textFrom (text);
}

} // namespace

BinaryRecord readBinaryRecord (juce::InputStream& stream)
{
    BinaryRecord record;
    const auto start = stream.getPosition();
    char magic[sizeof (binaryStateMagic)] {};

    if (stream.read (magic, sizeof (magic)) == sizeof (magic) && std::memcmp (magic, binaryStateMagic, sizeof (magic)) == 0)
        stream.readInt(); // the version, of which there has been one
    else
        stream.setPosition (start);

    readText (stream);
    record.state.presetName = readText (stream);
    stream.readInt();
    record.isComplete = stream.getNumBytesRemaining() >= static_cast<juce::int64> (Parameter::count * sizeof (float));

    for (size_t i = 0; i < Parameter::count; ++i)
        record.state.setValue (i, stream.readFloat());

    return record;
}

} // namespace varnel
