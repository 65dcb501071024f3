// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Bulb.h"
#include "Knob.h"
#include "LookAndFeel.h"
#include "TolvarToggle.h"
#include "VUMeterCircle.h"
#include "ValueBubble.h"
#include "presets/ComboBoxAttachment.h"
#include "presets/ComboBoxImproved.h"
#include "processor/VarnelReverbAudioProcessor.h"

#include <array>

namespace varnel
{

/** The plug-in's window.

    It is designed on a surface of 1200 by 620 units, of which each is drawn `scale` pixels wide, from 0.4 to 1.
    A timer of 40 ms feeds the meters. The scale is remembered in the user's settings when the window closes.

    The keyboard comes to its controls by the Tab key alone. Until then the window itself has it, and uses none of the
    keys that hosts want. Message thread.
*/
class VarnelReverbAudioProcessorEditor : public juce::AudioProcessorEditor,
                                         private juce::Timer
{
public:
    explicit VarnelReverbAudioProcessorEditor (VarnelReverbAudioProcessor& processorToShow);
    ~VarnelReverbAudioProcessorEditor() override;

    /** The menu of sizes and tooltips, after a popup click on the bare panel. */
    void mouseDown (const juce::MouseEvent& event) override;

    /** The same menu by its key. */
    bool keyPressed (const juce::KeyPress& key) override;

    /** On to the next control: the panel is no stop of the Tab key. */
    void focusGainedWithDirection (FocusChangeType cause, FocusChangeDirection direction) override;

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    /** The dark track behind the meters; pixels and radians. */
    struct Arc
    {
        float outerRadius = 0.0f, innerRadius = 0.0f, midRadius = 0.0f, centreX = 0.0f, centreY = 0.0f;
        const float outerAngle = 1.98f, capAngle = 1.9265f, innerAngle = 1.927f;
    };

    /** In design units. */
    struct Bounds
    {
        double x, y, w, h;
    };

    /** All there is to say of a knob. */
    struct KnobRow
    {
        LabelKnob VarnelReverbAudioProcessorEditor::*knob;
        const char* parameterID;
        int tabStop;
        double fontHeight, sizeAdjust; ///< design units
        Bounds bounds;
        const char* tooltip;
    };

    /** All there is to say of a lamp that switches. */
    struct ToggleRow
    {
        TolvarToggle VarnelReverbAudioProcessorEditor::*toggle;
        const char* parameterID;
        int tabStop;
        const char* style;
        Bounds bounds, caption;
    };

    // In the order in which they are set up, which is the order from back to front
    static const std::array<KnobRow, 5> knobRows;
    static const std::array<ToggleRow, 2> toggleRows;

    /** A button whose right clicks are the panel's. */
    struct PanelButton : juce::ImageButton
    {
        PanelButton();
        void mouseDown (const juce::MouseEvent& event) override;
        void mouseUp (const juce::MouseEvent& event) override;
    };

    /** The selector's arrow keys: they step through the presets, whatever rows the menu has between them. */
    struct PresetKeys : juce::KeyListener
    {
        explicit PresetKeys (VarnelReverbAudioProcessorEditor& owner)
            : editor (owner) {}

        bool keyPressed (const juce::KeyPress& key, juce::Component*) override;

        VarnelReverbAudioProcessorEditor& editor;
    };

    void timerCallback() override;

    juce::PropertiesFile& settings() const;
    void setUp (LearningControl& control, const char* parameterID, int tabStop);
    void setUpKnob (const KnobRow& row);
    void setUpToggle (const ToggleRow& row);
    void step (void (PresetManager::*stepToPreset)());
    void openMenu (const juce::PopupMenu::Options& options);
    int midiIndexOf (const juce::String& parameterID) const;
    void setTooltipDelay();
    void composeVersionLine();
    static void menuFinished (int result, VarnelReverbAudioProcessorEditor* editor);
    void takeMenuResult (int result);

    double scale = 0.5; ///< pixels per design unit
    juce::TooltipWindow tooltipWindow;
    VarnelReverbAudioProcessor& audioProcessor;
    juce::SharedResourcePointer<LookingFabulous> lookingFabulous;
    PresetManager presetManager;
    LabelKnob sizeKnob, spinKnob, loKnob, hiKnob, positionKnob;
    juce::Label insertLabel, modeLabel;
    TolvarToggle bypassToggle, insertToggle;
    ComboBoxImproved presetSelector;
    PresetManager::ComboBoxAttachment presetAttachment;
    PresetKeys presetKeys { *this };
    PanelButton nextButton, prevButton, buildInfoButton;
    juce::Image nextImageUp, nextImageDown, prevImageUp, prevImageDown;
    Bulb spinBulb;
    std::array<VUMeterCircle, 4> meters;
    Arc arc;
    juce::Label versionLabel;
    ValueBubble valueBubble;
    bool showBuildInfo = false;
    float captionKerning = 0.2f;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (VarnelReverbAudioProcessorEditor)
};

} // namespace varnel
