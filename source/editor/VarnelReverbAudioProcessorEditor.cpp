// SPDX-License-Identifier: AGPL-3.0-only
#include "VarnelReverbAudioProcessorEditor.h"

#include "CaptionFace.h"
#include "KeyboardFocus.h"
#include "processor/Product.h"
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

/** Where the Tab key stops, in the order of the signal and of the eye; the parameters' controls come between. */
enum TabStop
{
    presetStop = 1,
    sizeStop,
    loStop,
    hiStop,
    spinStop,
    positionStop,
    insertModeStop,
    effectStop,
    prevStop,
    nextStop,
    versionStop
};

constexpr int showTooltipsItem = 1;
constexpr int sizeItems[] { 80, 100, 120, 140, 160, 180, 200 }; // per cent; 100 is half a pixel per unit

juce::Image imageOf (const char* data, int size)
{
    return juce::ImageCache::getFromMemory (data, size);
}

} // namespace

using Editor = VarnelReverbAudioProcessorEditor;

const std::array<Editor::KnobRow, 5> Editor::knobRows { {
    { &Editor::loKnob, "ReverbLo", loStop, 34, 0, { 30, 144, 140, 172 }, "Determines how much low frequencies there will be in the reverb signal and how fast they die out (the material of the room)" },
    { &Editor::hiKnob, "ReverbHi", hiStop, 34, 0, { 190, 144, 140, 172 }, "Determines how much high frequencies there will be in the reverb signal and how fast they die out (the material of the room)" },
    { &Editor::sizeKnob, "ReverbSize", sizeStop, 46, -60, { 460, 100, 280, 314 }, "Sets the size of the reverb (the reverberation time of the room)" },
    { &Editor::spinKnob, "ReverbMod", spinStop, 34, 0, { 870, 144, 140, 172 }, "Determines the amount of detuning of the reverb. Increasing depth results in a fuller, richer sound" },
    { &Editor::positionKnob, "Position", positionStop, 34, 40, { 1010, 124, 180, 192 }, "Enables you to set the position of the listener" },
} };

// EFFECT, the caption of the second, stands in the artwork.
const std::array<Editor::ToggleRow, 2> Editor::toggleRows { {
    { &Editor::insertToggle, "ReverbInsertMode", insertModeStop, "white", { 1091, 361, 18, 18 }, { 1019, 388, 160, 56 } },
    { &Editor::bypassToggle, "Bypass", effectStop, "red", { 1156, 520, 18, 18 }, { 1028, 517, 116, 24 } },
} };

