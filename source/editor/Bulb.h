// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <utility>

namespace varnel
{

/** The modulation lamp: a grey disc with a black rim. */
class Bulb : public juce::Component
{
public:
    /** @param newBrightness  0 is black, 255 white */
    void setBrightness (juce::uint8 newBrightness)
    {
        if (std::exchange (brightness, newBrightness) != newBrightness)
            repaint();
    }

    void paint (juce::Graphics& g) override
    {
        const auto w = static_cast<float> (getWidth());
        const auto stroke = w / 5.0f;

        g.setColour (juce::Colour (brightness, brightness, brightness));
        g.fillEllipse (0.0f, 0.0f, w, w);
        g.setColour (juce::Colours::black);
        g.drawEllipse (stroke / 2.0f, stroke / 2.0f, w - stroke, w - stroke, stroke);
    }

private:
    juce::uint8 brightness = 0;
};

} // namespace varnel
