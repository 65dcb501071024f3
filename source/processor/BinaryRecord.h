// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "ParameterState.h"

namespace varnel
{

/** The first four bytes of a binary record in a host chunk; in a file they may be missing. */
constexpr char binaryStateMagic[] { 'O', 's', 't', 'r' };

/** A record as versions before the XML chunk wrote it, in host chunks and preset files. It is read only. */
struct BinaryRecord
{
    ParameterState state;   ///< presetName is always set
    bool isComplete = true; ///< false for a record that ends before its last value
};

/** Reads a record, little-endian, from the stream's present position. What it lacks at its end reads as zero and as
    empty text. Any thread. */
BinaryRecord readBinaryRecord (juce::InputStream& stream);

} // namespace varnel
