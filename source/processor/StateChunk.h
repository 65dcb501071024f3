// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "ParameterState.h"

namespace varnel
{

/** The block of bytes that a host stores with a session, in either layout: the parameter tree as XML behind the magic
    "VC2!", as JUCE writes it, and the older binary record, which is read only. */
struct StateChunk
{
    ParameterState state;
    bool isBinaryRecord = false;

    /** Takes a chunk as it is. What is refused changes nothing. Any thread. @returns why, for people, as in "(the chunk) ..." */
    juce::Result read (const void* data, int sizeInBytes);

    /** Puts a parameter tree into a chunk. Any thread. */
    static void write (const juce::ValueTree& tree, juce::MemoryBlock& chunk);
};

} // namespace varnel
