// SPDX-License-Identifier: AGPL-3.0-only
#include "LookAndFeel.h"

#include "CaptionFace.h"

#include <BinaryData.h>

namespace varnel
{

namespace
{

juce::Rectangle<int> withoutSides (int width, int height)
{
    const auto inset = juce::roundToInt (width * 0.2);
    return { inset, 0, width - 2 * inset, height };
}

/** JUCE's own dialogs, which are no part of the panel: message boxes, and the chooser of files where the system has none. */
bool isInDialog (const juce::Component& component)
{
    return component.findParentComponentOfClass<juce::AlertWindow>() != nullptr
           || component.findParentComponentOfClass<juce::FileBrowserComponent>() != nullptr;
}

juce::TextLayout layoutTooltipText (const juce::String& text, juce::Colour colour)
{
    constexpr auto fontHeight = 18.0f, maximumWidth = 400.0f;

    juce::AttributedString attributed;
    attributed.setJustification (juce::Justification::centred);
    attributed.append (text, juce::FontOptions (fontHeight, juce::Font::bold), colour);

    juce::TextLayout layout;
    layout.createLayoutWithBalancedLineLengths (attributed, maximumWidth);
    return layout;
}

} // namespace

//==============================================================================
LookingGood::LookingGood() = default;

void LookingGood::fillTextEditorBackground (juce::Graphics& g, int width, int height, juce::TextEditor& editor)
{
    if (isInDialog (editor))
    {
        LookAndFeel_V4::fillTextEditorBackground (g, width, height, editor);
        return;
    }

    g.setColour (editor.findColour (juce::TextEditor::backgroundColourId));
    g.fillRect (withoutSides (width, height));

    // An entry takes the place of a centred caption.
    if (editor.getJustificationType() != juce::Justification::centred)
    {
        editor.setJustification (juce::Justification::centred);
        editor.repaint();
    }

    if (editor.getLeftIndent() != 0 || editor.getTopIndent() != 0)
    {
        editor.setIndents (0, 0);
        editor.repaint();
    }
}

void LookingGood::drawTextEditorOutline (juce::Graphics& g, int width, int height, juce::TextEditor& editor)
{
    if (! editor.isEnabled() || isInDialog (editor))
        return;

    const auto isFocused = editor.hasKeyboardFocus (true) && ! editor.isReadOnly();
    g.setColour (editor.findColour (isFocused ? juce::TextEditor::focusedOutlineColourId : juce::TextEditor::outlineColourId));
    g.drawRect (withoutSides (width, height).toFloat(), isFocused ? 2.0f : 1.0f);
}

//==============================================================================
void LookingGood::drawPopupMenuItem (juce::Graphics& g, const juce::Rectangle<int>& area, bool isSeparator, bool isActive, bool isHighlighted, bool isTicked, bool hasSubMenu, const juce::String& text, const juce::String& shortcutKeyText, const juce::Drawable* icon, const juce::Colour* textColour)
{
    const auto colour = textColour != nullptr ? *textColour : findColour (juce::PopupMenu::textColourId);

    if (isSeparator)
    {
        const auto y = area.getY() + juce::roundToInt (static_cast<float> (area.getHeight()) * 0.5f - 0.5f);
        g.setColour (findColour (juce::PopupMenu::textColourId).withAlpha (0.3f));
        g.fillRect (area.getX() + 5, y, area.getWidth() - 10, 1);
        return;
    }

    auto row = area.reduced (1);

    if (isHighlighted && isActive)
    {
        g.setColour (findColour (juce::PopupMenu::highlightedBackgroundColourId));
        g.fillRect (row);
        g.setColour (findColour (juce::PopupMenu::highlightedTextColourId));
    }
    else
    {
        g.setColour (colour.withMultipliedAlpha (isActive ? 1.0f : 0.5f));
    }

    const auto tallest = static_cast<float> (row.getHeight()) * 0.9f;
    auto font = getPopupMenuFont();
    font.setHeight (std::min (font.getHeight(), tallest));
    g.setFont (font);

    row.reduce (std::min (5, area.getWidth() / 20), 0);
    const auto tickArea = row.removeFromLeft (juce::roundToInt (tallest)).toFloat();

    if (icon != nullptr)
    {
        icon->drawWithin (g, tickArea, juce::RectanglePlacement::centred | juce::RectanglePlacement::onlyReduceInSize, 1.0f);
        row.removeFromLeft (juce::roundToInt (tallest * 0.5f));
    }
    else if (isTicked)
    {
        const auto tick = getTickShape (1.0f);
        g.fillPath (tick, tick.getTransformToScaleToFit (tickArea.reduced (tickArea.getWidth() / 5.0f, 0.0f), true));
    }

    if (hasSubMenu)
    {
        const auto size = 0.6f * getPopupMenuFont().getAscent();
        const auto x = static_cast<float> (row.removeFromRight (static_cast<int> (size)).getX());
        const auto y = static_cast<float> (row.getCentreY());

        juce::Path arrow;
        arrow.startNewSubPath (x, y - size * 0.5f);
        arrow.lineTo (x + size * 0.6f, y);
        arrow.lineTo (x, y + size * 0.5f);
        g.strokePath (arrow, juce::PathStrokeType (2.0f));
    }

    row.removeFromRight (3);
    g.drawFittedText (text, row, juce::Justification::centredLeft, 1);

    if (shortcutKeyText.isNotEmpty())
    {
        font.setHeight (font.getHeight() * 0.75f);
        font.setHorizontalScale (0.95f);
        g.setFont (font);
        g.drawText (shortcutKeyText, row, juce::Justification::centredRight, true);
    }
}

void LookingGood::drawPopupMenuSectionHeader (juce::Graphics& g, const juce::Rectangle<int>& area, const juce::String& sectionName)
{
    g.setFont (getPopupMenuFont());
    g.setColour (findColour (juce::PopupMenu::headerTextColourId));
    g.drawFittedText (sectionName,
                      area.getX() + 22,
                      area.getY(),
                      area.getWidth() - 16,
                      static_cast<int> (static_cast<float> (area.getHeight()) * 0.8f),
                      juce::Justification::bottomLeft,
                      1);
}

void LookingGood::drawPopupMenuColumnSeparatorWithOptions (juce::Graphics& g, const juce::Rectangle<int>& bounds, const juce::PopupMenu::Options&)
{
    g.setColour (juce::Colours::transparentBlack);
    g.fillRect (bounds);
}

int LookingGood::getPopupMenuColumnSeparatorWidthWithOptions (const juce::PopupMenu::Options&)
{
    return 10;
}

//==============================================================================
void LookingGood::drawLabel (juce::Graphics& g, juce::Label& label)
{
    g.fillAll (label.findColour (juce::Label::backgroundColourId));

    const auto outline = label.findColour (juce::Label::outlineColourId);

    if (! label.isBeingEdited())
    {
        const auto alpha = label.isEnabled() ? 1.0f : 0.5f;
        const auto font = getLabelFont (label);
        auto border = getLabelBorderSize (label);

        if (font.getTypefaceName() == captionTypefaceName)
        {
            const auto height = static_cast<float> (label.getHeight());
            border = { juce::roundToInt (height * 0.125f), juce::roundToInt (height * 0.25f), 0, 0 };
        }

        const auto area = border.subtractedFrom (label.getLocalBounds());
        const auto colourId = isInDialog (label) && ! label.isColourSpecified (juce::Label::textColourId) ? static_cast<int> (juce::AlertWindow::textColourId) : static_cast<int> (juce::Label::textColourId);
        g.setColour (label.findColour (colourId).withMultipliedAlpha (alpha));
        g.setFont (font);
        g.drawFittedText (label.getText(),
                          area,
                          label.getJustificationType(),
                          std::max (1, static_cast<int> (static_cast<float> (area.getHeight()) / font.getHeight())),
                          label.getMinimumHorizontalScale());

        g.setColour (outline.withMultipliedAlpha (alpha));
    }
    else if (label.isEnabled())
    {
        g.setColour (outline);
    }

    g.drawRect (label.getLocalBounds(), 1);
}

//==============================================================================
juce::Rectangle<int> LookingGood::getTooltipBounds (const juce::String& tipText, juce::Point<int> screenPos, juce::Rectangle<int> parentArea)
{
    const auto layout = layoutTooltipText (tipText, juce::Colours::black);
    const auto w = static_cast<int> (layout.getWidth() + 30.0f);
    const auto h = static_cast<int> (layout.getHeight() + 20.0f);

    return juce::Rectangle<int> (screenPos.x > parentArea.getCentreX() ? screenPos.x - (w + 12) : screenPos.x + 24,
                                 screenPos.y > parentArea.getCentreY() ? screenPos.y - (h + 6) : screenPos.y + 6,
                                 w,
                                 h)
        .constrainedWithin (parentArea);
}

void LookingGood::drawTooltip (juce::Graphics& g, const juce::String& text, int width, int height)
{
    g.fillAll (findColour (juce::TooltipWindow::backgroundColourId));
    layoutTooltipText (text, findColour (juce::TooltipWindow::textColourId))
        .draw (g, { static_cast<float> (width), static_cast<float> (height) });
}

//==============================================================================
LookingFabulous::LookingFabulous()
{
    setColour (juce::Slider::thumbColourId, juce::Colours::white);
    setColour (juce::ComboBox::textColourId, juce::Colours::white);
    setColour (juce::ComboBox::outlineColourId, juce::Colour (0x00000000));
    setColour (juce::ComboBox::backgroundColourId, juce::Colour (0x00000000));
    setColour (juce::PopupMenu::textColourId, juce::Colours::white);
    setColour (juce::PopupMenu::backgroundColourId, juce::Colour (0xdc353535));
    setColour (juce::TooltipWindow::textColourId, juce::Colours::white);
    setColour (juce::Label::textColourId, juce::Colours::black);
}

void LookingFabulous::drawToggleButton (juce::Graphics& g, juce::ToggleButton& button, bool highlighted, bool down)
{
    const auto style = button.getButtonText();

    if (style != "white" && style != "red")
    {
        LookAndFeel_V4::drawToggleButton (g, button, highlighted, down);
        return;
    }

    const auto stroke = static_cast<float> (button.getWidth()) / 5.0f;
    const auto area = button.getLocalBounds().toFloat().reduced (stroke / 2.0f);
    const auto lit = style == "red" ? juce::Colour (0xffff0000) : juce::Colours::white;

    g.setColour (button.getToggleState() ? lit : juce::Colour (0xff555555));
    g.fillEllipse (area);
    g.setColour (juce::Colours::black);
    g.drawEllipse (area, stroke);
}

//==============================================================================
void LookingFabulous::drawComboBox (juce::Graphics& g, int width, int height, bool, int, int, int, int, juce::ComboBox& box)
{
    // The text alone stands on the panel: the colours are transparent unless somebody changes them, and there is no arrow.
    constexpr auto corner = 3.0f;
    const juce::Rectangle<float> bounds (static_cast<float> (width), static_cast<float> (height));

    g.setColour (box.findColour (juce::ComboBox::backgroundColourId));
    g.fillRoundedRectangle (bounds, corner);
    g.setColour (box.findColour (juce::ComboBox::outlineColourId));
    g.drawRoundedRectangle (bounds.reduced (0.5f), corner, 1.0f);
}

juce::Font LookingFabulous::getComboBoxFont (juce::ComboBox& box)
{
    return juce::FontOptions (static_cast<float> (box.getHeight()) * 0.6f);
}

void LookingFabulous::positionComboBoxText (juce::ComboBox& box, juce::Label& label)
{
    label.setBounds (0, 0, box.getWidth(), box.getHeight());
    label.setFont (getComboBoxFont (box));
    label.setJustificationType (juce::Justification::centred);
}

//==============================================================================
void LookingFabulous::drawRotarySlider (juce::Graphics& g, int x, int y, int width, int height, float sliderPos, float startAngle, float endAngle, juce::Slider& slider)
{
    const auto r = static_cast<float> (width / 2);
    const auto centreX = static_cast<float> (x) + 0.5f * static_cast<float> (width);
    const auto centreY = static_cast<float> (y) + 0.5f * static_cast<float> (height);
    const auto left = centreX - r, top = centreY - r, diameter = 2.0f * r;

    const auto dial = juce::ImageCache::getFromMemory (BinaryData::dial_png, BinaryData::dial_pngSize);
    g.drawImage (dial, static_cast<int> (left), static_cast<int> (top), static_cast<int> (diameter), static_cast<int> (diameter), 0, 0, dial.getWidth(), dial.getHeight());

    // The pointer: the piece of a ring that shows through a slit, which turns about the centre.
    const auto margin = width / 3.5;
    const auto ringRadius = r - 0.5 * margin;
    const auto ringWidth = 0.245 * ringRadius;
    const auto sliderWidth = static_cast<double> (slider.getWidth());
    const auto angle = startAngle + sliderPos * (endAngle - startAngle);

    juce::Path slit;
    slit.addRectangle (juce::Rectangle<double> (-0.5 * sliderWidth / 18.0, -20.0 - ringRadius, sliderWidth / 18.0, 20.0 + ringWidth).toFloat());
    slit.applyTransform (juce::AffineTransform::rotation (angle).translated (centreX, centreY));

    const juce::Graphics::ScopedSaveState saved (g);
    g.reduceClipRegion (slit);
    g.setColour (juce::Colours::white);

    const auto inset = 0.5 * margin + 0.5 * ringWidth + sliderWidth / 100.0;
    const auto size = diameter - margin - ringWidth - sliderWidth / 50.0;
    g.drawEllipse (juce::Rectangle<double> (left + inset, top + inset, size, size).toFloat(), static_cast<float> (ringWidth + sliderWidth / 50.0));
}

} // namespace varnel
