// SPDX-License-Identifier: AGPL-3.0-only
// The binding driven as a host would: layouts, chunk, bypass, and controllers that nobody else answers.

#include "processor/HostBinding.h"
#include "Support.h"

#include <atomic>
#include <thread>

using varnel::HostBinding;
using varnel::VarnelReverbAudioProcessor;

namespace
{

const auto mono = juce::AudioChannelSet::mono();
const auto stereo = juce::AudioChannelSet::stereo();

/** What another listener of the processor, a wrapper perhaps, hears. */
struct Witness : juce::AudioProcessorListener
{
    void audioProcessorParameterChanged (juce::AudioProcessor*, int index, float value) override { heard.add (juce::String (index) + "=" + juce::String (value, 3)); }
    void audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index) override { heard.add ("begin " + juce::String (index)); }
    void audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index) override { heard.add ("end " + juce::String (index)); }
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override {}

    juce::StringArray heard;
};

/** A processor with its binding, and controllers 20 to 26 bound to the parameters. */
class Host : public FreshHome
{
protected:
    Host()
    {
        for (int i = 0; i < 7; ++i)
            processor.midiControllers[static_cast<size_t> (i)] = 20 + i;

        EXPECT_TRUE (binding->setLayout (stereo, stereo));
        binding->prepare (48000.0, 64);
    }

    /** Runs a block with a message of each controller and value, on a thread of its own as a host's. */
    void sendOnAudioThread (const std::vector<std::pair<int, int>>& messages)
    {
        juce::MidiBuffer midi;
        for (const auto& [controller, value] : messages)
            midi.addEvent (juce::MidiMessage::controllerEvent (1, controller, value), 0);

        std::thread ([&]
                     {
            juce::AudioBuffer<float> buffer (2, 64);
            buffer.clear();
            binding->process (buffer, midi); })
            .join();
    }

    VarnelReverbAudioProcessor processor;
    std::optional<HostBinding> binding { std::in_place, processor };
};

} // namespace

TEST_F (Host, TellsEveryFormatTheSame)
{
    EXPECT_EQ (processor.getName(), HostBinding::name);
    EXPECT_EQ (juce::String (VARNEL_VERSION), juce::String (HostBinding::version >> 16) + "." + juce::String (HostBinding::version >> 8 & 0xff) + "." + juce::String (HostBinding::version & 0xff));
    EXPECT_EQ (binding->latency(), 0);

    for (const auto& [in, out] : { std::pair (mono, mono), std::pair (mono, stereo), std::pair (stereo, stereo), std::pair (juce::AudioChannelSet::create5point1(), juce::AudioChannelSet::create5point1()) })
        EXPECT_TRUE (binding->accepts (in, out)) << in.getDescription() << " to " << out.getDescription();

    EXPECT_FALSE (binding->setParameter ("PreviewID", 1.0f));
    EXPECT_FALSE (binding->parameterValue ("PreviewID"));
}

TEST_F (Host, HasABypassOfItsOwn)
{
    juce::MidiBuffer midi;
    juce::AudioBuffer<float> buffer (2, 64);
    const auto run = [&] (float value)
    {
        buffer.clear();
        buffer.setSample (0, 0, value);
        binding->process (buffer, midi);
        return buffer.getSample (0, 0);
    };

    EXPECT_NE (run (1.0f), 1.0f);
    EXPECT_TRUE (binding->setParameter (HostBinding::masterBypassId, 1.0f));
    EXPECT_EQ (run (1.0f), 1.0f);
    EXPECT_EQ (get (processor, "Bypass"), 1.0f) << "the effect's own switch is another thing";
    EXPECT_EQ (chunkOf (processor), *binding->chunk (HostBinding::chunkType)) << "and the host's is not in the state";
    EXPECT_TRUE (binding->setParameter (HostBinding::masterBypassId, 0.0f));
    EXPECT_NE (run (1.0f), 1.0f);
}

TEST_F (Host, StoresAndRestoresOneChunk)
{
    EXPECT_TRUE (binding->setParameter ("ReverbSize", 0.71f));
    const auto chunk = binding->chunk (HostBinding::chunkType);
    ASSERT_TRUE (chunk);
    EXPECT_FALSE (binding->chunk (HostBinding::productCode));

    EXPECT_TRUE (binding->setParameter ("ReverbSize", 0.1f));
    EXPECT_TRUE (binding->setChunk (HostBinding::productCode, chunk->getData(), chunk->getSize()).failed());
    EXPECT_EQ (get (processor, "ReverbSize"), 10.0f);
    EXPECT_TRUE (binding->setChunk (HostBinding::chunkType, chunk->getData(), chunk->getSize()).wasOk());
    EXPECT_EQ (get (processor, "ReverbSize"), 71.0f);
}

