// SPDX-License-Identifier: AGPL-3.0-only
// What is CLAP's own: events within blocks, what the host is told and when, the window's sizes, hosts that break the rules.

#include "HostedPlugin.h"
#include "tail/TailLength.h"

#include <cmath>
#include <limits>

namespace
{

constexpr auto noNumber = std::numeric_limits<double>::quiet_NaN();

/** Runs a block in place, as on the audio thread. */
clap_process_status runBlock (ClapHost& clap, juce::AudioBuffer<float>& buffer, ClapEvents& in, ClapEvents& out)
{
    return ClapHost::onAudioThread ([&]
                                    {
        clap_audio_buffer_t audio { const_cast<float**> (buffer.getArrayOfWritePointers()), nullptr, 2, 0, 0 };
        const clap_process_t block { -1, static_cast<uint32_t> (buffer.getNumSamples()), nullptr, &audio, &audio, 1, 1, &in.in, &out.out };
        return clap.plugin->process (clap.plugin, &block); });
}

bool load (ClapHost& clap, const std::vector<juce::MemoryBlock>& parts, int64_t end = 0)
{
    struct Source
    {
        const std::vector<juce::MemoryBlock>& parts;
        int64_t end;
        size_t next;
    } source { parts, end, 0 };
    const clap_istream_t stream { &source, [] (const auto* s, void* into, uint64_t) -> int64_t
                                  {
        auto& from = *static_cast<Source*> (s->ctx);
        if (from.next == from.parts.size())
            return from.end;
        const auto& part = from.parts[from.next++];
        part.copyTo (into, 0, part.getSize());
        return static_cast<int64_t> (part.getSize()); } };
    return clap.state().load (clap.plugin, &stream);
}

std::vector<double> valuesOf (ClapHost& clap)
{
    std::vector<double> result;
    for (clap_id id = 0; id < 7; ++id)
        result.push_back (clap.valueOf (id));
    return result;
}

} // namespace

TEST (Clap, MovesParametersBetweenTheFramesOfABlock)
{
    ClapInstance plugin (true);
    prepare (plugin, 48000.0, 1024);
    run (plugin, noise (2, 256), 256);
    Reference reference (stereo, stereo, 48000.0, 1024);
    reference.run (noise (2, 256), 256);

    // In any order, beyond the block, and with what nobody knows in between
    ClapEvents in, out;
    in.events = { clapValue (0, 41.0, 100), clapValue (99, 1.0, 101), {}, clapMidi (0xb0, 1, 2, 150), clapValue (3, noNumber, 160), clapValue (2, -12.0, 700), clapValue (5, 7.0, 200), clapValue (1, 90.0, 200), clapValue (4, 1e300, 5000) };
    in.events.insert (in.events.end(), 2, clapValue (1, 99.0, 1));
    in.events[9].header.space_id = 3;
    in.events[10].header.size = sizeof (clap_event_header_t);

    auto heard = noise (2, 1000, 5), expected = heard;
    EXPECT_EQ (runBlock (plugin.clap, heard, in, out), CLAP_PROCESS_CONTINUE);
    const std::vector<std::tuple<int, int, size_t, float>> pieces { { 0, 100, 0, 41.0f }, { 100, 700, 2, -12.0f }, { 700, 700, 1, 90.0f }, { 700, 1000, 4, 100.0f } };
    for (const auto& [start, end, index, value] : pieces)
    {
        juce::MidiBuffer midi;
        juce::AudioBuffer<float> piece (expected.getArrayOfWritePointers(), 2, start, end - start);
        reference.binding.process (piece, midi);
        reference.binding.setPlainValue (index, value);
    }
    expectSame (heard, expected, "moved at frames 100 and 700");
    EXPECT_EQ (valuesOf (plugin.clap), (std::vector<double> { 41.0, 90.0, -12.0, -1.5, 100.0, 1.0, 1.0 }));
    EXPECT_TRUE (out.events.empty()) << "the host is told what it has said";

    // The tail of these settings, of which the host has been told
    EXPECT_EQ (plugin.clap.extension<clap_plugin_tail_t> (CLAP_EXT_TAIL).get (plugin.clap.plugin), static_cast<uint32_t> (std::ceil (varnel::tailLength (reference.processor.engine) * 48000.0)));
    EXPECT_EQ (plugin.clap.numTails, 1);

    // A reset forgets the tail, frames or none; a block of none still hears its events
    ClapHost::onAudioThread ([&]
                             { plugin.clap.plugin->reset (plugin.clap.plugin); });
    juce::AudioBuffer<float> none (2, 0), silent (2, 4096);
    silent.clear();
    in.events = { clapValue (2, -6.1) };
    EXPECT_EQ (runBlock (plugin.clap, none, in, out), CLAP_PROCESS_CONTINUE);
    EXPECT_NEAR (plugin.clap.valueOf (2), -6.0, 1e-5) << "at a step";
    in.events.clear();
    runBlock (plugin.clap, silent, in, out);
    EXPECT_LT (silent.getMagnitude (0, 4096), 1e-9f);
}

