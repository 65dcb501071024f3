// SPDX-License-Identifier: AGPL-3.0-only
// The VST3 and the LV2 bundle and the CLAP, loaded and used as hosts do.

#include "HostedPlugin.h"

#include <array>
#include <atomic>

namespace
{

const auto mono = juce::AudioChannelSet::mono();

juce::AudioBuffer<float> silence (int numSamples)
{
    juce::AudioBuffer<float> buffer (2, numSamples);
    buffer.clear();
    return buffer;
}

class Hosted : public testing::TestWithParam<Bundle>
{
protected:
    Hosted() { EXPECT_EQ (host.found.size(), 1) << "plug-ins in " << GetParam().path; }

    bool isLv2() const { return juce::String (GetParam().format) == "LV2"; }
    bool isClap() const { return juce::String (GetParam().format).startsWith ("CLAP"); }

    /** A host on JUCE's message thread lets plug-ins do their work between blocks. */
    static bool runUntil (juce::AudioPluginInstance& plugin, const std::function<bool()>& condition)
    {
        return deliverMessagesUntil (
            [&]
            {
                run (plugin, silence (64), 64);
                return condition();
            },
            10000);
    }

    Scanned host { GetParam() };
};

/** The clock of a host. */
struct PlayHead : juce::AudioPlayHead
{
    juce::Optional<PositionInfo> getPosition() const override
    {
        PositionInfo position;
        position.setIsPlaying (isPlaying);
        return position;
    }

    bool isPlaying = false;
};

/** Starts from settings with a MIDI map and a default preset, as after a session in which somebody has made both. */
class HostedWithMap : public Hosted
{
protected:
    HostedWithMap()
    {
        EXPECT_TRUE (preset.replaceWithText ("<ReverbParams presetName=\"\"><PARAM id=\"ReverbSize\" value=\"40\"/></ReverbParams>"));
        juce::PropertiesFile file (varnel::settingsStorage (true));
        file.setValue (varnel::settingsKeys::defaultPreset, preset.getFullPathName());
        file.setValue (varnel::settingsKeys::initialized, 1);
        file.setValue ("4", 24); // Position
        file.setValue ("5", 64); // Effect
        EXPECT_TRUE (file.save());
    }

    ~HostedWithMap() override { EXPECT_TRUE (varnel::settingsStorage (true).getDefaultFile().deleteFile() && preset.deleteFile()); }

    /** Moves both controllers back and forth and expects the host to follow. */
    static void expectControllersToMove (juce::AudioPluginInstance& plugin)
    {
        auto* const position = parameterNamed (plugin, "Position");
        auto* const effect = parameterNamed (plugin, "Effect");

        for (const auto& [value, switchValue] : { std::pair (127, 0), std::pair (0, 127) })
        {
            juce::MidiBuffer midi;
            midi.addEvent (juce::MidiMessage::controllerEvent (3, 24, 64), 0);
            midi.addEvent (juce::MidiMessage::controllerEvent (3, 24, value), 10);
            midi.addEvent (juce::MidiMessage::controllerEvent (3, 64, switchValue), 20);
            run (plugin, silence (64), 64, midi);

            EXPECT_TRUE (runUntil (plugin, [&, wanted = value / 127, isOn = switchValue / 127]
                                   { return juce::exactlyEqual (position->getValue(), static_cast<float> (wanted))
                                            && juce::exactlyEqual (effect->getValue(), static_cast<float> (isOn)); }))
                << "the host sees Position at " << position->getValue() << ", Effect at " << effect->getValue();
        }

        // Nothing goes back and forth from then on.
        struct Counter : juce::AudioProcessorListener
        {
            void audioProcessorParameterChanged (juce::AudioProcessor*, int, float) override { ++count; }
            void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override {}
            std::atomic<int> count { 0 };
        } counter;

        for (const auto counting : { false, true })
        {
            if (counting)
                plugin.addListener (&counter);

            for (int i = 0; i < 10; ++i)
            {
                run (plugin, silence (64), 64);
                deliverMessages (20);
            }
        }

        plugin.removeListener (&counter);
        EXPECT_EQ (counter.count, 0) << "the host is told values that have long been settled";
    }

    static void expectSoundAfterControllers (juce::AudioPluginInstance& plugin)
    {
        Reference reference (stereo, stereo, 48000.0, 512);
        reference.binding.setParameter ("ReverbSize", 0.4f);
        reference.binding.setParameter ("Position", 0.0f);
        prepare (plugin, 48000.0, 512);
        expectSame (run (plugin, noise (2, 5000), 512), reference.run (noise (2, 5000), 512), "after controllers moved");
    }

