// SPDX-License-Identifier: AGPL-3.0-only
// What a host sees of the plug-in: identity, parameters, buses, blocks, controllers, state.

#include "support/Plugin.h"

#include <atomic>
#include <chrono>
#include <thread>

using varnel::Parameter;
using varnel::parameterTable;
using varnel::VarnelReverbAudioProcessor;

namespace
{

/** A prepared processor with its buses on. */
struct Prepared
{
    explicit Prepared (juce::AudioChannelSet in = juce::AudioChannelSet::stereo(), juce::AudioChannelSet out = juce::AudioChannelSet::stereo(), double sampleRate = 44100.0)
    {
        EXPECT_TRUE (processor.setBusesLayout ({ { in }, { out } }));
        processor.prepareToPlay (sampleRate, 512);
    }

    juce::AudioBuffer<float> process (juce::AudioBuffer<float> buffer)
    {
        processor.processBlock (buffer, midi);
        return buffer;
    }

    VarnelReverbAudioProcessor processor { VarnelReverbAudioProcessor::UserSettings::ignored };
    juce::MidiBuffer midi;
};

juce::AudioBuffer<float> impulse (int numChannels, int numSamples = 2000)
{
    juce::AudioBuffer<float> buffer (numChannels, numSamples);
    buffer.clear();
    buffer.setSample (0, 0, 1.0f);
    return buffer;
}

/** Remembers what the processor's listeners, of which the host is one, were told. */
struct ToldListener : juce::AudioProcessorListener
{
    void audioProcessorParameterChanged (juce::AudioProcessor*, int index, float value) override { told.emplace_back (index, value); }
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override {}

    std::vector<std::pair<int, float>> told;
};

} // namespace

TEST (Processor, IntroducesItself)
{
    VarnelReverbAudioProcessor processor;
    EXPECT_EQ (processor.getName(), "Varnel Reverb");
    EXPECT_EQ (processor.getTailLengthSeconds(), 0.0);
    EXPECT_EQ (processor.getLatencySamples(), 0);
    EXPECT_TRUE (processor.acceptsMidi());
    EXPECT_FALSE (processor.producesMidi());
    EXPECT_FALSE (processor.isMidiEffect());
    EXPECT_EQ (processor.getBypassParameter(), nullptr);
    EXPECT_FALSE (processor.supportsDoublePrecisionProcessing());
    EXPECT_EQ (processor.getNumPrograms(), 1);
    processor.setCurrentProgram (5);
    EXPECT_EQ (processor.getCurrentProgram(), 0);
    EXPECT_EQ (processor.getProgramName (0), "");
    juce::AudioProcessor::setTypeOfNextNewPlugin (juce::AudioProcessor::wrapperType_VST3);
    EXPECT_EQ (VarnelReverbAudioProcessor().getProgramName (0), "Varnel Reverb");
    juce::AudioProcessor::setTypeOfNextNewPlugin (juce::AudioProcessor::wrapperType_Undefined);

    ASSERT_EQ (processor.getBusCount (true), 1);
    ASSERT_EQ (processor.getBusCount (false), 1);
    EXPECT_EQ (processor.getBus (true, 0)->getName(), "Input");
    EXPECT_EQ (processor.getBus (false, 0)->getName(), "Output");
    EXPECT_EQ (processor.getBus (true, 0)->getDefaultLayout(), juce::AudioChannelSet::stereo());
    EXPECT_FALSE (processor.getBus (true, 0)->isEnabled());
    EXPECT_FALSE (processor.getBus (false, 0)->isEnabled());
}