TEST (Clap, ShowsWhatTheTableSays)
{
    ClapHost clap;
    ASSERT_TRUE (clap.plugin->init (clap.plugin));
    clap_param_info_t info;
    for (clap_id id = 0; id < 7; ++id) // in people's sessions: never change
    {
        const auto& row = varnel::parameterTable[id];
        ASSERT_TRUE (clap.params().get_info (clap.plugin, id, &info));
        EXPECT_EQ (std::tuple (info.id, juce::String (info.name), info.min_value, info.max_value, info.default_value), std::tuple (id, juce::String (row.name), static_cast<double> (row.start), static_cast<double> (row.end), static_cast<double> (row.defaultValue)));
        EXPECT_EQ (info.flags, row.isSwitch ? CLAP_PARAM_IS_AUTOMATABLE | CLAP_PARAM_IS_STEPPED : +CLAP_PARAM_IS_AUTOMATABLE) << row.name;
    }

    char text[64];
    const std::vector<std::tuple<clap_id, double, const char*, const char*, double>> texts { { 0, 33.4, "33", " 71 rooms", 71.0 }, { 1, 200.0, "100 %", "nine", 0.0 }, { 3, -1.5, "-1.4 dB", "-3.45 dB", -3.4 }, { 5, 0.49, "Off", "1e9", 1.0 }, { 6, 0.5, "On", "On", 0.0 } };
    for (const auto& [id, value, shown, typed, meant] : texts)
    {
        double read = noNumber;
        EXPECT_TRUE (clap.params().value_to_text (clap.plugin, id, value, text, sizeof (text)));
        EXPECT_STREQ (text, shown);
        EXPECT_TRUE (clap.params().text_to_value (clap.plugin, id, typed, &read)) << typed;
        EXPECT_NEAR (read, meant, 1e-5) << typed;
    }
    EXPECT_TRUE (clap.params().value_to_text (clap.plugin, 3, -12.0, text, 4));
    EXPECT_STREQ (text, "-12");
}

