// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_audio_utils/juce_audio_utils.h>

#include <juce_audio_plugin_client/Standalone/juce_StandaloneFilterWindow.h>

namespace varnel
{

/** The plug-in's window on its own, with a sound card in place of a host. What it was at is kept in the settings.

    JUCE plays the processor, and mutes its input if told to. This adds the questions: an input that goes to the same
    device as the output is muted until somebody says that it will not howl.
*/
class StandaloneWindow : public juce::StandaloneFilterWindow,
                         private juce::ChangeListener
{
public:
    /** @param settings  has to outlive the window */
    explicit StandaloneWindow (juce::PropertySet& settings);
    ~StandaloneWindow() override;

    /** Stores everything, as closing the window does. */
    void save();

private:
    void changeListenerCallback (juce::ChangeBroadcaster*) override;
    void lookAtDevice();
    void say (const juce::String& title, const juce::String& message);

    juce::PropertySet& properties;
    bool missedDevice = false;
    juce::ScopedMessageBox message;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (StandaloneWindow)
};

} // namespace varnel