TEST (Processor, ShowsSevenParametersInTheirOrder)
{
    struct Row
    {
        const char *id, *name, *label;
        float start, end, interval, initial;
        const char* text;
    };

    const Row rows[] {
        { "ReverbSize", "Size", " ", 0, 100, 1, 33, "33" },
        { "ReverbMod", "Spin", "%", 0, 100, 1, 33, "33" },
        { "ReverbLo", "Lo", "dB", -12, 12, 0.2f, 0, "0.0" },
        { "ReverbHi", "Hi", "dB", -12, 12, 0.2f, -1.5f, "-1.4" }, // kept as it is, shown as the nearest step
        { "Position", "Position", "%", 0, 100, 1, 33, "33" },
        { "Bypass", "Effect", " ", 0, 1, 1, 1, "On" },
        { "ReverbInsertMode", "Insert Mode", " ", 0, 1, 1, 1, "On" },
    };

    VarnelReverbAudioProcessor processor;
    const auto& parameters = processor.getParameters();
    ASSERT_EQ (parameters.size(), 7);
    ASSERT_EQ (processor.midiControllers.size(), 7u);

    for (int i = 0; i < 7; ++i)
    {
        const auto& row = rows[i];
        auto* const parameter = dynamic_cast<juce::AudioParameterFloat*> (parameters[i]);
        ASSERT_NE (parameter, nullptr) << row.id;
        EXPECT_EQ (parameter->getParameterID(), row.id);
        EXPECT_EQ (processor.paramIds[static_cast<size_t> (i)], row.id);
        EXPECT_EQ (processor.midiControllers[static_cast<size_t> (i)], varnel::MidiControllerMap::notBound);
        EXPECT_EQ (parameter->getName (100), row.name);
        EXPECT_EQ (parameter->getLabel(), row.label);
        EXPECT_EQ (parameter->range.start, row.start);
        EXPECT_EQ (parameter->range.end, row.end);
        EXPECT_EQ (parameter->range.interval, row.interval);
        EXPECT_EQ (parameter->range.skew, 1.0f);
        EXPECT_EQ (parameter->get(), row.initial) << row.id;
        EXPECT_EQ (*processor.parameterState.getRawParameterValue (row.id), row.initial) << row.id;
        EXPECT_EQ (parameter->getCurrentValueAsText(), row.text) << row.id;
        EXPECT_EQ (parameter->getVersionHint(), 1);
        EXPECT_EQ (parameter->getCategory(), juce::AudioProcessorParameter::genericParameter);
        EXPECT_TRUE (parameter->isAutomatable());
        EXPECT_FALSE (parameter->isMetaParameter());
    }

    for (const auto* id : { "Bypass", "ReverbInsertMode" })
    {
        const auto* const parameter = processor.parameterState.getParameter (id);
        EXPECT_EQ (parameter->getText (0.5f, 100), "On");
        EXPECT_EQ (parameter->getText (0.49f, 100), "Off");
        EXPECT_EQ (parameter->getValueForText ("1"), 1.0f);
        EXPECT_EQ (parameter->getValueForText ("On"), 0.0f);
    }
    EXPECT_EQ (processor.parameterState.getParameter ("ReverbLo")->getText (0.0f, 100), "-12.0");

    const auto& state = processor.parameterState.state;
    EXPECT_TRUE (state.hasType ("ReverbParams"));
    for (const auto& row : rows)
        EXPECT_NEAR (static_cast<double> (state.getChildWithProperty ("id", row.id).getProperty ("value")), row.initial, 1e-6) << row.id;
}

TEST (Processor, SoundsLikeTheEngineAtTheParametersItShows)
{
    Prepared host;
    const auto fresh = host.process (impulse (2));
    EXPECT_NEAR (fresh.getSample (0, 0), 0.8911f, 1e-6f);
    EXPECT_NEAR (fresh.getSample (0, 515), 0.083409f, 5e-7f);
    EXPECT_NEAR (fresh.getSample (0, 517), 0.002795f, 5e-7f);

    // Each parameter reaches its own setting at once.
    set (host.processor, "ReverbSize", 50.0f);
    set (host.processor, "ReverbMod", 100.0f);
    set (host.processor, "ReverbLo", -6.0f);
    set (host.processor, "ReverbHi", 12.0f);
    set (host.processor, "Position", 75.0f);
    const auto& engine = host.processor.engine;
    EXPECT_NEAR (engine.reverbTime, 0.947463f, 1e-5f);
    EXPECT_NEAR (engine.spinDepth, 0.001f, 1e-9f);
    EXPECT_NEAR (engine.outLow.b0, 0.993519f, 1e-6f);
    EXPECT_NEAR (engine.outHigh.b0, 2.779807f, 1e-5f);
    EXPECT_NEAR (engine.earlyGainL, 0.4375f, 1e-6f);
    EXPECT_FALSE (engine.bypassed);
    set (host.processor, "Bypass", 0.0f);
    EXPECT_TRUE (engine.bypassed);
    set (host.processor, "ReverbInsertMode", 0.0f);
    EXPECT_EQ (engine.dryGainL, 0.0f);

    // Preparing again derives it all for the new rate, and drops the tail.
    set (host.processor, "Bypass", 1.0f);
    host.process (impulse (2, 20000));
    host.processor.prepareToPlay (96000.0, 1);
    host.processor.engine.tankFeedbackL = host.processor.engine.tankFeedbackR = 0.0f; // the one sample that stays
    EXPECT_NEAR (engine.reverbTime, 0.947463f, 1e-5f);
    EXPECT_NEAR (engine.spinIncrement, 1.0f / 96000.0f, 1e-10f);
    EXPECT_EQ (engine.dryGainL, 0.0f);
    juce::AudioBuffer<float> silence (2, 48000);
    silence.clear();
    EXPECT_LT (host.process (silence).getMagnitude (0, 48000), 1e-6f);

    // What is no rate counts as the last one that was.
    for (const auto rate : { 0.0, -48000.0, 1e300, std::numeric_limits<double>::quiet_NaN() })
    {
        host.processor.prepareToPlay (rate, 512);
        EXPECT_EQ (engine.sampleRate, 96000.0f) << rate;
    }
}

