// SPDX-License-Identifier: AGPL-3.0-only
// The binary record of older versions, as a stream that may end anywhere and, behind its magic, as a host's chunk.

#include "Fuzz.h"

#include "processor/BinaryRecord.h"

#include <cstring>

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    auto& processor = fuzz::processor();
    fuzz::startAfresh (processor);

    juce::MemoryInputStream stream (data, size, false);
    const auto state = varnel::readBinaryRecord (stream).state;
    REQUIRE (state.presetName.has_value());

    for (size_t i = 0; i < state.values.size(); ++i)
        REQUIRE (state.values[i] >= varnel::parameterTable[i].start && state.values[i] <= varnel::parameterTable[i].end);

    juce::MemoryBlock chunk (varnel::binaryStateMagic, sizeof (varnel::binaryStateMagic));
    chunk.append (data, size);
    REQUIRE (processor.restoreState (chunk.getData(), static_cast<int> (chunk.getSize())).wasOk());

    fuzz::requireSoundState (processor);
    return 0;
}
