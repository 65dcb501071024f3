// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "OutputAudioFile.h"
#include "SoundFormat.h"

/** @file
    libsndfile's numbers for formats, and ours. */

namespace varnel
{

/** @param format  as in SF_INFO */
Encoding encodingOf (int format);
Container containerOf (int format);

/** @returns a format for SF_INFO. WAV files that may grow beyond 4 GB become RF64. */
int codeOf (const OutputFormat& format);

} // namespace varnel
