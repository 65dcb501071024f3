// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Instance.h"

namespace varnel::clap
{

/** What a host holds of an instance: the ABI's table of operations and the order in which they may come.

    A call that comes too soon or too late, or with a null pointer in it, does nothing and returns false.
*/
class Plugin
{
public:
    static const clap_plugin_descriptor_t descriptor;

    /** @returns what the host destroys through its table. Any thread. */
    static const clap_plugin_t* create (const clap_host_t& host);

    /** Whom a call on the main thread is for. @returns null if the host has not initialised it */
    static Instance* onMainThread (const clap_plugin_t* plugin);

    /** Whom a call is for that may come on more than one thread. @returns null if the host has not initialised it */
    static Instance* onAnyThread (const clap_plugin_t* plugin);

private:
    explicit Plugin (const clap_host_t& hostToUse);

    static Plugin* from (const clap_plugin_t* plugin);
    static Plugin* activeOnAudioThread (const clap_plugin_t* plugin);

    static bool CLAP_ABI init (const clap_plugin_t* plugin);
    static void CLAP_ABI destroy (const clap_plugin_t* plugin);
    static bool CLAP_ABI activate (const clap_plugin_t* plugin, double sampleRate, uint32_t fewestFrames, uint32_t mostFrames);
    static void CLAP_ABI deactivate (const clap_plugin_t* plugin);
    static bool CLAP_ABI startProcessing (const clap_plugin_t* plugin);
    static void CLAP_ABI stopProcessing (const clap_plugin_t* plugin);
    static void CLAP_ABI reset (const clap_plugin_t* plugin);
    static clap_process_status CLAP_ABI process (const clap_plugin_t* plugin, const clap_process_t* call);
    static void CLAP_ABI callOnMainThread (const clap_plugin_t* plugin);

    const clap_plugin_t abi;
    Host host;
    std::unique_ptr<Instance> instance;
    SharedValue<bool> active { false };

    JUCE_DECLARE_NON_COPYABLE (Plugin)
};

} // namespace varnel::clap
