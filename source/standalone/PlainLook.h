// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace varnel
{

/** What the program's own dialogs look like. They are no part of the instrument, whose look has boxes without frames and
    black text, so they have JUCE's own, with a box whose icon is whole. */
class PlainLook : public juce::LookAndFeel_V4
{
public:
    void drawAlertBox (juce::Graphics& g, juce::AlertWindow& box, const juce::Rectangle<int>&, juce::TextLayout& text) override
    {
        g.fillAll (box.findColour (juce::AlertWindow::backgroundColourId));
        g.setColour (box.findColour (juce::AlertWindow::outlineColourId));
        g.drawRect (box.getLocalBounds(), 2);

        const juce::Rectangle<float> icon (18.0f, 24.0f, 48.0f, 48.0f);
        g.setColour (juce::Colour (0xff00a0aa));
        g.fillEllipse (icon);
        g.setColour (juce::Colours::white);
        g.setFont (juce::FontOptions (icon.getHeight() * 0.8f, juce::Font::bold));
        g.drawText (box.getAlertType() == juce::MessageBoxIconType::QuestionIcon ? "?" : "i", icon, juce::Justification::centred, false);

        g.setColour (box.findColour (juce::AlertWindow::textColourId));
        text.draw (g, box.getLocalBounds().withTrimmedLeft (84).withTrimmedTop (24).toFloat());
    }
};

} // namespace varnel
