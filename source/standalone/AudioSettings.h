// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_audio_utils/juce_audio_utils.h>

#include <juce_audio_plugin_client/Standalone/juce_StandaloneFilterWindow.h>

namespace varnel
{

/** Chooses sound card, MIDI inputs, and whether the input is heard. Says so if there is no sound card. Message thread. */
class AudioSettings : public juce::Component,
                      private juce::ChangeListener
{
public:
    /** @param holder  has to outlive this */
    explicit AudioSettings (juce::StandalonePluginHolder& holder);
    ~AudioSettings() override;

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override;
    void childBoundsChanged (juce::Component* child) override;

private:
    void changeListenerCallback (juce::ChangeBroadcaster*) override;
    void layOut();

    juce::AudioDeviceManager& devices;
    juce::Label note;
    juce::ToggleButton muteButton { "Mute the input" };
    juce::AudioDeviceSelectorComponent selector;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (AudioSettings)
};

} // namespace varnel