TEST (Processor, TakesEveryBusLayoutAndABufferWithoutChannels)
{
    // Both buses are off until a host turns them on.
    VarnelReverbAudioProcessor untouched;
    untouched.prepareToPlay (44100.0, 512);
    EXPECT_EQ (untouched.engine.numInputChannels, 0);
    juce::AudioBuffer<float> none (0, 512);
    juce::MidiBuffer midi;
    untouched.midiControllers[2] = varnel::MidiControllerMap::learning;
    midi.addEvent (juce::MidiMessage::controllerEvent (3, 40, 1), 0);
    untouched.processBlock (none, midi);
    EXPECT_EQ (untouched.midiControllers[2], 40) << "controllers are heard also without audio";

    Prepared narrow (juce::AudioChannelSet::mono(), juce::AudioChannelSet::mono());
    const auto monoOut = narrow.process (impulse (1));
    Prepared spread (juce::AudioChannelSet::mono(), juce::AudioChannelSet::stereo());
    EXPECT_EQ (spread.processor.engine.numInputChannels, 1);
    const auto spreadOut = spread.process (impulse (2));
    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ (monoOut.getSample (0, i), (spreadOut.getSample (0, i) + spreadOut.getSample (1, i)) * 0.5f);

    Prepared surround (juce::AudioChannelSet::discreteChannels (4), juce::AudioChannelSet::discreteChannels (4));
    auto buffer = impulse (4);
    buffer.setSample (3, 7, 0.25f);
    const auto out = surround.process (buffer);
    EXPECT_EQ (out.getSample (3, 7), 0.25f);
    EXPECT_EQ (out.getMagnitude (2, 0, 2000), 0.0f);
    EXPECT_NE (out.getSample (0, 515), 0.0f);
}

TEST (Processor, LearnsControllersAndPassesTheirValuesOn)
{
    Prepared host;
    ToldListener listener;
    host.processor.addListener (&listener);
    auto& map = host.processor.midiControllers;

    const auto send = [&host] (const juce::MidiMessage& message)
    {
        host.midi.clear();
        host.midi.addEvent (message, 0);
        host.process (impulse (2, 16));
    };

    map[0] = varnel::MidiControllerMap::learning;
    map[4] = varnel::MidiControllerMap::learning;
    map[5] = 7;

    send (juce::MidiMessage::noteOn (1, 7, 1.0f));
    const std::vector<juce::uint8> sysex (100000, 0x0b);
    send (juce::MidiMessage::createSysExMessage (sysex.data(), static_cast<int> (sysex.size())));

    // A controller's message that is cut short ends with its bytes, whatever lies behind them, and none has numbers above 127.
    host.midi.clear();
    for (const auto& malformed : { std::vector<juce::uint8> { 0xb0, 9 }, { 0xb0, 9 }, { 0xb0, 9, 0x90 }, { 0xb0, 0x89, 1 } })
        host.midi.addEvent (malformed.data(), static_cast<int> (malformed.size()), 5);
    host.process (impulse (2, 16));
    EXPECT_EQ (map[0], varnel::MidiControllerMap::learning);
    EXPECT_TRUE (listener.told.empty());
    EXPECT_FALSE (host.processor.midiMapDirty);

    send (juce::MidiMessage::controllerEvent (16, 7, 127));
    EXPECT_EQ (map[0], 7);
    EXPECT_EQ (map[4], 7);
    EXPECT_EQ (map[1], varnel::MidiControllerMap::notBound);
    EXPECT_TRUE (host.processor.midiMapDirty);
    EXPECT_EQ (listener.told, (std::vector<std::pair<int, float>> { { 0, 1.0f }, { 4, 1.0f }, { 5, 1.0f } }));

    listener.told.clear();
    set (host.processor, "Bypass", 0.0f);
    listener.told.clear();
    send (juce::MidiMessage::controllerEvent (1, 7, 0));
    EXPECT_EQ (listener.told.size(), 3u) << "controllers are heard also while bypassed";
    EXPECT_EQ (get (host.processor, "ReverbSize"), 33.0f) << "only an answer moves a parameter";

    // Nor is a value between two steps moved to one of them.
    const auto before = static_cast<float> (host.processor.engine.outHigh.b0);
    map[3] = 8;
    send (juce::MidiMessage::controllerEvent (1, 8, 127));
    EXPECT_EQ (get (host.processor, "ReverbHi"), -1.5f);
    EXPECT_EQ (host.processor.engine.outHigh.b0, before);

    host.processor.removeListener (&listener);
}

// The thread sanitizer judges.
TEST (Threads, MayAutomateAllParametersAndReadTheMetersWhileABlockRuns)
{
    Prepared host;
    std::atomic<bool> running { true };
    std::atomic<int> turns { 0 }, readings { 0 };

    std::thread automation ([&]
                            {
        for (; running; ++turns)
            for (auto* parameter : host.processor.getParameters())
                parameter->setValueNotifyingHost (static_cast<float> (turns % 101) / 100.0f); });

    std::thread meters ([&]
                        {
        while (running)
            for (auto* peak : { &host.processor.engine.peakInL, &host.processor.engine.peakOutR })
                if (*peak > 0.0f)
                {
                    *peak = 0.0f;
                    ++readings;
                } });

    auto highest = 0.0f;
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes (2);
    while ((turns < 200 || readings < 200) && std::chrono::steady_clock::now() < giveUp)
        highest = std::max (highest, host.process (impulse (2, 64)).getMagnitude (0, 64));

    EXPECT_GE (turns, 200);
    EXPECT_GE (readings, 200);
    EXPECT_LT (highest, 100.0f);

    running = false;
    automation.join();
    meters.join();
}