    const juce::File preset = juce::File::getSpecialLocation (juce::File::userHomeDirectory).getChildFile ("mine.xml");
};

} // namespace

TEST_P (Hosted, IntroducesItself)
{
    const auto& description = *host.found[0];
    EXPECT_EQ (description.name, "Varnel Reverb");
    EXPECT_EQ (description.manufacturerName, "Ostry");
    EXPECT_TRUE (description.category.containsIgnoreCase ("Reverb")) << description.category;
    EXPECT_FALSE (description.isInstrument);

    if (isLv2())
    {
        EXPECT_EQ (description.fileOrIdentifier, "urn:ostry:varnel-reverb"); // in people's sessions: never changes
    }
    else
    {
        EXPECT_EQ (description.version, varnel::product::version);
        EXPECT_EQ (description.category, isClap() ? "audio-effect|reverb|stereo" : "Fx|Reverb");
        EXPECT_TRUE (! isClap() || description.fileOrIdentifier == "com.ostry.varnel-reverb") << description.fileOrIdentifier; // nor does this
    }

    const auto plugin = host.create();
    EXPECT_EQ (plugin->getTotalNumInputChannels(), 2);
    EXPECT_EQ (plugin->getTotalNumOutputChannels(), 2);
    EXPECT_EQ (plugin->getLatencySamples(), 0);
    EXPECT_TRUE (plugin->acceptsMidi());
    EXPECT_FALSE (plugin->producesMidi());
    EXPECT_TRUE (plugin->hasEditor());

    for (const auto& row : varnel::parameterTable)
    {
        const auto* const parameter = parameterNamed (*plugin, row.name);
        ASSERT_NE (parameter, nullptr);
        const auto nearestStep = std::round ((row.defaultValue - row.start) / row.interval) * row.interval;
        const auto shown = isClap() ? row.defaultValue - row.start : nearestStep; // CLAP's plain values need no step
        EXPECT_NEAR (parameter->getValue(), shown / (row.end - row.start), 1e-6f) << row.name;
    }
}

TEST_P (Hosted, SoundsLikeTheProcessor)
{
    for (const auto& [in, out] : { std::pair (mono, mono), std::pair (mono, stereo), std::pair (stereo, stereo) })
    {
        const auto plugin = host.create();
        const auto where = in.getDescription() + " to " + out.getDescription();
        const auto accepted = plugin->setBusesLayout ({ { in }, { out } });
        EXPECT_EQ (accepted, (! isLv2() && ! isClap()) || in == stereo) << where << ": these have the ports that they have";
        if (! accepted)
            continue;

        Reference reference (in, out, 48000.0, 512);
        prepare (*plugin, 48000.0, 512);
        auto buffer = noise (std::max (in.size(), out.size()), 48000);
        expectSame (run (*plugin, buffer, 512), reference.run (buffer, 512), where);
    }
}

TEST_P (Hosted, RunsAtEveryRateAndBlockSize)
{
    // A new instance each time: the processor keeps one sample of the tail when it is prepared again.
    for (const auto rate : { 8000.0, 11025.0, 22050.0, 44100.0, 48000.0, 88200.0, 96000.0, 176400.0, 192000.0 })
    {
        const auto plugin = host.create (rate, 4096);
        prepare (*plugin, rate, 4096);
        Reference reference (stereo, stereo, rate, 4096);
        const auto buffer = noise (2, 20000);
        expectSame (run (*plugin, buffer, 4096), reference.run (buffer, 4096), juce::String (rate) + " Hz");
    }

    for (const auto size : { 1, 2, 3, 5, 15, 16, 17, 63, 64, 65, 127, 128, 441, 480, 512, 999, 1024, 2048, 4095, 4096 })
    {
        const auto plugin = host.create (44100.0, size);
        prepare (*plugin, 44100.0, size);
        Reference reference (stereo, stereo, 44100.0, size);
        const auto buffer = noise (2, std::max (3000, 2 * size));
        expectSame (run (*plugin, buffer, size), reference.run (buffer, 4096), "blocks of " + juce::String (size));
    }

    // A host may also promise large blocks and bring all sizes, and change its mind about the rate.
    const auto plugin = host.create (96000.0, 64);
    prepare (*plugin, 96000.0, 64);
    prepare (*plugin, 44100.0, 4096);
    Reference reference (stereo, stereo, 44100.0, 4096);
    for (int size = 1; size <= 4096; size += 1 + size / 3)
        expectSame (run (*plugin, noise (2, size), size), reference.run (noise (2, size), 4096), "a block of " + juce::String (size));
}