//==============================================================================
VarnelReverbAudioProcessorEditor::VarnelReverbAudioProcessorEditor (VarnelReverbAudioProcessor& processorToShow)
    : AudioProcessorEditor (processorToShow),
      tooltipWindow (this),
      audioProcessor (processorToShow),
      presetManager (processorToShow),
      presetAttachment (presetManager, presetSelector)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    for (auto* knob : { &sizeKnob, &spinKnob, &loKnob, &hiKnob, &positionKnob })
    {
        knob->slider.setSliderStyle (juce::Slider::RotaryHorizontalVerticalDrag);
        knob->slider.setRotaryParameters (3.6568139f, 8.9095564f, true);
    }

    const auto stored = settings().getDoubleValue (settingsKeys::scale);
    constexpr auto largest = 1e6; // a larger one makes a size that is no int; the limits below say what is too large
    scale = stored > 0.0 ? std::min (stored, largest) : 0.5;
    setSize (static_cast<int> (designWidth * scale), static_cast<int> (designHeight * scale));

    setResizeLimits (480, 248, 1200, 620);
    getConstrainer()->setFixedAspectRatio (designWidth / designHeight);
    setResizable (true, true);

    const auto addPicture = [this] (juce::Component& picture)
    {
        picture.setInterceptsMouseClicks (false, false);
        picture.setAccessible (false);
        addAndMakeVisible (picture);
    };

    for (auto& meter : meters)
        addPicture (meter);

    addPicture (spinBulb);
    addAndMakeVisible (presetSelector);
    addAndMakeVisible (nextButton);
    addAndMakeVisible (prevButton);

    presetSelector.setEditableText (false);
    presetSelector.setTitle ("Preset");
    presetSelector.addKeyListener (&presetKeys);
    focusByKeyboardOnly (presetSelector);

    juce::LookAndFeel::setDefaultLookAndFeel (&lookingFabulous.get());
    setTooltipDelay();

    for (const auto& row : knobRows)
        setUpKnob (row);

    setUpToggle (toggleRows[0]);
    insertLabel.setText ("INSERT", juce::dontSendNotification);
    modeLabel.setText ("MODE", juce::dontSendNotification);

    for (auto* label : { &insertLabel, &modeLabel })
    {
        label->setJustificationType (juce::Justification::centred);
        label->setInterceptsMouseClicks (false, false);
        label->setAccessible (false);
        addAndMakeVisible (label);
    }

    setUpToggle (toggleRows[1]);

    const auto setFaces = [] (juce::ImageButton& button, const juce::Image& up, const juce::Image& down)
    { button.setImages (false, true, true, up, 1.0f, {}, {}, 1.0f, {}, down, 1.0f, {}); };

    setFaces (nextButton, nextImageUp, nextImageDown);
    setFaces (prevButton, prevImageUp, prevImageDown);
    nextButton.setTitle ("Next preset");
    prevButton.setTitle ("Previous preset");

    nextButton.onClick = [this]
    { step (&PresetManager::stepToNextPreset); };

    prevButton.onClick = [this]
    { step (&PresetManager::stepToPreviousPreset); };

    versionLabel.setColour (juce::Label::textColourId, juce::Colours::white);
    versionLabel.setJustificationType (juce::Justification::centred);
    versionLabel.setAccessible (false); // its button says it
    addAndMakeVisible (versionLabel);

    setFaces (buildInfoButton, {}, {});
    buildInfoButton.onClick = [this]
    {
        showBuildInfo = ! showBuildInfo;
        composeVersionLine();
    };
    addAndMakeVisible (buildInfoButton);
    composeVersionLine();

    setTitle (audioProcessor.getName());
    addChildComponent (valueBubble);

    for (const auto& [stop, control] : { std::pair<TabStop, juce::Component*> { presetStop, &presetSelector }, { prevStop, &prevButton }, { nextStop, &nextButton }, { versionStop, &buildInfoButton } })
        control->setExplicitFocusOrder (stop);

    // A click takes the keyboard from nobody. What comes with the window's activation stays with the panel.
    setWantsKeyboardFocus (true);
    setMouseClickGrabsKeyboardFocus (false);
    setExplicitFocusOrder (1);

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
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED
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

void VarnelReverbAudioProcessorEditor::setUp (LearningControl& control, const char* parameterID, int tabStop)
{
    control.midiControllers = &audioProcessor.midiControllers;
    control.midiIndex = midiIndexOf (parameterID);
    control.setExplicitFocusOrder (tabStop);
    addAndMakeVisible (control);
    addChildComponent (control.dot);
}

void VarnelReverbAudioProcessorEditor::setUpKnob (const KnobRow& row)
{
    auto& knob = this->*row.knob;
    knob.slider.setTooltip (row.tooltip);
    knob.attachToParameter (audioProcessor.parameterState, row.parameterID);
    knob.onKey = [this, &knob] (bool isTurning)
    { isTurning ? valueBubble.show (knob) : valueBubble.hide(); };
    setUp (knob, row.parameterID, row.tabStop);
}

void VarnelReverbAudioProcessorEditor::setUpToggle (const ToggleRow& row)
{
    auto& toggle = this->*row.toggle;
    addAndMakeVisible (toggle.pad);
    toggle.button.setButtonText (row.style);
    toggle.attachToParameter (audioProcessor.parameterState, row.parameterID);
    setUp (toggle, row.parameterID, row.tabStop);
}

void VarnelReverbAudioProcessorEditor::setTooltipDelay()
{
    tooltipWindow.setMillisecondsBeforeTipAppears (settings().getBoolValue (settingsKeys::showTooltips) ? millisecondsBeforeTip : never);
}

void VarnelReverbAudioProcessorEditor::composeVersionLine()
{
    auto line = audioProcessor.getName() + " " + product::version + " ";

    if (showBuildInfo)
        line << "(r947) hash e6619a6e";

    versionLabel.setText (line, juce::dontSendNotification);
    buildInfoButton.setTitle (line.trimEnd());
}

void VarnelReverbAudioProcessorEditor::step (void (PresetManager::*stepToPreset)())
{
    if (auto* const manager = audioProcessor.presetManager)
        (manager->*stepToPreset)();
}

//==============================================================================
VarnelReverbAudioProcessorEditor::PanelButton::PanelButton()
{
    focusByKeyboardOnly (*this);
}

