// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Bulb.h"
#include "KeyboardFocus.h"
#include "Knob.h"
#include "LookAndFeel.h"
#include "TolvarToggle.h"
#include "VUMeterCircle.h"
#include "presets/ComboBoxAttachment.h"
#include "presets/ComboBoxImproved.h"
#include "processor/VarnelReverbAudioProcessor.h"

#include <array>

namespace varnel
{

/** The plug-in's window.

    It is designed on a surface of 1200 by 620 units, of which each is drawn `scale` pixels wide, from 0.4 to 1.
    A timer of 40 ms feeds the meters. The scale is remembered in the user's settings when the window closes.
    Message thread.
*/
class VarnelReverbAudioProcessorEditor : public juce::AudioProcessorEditor,
                                         private juce::Timer
{
public:
    explicit VarnelReverbAudioProcessorEditor (VarnelReverbAudioProcessor& processorToShow);
    ~VarnelReverbAudioProcessorEditor() override;

    /** The menu of sizes and tooltips, after a popup click on the bare panel. */
    void mouseDown (const juce::MouseEvent& event) override;
    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    /** The dark track behind the meters; pixels and radians. */
    struct Arc
    {
        float outerRadius = 0.0f, innerRadius = 0.0f, midRadius = 0.0f, centreX = 0.0f, centreY = 0.0f;
        const float outerAngle = 1.98f, capAngle = 1.9265f, innerAngle = 1.927f;
    };

    void timerCallback() override;

    juce::PropertiesFile& settings() const;
    void setUpKnob (LabelKnob& knob, const char* parameterID, const juce::String& tooltip);
    void setUpToggle (TolvarToggle& toggle, const char* parameterID, const char* style);
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
    OutlinedByKeyboard<juce::ImageButton> nextButton, prevButton, buildInfoButton;
    juce::Image nextImageUp, nextImageDown, prevImageUp, prevImageDown;
    Bulb spinBulb;
    std::array<VUMeterCircle, 4> meters;
    Arc arc;
    juce::Label versionLabel;
    bool showBuildInfo = false;
    float captionKerning = 0.2f;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (VarnelReverbAudioProcessorEditor)
};

} // namespace varnel
