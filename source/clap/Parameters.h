// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Abi.h"
#include "processor/HostBinding.h"

namespace varnel::clap
{

/** The parameters as a host sees them: known by their places in the table, in plain values. */
class Parameters
{
public:
    Parameters (VarnelReverbAudioProcessor& processorToShow, HostBinding& bindingToUse);

    /** @returns false if there is none of this index. Main thread. */
    bool describe (uint32_t index, clap_param_info_t& info) const;

    /** What sounds. @returns false if there is none of this ID. Main thread. */
    bool read (clap_id id, double& value) const;

    /** Writes a value as the window shows it, with its unit. @returns false if there is none of this ID, for what is no
        number, or if there is no room at all. Main thread. */
    bool writeText (clap_id id, double value, char* text, uint32_t size) const;

    /** Reads the number that a text begins with; without one it is 0. @returns false if there is none of this ID, or for
        what is no number. Main thread. */
    bool readText (clap_id id, const char* text, double& value) const;

    /** Takes the host's word. What is no number, or of no parameter, is passed over. The thread of blocks and flushes. */
    void apply (const clap_event_param_value_t& event);

private:
    VarnelReverbAudioProcessor& processor;
    HostBinding& binding;
};

} // namespace varnel::clap
