// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_graphics/juce_graphics.h>

namespace varnel
{

/** The embedded face of the captions, Avenir Heavy, to be given a height and kerning. It stays for the life of the
    process. Message thread. */
juce::FontOptions getAvenirHeavy();

/** A caption's font. @param height  pixels  @param kerning  extra space between letters, as a share of the height */
juce::Font captionFont (float height, float kerning);

/** The name by which the face is told from others. */
constexpr auto captionTypefaceName = "Avenir";

} // namespace varnel
