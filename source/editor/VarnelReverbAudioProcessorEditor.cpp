// SPDX-License-Identifier: AGPL-3.0-only
#include "VarnelReverbAudioProcessorEditor.h"

#include "CaptionFace.h"
#include "processor/Settings.h"

#include <BinaryData.h>

#include <algorithm>
#include <cmath>

namespace varnel
{

namespace
{

constexpr double designWidth = 1200.0, designHeight = 620.0;
constexpr int millisecondsPerFrame = 40;
constexpr int millisecondsBeforeTip = 700, never = 0x7fffffff;

constexpr int showTooltipsItem = 1;
constexpr int sizeItems[] { 80, 100, 120, 140, 160, 180, 200 }; // per cent; 100 is half a pixel per unit

juce::Image imageOf (const char* data, int size)
{
    return juce::ImageCache::getFromMemory (data, size);
}

} // namespace

VarnelReverbAudioProcessorEditor::VarnelReverbAudioProcessorEditor (VarnelReverbAudioProcessor& processorToShow)
    : AudioProcessorEditor (processorToShow),
      tooltipWindow (this),
      audioProcessor (processorToShow),
      presetManager (processorToShow),
      presetAttachment (presetManager, presetSelector)
{
    for (auto* knob : { &sizeKnob, &spinKnob, &loKnob, &hiKnob, &positionKnob })
    {
        knob->slider.setSliderStyle (juce::Slider::RotaryHorizontalVerticalDrag);
        knob->slider.setRotaryParameters (3.6568139f, 8.9095564f, true);
    }

    const auto stored = settings().getDoubleValue (settingsKeys::scale);
    constexpr auto largest = 10.0; // beyond any use, but a size that fits an int
    scale = stored > 0.0 ? std::min (stored, largest) : 0.5;
    setSize (static_cast<int> (designWidth * scale), static_cast<int> (designHeight * scale));

    setResizeLimits (480, 248, 1200, 620);
    getConstrainer()->setFixedAspectRatio (designWidth / designHeight);
    setResizable (true, true);

    for (auto& meter : meters)
        addAndMakeVisible (meter);

    addAndMakeVisible (spinBulb);
    addAndMakeVisible (presetSelector);
    addAndMakeVisible (nextButton);
    addAndMakeVisible (prevButton);

    presetSelector.setEditableText (false);
    presetSelector.setTitle ("Preset");

    juce::LookAndFeel::setDefaultLookAndFeel (&lookingFabulous.get());
    setTooltipDelay();

    setUpKnob (loKnob, "ReverbLo", "Determines how much low frequencies there will be in the reverb signal and how fast they die out (the material of the room)");
    setUpKnob (hiKnob, "ReverbHi", "Determines how much high frequencies there will be in the reverb signal and how fast they die out (the material of the room)");
    setUpKnob (sizeKnob, "ReverbSize", "Sets the size of the reverb (the reverberation time of the room)");
    setUpKnob (spinKnob, "ReverbMod", "Determines the amount of detuning of the reverb. Increasing depth results in a fuller, richer sound");
    setUpKnob (positionKnob, "Position", "Enables you to set the position of the listener");

    setUpToggle (insertToggle, "ReverbInsertMode", "white");
    insertLabel.setText ("INSERT", juce::dontSendNotification);
    modeLabel.setText ("MODE", juce::dontSendNotification);

    for (auto* label : { &insertLabel, &modeLabel })
    {
        label->setJustificationType (juce::Justification::centred);
        label->setInterceptsMouseClicks (false, false);
        addAndMakeVisible (label);
    }

    setUpToggle (bypassToggle, "Bypass", "red");

    const auto setFaces = [] (juce::ImageButton& button, const juce::Image& up, const juce::Image& down)
    { button.setImages (false, true, true, up, 1.0f, {}, {}, 1.0f, {}, down, 1.0f, {}); };

    setFaces (nextButton, nextImageUp, nextImageDown);
    setFaces (prevButton, prevImageUp, prevImageDown);
    nextButton.setTitle ("Next preset");
    prevButton.setTitle ("Previous preset");

    nextButton.onClick = [this]
    {
        if (auto* const manager = audioProcessor.presetManager)
            manager->stepToNextPreset();
    };

    prevButton.onClick = [this]
    {
        if (auto* const manager = audioProcessor.presetManager)
            manager->stepToPreviousPreset();
    };

    versionLabel.setColour (juce::Label::textColourId, juce::Colours::white);
    versionLabel.setJustificationType (juce::Justification::centred);
    addAndMakeVisible (versionLabel);

    setFaces (buildInfoButton, {}, {});
    buildInfoButton.setTitle ("Version");
    buildInfoButton.onClick = [this]
    {
        showBuildInfo = ! showBuildInfo;
        composeVersionLine();
    };
    addAndMakeVisible (buildInfoButton);
    composeVersionLine();

    setTitle (audioProcessor.getName());
    setFocusContainerType (FocusContainerType::keyboardFocusContainer);

    // What was built before the look and feel took its place as the default
    sendLookAndFeelChange();

    startTimer (millisecondsPerFrame);
}

VarnelReverbAudioProcessorEditor::~VarnelReverbAudioProcessorEditor()
{
    // A menu of this window may be open.
    juce::PopupMenu::dismissAllActiveMenus();

    if (! juce::exactlyEqual (scale, settings().getDoubleValue (settingsKeys::scale)))
        settings().setValue (settingsKeys::scale, scale);

    setLookAndFeel (nullptr);
}

// The processor knows no editor; what it needs to open one stands here.
juce::AudioProcessorEditor* VarnelReverbAudioProcessor::createEditor()
{
    return new VarnelReverbAudioProcessorEditor (*this);
}

//==============================================================================
juce::PropertiesFile& VarnelReverbAudioProcessorEditor::settings() const
{
    return *audioProcessor.settings.getUserSettings();
}

int VarnelReverbAudioProcessorEditor::midiIndexOf (const juce::String& parameterID) const
{
    const auto& ids = audioProcessor.paramIds;
    const auto found = std::find (ids.begin(), ids.end(), parameterID);
    return found != ids.end() ? static_cast<int> (found - ids.begin()) : 0;
}

void VarnelReverbAudioProcessorEditor::setUpKnob (LabelKnob& knob, const char* parameterID, const juce::String& tooltip)
{
    knob.slider.setTooltip (tooltip);
    knob.attachToParameter (audioProcessor.parameterState, parameterID);
    knob.midiControllers = &audioProcessor.midiControllers;
    knob.midiIndex = midiIndexOf (parameterID);
    addAndMakeVisible (knob);
}

void VarnelReverbAudioProcessorEditor::setUpToggle (TolvarToggle& toggle, const char* parameterID, const char* style)
{
    toggle.button.setButtonText (style);
    toggle.attachToParameter (audioProcessor.parameterState, parameterID);
    toggle.midiControllers = &audioProcessor.midiControllers;
    toggle.midiIndex = midiIndexOf (parameterID);
    addAndMakeVisible (toggle);
}

void VarnelReverbAudioProcessorEditor::setTooltipDelay()
{
    tooltipWindow.setMillisecondsBeforeTipAppears (settings().getBoolValue (settingsKeys::showTooltips) ? millisecondsBeforeTip : never);
}

void VarnelReverbAudioProcessorEditor::composeVersionLine()
{
    auto line = audioProcessor.getName() + " " VARNEL_VERSION " ";

    if (showBuildInfo)
        line << "(r947) hash e6619a6e";

    versionLabel.setText (line, juce::dontSendNotification);
}

//==============================================================================
void VarnelReverbAudioProcessorEditor::resized()
{
    scale = getWidth() / designWidth;

    nextImageUp = prevImageUp = imageOf (BinaryData::buttonFaceUp_png, BinaryData::buttonFaceUp_pngSize);
    nextImageDown = prevImageDown = imageOf (BinaryData::buttonFaceDown_png, BinaryData::buttonFaceDown_pngSize);

    const auto pixels = [this] (double units)
    { return static_cast<float> (units * scale); };

    arc.outerRadius = pixels (239.0);
    arc.innerRadius = pixels (196.0);
    arc.midRadius = pixels (217.5);
    arc.centreX = static_cast<float> (getWidth()) / 2.0f;
    arc.centreY = pixels (248.0);

    const auto place = [this] (juce::Component& child, double x, double y, double w, double h)
    { child.setBounds (juce::roundToInt (x * scale), juce::roundToInt (y * scale), juce::roundToInt (w * scale), juce::roundToInt (h * scale)); };

    const auto placeKnob = [&] (LabelKnob& knob, double fontHeight, double sizeAdjust, double x, double y, double w, double h)
    {
        knob.fontHeight = pixels (fontHeight);
        knob.sizeAdjust = pixels (sizeAdjust);
        place (knob, x, y, w, h);
    };

    // The outer rings first and last, the inner ones between them; input on the left, output on the right
    const struct
    {
        double radius;
        float startAngle, innerAngle;
    } rings[] { { 476.0, -1.975f, -1.94f }, { 432.0, -1.939f, -1.924f }, { 432.0, 1.939f, 1.924f }, { 476.0, 1.975f, 1.94f } };

    for (size_t i = 0; i < meters.size(); ++i)
    {
        meters[i].radius = pixels (rings[i].radius);
        meters[i].startAngle = rings[i].startAngle;
        meters[i].innerAngle = rings[i].innerAngle;
        meters[i].arcCentreY = pixels (168.0);
        place (meters[i], i < 2 ? 300 : 600, 80, 300, 266);
    }

    place (spinBulb, 931, 322, 18, 18);
    place (presetSelector, 400, 14, 400, 40);
    place (prevButton, 851, 7, 54, 60);
    place (nextButton, 917, 7, 54, 60);
    place (versionLabel, 180, 572, 840, 40);
    place (buildInfoButton, 180, 572, 840, 40);
    placeKnob (sizeKnob, 46, -60, 460, 100, 280, 314);
    placeKnob (loKnob, 34, 0, 30, 144, 140, 172);
    placeKnob (hiKnob, 34, 0, 190, 144, 140, 172);
    placeKnob (spinKnob, 34, 0, 870, 144, 140, 172);
    placeKnob (positionKnob, 34, 40, 1010, 124, 180, 192);
    place (bypassToggle, 1156, 520, 18, 18);
    place (insertToggle, 1091, 361, 18, 18);
    place (insertLabel, 1019, 388, 160, 30);
    place (modeLabel, 1019, 414, 160, 30);

    versionLabel.setFont (juce::FontOptions (pixels (22.0)));
    insertLabel.setFont (captionFont (pixels (34.0), captionKerning));
    modeLabel.setFont (captionFont (pixels (34.0), captionKerning));
}

void VarnelReverbAudioProcessorEditor::paint (juce::Graphics& g)
{
    g.fillAll (getLookAndFeel().findColour (juce::ResizableWindow::backgroundColourId));
    g.drawImage (imageOf (BinaryData::background_png, BinaryData::background_pngSize), getLocalBounds().toFloat());

    const juce::Point<float> centre (arc.centreX, arc.centreY);
    juce::Path track;
    track.addCentredArc (centre.x, centre.y, arc.innerRadius, arc.innerRadius, 0.0f, arc.innerAngle, -arc.innerAngle, true);
    track.quadraticTo (centre.getPointOnCircumference (arc.midRadius, -arc.capAngle), centre.getPointOnCircumference (arc.outerRadius, -arc.outerAngle));
    track.addCentredArc (centre.x, centre.y, arc.outerRadius, arc.outerRadius, 0.0f, -arc.outerAngle, arc.outerAngle, false);
    track.quadraticTo (centre.getPointOnCircumference (arc.midRadius, arc.capAngle), centre.getPointOnCircumference (arc.innerRadius, arc.innerAngle));

    const auto w = static_cast<float> (getWidth());
    juce::Path window;
    window.addRectangle (w / 4.0f, w / 21.0f, w / 2.0f, w / 2.0f);
    g.reduceClipRegion (window);
    g.setColour (juce::Colour (0xff1b0e15));
    g.fillPath (track);
}

void VarnelReverbAudioProcessorEditor::timerCallback()
{
    auto& engine = audioProcessor.engine;
    SharedValue<float>* const peaks[] { &engine.peakInL, &engine.peakInR, &engine.peakOutL, &engine.peakOutR };

    for (const size_t left : { 0u, 2u })
    {
        const float levels[] { *peaks[left], *peaks[left + 1] };
        *peaks[left] = 0.0f;
        *peaks[left + 1] = 0.0f;
        meters[left].setLevel (levels[0]);
        meters[left + 1].setLevel (levels[1]);
    }

    spinBulb.setBrightness (static_cast<juce::uint8> (juce::jlimit (23.0f, 255.0f, std::abs (engine.spinPhase) * 255.0f)));
}

//==============================================================================
void VarnelReverbAudioProcessorEditor::mouseDown (const juce::MouseEvent& event)
{
    if (! isPopupClick (event.mods))
        return;

    juce::PopupMenu menu;
    menu.addSectionHeader ("Set GUI size:");

    for (const auto percent : sizeItems)
        menu.addItem (percent, juce::String (percent) + "% ", true, juce::roundToInt (static_cast<float> (scale * 200.0)) == percent);

    menu.addSeparator();
    menu.addItem (showTooltipsItem, "Show Tooltips", true, settings().getBoolValue (settingsKeys::showTooltips));

    menu.showMenuAsync (juce::PopupMenu::Options(), juce::ModalCallbackFunction::forComponent (menuFinished, this));
}

void VarnelReverbAudioProcessorEditor::menuFinished (int result, VarnelReverbAudioProcessorEditor* editor)
{
    if (editor != nullptr)
        editor->takeMenuResult (result);
}

void VarnelReverbAudioProcessorEditor::takeMenuResult (int result)
{
    if (result == showTooltipsItem)
    {
        if (settings().getBoolValue (settingsKeys::showTooltips))
            settings().setValue (settingsKeys::showTooltips, false);
        else
            settings().setValue (settingsKeys::showTooltips, 1);

        setTooltipDelay();
    }
    else if (result > showTooltipsItem)
    {
        const auto newScale = static_cast<float> (result) * 0.5 * 0.01;
        setBounds (getX(), getY(), juce::roundToInt (designWidth * newScale), juce::roundToInt (designHeight * newScale));
    }
}

} // namespace varnel
