// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Abi.h"
#include "processor/HostBinding.h"

namespace varnel::clap
{

/** The chunk of the other formats, through the host's streams. @returns whether all of it was written. Any thread. */
bool save (const HostBinding& binding, const clap_ostream_t& stream);

/** Takes the chunk of any format back. @returns false, and changes nothing, if the stream fails or holds anything else.
    Any thread. */
bool load (HostBinding& binding, const clap_istream_t& stream);

} // namespace varnel::clap