TEST (Clap, TakesTheStatesOfOtherFormatsAndNothingElse)
{
    ClapInstance plugin (true);
    juce::MemoryBlock fresh, chunk;
    plugin.getStateInformation (fresh);
    varnel::VarnelReverbAudioProcessor processor (varnel::VarnelReverbAudioProcessor::UserSettings::ignored);
    setUnusualValues (processor);
    chunk = chunkOf (processor);

#ifdef VARNEL_VST3_BUNDLE
    // What a VST3 host keeps has more behind the chunk.
    Scanned vst3 (bundles[0]);
    const auto other = vst3.create();
    const auto exchange = [&] (const juce::MemoryBlock* newState)
    {
        juce::MemoryBlock session, component;
        other->getStateInformation (session);
        const auto xml = juce::parseXML (juce::String::fromUTF8 (static_cast<const char*> (session.getData()) + 8));
        auto& text = *xml->getChildByName ("IComponent")->getFirstChildElement();
        component.fromBase64Encoding (text.getText());
        if (newState != nullptr)
        {
            text.setText (newState->toBase64Encoding());
            juce::AudioProcessor::copyXmlToBinary (*xml, session);
            other->setStateInformation (session.getData(), static_cast<int> (session.getSize()));
        }
        return component;
    };
    exchange (&chunk);
    for (size_t i = 0; i < 7; ++i)
        EXPECT_NEAR (parameterNamed (*other, varnel::parameterTable[i].name)->getValue(), processor.parameterState.getParameter (processor.paramIds[i])->getValue(), 1e-6f);
    chunk = exchange (nullptr);
#endif

    const auto before = valuesOf (plugin.clap);
    const auto half = chunk.getSize() / 2;
    const juce::MemoryBlock first (chunk.getData(), half), second (chunk.begin() + half, chunk.getSize() - half);
    EXPECT_FALSE (load (plugin.clap, { first }, 0)) << "ends early";
    EXPECT_FALSE (load (plugin.clap, { first, second }, -1)) << "fails at the end";
    EXPECT_FALSE (load (plugin.clap, { first, second }, 1 << 20)) << "claims more than there was room for";
    EXPECT_FALSE (load (plugin.clap, {}, 0)) << "is empty";
    EXPECT_FALSE (load (plugin.clap, {}, 4096)) << "never ends";
    EXPECT_EQ (valuesOf (plugin.clap), before);
    EXPECT_TRUE (load (plugin.clap, { first, second }));
    const auto wanted = values (processor);
    EXPECT_EQ (valuesOf (plugin.clap), std::vector<double> (wanted.begin(), wanted.end()));

    deliverMessages (50);
    EXPECT_EQ (plugin.clap.numDirty, 0) << "a project that has only been opened counts as changed";

    for (const auto result : { int64_t { 0 }, int64_t { -1 }, int64_t { 1 } << 40 })
    {
        auto written = result;
        const clap_ostream_t bad { &written, [] (const auto* s, auto...)
                                   { return *static_cast<const int64_t*> (s->ctx); } };
        EXPECT_FALSE (plugin.clap.state().save (plugin.clap.plugin, &bad));
    }
}

TEST (Clap, TellsItsHostOfHandsAndPresets)
{
    juce::ApplicationProperties settings;
    settings.setStorageParameters (varnel::settingsStorage (true));
    const auto folder = varnel::getUserPresetFolder (settings);
    ASSERT_TRUE (folder.createDirectory() && folder.getChildFile ("one.xml").replaceWithText ("<ReverbParams presetName=\"\"><PARAM id=\"Position\" value=\"90\"/></ReverbParams>"));

    for (const auto withTimers : { true, false })
    {
        ClapInstance plugin (withTimers);
        auto& clap = plugin.clap;
        const auto editor = openWindow (plugin);

        // A turn of the wheel over the large dial while nothing plays
        XServer::click (editor->getScreenPosition() + juce::Point<int> (300, 120), 4);
        EXPECT_SOON (clap.flushAsked && clap.valueOf (0) > 33.5);
        deliverMessages (50);
        ClapEvents in, out;
        clap.params().flush (clap.plugin, nullptr, nullptr);
        for (out.room = 0; out.room <= 10; ++out.room)
            clap.params().flush (clap.plugin, &in.in, &out.out);
        ASSERT_EQ (out.events.size(), 3) << "begin, value, end, kept until the host takes them";
        EXPECT_EQ (out.events[0].header.type, CLAP_EVENT_PARAM_GESTURE_BEGIN);
        EXPECT_EQ (out.events[1].header.type, CLAP_EVENT_PARAM_VALUE);
        EXPECT_EQ (std::tuple (out.events[1].value.param_id, out.events[1].value.value, out.events[1].value.key), std::tuple (0u, 34.0, int16_t { -1 }));
        EXPECT_EQ (out.events[2].header.type, CLAP_EVENT_PARAM_GESTURE_END);
        EXPECT_EQ (clap.rescans, 0u);

        // The next preset
        EXPECT_EQ (clap.numDirty, 0);
        XServer::click (editor->getScreenPosition() + juce::Point<int> (472, 18));
        EXPECT_SOON (clap.numDirty == 1 && juce::approximatelyEqual (parameterNamed (plugin, "Position")->getValue(), 0.9f))
            << "the host sees Position at " << parameterNamed (plugin, "Position")->getValue() << ", dirty " << clap.numDirty;
        out.events.clear();
        clap.params().flush (clap.plugin, nullptr, &out.out);
        EXPECT_TRUE (out.events.empty()) << "a preset is no automation";
    }
    EXPECT_TRUE (folder.deleteRecursively());
}

