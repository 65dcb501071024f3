// SPDX-License-Identifier: AGPL-3.0-only
// A host of our own for CLAP: the ABI by itself (ClapHost), and an instance as one of JUCE's, so that it goes through the
// tests of the other formats (ClapInstance).
#pragma once

#include "clap/Abi.h"

#include <gtest/gtest.h>
#include <juce_audio_processors/juce_audio_processors.h>

#include <atomic>
#include <deque>
#include <dlfcn.h>
#include <limits>

/** A library's entry. It stays loaded, as a host keeps what it has scanned. */
inline const clap_plugin_entry_t& clapEntry (const char* path = VARNEL_CLAP_FILE)
{
    static auto* const library = dlopen (path, RTLD_NOW | RTLD_LOCAL);
    static const auto* const entry = library != nullptr ? static_cast<const clap_plugin_entry_t*> (dlsym (library, "clap_entry")) : nullptr;
    static const auto isReady = entry != nullptr && entry->init (path);
    if (! isReady)
        throw std::runtime_error (entry != nullptr ? "does not want to be initialised" : dlerror());
    return *entry;
}

inline const clap_plugin_factory_t& clapFactory()
{
    return *static_cast<const clap_plugin_factory_t*> (clapEntry().get_factory (CLAP_PLUGIN_FACTORY_ID));
}

/** Any event. */
union ClapEvent
{
    clap_event_header_t header;
    clap_event_param_value_t value;
    clap_event_param_gesture_t gesture;
    clap_event_midi_t midi;
};

inline ClapEvent clapValue (clap_id id, double value, uint32_t time = 0)
{
    return { .value = { { sizeof (clap_event_param_value_t), time, CLAP_CORE_EVENT_SPACE_ID, CLAP_EVENT_PARAM_VALUE, 0 }, id, nullptr, -1, -1, -1, -1, value } };
}

inline ClapEvent clapMidi (uint8_t status, uint8_t first, uint8_t second, uint32_t time = 0)
{
    return { .midi = { { sizeof (clap_event_midi_t), time, CLAP_CORE_EVENT_SPACE_ID, CLAP_EVENT_MIDI, 0 }, 0, { status, first, second } } };
}

/** Events on their way in or out. */
struct ClapEvents
{
    const clap_input_events_t in { this, [] (const auto* list)
                                   { return static_cast<uint32_t> (of (list).events.size()); },
                                   [] (const auto* list, uint32_t index) -> const clap_event_header_t*
                                   { return of (list).events[index].header.size > 0 ? &of (list).events[index].header : nullptr; } };
    const clap_output_events_t out { this, [] (const auto* list, const clap_event_header_t* event)
                                     {
        auto& self = of (list);
        if (self.events.size() >= self.room)
            return false;
        self.events.emplace_back();
        std::memcpy (&self.events.back(), event, event->size);
        return true; } };

    std::deque<ClapEvent> events;
    size_t room = std::numeric_limits<size_t>::max();

private:
    static ClapEvents& of (const auto* list) { return *static_cast<ClapEvents*> (list->ctx); }
};

/** An instance with the host that it sees, which notes what is asked of it. */
struct ClapHost
{
    explicit ClapHost (bool withTimers = true)
        : hasTimers (withTimers), plugin (clapFactory().create_plugin (&clapFactory(), &host, "com.ostry.varnel-reverb")) {}

    ~ClapHost() { plugin->destroy (plugin); }

    template <typename Extension>
    const Extension& extension (const char* id) const
    {
        return *static_cast<const Extension*> (plugin->get_extension (plugin, id));
    }

    const clap_plugin_params_t& params() const { return extension<clap_plugin_params_t> (CLAP_EXT_PARAMS); }
    const clap_plugin_gui_t& gui() const { return extension<clap_plugin_gui_t> (CLAP_EXT_GUI); }
    const clap_plugin_state_t& state() const { return extension<clap_plugin_state_t> (CLAP_EXT_STATE); }

    double valueOf (clap_id id) const
    {
        double value = -1000.0;
        EXPECT_TRUE (params().get_value (plugin, id, &value));
        return value;
    }

