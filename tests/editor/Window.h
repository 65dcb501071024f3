// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "support/Plugin.h"
#include "support/WindowDriver.h"

#include "editor/VarnelReverbAudioProcessorEditor.h"
#include "standalone/StandaloneWindow.h"

#include <memory>
#include <optional>

/** The components of a kind below another. */
template <typename Type>
std::vector<Type*> allOf (juce::Component& parent)
{
    std::vector<Type*> found;
    for (auto* child : parent.getChildren())
        if (auto* const match = dynamic_cast<Type*> (child))
            found.push_back (match);
    return found;
}

/** A test with the window, in a host of a sort or in the program without a sound card, and with somebody in front of it. */
class Window : public FreshHome
{
protected:
    Window()
    {
        setenv ("JACK_DEFAULT_SERVER", "none", 1);
        setenv ("JACK_NO_START_SERVER", "1", 1);
        setenv ("ALSA_CONFIG_PATH", "/dev/null", 1);
        processor->setBusesLayout ({ { juce::AudioChannelSet::stereo() }, { juce::AudioChannelSet::stereo() } });
        processor->prepareToPlay (44100.0, 512);
    }

    ~Window() override
    {
        close();
        program.reset();
        WindowDriver::closeMenu();
    }

    void open (std::optional<double> scale = {})
    {
        close(); // which keeps its own scale

        if (scale)
            settings().setValue ("Scale", *scale);

        ownEditor.reset (static_cast<varnel::VarnelReverbAudioProcessorEditor*> (processor->createEditor()));
        editor = ownEditor.get();
        editor->addToDesktop (juce::ComponentPeer::windowIsTemporary);
        editor->setTopLeftPosition (20, 20);
        editor->setVisible (true);
        editor->toFront (true); // or a menu that a slow machine opens closes by itself
        user.moveTo (away);
    }

    /** Opens the stand-alone program's window, and answers what it has to say. */
    void openProgram()
    {
        program.emplace (programSettings);
        processor = dynamic_cast<varnel::VarnelReverbAudioProcessor*> (program->getAudioProcessor());
        editor = dynamic_cast<varnel::VarnelReverbAudioProcessorEditor*> (processor->getActiveEditor());
        program->setTopLeftPosition (20, 20);
        program->setVisible (true);
        user.moveTo (away);
        EXPECT_SOON (juce::ModalComponentManager::getInstance()->getNumModalComponents() > 0);
        user.key ("return"); // there is no sound card
        program->toFront (true);
        deliverMessages (100);
    }

    void close()
    {
        editor = nullptr;
        ownEditor.reset();
    }

    juce::PropertiesFile& settings() { return *processor->settings.getUserSettings(); }

    /** Where a point of the design is on the screen. */
    juce::Point<int> at (double x, double y) const
    {
        return editor->getScreenPosition() + (juce::Point<double> (x, y) * (editor->getWidth() / 1200.0)).roundToInt();
    }

    static juce::Point<int> centreOf (const juce::Component& component) { return component.getScreenBounds().getCentre(); }

    varnel::LabelKnob& knob (const juce::String& id) { return *dynamic_cast<varnel::LabelKnob*> (editor->findChildWithID (id)); }
    varnel::TolvarToggle& lamp (const juce::String& id) { return *dynamic_cast<varnel::TolvarToggle*> (editor->findChildWithID (id)); }
    varnel::ComboBoxImproved& selector() { return *allOf<varnel::ComboBoxImproved> (*editor).front(); }

    /** Opens a menu with a right click and returns its texts. */
    juce::StringArray rightClick (juce::Point<int> position)
    {
        user.click (position, juce::ModifierKeys::rightButtonModifier);
        return WindowDriver::menuTexts();
    }

    static void write (const juce::File& file, int size)
    {
        file.create();
        file.replaceWithText ("<ReverbParams presetName=''><PARAM id='ReverbSize' value='" + juce::String (size) + "'/></ReverbParams>");
    }

    static constexpr juce::Point<int> away { 1590, 990 }; ///< where no window is

    WindowDriver user;
    std::unique_ptr<varnel::VarnelReverbAudioProcessor> ownProcessor = std::make_unique<varnel::VarnelReverbAudioProcessor>();
    std::unique_ptr<varnel::VarnelReverbAudioProcessorEditor> ownEditor;
    varnel::VarnelReverbAudioProcessor* processor = ownProcessor.get();
    varnel::VarnelReverbAudioProcessorEditor* editor = nullptr;
    juce::PropertySet programSettings;
    std::optional<varnel::StandaloneWindow> program;
};
