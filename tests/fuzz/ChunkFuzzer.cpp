// SPDX-License-Identifier: AGPL-3.0-only
// The chunk that a host stores, in either layout.

#include "Fuzz.h"

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    auto& processor = fuzz::processor();
    fuzz::startAfresh (processor);
    const auto before = fuzz::values (processor);

    if (processor.restoreState (data, static_cast<int> (size)).failed())
        REQUIRE (fuzz::values (processor) == before);

    fuzz::requireSoundState (processor);
    return 0;
}
