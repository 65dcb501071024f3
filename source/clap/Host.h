// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Abi.h"

#include <juce_core/juce_core.h>

namespace varnel::clap
{

/** The host of an instance, and what it offers: an extension that it lacks is null. */
class Host
{
public:
    explicit Host (const clap_host_t& hostToUse)
        : abi (hostToUse) {}

    /** Looks for the extensions, which no host need answer before it initialises an instance. Main thread. */
    void findExtensions()
    {
        find (gui, CLAP_EXT_GUI);
        find (params, CLAP_EXT_PARAMS);
        find (state, CLAP_EXT_STATE);
        find (tail, CLAP_EXT_TAIL);
        find (threadCheck, CLAP_EXT_THREAD_CHECK);
        find (timers, CLAP_EXT_TIMER_SUPPORT);
    }

    /** In debug builds these complain of a host that calls on another thread than it says. */
    void assertMainThread() const { jassert (threadCheck == nullptr || threadCheck->is_main_thread (&abi)); }
    void assertAudioThread() const { jassert (threadCheck == nullptr || threadCheck->is_audio_thread (&abi)); }

    const clap_host_t& abi;
    const clap_host_gui_t* gui = nullptr;
    const clap_host_params_t* params = nullptr;
    const clap_host_state_t* state = nullptr;
    const clap_host_tail_t* tail = nullptr;
    const clap_host_thread_check_t* threadCheck = nullptr;
    const clap_host_timer_support_t* timers = nullptr;

private:
    template <typename Extension>
    void find (const Extension*& extension, const char* id) const
    {
        extension = static_cast<const Extension*> (abi.get_extension (&abi, id));
    }

    JUCE_DECLARE_NON_COPYABLE (Host)
};

} // namespace varnel::clap
