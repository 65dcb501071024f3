// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Abi.h"

namespace varnel::clap
{

/** The ABI's table of operations for one of the extensions that we have, or null. Any thread, at any time. */
const void* CLAP_ABI getExtension (const clap_plugin_t* plugin, const char* id);

} // namespace varnel::clap