using ClapWindow = FreshHome;

TEST_F (ClapWindow, KeepsItsShape)
{
    ClapInstance plugin (true);
    auto& clap = plugin.clap;
    const auto& gui = clap.gui();
    const auto editor = openWindow (plugin);
    editor->setSize (1300, 700);
    deliverMessages (300);

    uint32_t w = 0, h = 0;
    const auto size = [&]
    { return std::pair (gui.get_size (clap.plugin, &w, &h) ? w : 0, h); };
    using Size = std::pair<uint32_t, uint32_t>;
    EXPECT_EQ (size(), Size (600, 310));
    clap_gui_resize_hints_t hints;
    EXPECT_TRUE (gui.can_resize (clap.plugin) && gui.get_resize_hints (clap.plugin, &hints) && hints.preserve_aspect_ratio);
    EXPECT_EQ (hints.aspect_ratio_width * 31, hints.aspect_ratio_height * 60);

    for (const auto scale : { 1.0, 1.5, 2.0, 0.7 })
    {
        EXPECT_TRUE (gui.set_scale (clap.plugin, scale));
        for (uint32_t i = 1; i < 3000; i += 7)
        {
            w = i;
            h = 3001 - i;
            const Size area (w, h);
            EXPECT_TRUE (gui.adjust_size (clap.plugin, &w, &h));
            const Size fitting (w, h);
            EXPECT_TRUE (gui.adjust_size (clap.plugin, &w, &h));
            ASSERT_EQ (Size (w, h), fitting) << "a size that fits is its own fit, at " << scale;
            EXPECT_NEAR (w / 60.0, h / 31.0, 0.05);
            EXPECT_TRUE (w <= std::max (area.first, static_cast<uint32_t> (480 * scale + 1)) && h <= std::max (area.second, static_cast<uint32_t> (248 * scale + 1)));
        }
    }

    EXPECT_TRUE (gui.set_scale (clap.plugin, 1.0) && gui.set_size (clap.plugin, 900, 465));
    EXPECT_EQ (size(), Size (900, 465));
    EXPECT_EQ (clap.numResizes, 0) << "the host is asked for what it has said";
    EXPECT_FALSE (gui.set_size (clap.plugin, 700, 10) || gui.set_scale (clap.plugin, noNumber));
    EXPECT_EQ (size(), Size (480, 248));

    // "200% " of the window's own menu, in a host that has no room at first
    for (const auto allowed : { false, true })
    {
        clap.resizes = allowed;
        openMenu (editor->getScreenPosition() + juce::Point<int> (10, 200));
        XServer::key ("Up"); // the last row
        XServer::key ("Up"); // and above it
        XServer::key ("Return");
        EXPECT_SOON (clap.numResizes > 0);
        EXPECT_EQ (Size (clap.width, clap.height), Size (1200, 620));
        EXPECT_EQ (size(), allowed ? Size (1200, 620) : Size (480, 248));
        clap.numResizes = 0;
    }
}

