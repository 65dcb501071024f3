// SPDX-License-Identifier: AGPL-3.0-only
#include "Plugin.h"

#include "Extensions.h"
#include "processor/Product.h"

#include <limits>

namespace varnel::clap
{

namespace
{

const char* features[] { CLAP_PLUGIN_FEATURE_AUDIO_EFFECT, CLAP_PLUGIN_FEATURE_REVERB, CLAP_PLUGIN_FEATURE_STEREO, nullptr };

} // namespace

const clap_plugin_descriptor_t Plugin::descriptor {
    CLAP_VERSION_INIT,
    product::clapId,
    product::name,
    product::maker,
    "", // no pages on the web
    "",
    "",
    product::version,
    product::description,
    features
};

Plugin::Plugin (const clap_host_t& hostToUse)
    : abi { &descriptor, this, init, destroy, activate, deactivate, startProcessing, stopProcessing, reset, process, getExtension, callOnMainThread },
      host (hostToUse)
{
}

const clap_plugin_t* Plugin::create (const clap_host_t& host)
{
    return &(new Plugin (host))->abi;
}

Plugin* Plugin::from (const clap_plugin_t* plugin)
{
    return plugin != nullptr ? static_cast<Plugin*> (plugin->plugin_data) : nullptr;
}

Instance* Plugin::onAnyThread (const clap_plugin_t* plugin)
{
    auto* const self = from (plugin);
    return self != nullptr ? self->instance.get() : nullptr;
}

Instance* Plugin::onMainThread (const clap_plugin_t* plugin)
{
    auto* const instance = onAnyThread (plugin);

    if (instance != nullptr)
        instance->host.assertMainThread();

    return instance;
}

/** Whom a call on the audio thread is for, or null if it may not have one now. */
Plugin* Plugin::activeOnAudioThread (const clap_plugin_t* plugin)
{
    auto* const self = from (plugin);

    if (self == nullptr || ! self->active)
        return nullptr;

    self->host.assertAudioThread();
    return self;
}

//==============================================================================
bool Plugin::init (const clap_plugin_t* plugin)
{
    auto* const self = from (plugin);

    if (self == nullptr || self->instance != nullptr)
        return false;

    self->host.findExtensions();
    self->host.assertMainThread();
    self->instance = std::make_unique<Instance> (self->host);
    return true;
}

void Plugin::destroy (const clap_plugin_t* plugin)
{
    if (auto* const self = from (plugin))
    {
        self->host.assertMainThread();
        delete self;
    }
}

bool Plugin::activate (const clap_plugin_t* plugin, double sampleRate, uint32_t fewestFrames, uint32_t mostFrames)
{
    auto* const instance = onMainThread (plugin);
    auto* const self = from (plugin);

    // No number is no rate either.
    if (instance == nullptr || self->active || ! (sampleRate > 0.0) || mostFrames == 0 || fewestFrames > mostFrames
        || mostFrames > static_cast<uint32_t> (std::numeric_limits<int>::max()))
        return false;

    instance->binding.prepare (sampleRate, static_cast<int> (mostFrames));
    self->active = true;
    return true;
}

void Plugin::deactivate (const clap_plugin_t* plugin)
{
    if (auto* const instance = onMainThread (plugin))
    {
        instance->news.setProcessing (false);
        from (plugin)->active = false;
    }
}

bool Plugin::startProcessing (const clap_plugin_t* plugin)
{
    auto* const self = activeOnAudioThread (plugin);

    if (self == nullptr || self->instance->news.isProcessing())
        return false;

    self->instance->news.setProcessing (true);
    return true;
}

void Plugin::stopProcessing (const clap_plugin_t* plugin)
{
    if (auto* const self = activeOnAudioThread (plugin))
        self->instance->news.setProcessing (false);
}

void Plugin::reset (const clap_plugin_t* plugin)
{
    if (auto* const self = activeOnAudioThread (plugin))
        self->instance->binding.forgetTail();
}

clap_process_status Plugin::process (const clap_plugin_t* plugin, const clap_process_t* call)
{
    auto* const self = activeOnAudioThread (plugin);

    if (self == nullptr || call == nullptr || ! self->instance->blocks.process (*call))
        return CLAP_PROCESS_ERROR;

    return CLAP_PROCESS_CONTINUE; // a tail may be silent for a while, and then go on
}

void Plugin::callOnMainThread (const clap_plugin_t* plugin)
{
    if (auto* const instance = onMainThread (plugin))
        instance->news.tellOnMainThread();
}

} // namespace varnel::clap
