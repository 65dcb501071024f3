// SPDX-License-Identifier: AGPL-3.0-only
#include "CaptionFace.h"

#include <BinaryData.h>

namespace varnel
{

juce::FontOptions getAvenirHeavy()
{
    static const juce::FontOptions face (juce::Typeface::createSystemTypefaceFor (BinaryData::avenirHeavy_otf, BinaryData::avenirHeavy_otfSize));
    return face;
}

juce::Font captionFont (float height, float kerning)
{
    constexpr auto horizontalScale = 0.86f;
    return getAvenirHeavy().withHeight (height).withKerningFactor (kerning).withHorizontalScale (horizontalScale);
}

} // namespace varnel
