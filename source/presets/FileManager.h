// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

namespace varnel
{

/** Opens a folder in the desktop's file manager, if there is one. The path never meets a shell. Message thread. */
void openInFileManager (const juce::File& folder);

} // namespace varnel