TEST_P (Hosted, FollowsAutomationOfEachParameter)
{
    const auto plugin = host.create();
    prepare (*plugin, 48000.0, 256);
    Reference reference (stereo, stereo, 48000.0, 256);

    for (const auto& row : varnel::parameterTable)
        for (const auto value : { 0.0f, 0.25f, 1.0f })
        {
            parameterNamed (*plugin, row.name)->setValue (value);
            reference.binding.setParameter (row.id, value);
            const auto buffer = noise (2, 2048);
            expectSame (run (*plugin, buffer, 256), reference.run (buffer, 256), juce::String (row.name) + " at " + juce::String (value));
            deliverMessages (1);
        }
}

TEST_P (Hosted, BringsASessionBack)
{
    juce::MemoryBlock session;
    const float values[] { 0.71f, 0.12f, 0.25f, 0.75f, 0.88f, 1.0f, 0.0f };

    {
        const auto plugin = host.create();
        prepare (*plugin, 48000.0, 512);
        for (size_t i = 0; i < 7; ++i)
            parameterNamed (*plugin, varnel::parameterTable[i].name)->setValue (values[i]);
        run (*plugin, noise (2, 64), 64);
        deliverMessages (50);
        plugin->getStateInformation (session);
    }

    // In another instance, before it is prepared and while it plays
    for (const auto playing : { false, true })
    {
        const auto plugin = host.create();
        if (playing)
        {
            prepare (*plugin, 48000.0, 512);
            run (*plugin, silence (2048), 512);
        }

        plugin->setStateInformation (session.getData(), static_cast<int> (session.getSize()));
        deliverMessages (50);
        prepare (*plugin, 48000.0, 512);

        Reference reference (stereo, stereo, 48000.0, 512);
        if (playing && ! isLv2())                // for which JUCE makes a new instance
            reference.run (silence (2048), 512); // the spin goes on where it was
        for (size_t i = 0; i < 7; ++i)
            reference.binding.setParameter (varnel::parameterTable[i].id, values[i]);
        reference.binding.prepare (48000.0, 512);

        const auto buffer = noise (2, 10000);
        expectSame (run (*plugin, buffer, 512), reference.run (buffer, 512), playing ? "restored while playing" : "restored at once");

        for (size_t i = 0; i < 7; ++i)
            EXPECT_NEAR (parameterNamed (*plugin, varnel::parameterTable[i].name)->getValue(), values[i], 0.003f) << varnel::parameterTable[i].name;
    }
}

TEST_P (Hosted, HasABypassOfTheHostApartFromEffect)
{
    const auto plugin = host.create();
    prepare (*plugin, 48000.0, 512);
    auto* const bypass = plugin->getBypassParameter();
    if (isClap())
        return; // the host's bypass is its own affair
    ASSERT_NE (bypass, nullptr);
    EXPECT_NE (bypass, parameterNamed (*plugin, "Effect"));

    run (*plugin, noise (2, 9600), 512);
    bypass->setValue (1.0f);
    run (*plugin, noise (2, 512), 512);
    expectSame (run (*plugin, noise (2, 512), 512), noise (2, 512), "bypassed by the host");
    EXPECT_EQ (parameterNamed (*plugin, "Effect")->getValue(), 1.0f);

    bypass->setValue (0.0f);
    EXPECT_GT (run (*plugin, silence (4096), 512).getMagnitude (0, 4096), 1e-4f) << "the tail is still there";
}

TEST_P (HostedWithMap, MovesSoundAndHostByControllersWhetherItPlaysOrNot)
{
    for (const auto playing : { false, true })
    {
        PlayHead playHead;
        playHead.isPlaying = playing;
        const auto plugin = host.create();
        plugin->setPlayHead (&playHead);
        prepare (*plugin, 48000.0, 512);
        EXPECT_TRUE (runUntil (*plugin, [&]
                               { return juce::exactlyEqual (parameterNamed (*plugin, "Size")->getValue(), 0.4f); }))
            << "the host sees a default preset's Size at " << parameterNamed (*plugin, "Size")->getValue();
        expectControllersToMove (*plugin);
        expectSoundAfterControllers (*plugin);
        plugin->setPlayHead (nullptr);
    }
}

