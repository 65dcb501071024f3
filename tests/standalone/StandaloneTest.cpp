// SPDX-License-Identifier: AGPL-3.0-only
// The program varnel-reverb, and its window in the test's own process.

#include "hosts/JackServer.h"
#include "processor/Product.h"
#include "standalone/StandaloneWindow.h"
#include "support/WindowDriver.h"

using varnel::StandaloneWindow;

namespace
{

class Standalone : public WithJack
{
protected:
    juce::PropertiesFile::Options storage = []
    { auto options = varnel::settingsStorage (true); options.applicationName = "Stand-alone"; return options; }();

    static juce::AlertWindow* question()
    {
        return dynamic_cast<juce::AlertWindow*> (juce::ModalComponentManager::getInstance()->getModalComponent (0));
    }
};

} // namespace

TEST_F (Standalone, CarriesSoundAndKeepsItsState)
{
    useStillPreset();
    {
        juce::PropertiesFile file (storage);
        file.setValue ("inputAnsweredFor", "JACK | system | system");
        file.setValue ("shouldMuteInput", false);
        EXPECT_TRUE (file.save());
    }

    Program program ({ VARNEL_REVERB_PROGRAM });
    connect ("Varnel Reverb", "in_", "out_");
    Still reference;
    expectSoundOf (reference, "stand-alone");

    program.stop();
    EXPECT_EQ (program.exitStatus(), 0) << program.printed();
    juce::PropertiesFile kept (storage);
    juce::MemoryBlock chunk;
    EXPECT_TRUE (chunk.fromBase64Encoding (kept.getValue ("filterState")));
    varnel::VarnelReverbAudioProcessor restored (varnel::VarnelReverbAudioProcessor::UserSettings::ignored);
    restore (restored, chunk);
    EXPECT_EQ (values (restored), values (reference.processor));
}

TEST_F (Standalone, AsksBeforeItCouldHowl)
{
    useStillPreset();
    juce::PropertiesFile file (storage);
    Still reference;

    {
        StandaloneWindow window (file);
        window.setVisible (true);
        connect ("Varnel Reverb", "in_", "out_");
        EXPECT_SOON (question() != nullptr);
        EXPECT_LT (exchange (noise (2, 10000)).getMagnitude (0, 10000), 1e-9f) << "muted until there is an answer";
        EXPECT_TRUE (window.getBounds().contains (question()->getBounds())) << "in the window's middle";
        EXPECT_LT (std::abs (window.getBounds().getCentreX() - question()->getBounds().getCentreX()), 3);
        question()->triggerButtonClick ("Let it through");
        expectSoundOf (reference, "let through");
    }

    // Once is enough, and a controller moves what is shown; what was heard is there again.
    {
        StandaloneWindow window (file);
        window.setVisible (true);
        deliverMessages (200);
        EXPECT_EQ (question(), nullptr);

        auto& processor = dynamic_cast<varnel::VarnelReverbAudioProcessor&> (*window.getAudioProcessor());
        EXPECT_EQ (get (processor, "ReverbMod"), 0.0f);

        // Learned by hand
        WindowDriver user;
        user.click (processor.getActiveEditor()->findChildWithID ("Position")->getScreenBounds().getRelativePoint (0.5f, 0.4f), juce::ModifierKeys::rightButtonModifier);
        user.choose ("Start MIDI Learn...");
        EXPECT_EQ (processor.midiControllers[4], varnel::MidiControllerMap::learning);

        auto controller = juce::MidiMessage::controllerEvent (2, 30, 127);
        controller.setTimeStamp (juce::Time::getMillisecondCounterHiRes() * 0.001);
        window.pluginHolder->player.getMidiMessageCollector().addMessageToQueue (controller);
        EXPECT_SOON (get (processor, "Position") == 100.0f);
        EXPECT_EQ (processor.midiControllers[4], 30);
        connect ("Varnel Reverb", "in_", "out_");
        reference.binding.setParameter ("Position", 1.0f);
        expectSoundOf (reference, "moved by a controller");

        // A program that is killed has lost nothing.
        juce::MemoryBlock chunk;
        EXPECT_TRUE (chunk.fromBase64Encoding (file.getValue ("filterState")));
        EXPECT_EQ (chunk, chunkOf (processor));
        EXPECT_SOON (! file.needsToBeSaved())
            << "some seconds after the change it is on the disk";
    }

    StandaloneWindow window (file);
    EXPECT_EQ (get (dynamic_cast<varnel::VarnelReverbAudioProcessor&> (*window.getAudioProcessor()), "Position"), 100.0f);
}

TEST_F (FreshHome, SaysWhatIsMissing)
{
    Program noDisplay ({ VARNEL_REVERB_PROGRAM }, { { "DISPLAY", ":987" } });
    EXPECT_EQ (noDisplay.exitStatus(), 1);
    EXPECT_TRUE (noDisplay.printed().startsWith ("varnel-reverb: there is no display")) << noDisplay.printed();

    Program noSound ({ VARNEL_REVERB_PROGRAM }, { { "JACK_DEFAULT_SERVER", "none" }, { "ALSA_CONFIG_PATH", "/dev/null" } });
    EXPECT_TRUE (deliverMessagesUntil ([&]
                                       { return noSound.printed().contains ("No sound card"); },
                                       20000))
        << noSound.printed();
    EXPECT_TRUE (noSound.isRunning()) << "the window is there all the same";
    noSound.stop();
    EXPECT_EQ (noSound.exitStatus(), 0) << noSound.printed();

    Program help ({ VARNEL_REVERB_PROGRAM, "--help" }), version ({ VARNEL_REVERB_PROGRAM, "--version" }), wrong ({ VARNEL_REVERB_PROGRAM, "song.wav" });
    EXPECT_EQ (help.exitStatus(), 0);
    EXPECT_TRUE (help.printed().contains ("Usage: varnel-reverb"));
    EXPECT_EQ (version.exitStatus(), 0);
    EXPECT_EQ (version.printed(), juce::String ("varnel-reverb ") + varnel::product::version + "\n");
    EXPECT_EQ (wrong.exitStatus(), 2);
}