TEST (Clap, RefusesCallsThatComeAtTheWrongTime)
{
    EXPECT_EQ (clapEntry().get_factory ("clap.preset"), nullptr);
    EXPECT_EQ (clapEntry().get_factory (nullptr), nullptr);
    EXPECT_EQ (clapFactory().get_plugin_descriptor (&clapFactory(), 1), nullptr);
    EXPECT_EQ (clapFactory().create_plugin (&clapFactory(), nullptr, "com.ostry.varnel-reverb"), nullptr);

    ClapHost clap (false);
    EXPECT_EQ (clapFactory().create_plugin (&clapFactory(), &clap.host, "another"), nullptr);
    const auto* const p = clap.plugin;
    double value = 0.0;
    uint32_t w = 0, h = 0;
    char text[8];
    clap_param_info_t info;
    clap_window_t window { "x11", {} };
    ClapEvents events;
    juce::AudioBuffer<float> buffer (2, 16);
    buffer.clear();
    EXPECT_EQ (p->get_extension (p, "clap.voice-info"), nullptr);
    EXPECT_EQ (p->get_extension (p, nullptr), nullptr);

    const auto refuseAll = [&]
    {
        EXPECT_FALSE (p->start_processing (p));
        EXPECT_EQ (runBlock (clap, buffer, events, events), CLAP_PROCESS_ERROR);
        EXPECT_FALSE (clap.params().get_info (p, 7, &info) || clap.params().get_info (p, 0, nullptr) || clap.params().get_value (p, 7, &value) || clap.params().get_value (p, 0, nullptr));
        EXPECT_FALSE (clap.params().value_to_text (p, 7, 0.0, text, 8) || clap.params().value_to_text (p, 0, 0.0, text, 0) || clap.params().value_to_text (p, 0, noNumber, text, 8) || clap.params().value_to_text (p, 0, 0.0, nullptr, 8));
        EXPECT_FALSE (clap.params().text_to_value (p, 7, "1", &value) || clap.params().text_to_value (p, 0, nullptr, &value) || clap.params().text_to_value (p, 0, "nan", &value));
        EXPECT_FALSE (clap.state().save (p, nullptr) || clap.state().load (p, nullptr));
        EXPECT_FALSE (clap.gui().create (p, "wayland", false) || clap.gui().create (p, "x11", true) || clap.gui().create (p, nullptr, false));
        EXPECT_FALSE (clap.gui().show (p) || clap.gui().hide (p) || clap.gui().get_size (p, &w, &h) || clap.gui().set_size (p, 600, 310) || clap.gui().set_scale (p, 1.0) || clap.gui().set_parent (p, &window) || clap.gui().adjust_size (p, &w, &h));
        clap.gui().destroy (p);
        p->on_main_thread (p);
        p->deactivate (p);
        p->stop_processing (p);
        p->reset (p);
    };

    refuseAll();
    EXPECT_FALSE (p->activate (p, 48000.0, 1, 64)) << "before it is initialised";
    clap.params().flush (p, &events.in, &events.out);
    EXPECT_TRUE (p->init (p));
    EXPECT_FALSE (p->init (p));
    refuseAll();

    for (const auto& [rate, least, most] : { std::tuple (0.0, 1u, 64u), std::tuple (noNumber, 1u, 64u), std::tuple (48000.0, 1u, 0u), std::tuple (48000.0, 65u, 64u), std::tuple (48000.0, 1u, 1u << 31) })
        EXPECT_FALSE (p->activate (p, rate, least, most)) << rate << ", " << most;
    EXPECT_TRUE (p->activate (p, 48000.0, 1, 64));
    EXPECT_FALSE (p->activate (p, 48000.0, 1, 64));

    ClapHost::onAudioThread ([&]
                             {
        EXPECT_TRUE (p->start_processing (p));
        EXPECT_FALSE (p->start_processing (p));
        EXPECT_EQ (p->process (p, nullptr), CLAP_PROCESS_ERROR);

        // 64 bits, one channel, no channels, no buffers; the events count all the same
        double samples[16] {};
        double* doubles[] { samples, samples };
        float* floats[] { buffer.getWritePointer (0), nullptr };
        clap_audio_buffer_t wide { nullptr, doubles, 2, 0, 0 }, narrow { floats, nullptr, 1, 0, 1 }, hollow { floats, nullptr, 2, 0, 0 };
        events.events = { clapValue (4, 12.0) };
        for (auto* const bad : { &wide, &narrow, &hollow })
            for (const auto& [in, out, number] : { std::tuple (bad, bad, 1u), std::tuple (bad, bad, 0u), std::tuple<clap_audio_buffer_t*, clap_audio_buffer_t*, unsigned> (nullptr, nullptr, 1u) })
            {
                const clap_process_t block { -1, 16, nullptr, in, out, number, number, &events.in, nullptr };
                EXPECT_EQ (p->process (p, &block), CLAP_PROCESS_ERROR);
            }
        const clap_process_t empty {};
        EXPECT_EQ (p->process (p, &empty), CLAP_PROCESS_CONTINUE); });
    EXPECT_EQ (clap.valueOf (4), 12.0);

    // Destroyed with its window open, while it plays
    EXPECT_TRUE (clap.gui().create (p, "x11", false));
    EXPECT_FALSE (clap.gui().create (p, "x11", false));
    window.x11 = 0;
    EXPECT_FALSE (clap.gui().set_parent (p, &window) || clap.gui().show (p));
}
