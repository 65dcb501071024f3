// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Knob.h"

namespace varnel
{

/** Shows a dial's value above it while keys turn it, since the caption says it only to the mouse. Message thread. */
class ValueBubble : public juce::Component,
                    private juce::Timer
{
public:
    ValueBubble()
    {
        setInterceptsMouseClicks (false, false);
        setAccessible (false);
    }

    /** For a second and a half, unless called again. */
    void show (const TolvarKnob& knob)
    {
        text = knob.valueWithUnit().trimEnd();
        font = juce::FontOptions (std::max (13.0f, knob.fontHeight * 0.7f), juce::Font::bold);

        const auto dial = knob.slider.getBounds() + knob.getPosition();
        const auto width = juce::roundToInt (juce::GlyphArrangement::getStringWidth (font, text) + font.getHeight());
        const auto height = juce::roundToInt (font.getHeight() * 1.4f);
        setBounds (dial.getCentreX() - width / 2, dial.getY() - height / 2, width, height);
        setVisible (true);
        repaint();
        startTimer (1500);
    }

    void hide()
    {
        setVisible (false);
        stopTimer();
    }

    void paint (juce::Graphics& g) override
    {
        const auto area = getLocalBounds().toFloat();
        g.setColour (juce::Colour (0xf0202020));
        g.fillRoundedRectangle (area, area.getHeight() / 4.0f);
        g.setColour (juce::Colours::white);
        g.setFont (font);
        g.drawText (text, getLocalBounds(), juce::Justification::centred, false);
    }

private:
    void timerCallback() override { hide(); }

    juce::String text;
    juce::Font font { juce::FontOptions() };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ValueBubble)
};

} // namespace varnel
