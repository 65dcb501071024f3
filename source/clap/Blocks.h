// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "HostNews.h"
#include "Parameters.h"

namespace varnel::clap
{

/** Runs the host's blocks, in pieces between which parameters move. Audio thread. */
class Blocks
{
public:
    Blocks (HostBinding& bindingToUse, Parameters& parametersToMove, HostNews& newsToTell);

    /** @returns whether there was anything to run on: two channels in and out of 32 bits, the same or others. Events count
        either way. */
    bool process (const clap_process_t& call);

    /** Takes and tells events without a block, which may be on the main thread. @param in, out  may be null */
    void flush (const clap_input_events_t* in, const clap_output_events_t* out);

private:
    void move (const clap_event_param_value_t& event);
    void run (float* const* channels, int numChannels, uint32_t start, uint32_t end);

    HostBinding& binding;
    Parameters& parameters;
    HostNews& news;
    juce::MidiBuffer midi;
};

} // namespace varnel::clap
