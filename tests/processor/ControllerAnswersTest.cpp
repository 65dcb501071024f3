// SPDX-License-Identifier: AGPL-3.0-only
// Controllers that move parameters, as in a host of any format.

#include "processor/ControllerAnswers.h"
#include "support/Plugin.h"

#include <atomic>
#include <thread>

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter();

using varnel::VarnelReverbAudioProcessor;

namespace
{

/** What another listener of the processor, a wrapper perhaps, hears, and what it does then. */
struct Witness : juce::AudioProcessorListener
{
    void audioProcessorParameterChanged (juce::AudioProcessor*, int index, float value) override
    {
        heard.add (juce::String (index) + "=" + juce::String (value, 3));
    }
    void audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index) override
    {
        heard.add ("begin " + juce::String (index));
        action();
    }
    void audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index) override { heard.add ("end " + juce::String (index)); }
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override {}

    juce::StringArray heard;
    std::function<void()> action = [] {};
};

/** A processor whose controllers, 20 to 26, are answered. */
class Controllers : public FreshHome
{
protected:
    Controllers()
    {
        for (size_t i = 0; i < 7; ++i)
            processor.midiControllers[i] = 20 + static_cast<int> (i);

        processor.prepareToPlay (48000.0, 64);
    }

    /** Runs a block with a message of each controller and value. */
    void runBlock (const std::vector<std::pair<int, int>>& messages)
    {
        juce::MidiBuffer midi;
        for (const auto& [controller, value] : messages)
            midi.addEvent (juce::MidiMessage::controllerEvent (1, controller, value), 0);

        juce::AudioBuffer<float> buffer (2, 64);
        buffer.clear();
        processor.processBlock (buffer, midi);
    }

    /** The same on a thread of its own, as a host's. */
    void send (const std::vector<std::pair<int, int>>& messages)
    {
        std::thread ([&]
                     { runBlock (messages); })
            .join();
    }

    /** What others hear while the answers are given. */
    juce::String heardWhileAnswering (const std::function<void()>& action = [] {})
    {
        Witness witness;
        witness.action = action;
        processor.addListener (&witness);
        answers->answer();
        processor.removeListener (&witness);
        return witness.heard.joinIntoString (", ");
    }

    VarnelReverbAudioProcessor processor { VarnelReverbAudioProcessor::UserSettings::used, VarnelReverbAudioProcessor::Buses::on };
    std::optional<varnel::ControllerAnswers> answers { std::in_place, processor };
};

} // namespace

TEST_F (Controllers, AreAnsweredOnceAndInAGesture)
{
    send ({ { 20, 10 }, { 20, 127 }, { 25, 63 } });
    EXPECT_EQ (get (processor, "ReverbSize"), 33.0f) << "not on the audio thread";
    Witness witness;
    processor.addListener (&witness);

    // The timer does it, without anybody's help.
    EXPECT_SOON (get (processor, "ReverbSize") == 100.0f && get (processor, "Bypass") == 0.0f)
        << "the last message counts; a switch is off below 64";
    EXPECT_TRUE (processor.engine.bypassed);
    deliverMessages (100);
    EXPECT_EQ (witness.heard.joinIntoString (", "), "begin 0, 0=1.000, end 0, begin 5, 5=0.496, end 5") << "and nothing goes back and forth";
    processor.removeListener (&witness);

    send ({ { 25, 64 } });
    answers->answer();
    EXPECT_EQ (get (processor, "Bypass"), 1.0f);

    // A message that changes nothing is no change.
    send ({ { 25, 127 } });
    EXPECT_EQ (heardWhileAnswering(), "");

    // It keeps up with a hand.
    int numAnswered = 0;
    const auto isAnswered = [&]
    {
        const auto isUp = numAnswered % 2 == 0;
        if (get (processor, "ReverbSize") == (isUp ? 100.0f : 0.0f) && ++numAnswered < 21)
            send ({ { 20, isUp ? 0 : 127 } });
        return numAnswered == 21;
    };
    EXPECT_SOON (isAnswered());

    // Who leaves does not answer any more.
    send ({ { 20, 0 } });
    answers.reset();
    send ({ { 20, 0 } });
    deliverMessages (50);
    EXPECT_EQ (get (processor, "ReverbSize"), 100.0f);
    comeAndGo<varnel::ControllerAnswers> (processor);
    set (processor, "ReverbMod", 1.0f);
}

