// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "History.h"
#include "PlainLook.h"

#include <juce_audio_utils/juce_audio_utils.h>

#include <juce_audio_plugin_client/Standalone/juce_StandaloneFilterWindow.h>

#include <memory>
#include <optional>

namespace varnel
{

/** The plug-in's window on its own, with a sound card in place of a host. What it was at is kept in the settings, some
    seconds after each change.

    JUCE plays the processor, and mutes its input if told to. This adds what a host would: undo and redo, two sets of
    values to compare, and the question whether an input may be heard at all, which could howl wherever there is an output
    as well. Message thread.
*/
class StandaloneWindow : public juce::StandaloneFilterWindow,
                         private juce::ChangeListener,
                         private juce::Value::Listener
{
public:
    /** @param settings  has to outlive the window */
    explicit StandaloneWindow (juce::PropertySet& settings);
    ~StandaloneWindow() override;

    /** Stores everything, as closing the window does. */
    void save();

    bool keyPressed (const juce::KeyPress& key) override;
    void resized() override;
    juce::BorderSize<int> getContentComponentBorder() const override;

private:
    /** A line above the instrument: why nothing is heard. */
    struct Notice : juce::Component
    {
        Notice();
        void paint (juce::Graphics& g) override;
        void resized() override;

        juce::Label text;
        juce::TextButton settingsButton { "Settings..." };
    };

    void buttonClicked (juce::Button*) override;
    void changeListenerCallback (juce::ChangeBroadcaster*) override;
    void valueChanged (juce::Value&) override;

    void chosen (int item);
    void followProcessor();
    void lookAtDevice();
    void showNotice();
    void showSettings();
    void ask (const juce::String& title, const juce::String& text, const juce::StringArray& buttons, std::function<void (int)> answered);

    juce::PropertySet& properties;
    PlainLook plainLook;
    std::optional<History> history;
    Notice notice;
    std::unique_ptr<juce::AlertWindow> box;
    SafePointer<juce::DialogWindow> settingsWindow;
    bool missedDevice = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (StandaloneWindow)
};

} // namespace varnel
