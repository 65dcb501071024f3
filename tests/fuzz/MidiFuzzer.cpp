// SPDX-License-Identifier: AGPL-3.0-only
// A block's MIDI, heard by the processor and answered.
//
// Input: a mask of the parameters that are learning, the block's number of samples, and then messages: position,
// number of bytes, bytes.

#include "Fuzz.h"

#include "processor/ControllerAnswers.h"

namespace
{

/** Adds bytes as they are. MidiBuffer::addEvent() would look at them first. */
void append (juce::MidiBuffer& midi, std::int32_t position, const uint8_t* bytes, size_t length)
{
    const auto numBytes = static_cast<std::uint16_t> (length);
    midi.data.addArray (reinterpret_cast<const uint8_t*> (&position), static_cast<int> (sizeof (position)));
    midi.data.addArray (reinterpret_cast<const uint8_t*> (&numBytes), static_cast<int> (sizeof (numBytes)));
    midi.data.addArray (bytes, static_cast<int> (length));
}

} // namespace

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    auto& processor = fuzz::processor();
    static auto& answers = *new varnel::ControllerAnswers (processor);
    fuzz::startAfresh (processor);

    if (size < 2)
        return 0;

    for (size_t i = 0; i < processor.midiControllers.size(); ++i)
        processor.midiControllers[i] = ((data[0] >> i) & 1) != 0 ? varnel::MidiControllerMap::learning
                                                                 : varnel::MidiControllerMap::notBound;

    juce::AudioBuffer<float> block (2, data[1]);
    block.clear();
    juce::MidiBuffer midi;

    for (size_t at = 2; at + 2 <= size;)
    {
        const auto length = std::min (static_cast<size_t> (data[at + 1]), size - at - 2);
        append (midi, data[at], data + at + 2, length);
        at += 2 + length;
    }

    const auto before = midi;
    processor.processBlock (block, midi);
    REQUIRE (midi.data == before.data);

    for (size_t i = 0; i < processor.midiControllers.size(); ++i)
        REQUIRE (processor.midiControllers[i] >= varnel::MidiControllerMap::learning && processor.midiControllers[i] <= 127);

    answers.answer();
    fuzz::requireSoundState (processor);
    return 0;
}