    /** What a host does on its main thread from time to time. */
    void idle()
    {
        if (hasTimers && timer)
            extension<clap_plugin_timer_support_t> (CLAP_EXT_TIMER_SUPPORT).on_timer (plugin, 7);
        if (callbackAsked.exchange (false))
            plugin->on_main_thread (plugin);
    }

    /** Calls something as on the audio thread. */
    template <typename Function>
    static auto onAudioThread (Function&& function)
    {
        const juce::ScopedValueSetter<bool> setter (isAudioThread, true);
        return function();
    }

    static ClapHost& of (const clap_host_t* host) { return *static_cast<ClapHost*> (host->host_data); }

    const bool hasTimers;
    std::atomic<bool> timer { false }, callbackAsked { false }, flushAsked { false };
    std::atomic<unsigned> rescans { 0 };
    std::atomic<int> numDirty { 0 }, numTails { 0 }, numResizes { 0 };
    std::atomic<uint32_t> width { 0 }, height { 0 };
    std::atomic<bool> resizes { true };

    const juce::Thread::ThreadID mainThread = juce::Thread::getCurrentThreadId();
    inline static thread_local bool isAudioThread = false;

    const clap_host_params_t hostParams { [] (const clap_host_t* h, auto flags)
                                          { EXPECT_EQ (juce::Thread::getCurrentThreadId(), of (h).mainThread); of (h).rescans |= flags; },
                                          [] (auto...) {},
                                          [] (const clap_host_t* h)
                                          { EXPECT_FALSE (isAudioThread); of (h).flushAsked = true; } };
    const clap_host_state_t hostState { [] (const clap_host_t* h)
                                        { EXPECT_EQ (juce::Thread::getCurrentThreadId(), of (h).mainThread); ++of (h).numDirty; } };
    const clap_host_gui_t hostGui { [] (auto*) {},
                                    [] (const clap_host_t* h, uint32_t w, uint32_t tall)
                                    { of (h).width = w; of (h).height = tall; ++of (h).numResizes; return of (h).resizes.load(); },
                                    [] (auto*)
                                    { return false; },
                                    [] (auto*)
                                    { return false; },
                                    [] (auto...) {} };
    const clap_host_tail_t hostTail { [] (const clap_host_t* h)
                                      { EXPECT_TRUE (isAudioThread); ++of (h).numTails; } };
    const clap_host_thread_check_t hostThreads { [] (const clap_host_t* h)
                                                 { return ! isAudioThread && juce::Thread::getCurrentThreadId() == of (h).mainThread; },
                                                 [] (const clap_host_t*)
                                                 { return isAudioThread; } };
    const clap_host_timer_support_t hostTimers { [] (const clap_host_t* h, uint32_t, clap_id* id)
                                                 { *id = 7; return ! of (h).timer.exchange (true); },
                                                 [] (const clap_host_t* h, clap_id id)
                                                 { return id == 7 && of (h).timer.exchange (false); } };
    const clap_host_t host { CLAP_VERSION_INIT, this, "small host", "", "", "1", [] (const clap_host_t* h, const char* id) -> const void*
                             {
        const std::pair<const char*, const void*> offered[] { { CLAP_EXT_PARAMS, &of (h).hostParams }, { CLAP_EXT_STATE, &of (h).hostState }, { CLAP_EXT_GUI, &of (h).hostGui }, { CLAP_EXT_TAIL, &of (h).hostTail }, { CLAP_EXT_THREAD_CHECK, &of (h).hostThreads }, { CLAP_EXT_TIMER_SUPPORT, of (h).hasTimers ? &of (h).hostTimers : nullptr } };
        for (const auto& [name, table] : offered)
            if (std::strcmp (name, id) == 0)
                return table;
        return nullptr; },
                             [] (auto*) {},
                             [] (auto*) {},
                             [] (const clap_host_t* h)
                             { of (h).callbackAsked = true; } };
    const clap_plugin_t* const plugin;
};

