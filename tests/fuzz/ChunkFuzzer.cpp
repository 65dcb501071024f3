// SPDX-License-Identifier: AGPL-3.0-only
// The chunk that a host stores, in either layout, and whether the walk in front of JUCE's XML parser comes to what the
// parser itself comes to.

#include "Fuzz.h"

#include "processor/SafeXml.h"
#include "processor/Text.h"

namespace
{

void requireSameVerdict (const juce::String& text)
{
    const auto xml = varnel::parseSafely (text);
    REQUIRE ((xml.root != nullptr) == (xml.endOfRootTag != 0));

    // Behind what is malformed the parser goes on, and may come to what it cannot stand, or to an entity that nobody has
    // declared, which makes it forget the error.
    if (xml.root == nullptr && xml.danger.isEmpty() && ! text.contains ("<?") && ! text.containsChar ('&'))
        REQUIRE (juce::XmlDocument (text).getDocumentElement() == nullptr);
}

} // namespace

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    auto& processor = fuzz::processor();
    fuzz::startAfresh (processor);
    const auto before = values (processor);

    if (processor.restoreState (data, static_cast<int> (size)).failed())
        REQUIRE (values (processor) == before);

    fuzz::requireSoundState (processor);
    requireSameVerdict (varnel::textFrom (reinterpret_cast<const char*> (data) + std::min<size_t> (size, 8), size - std::min<size_t> (size, 8)));
    return 0;
}
