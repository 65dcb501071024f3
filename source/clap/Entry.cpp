// SPDX-License-Identifier: AGPL-3.0-only
// Where a host comes in: the library's one exported symbol, and the factory of the one plug-in in it. Nothing here needs
// JUCE, so a scan is quick and needs no screen.

#include "Plugin.h"

#include <cstring>

namespace varnel::clap
{

namespace
{

uint32_t CLAP_ABI count (const clap_plugin_factory_t*)
{
    return 1;
}

const clap_plugin_descriptor_t* CLAP_ABI descriptorAt (const clap_plugin_factory_t*, uint32_t index)
{
    return index == 0 ? &Plugin::descriptor : nullptr;
}

const clap_plugin_t* CLAP_ABI create (const clap_plugin_factory_t*, const clap_host_t* host, const char* id)
{
    const auto isOurs = id != nullptr && std::strcmp (id, Plugin::descriptor.id) == 0;
    return isOurs && host != nullptr && clap_version_is_compatible (host->clap_version) ? Plugin::create (*host) : nullptr;
}

constexpr clap_plugin_factory_t factory { count, descriptorAt, create };

bool CLAP_ABI init (const char* /*path*/)
{
    return true;
}

void CLAP_ABI deinit()
{
}

const void* CLAP_ABI getFactory (const char* id)
{
    return id != nullptr && std::strcmp (id, CLAP_PLUGIN_FACTORY_ID) == 0 ? &factory : nullptr;
}

} // namespace

} // namespace varnel::clap

extern "C" CLAP_EXPORT const clap_plugin_entry_t clap_entry { CLAP_VERSION_INIT, varnel::clap::init, varnel::clap::deinit, varnel::clap::getFactory };
