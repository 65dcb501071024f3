// SPDX-License-Identifier: AGPL-3.0-only
#include "Blocks.h"

#include <algorithm>
#include <array>
#include <limits>

namespace varnel::clap
{

namespace
{

constexpr size_t midiBytes = 8192; ///< what a piece has room for; more begins another one
constexpr size_t bytesOfOne = 32;  ///< more than a message takes in JUCE's buffer

/** An event as what its header says it is, or null. */
template <typename Event>
const Event* as (const clap_event_header_t* header, uint16_t type)
{
    const auto is = header != nullptr && header->space_id == CLAP_CORE_EVENT_SPACE_ID && header->type == type && header->size >= sizeof (Event);
    return is ? reinterpret_cast<const Event*> (header) : nullptr;
}

/** Calls something with each event's header. @param list  may be null */
template <typename Function>
void forEach (const clap_input_events_t* list, Function&& function)
{
    if (list == nullptr)
        return;

    for (uint32_t i = 0, number = list->size (list); i < number; ++i)
        function (list->get (list, i));
}

bool isStereo (const clap_audio_buffer_t* buffers, uint32_t count)
{
    return count > 0 && buffers != nullptr && buffers->channel_count >= 2 && buffers->data32 != nullptr && buffers->data32[0] != nullptr && buffers->data32[1] != nullptr;
}

} // namespace

Blocks::Blocks (HostBinding& bindingToUse, Parameters& parametersToMove, HostNews& newsToTell)
    : binding (bindingToUse), parameters (parametersToMove), news (newsToTell)
{
    midi.ensureSize (midiBytes);
}

bool Blocks::process (const clap_process_t& call)
{
    const HostNews::HostCall scope (news);
    const auto frames = call.frames_count;
    const auto hasSound = frames <= static_cast<uint32_t> (std::numeric_limits<int>::max())
                          && isStereo (call.audio_inputs, call.audio_inputs_count) && isStereo (call.audio_outputs, call.audio_outputs_count);
    std::array<float*, 2> channels {};

    if (hasSound)
    {
        for (size_t i = 0; i < channels.size(); ++i)
        {
            channels[i] = call.audio_outputs->data32[i];

            if (const auto* const input = call.audio_inputs->data32[i]; input != channels[i])
                std::copy_n (input, frames, channels[i]);
        }

        call.audio_outputs->constant_mask = 0;
    }

    const auto numChannels = hasSound ? static_cast<int> (channels.size()) : 0;
    uint32_t done = 0;

    const auto runUntil = [&] (uint32_t end)
    {
        run (channels.data(), numChannels, done, end);
        done = end;
    };

    forEach (call.in_events, [&] (const clap_event_header_t* header)
             {
        // Late is what comes out of order, and what comes behind the block is at its end.
        const auto time = header != nullptr ? std::clamp (header->time, done, std::max (done, frames)) : 0;

        if (const auto* const value = as<clap_event_param_value_t> (header, CLAP_EVENT_PARAM_VALUE))
        {
            runUntil (time);
            move (*value);
        }
        else if (const auto* const message = as<clap_event_midi_t> (header, CLAP_EVENT_MIDI))
        {
            if (static_cast<size_t> (midi.data.size()) + bytesOfOne > midiBytes)
                runUntil (time);

            midi.addEvent (message->data, 3, static_cast<int> (time - done));
        } });

    runUntil (frames);
    news.tell (call.out_events);
    news.tellOfTail();
    return hasSound || frames == 0;
}

void Blocks::flush (const clap_input_events_t* in, const clap_output_events_t* out)
{
    const HostNews::HostCall scope (news);

    forEach (in, [this] (const clap_event_header_t* header)
             {
        if (const auto* const value = as<clap_event_param_value_t> (header, CLAP_EVENT_PARAM_VALUE))
            move (*value); });

    news.tell (out);
}

void Blocks::move (const clap_event_param_value_t& event)
{
    news.hostMoves ([&]
                    { parameters.apply (event); });
}

void Blocks::run (float* const* channels, int numChannels, uint32_t start, uint32_t end)
{
    if (start == end && midi.isEmpty())
        return;

    juce::AudioBuffer<float> buffer (channels, numChannels, static_cast<int> (start), static_cast<int> (end - start));
    binding.process (buffer, midi);
    midi.clear();
}

} // namespace varnel::clap