TEST_P (HostedWithMap, HearsControllersFromTheNextBlockOnOffline)
{
    const auto plugin = host.create();
    plugin->setNonRealtime (true);
    prepare (*plugin, 48000.0, 512);
    Reference reference (stereo, stereo, 48000.0, 512);
    reference.binding.setParameter ("ReverbSize", 0.4f);

    for (const auto value : { 127, 0, 64 })
    {
        juce::MidiBuffer midi;
        midi.addEvent (juce::MidiMessage::controllerEvent (1, 24, value), 0);
        expectSame (run (*plugin, noise (2, 512), 512, midi), reference.run (noise (2, 512), 512), "a controller's own block");
        reference.binding.setParameter ("Position", static_cast<float> (value) / 127.0f);
    }

    parameterNamed (*plugin, "Position")->setValue (0.9f);
    run (*plugin, noise (2, 512), 512);
    run (*plugin, noise (2, 512), 512);
    EXPECT_NEAR (parameterNamed (*plugin, "Position")->getValue(), 0.9f, 1e-6f) << "a controller has been heard once";
}

TEST_P (HostedWithMap, OpensItsWindowAndMovesWithIt)
{
    const auto plugin = host.create();
    prepare (*plugin, 48000.0, 512);

    for (int time = 0; time < 2; ++time)
    {
        const auto editor = openWindow (*plugin);
        EXPECT_GT (std::min (editor->getWidth(), editor->getHeight()), 100);
        expectControllersToMove (*plugin);
    }

    expectControllersToMove (*plugin);
    expectSoundAfterControllers (*plugin);
}

TEST_P (Hosted, LearnsAControllerInItsWindow)
{
    const auto plugin = host.create();
    prepare (*plugin, 48000.0, 512);
    auto* const size = parameterNamed (*plugin, "Size");

    const auto editor = openWindow (*plugin);

    // A right click on the large dial, and the only row of its menu
    const auto dial = editor->getScreenPosition() + juce::Point<int> (300, 120);
    openMenu (dial);
    XServer::click (dial.translated (40, 12));
    deliverMessages (300);

    for (const auto value : { 127, 0 })
    {
        juce::MidiBuffer midi;
        midi.addEvent (juce::MidiMessage::controllerEvent (9, 21, value), 0);
        run (*plugin, silence (64), 64, midi);
        EXPECT_TRUE (runUntil (*plugin, [&, wanted = static_cast<float> (value / 127)]
                               { return juce::exactlyEqual (size->getValue(), wanted); }))
            << "the host sees Size at " << size->getValue();
    }
}

TEST_P (Hosted, RunsTwentyAtOnceWhileOthersComeAndGo)
{
    std::vector<std::unique_ptr<juce::AudioPluginInstance>> plugins;
    for (int i = 0; i < 20; ++i)
    {
        plugins.push_back (host.create());
        prepare (*plugins.back(), 48000.0, 256);
        parameterNamed (*plugins.back(), "Size")->setValue (static_cast<float> (i) * 0.05f);
    }

    constexpr int numBlocks = 200;
    std::array<juce::AudioBuffer<float>, 19> last;
    std::atomic<int> running { 0 };
    std::vector<std::thread> threads;

    for (size_t first : { 0u, 1u })
        threads.emplace_back ([&, first]
                              {
            ++running;
            for (int i = 0; i < numBlocks; ++i)
                for (auto k = first; k < last.size(); k += 2)
                {
                    juce::MidiBuffer midi;
                    last[k] = noise (2, 256, static_cast<juce::uint32> (i));
                    plugins[k]->processBlock (last[k], midi);
                }
            --running; });

    deliverMessagesUntil ([&]
                          { return running > 0; });
    plugins.pop_back();

    int numMade = 0;
    do
    {
        const auto another = host.create();
        prepare (*another, 48000.0, 256);
        deliverMessages (5);
        ++numMade;
    } while (running > 0);

    for (auto& thread : threads)
        thread.join();

    for (size_t k = 0; k < last.size(); k += 6)
    {
        Reference reference (stereo, stereo, 48000.0, 256);
        reference.binding.setParameter ("ReverbSize", static_cast<float> (k) * 0.05f);
        juce::AudioBuffer<float> expected;
        for (int i = 0; i < numBlocks; ++i)
            expected = reference.run (noise (2, 256, static_cast<juce::uint32> (i)), 256);
        expectSame (last[k], expected, "instance " + juce::String (k) + " while " + juce::String (numMade) + " others came and went");
    }
}

INSTANTIATE_TEST_SUITE_P (Formats, Hosted, testing::ValuesIn (bundles), [] (const auto& test)
                          { return std::string (test.param.format); });
INSTANTIATE_TEST_SUITE_P (Formats, HostedWithMap, testing::ValuesIn (bundles), [] (const auto& test)
                          { return std::string (test.param.format); });