//==============================================================================
/** An instance as one of JUCE's. */
class ClapInstance final : public juce::AudioPluginInstance,
                           private juce::Timer
{
public:
    explicit ClapInstance (bool withTimers)
        : AudioPluginInstance (BusesProperties().withInput ("Input", juce::AudioChannelSet::stereo()).withOutput ("Output", juce::AudioChannelSet::stereo())), clap (withTimers)
    {
        EXPECT_TRUE (clap.plugin->init (clap.plugin));
        for (uint32_t i = 0; i < clap.params().count (clap.plugin); ++i)
            addHostedParameter (std::make_unique<Value> (clap, i));
        startTimer (10);
    }

    ~ClapInstance() override { releaseResources(); }

    void prepareToPlay (double rate, int largestBlock) override
    {
        EXPECT_TRUE (clap.plugin->activate (clap.plugin, rate, 1, static_cast<uint32_t> (largestBlock)));
        isActive = true;
    }

    void releaseResources() override
    {
        if (isPlaying.exchange (false))
            ClapHost::onAudioThread ([this]
                                     { clap.plugin->stop_processing (clap.plugin); });
        if (std::exchange (isActive, false))
            clap.plugin->deactivate (clap.plugin);
    }

    void processBlock (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override
    {
        ClapHost::onAudioThread ([&]
                                 {
            EXPECT_TRUE (isPlaying.exchange (true) || clap.plugin->start_processing (clap.plugin));

            ClapEvents in, out;
            for (int i = 0; i < getParameters().size(); ++i)
                if (value (i).moved.exchange (false))
                    in.events.push_back (clapValue (value (i).info.id, value (i).plain()));
            for (const auto message : midi)
                in.events.push_back (clapMidi (message.data[0], message.data[1], message.data[2], static_cast<uint32_t> (message.samplePosition)));

            // Every other block has buffers of its own.
            juce::AudioBuffer<float> copy;
            if (isInPlace = ! isInPlace; ! isInPlace)
                copy.makeCopyOf (buffer);
            clap_audio_buffer_t from { const_cast<float**> (isInPlace ? buffer.getArrayOfReadPointers() : copy.getArrayOfReadPointers()), nullptr, 2, 0, 0 };
            clap_audio_buffer_t to { const_cast<float**> (buffer.getArrayOfWritePointers()), nullptr, 2, 0, 3 };
            const clap_process_t block { -1, static_cast<uint32_t> (buffer.getNumSamples()), nullptr, &from, &to, 1, 1, &in.in, &out.out };
            EXPECT_EQ (clap.plugin->process (clap.plugin, &block), CLAP_PROCESS_CONTINUE);
            EXPECT_EQ (to.constant_mask, 0);
            for (const auto& event : out.events)
                if (event.header.type == CLAP_EVENT_PARAM_VALUE)
                    takeOver (value (static_cast<int> (event.value.param_id)), event.value.value); });
    }

    void getStateInformation (juce::MemoryBlock& data) override
    {
        const clap_ostream_t stream { &data, [] (const auto* s, const void* bytes, uint64_t size)
                                      { static_cast<juce::MemoryBlock*> (s->ctx)->append (bytes, std::min<size_t> (size, 100)); return std::min<int64_t> (static_cast<int64_t> (size), 100); } };
        EXPECT_TRUE (clap.state().save (clap.plugin, &stream));
    }

    void setStateInformation (const void* data, int size) override
    {
        juce::MemoryInputStream bytes (data, static_cast<size_t> (size), false);
        const clap_istream_t stream { &bytes, [] (const auto* s, void* into, uint64_t)
                                      { return static_cast<int64_t> (static_cast<juce::MemoryInputStream*> (s->ctx)->read (into, 1)); } };
        EXPECT_TRUE (clap.state().load (clap.plugin, &stream));
        readValues();
    }

    void setNonRealtime (bool isOffline) noexcept override { EXPECT_TRUE (clap.extension<clap_plugin_render_t> (CLAP_EXT_RENDER).set (clap.plugin, isOffline ? CLAP_RENDER_OFFLINE : CLAP_RENDER_REALTIME)); }

    juce::AudioProcessorEditor* createEditor() override { return new Editor (*this); }
    bool hasEditor() const override { return clap.gui().is_api_supported (clap.plugin, CLAP_WINDOW_API_X11, false); }
    const juce::String getName() const override { return clap.plugin->desc->name; }
    bool isBusesLayoutSupported (const BusesLayout& layout) const override { return layout.getMainInputChannels() == 2 && layout.getMainOutputChannels() == 2; }
    double getTailLengthSeconds() const override { return 0.0; }
    bool acceptsMidi() const override { return extensionCount (true) == 1; }
    bool producesMidi() const override { return extensionCount (false) == 1; }
    int getNumPrograms() override { return 1; }
    int getCurrentProgram() override { return 0; }
    void setCurrentProgram (int) override {}
    const juce::String getProgramName (int) override { return {}; }
    void changeProgramName (int, const juce::String&) override {}
    void fillInPluginDescription (juce::PluginDescription& description) const override { describe (description); }

    static void describe (juce::PluginDescription& description)
    {
        const auto* const d = clapFactory().get_plugin_descriptor (&clapFactory(), 0);
        description.name = d->name;
        description.manufacturerName = d->vendor;
        description.version = d->version;
        description.fileOrIdentifier = d->id;
        for (const auto* feature = d->features; *feature != nullptr; ++feature)
            description.category << (feature == d->features ? "" : "|") << *feature;
    }

    ClapHost clap;

private:
    /** A parameter as the host knows it. */
    struct Value final : HostedParameter
    {
        Value (ClapHost& hostToUse, uint32_t index)
            : clap (hostToUse)
        {
            EXPECT_TRUE (clap.params().get_info (clap.plugin, index, &info));
            known = normalised (clap.valueOf (info.id));
        }

        float normalised (double plain) const { return static_cast<float> ((plain - info.min_value) / (info.max_value - info.min_value)); }
        double plain() const { return info.min_value + static_cast<double> (known) * (info.max_value - info.min_value); }

        juce::String getParameterID() const override { return juce::String (info.id); }
        float getValue() const override { return known; }
        float getDefaultValue() const override { return normalised (info.default_value); }
        juce::String getName (int) const override { return info.name; }
        juce::String getLabel() const override { return {}; }
        float getValueForText (const juce::String&) const override { return 0.0f; }
        void setValue (float value) override { moved = (known = value, true); }

        ClapHost& clap;
        clap_param_info_t info {};
        std::atomic<float> known { 0.0f };
        std::atomic<bool> moved { false };
    };

    /** A window with the plug-in's in it, as soon as it is on the screen. */
    struct Editor final : juce::AudioProcessorEditor
    {
        explicit Editor (ClapInstance& owner)
            : AudioProcessorEditor (owner), clap (owner.clap)
        {
            uint32_t w = 0, h = 0;
            EXPECT_TRUE (clap.gui().create (clap.plugin, CLAP_WINDOW_API_X11, false) && clap.gui().get_size (clap.plugin, &w, &h));
            setSize (static_cast<int> (w), static_cast<int> (h));
        }

        ~Editor() override
        {
            clap.gui().destroy (clap.plugin);
            processor.editorBeingDeleted (this);
        }

        void visibilityChanged() override
        {
            if (getPeer() == nullptr || ! isVisible())
                return;

            clap_window_t window { CLAP_WINDOW_API_X11, {} };
            window.x11 = reinterpret_cast<clap_xwnd> (getPeer()->getNativeHandle());
            EXPECT_TRUE (clap.gui().set_parent (clap.plugin, &window) && clap.gui().show (clap.plugin));
        }

        ClapHost& clap;
    };

    uint32_t extensionCount (bool isInput) const { return clap.extension<clap_plugin_note_ports_t> (CLAP_EXT_NOTE_PORTS).count (clap.plugin, isInput); }
    Value& value (int index) const { return *static_cast<Value*> (getParameters()[index]); }

    static void takeOver (Value& parameter, double plain)
    {
        parameter.known = parameter.normalised (plain);
        parameter.sendValueChangedMessageToListeners (parameter.known);
    }

    void readValues()
    {
        for (int i = 0; i < getParameters().size(); ++i)
            takeOver (value (i), clap.valueOf (value (i).info.id));
    }

    void timerCallback() override
    {
        if (clap.idle(); clap.rescans.exchange (0) != 0)
            readValues();
    }

    bool isActive = false, isInPlace = false;
    std::atomic<bool> isPlaying { false };
};