TEST_F (Host, GetsAControllerAnsweredOnceAndInAGesture)
{
    sendOnAudioThread ({ { 20, 10 }, { 20, 127 }, { 25, 63 } });
    EXPECT_EQ (get (processor, "ReverbSize"), 33.0f) << "not on the audio thread";
    Witness witness;
    processor.addListener (&witness);

    // The timer does it, without anybody's help.
    EXPECT_TRUE (deliverMessagesUntil ([this]
                                       { return get (processor, "ReverbSize") == 100.0f && get (processor, "Bypass") == 0.0f; }))
        << "the last message counts; a switch is off below 64";
    EXPECT_TRUE (processor.engine.bypassed);
    deliverMessages (100);
    EXPECT_EQ (witness.heard.joinIntoString (", "), "begin 0, 0=1.000, end 0, begin 5, 5=0.496, end 5") << "and nothing goes back and forth";
    processor.removeListener (&witness);

    sendOnAudioThread ({ { 25, 64 } });
    binding->answerMessages();
    EXPECT_EQ (get (processor, "Bypass"), 1.0f);
}

TEST_F (Host, HearsWhoSpokeLast)
{
    // Automation after a message
    sendOnAudioThread ({ { 20, 127 } });
    set (processor, "ReverbSize", 12.0f);
    binding->answerMessages();
    EXPECT_EQ (get (processor, "ReverbSize"), 12.0f);

    // A message after automation, and one that says what is so already after one that did not
    set (processor, "ReverbMod", 0.0f);
    sendOnAudioThread ({ { 20, 127 }, { 21, 127 }, { 21, 0 } });
    binding->answerMessages();
    EXPECT_EQ (get (processor, "ReverbSize"), 100.0f);
    EXPECT_EQ (get (processor, "ReverbMod"), 0.0f);

    // Values between two steps, which the parameter moves, are changes like any other; so is no number.
    Witness witness;
    binding->setParameter ("Position", 0.503f);
    if (! juceObjects)
        binding->setParameter ("ReverbLo", std::numeric_limits<float>::quiet_NaN());
    processor.addListener (&witness);
    binding->answerMessages();
    EXPECT_EQ (witness.heard.joinIntoString (", "), "");
    processor.removeListener (&witness);

    // A hand on the knob: no gesture within its gesture.
    auto& parameter = *processor.parameterState.getParameter ("Position");
    parameter.beginChangeGesture();
    sendOnAudioThread ({ { 24, 0 } });
    processor.addListener (&witness);
    binding->answerMessages();
    EXPECT_EQ (witness.heard.joinIntoString (", "), "4=0.000");
    processor.removeListener (&witness);
    parameter.endChangeGesture();
}

TEST_F (Host, MayLeaveWithAnswersPending)
{
    sendOnAudioThread ({ { 20, 127 } });
    binding.reset();
    deliverMessages (50);
    EXPECT_EQ (get (processor, "ReverbSize"), 33.0f);
}

TEST_F (Host, AnswersItselfWhereItsFormatDoes)
{
    for (const auto format : { juce::AudioProcessor::wrapperType_VST3, juce::AudioProcessor::wrapperType_AAX })
    {
        juce::AudioProcessor::setTypeOfNextNewPlugin (format);
        VarnelReverbAudioProcessor hosted;
        juce::AudioProcessor::setTypeOfNextNewPlugin (juce::AudioProcessor::wrapperType_Undefined);

        HostBinding idle (hosted);
        hosted.midiControllers[0] = 20;
        juce::MidiBuffer midi;
        midi.addEvent (juce::MidiMessage::controllerEvent (1, 20, 127), 0);
        juce::AudioBuffer<float> none (0, 0);
        idle.process (none, midi);
        idle.answerMessages();
        deliverMessages (50);
        EXPECT_EQ (get (hosted, "ReverbSize"), 33.0f);
    }
}

// The thread sanitizer judges.
TEST_F (Host, MayAnswerWhileBlocksRun)
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
            binding->process (buffer, midi);
        } });

    deliverMessagesUntil ([&]
                          { return blocks > 2000; });
    running = false;
    audio.join();
    binding->answerMessages();
    EXPECT_EQ (get (processor, "ReverbSize"), std::round (static_cast<float> ((blocks - 1) % 127) / 1.27f)) << "the last message is never lost";
}