void VarnelReverbAudioProcessorEditor::PanelButton::mouseDown (const juce::MouseEvent& event)
{
    if (auto* const panel = getParentComponent(); panel != nullptr && isPopupClick (event.mods))
        panel->mouseDown (event.getEventRelativeTo (panel));
    else
        ImageButton::mouseDown (event);
}

void VarnelReverbAudioProcessorEditor::PanelButton::mouseUp (const juce::MouseEvent& event)
{
    if (! isPopupClick (event.mods))
        ImageButton::mouseUp (event);
}

bool VarnelReverbAudioProcessorEditor::PresetKeys::keyPressed (const juce::KeyPress& key, juce::Component*)
{
    using Key = juce::KeyPress;

    if (key == Key::upKey || key == Key::leftKey)
        editor.step (&PresetManager::stepToPreviousPreset);
    else if (key == Key::downKey || key == Key::rightKey)
        editor.step (&PresetManager::stepToNextPreset);
    else
        return false;

    return true;
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

    const auto inPixels = [this] (const Bounds& units)
    { return juce::Rectangle<int> (juce::roundToInt (units.x * scale), juce::roundToInt (units.y * scale), juce::roundToInt (units.w * scale), juce::roundToInt (units.h * scale)); };

    const auto place = [&] (juce::Component& child, double x, double y, double w, double h)
    { child.setBounds (inPixels ({ x, y, w, h })); };

    const auto dotSize = std::max (6, juce::roundToInt (pixels (12.0)));
    const juce::Rectangle<int> dotBounds (dotSize, dotSize);

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

    for (const auto& row : knobRows)
    {
        auto& knob = this->*row.knob;
        knob.fontHeight = pixels (row.fontHeight);
        knob.sizeAdjust = pixels (row.sizeAdjust);
        knob.setBounds (inPixels (row.bounds));

        // On the rim, half way up on the right
        constexpr auto rim = 120.0f / 280.0f; // of the dial's picture
        const auto dial = (knob.slider.getBounds() + knob.getPosition()).toFloat();
        knob.dot.setBounds (dotBounds.withCentre (dial.getCentre().getPointOnCircumference (rim * dial.getWidth(), juce::MathConstants<float>::pi / 4.0f).roundToInt()));
    }

    for (const auto& row : toggleRows)
    {
        constexpr auto easilyHit = 24; // pixels
        auto& toggle = this->*row.toggle;
        toggle.setBounds (inPixels (row.bounds));

        const auto lamp = toggle.getBounds();
        toggle.pad.setBounds (lamp.withSizeKeepingCentre (std::max (lamp.getWidth(), easilyHit), std::max (lamp.getHeight(), easilyHit)).getUnion (inPixels (row.caption)));
        toggle.dot.setBounds (dotBounds.withCentre ({ lamp.getRight() + dotSize * 3 / 4, lamp.getCentreY() }));
    }

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

    for (const auto& row : knobRows)
        (this->*row.knob).showLearning();

    for (const auto& row : toggleRows)
        (this->*row.toggle).showLearning();

    spinBulb.setBrightness (static_cast<juce::uint8> (juce::jlimit (23.0f, 255.0f, std::abs (engine.spinPhase) * 255.0f)));
}

//==============================================================================
void VarnelReverbAudioProcessorEditor::mouseDown (const juce::MouseEvent& event)
{
    if (isPopupClick (event.mods))
        openMenu ({});
}

bool VarnelReverbAudioProcessorEditor::keyPressed (const juce::KeyPress& key)
{
    if (! isPopupKey (key))
        return false;

    openMenu (juce::PopupMenu::Options().withTargetScreenArea (getScreenBounds().withSizeKeepingCentre (1, 1)));
    return true;
}

void VarnelReverbAudioProcessorEditor::focusGainedWithDirection (FocusChangeType cause, FocusChangeDirection direction)
{
    if (cause == focusChangedByTabKey)
        moveKeyboardFocusToSibling (direction != FocusChangeDirection::backward);
}

void VarnelReverbAudioProcessorEditor::openMenu (const juce::PopupMenu::Options& options)
{
    juce::PopupMenu menu;
    menu.addSectionHeader ("Set GUI size:");

    for (const auto percent : sizeItems)
        menu.addItem (percent, juce::String (percent) + "% ", true, juce::roundToInt (static_cast<float> (scale * 200.0)) == percent);

    menu.addSeparator();
    menu.addItem (showTooltipsItem, "Show Tooltips", true, settings().getBoolValue (settingsKeys::showTooltips));

    menu.showMenuAsync (options, juce::ModalCallbackFunction::forComponent (menuFinished, this));
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