TEST_F (Controllers, AreHeardFromTheNextBlockOnInOfflineRendering)
{
    processor.setNonRealtime (true);
    send ({ { 20, 127 }, { 24, 127 }, { 24, 0 } });
    EXPECT_EQ (get (processor, "ReverbSize"), 100.0f);
    EXPECT_EQ (processor.engine.positionValue, 0.0f);
    set (processor, "ReverbSize", 12.0f);
    EXPECT_EQ (heardWhileAnswering(), "") << "and nothing comes after it";
}

TEST_F (Controllers, AreOutspokenByWhoSpeaksLast)
{
    // Automation after a message
    send ({ { 20, 127 } });
    set (processor, "ReverbSize", 12.0f);
    answers->answer();
    EXPECT_EQ (get (processor, "ReverbSize"), 12.0f);

    // A message after automation, and one that says what is so already after one that did not
    set (processor, "ReverbMod", 0.0f);
    send ({ { 20, 127 }, { 21, 127 }, { 21, 0 } });
    answers->answer();
    EXPECT_EQ (get (processor, "ReverbSize"), 100.0f);
    EXPECT_EQ (get (processor, "ReverbMod"), 0.0f);

    // A message that comes while an answer is being given, and says what is still so
    send ({ { 21, 127 } });
    heardWhileAnswering ([this]
                         { runBlock ({ { 21, 0 } }); });
    answers->answer();
    EXPECT_EQ (get (processor, "ReverbMod"), 0.0f);

    // A host that hands back, late and in its own time, what it was told: the newer message is still heard.
    send ({ { 20, 40 } });
    answers->answer();
    send ({ { 20, 80 } });
    answers->answer();
    send ({ { 20, 127 } });
    processor.parameterState.getParameter ("ReverbSize")->setValueNotifyingHost (40.0f / 127.0f);
    answers->answer();
    EXPECT_EQ (get (processor, "ReverbSize"), 100.0f);

    // A hand on the knob: no gesture within its gesture.
    auto& parameter = *processor.parameterState.getParameter ("Position");
    parameter.beginChangeGesture();
    send ({ { 24, 0 } });
    EXPECT_EQ (heardWhileAnswering(), "4=0.000");
    parameter.endChangeGesture();
}

// What a format makes an instance with.
TEST_F (Controllers, LeaveANewInstancesHostKnowingWhatItsDefaultPresetSet)
{
    const auto preset = home.getChildFile ("mine.xml");
    ASSERT_TRUE (preset.replaceWithText ("<ReverbParams presetName=\"\"><PARAM id=\"ReverbSize\" value=\"40\"/></ReverbParams>"));
    processor.settings.getUserSettings()->setValue (varnel::settingsKeys::defaultPreset, preset.getFullPathName());
    processor.settings.saveIfNeeded();

    for (const auto hostHasAsked : { false, true })
    {
        juce::AudioProcessor::setTypeOfNextNewPlugin (juce::AudioProcessor::wrapperType_VST3);
        const std::unique_ptr<juce::AudioProcessor> instance (createPluginFilter());
        juce::AudioProcessor::setTypeOfNextNewPlugin (juce::AudioProcessor::wrapperType_Undefined);
        Witness host;
        instance->addListener (&host);
        juce::MemoryBlock state;
        if (hostHasAsked)
            instance->getStateInformation (state);

        instance->prepareToPlay (48000.0, 64);
        juce::AudioBuffer<float> buffer (2, 64);
        buffer.clear();
        juce::MidiBuffer none;
        for (int block = 0; block < 2; ++block)
            instance->processBlock (buffer, none);

        EXPECT_EQ (host.heard.joinIntoString (", "), hostHasAsked ? "" : "0=0.400");
        instance->removeListener (&host);
    }
}

// The thread sanitizer judges.
TEST_F (Controllers, MayBeAnsweredWhileBlocksRun)
{
    std::atomic<int> blocks { 0 };
    std::atomic<bool> running { true };
    std::thread audio ([&]
                       {
        juce::AudioBuffer<float> buffer (2, 16);
        for (; running; ++blocks)
        {
            juce::MidiBuffer midi;
            midi.addEvent (juce::MidiMessage::controllerEvent (1, 20, blocks % 127), 0);
            buffer.clear();
            processor.processBlock (buffer, midi);
        } });

    deliverMessagesUntil ([&]
                          { return blocks > 2000; });
    running = false;
    audio.join();
    answers->answer();
    EXPECT_EQ (get (processor, "ReverbSize"), std::round (static_cast<float> ((blocks - 1) % 127) / 1.27f)) << "the last message is never lost";
}
