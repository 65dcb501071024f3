// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "library/varnel_reverb.h"

#include <span>

namespace varnel
{

/** The presets of presets/factory: the start sound, then folder by folder. cmake/FactoryBank.cmake writes them. */
extern const std::span<const varnel_reverb_preset> factoryBank;

} // namespace varnel
