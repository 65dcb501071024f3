// SPDX-License-Identifier: AGPL-3.0-only
// The tables of the extensions: each operation finds the instance that it is called for and hands over to it.

#include "Extensions.h"

#include "Plugin.h"
#include "State.h"
#include "processor/Product.h"
#include "tail/TailLength.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace varnel::clap
{

namespace
{

constexpr auto instanceOf = Plugin::onMainThread;

Window* windowOf (const clap_plugin_t* plugin)
{
    auto* const instance = instanceOf (plugin);
    return instance != nullptr ? instance->window.get() : nullptr;
}

/** In an EventLoop::Turn, calls something with the window if it is open. @returns false if it is not */
template <typename Function>
bool withWindow (const clap_plugin_t* plugin, Function&& function)
{
    auto* const window = windowOf (plugin);

    if (window == nullptr)
        return false;

    const EventLoop::Turn turn (instanceOf (plugin)->eventLoop);
    return function (*window);
}

template <size_t size>
void copyText (char (&destination)[size], const char* text)
{
    std::strncpy (destination, text, size - 1);
    destination[size - 1] = 0;
}

//==============================================================================
struct AudioPorts
{
    static uint32_t CLAP_ABI count (const clap_plugin_t*, bool /*isInput*/) { return 1; }

    static bool CLAP_ABI get (const clap_plugin_t* plugin, uint32_t index, bool isInput, clap_audio_port_info_t* info)
    {
        const auto* const instance = instanceOf (plugin);

        if (instance == nullptr || index != 0 || info == nullptr)
            return false;

        *info = {};
        info->id = 0;
        copyText (info->name, instance->processor.getBus (isInput, 0)->getName().toRawUTF8());
        info->flags = CLAP_AUDIO_PORT_IS_MAIN; // and 32 bits
        info->channel_count = 2;
        info->port_type = CLAP_PORT_STEREO;
        info->in_place_pair = 0;
        return true;
    }

    static constexpr clap_plugin_audio_ports_t table { count, get };
};

/** The port that controllers come in by. */
struct NotePorts
{
    static uint32_t CLAP_ABI count (const clap_plugin_t*, bool isInput) { return isInput ? 1 : 0; }

    static bool CLAP_ABI get (const clap_plugin_t* plugin, uint32_t index, bool isInput, clap_note_port_info_t* info)
    {
        if (instanceOf (plugin) == nullptr || index != 0 || ! isInput || info == nullptr)
            return false;

        *info = {};
        info->id = 0;
        info->supported_dialects = info->preferred_dialect = CLAP_NOTE_DIALECT_MIDI;
        copyText (info->name, product::name);
        return true;
    }

    static constexpr clap_plugin_note_ports_t table { count, get };
};

struct Latency
{
    static uint32_t CLAP_ABI get (const clap_plugin_t* plugin)
    {
        const auto* const instance = instanceOf (plugin);
        return instance != nullptr ? static_cast<uint32_t> (instance->binding.latency()) : 0;
    }

    static constexpr clap_plugin_latency_t table { get };
};

/** How long a bounce has to go on. */
struct Tail
{
    static uint32_t CLAP_ABI get (const clap_plugin_t* plugin)
    {
        const auto* const instance = Plugin::onAnyThread (plugin);

        if (instance == nullptr)
            return 0;

        const auto& engine = instance->processor.engine;
        const auto frames = std::ceil (tailLength (engine) * static_cast<double> (engine.sampleRate));
        return static_cast<uint32_t> (std::min (frames, static_cast<double> (std::numeric_limits<int32_t>::max())));
    }

    static constexpr clap_plugin_tail_t table { get };
};

struct Params
{
    static uint32_t CLAP_ABI count (const clap_plugin_t*) { return Parameter::count; }

    static bool CLAP_ABI getInfo (const clap_plugin_t* plugin, uint32_t index, clap_param_info_t* info)
    {
        const auto* const instance = instanceOf (plugin);
        return instance != nullptr && info != nullptr && instance->parameters.describe (index, *info);
    }

    static bool CLAP_ABI getValue (const clap_plugin_t* plugin, clap_id id, double* value)
    {
        const auto* const instance = instanceOf (plugin);
        return instance != nullptr && value != nullptr && instance->parameters.read (id, *value);
    }

    static bool CLAP_ABI valueToText (const clap_plugin_t* plugin, clap_id id, double value, char* text, uint32_t size)
    {
        const auto* const instance = instanceOf (plugin);
        return instance != nullptr && instance->parameters.writeText (id, value, text, size);
    }

    static bool CLAP_ABI textToValue (const clap_plugin_t* plugin, clap_id id, const char* text, double* value)
    {
        const auto* const instance = instanceOf (plugin);
        return instance != nullptr && value != nullptr && instance->parameters.readText (id, text, *value);
    }

    static void CLAP_ABI flush (const clap_plugin_t* plugin, const clap_input_events_t* in, const clap_output_events_t* out)
    {
        if (auto* const instance = Plugin::onAnyThread (plugin))
            instance->blocks.flush (in, out);
    }

    static constexpr clap_plugin_params_t table { count, getInfo, getValue, valueToText, textToValue, flush };
};

/** Offline, controllers move parameters at once. */
struct Render
{
    static bool CLAP_ABI hasHardRealtimeRequirement (const clap_plugin_t*) { return false; }

    static bool CLAP_ABI set (const clap_plugin_t* plugin, clap_plugin_render_mode mode)
    {
        auto* const instance = instanceOf (plugin);

        if (instance == nullptr || (mode != CLAP_RENDER_REALTIME && mode != CLAP_RENDER_OFFLINE))
            return false;

        instance->processor.setNonRealtime (mode == CLAP_RENDER_OFFLINE);
        return true;
    }

    static constexpr clap_plugin_render_t table { hasHardRealtimeRequirement, set };
};

struct State
{
    static bool CLAP_ABI save (const clap_plugin_t* plugin, const clap_ostream_t* stream)
    {
        const auto* const instance = instanceOf (plugin);
        return instance != nullptr && stream != nullptr && clap::save (instance->binding, *stream);
    }

    static bool CLAP_ABI load (const clap_plugin_t* plugin, const clap_istream_t* stream)
    {
        auto* const instance = instanceOf (plugin);
        return instance != nullptr && stream != nullptr && clap::load (instance->binding, *stream);
    }

    static constexpr clap_plugin_state_t table { save, load };
};

struct Timers
{
    static void CLAP_ABI called (const clap_plugin_t* plugin, clap_id timer)
    {
        if (auto* const instance = instanceOf (plugin))
            instance->eventLoop.timerCalled (timer);
    }

    static constexpr clap_plugin_timer_support_t table { called };
};

struct Gui
{
    static bool CLAP_ABI isApiSupported (const clap_plugin_t*, const char* api, bool isFloating) { return Window::canBe (api, isFloating); }

    static bool CLAP_ABI getPreferredApi (const clap_plugin_t*, const char** api, bool* isFloating)
    {
        if (api == nullptr || isFloating == nullptr)
            return false;

        *api = CLAP_WINDOW_API_X11;
        *isFloating = false;
        return true;
    }

    static bool CLAP_ABI create (const clap_plugin_t* plugin, const char* api, bool isFloating)
    {
        auto* const instance = instanceOf (plugin);

        if (instance == nullptr || instance->window != nullptr || ! Window::canBe (api, isFloating))
            return false;

        const EventLoop::Turn turn (instance->eventLoop);
        instance->window = Window::create (instance->processor, instance->host);
        return instance->window != nullptr;
    }

    static void CLAP_ABI destroy (const clap_plugin_t* plugin)
    {
        if (windowOf (plugin) != nullptr)
        {
            const EventLoop::Turn turn (instanceOf (plugin)->eventLoop);
            instanceOf (plugin)->window.reset();
        }
    }

    static bool CLAP_ABI setScale (const clap_plugin_t* plugin, double scale)
    {
        return withWindow (plugin, [=] (Window& window)
                           { return window.setScale (scale); });
    }

    static bool CLAP_ABI getSize (const clap_plugin_t* plugin, uint32_t* width, uint32_t* height)
    {
        return width != nullptr && height != nullptr
               && withWindow (plugin, [=] (Window& window)
                              {
                   const auto size = window.size();
                   *width = size.width;
                   *height = size.height;
                   return true; });
    }

    static bool CLAP_ABI canResize (const clap_plugin_t* plugin) { return windowOf (plugin) != nullptr; }

    static bool CLAP_ABI getResizeHints (const clap_plugin_t* plugin, clap_gui_resize_hints_t* hints)
    {
        return hints != nullptr && withWindow (plugin, [=] (Window& window)
                                               {
            const auto shape = window.shape();
            *hints = { true, true, true, shape.width, shape.height };
            return true; });
    }

    static bool CLAP_ABI adjustSize (const clap_plugin_t* plugin, uint32_t* width, uint32_t* height)
    {
        return width != nullptr && height != nullptr
               && withWindow (plugin, [=] (Window& window)
                              {
                   const auto size = window.fit ({ *width, *height });
                   *width = size.width;
                   *height = size.height;
                   return true; });
    }

    static bool CLAP_ABI setSize (const clap_plugin_t* plugin, uint32_t width, uint32_t height)
    {
        return withWindow (plugin, [=] (Window& window)
                           { return window.setSize ({ width, height }); });
    }

    static bool CLAP_ABI setParent (const clap_plugin_t* plugin, const clap_window_t* parent)
    {
        return parent != nullptr && withWindow (plugin, [=] (Window& window)
                                                { return window.setParent (*parent); });
    }

    // Of floating windows, which ours is not
    static bool CLAP_ABI setTransient (const clap_plugin_t*, const clap_window_t*) { return false; }
    static void CLAP_ABI suggestTitle (const clap_plugin_t*, const char*) {}

    static bool CLAP_ABI show (const clap_plugin_t* plugin)
    {
        return withWindow (plugin, [] (Window& window)
                           { return window.setVisible (true); });
    }

    static bool CLAP_ABI hide (const clap_plugin_t* plugin)
    {
        return withWindow (plugin, [] (Window& window)
                           { return window.setVisible (false); });
    }

    static constexpr clap_plugin_gui_t table { isApiSupported, getPreferredApi, create, destroy, setScale, getSize, canResize, getResizeHints, adjustSize, setSize, setParent, setTransient, suggestTitle, show, hide };
};

} // namespace

//==============================================================================
const void* CLAP_ABI getExtension (const clap_plugin_t*, const char* id)
{
    static constexpr struct
    {
        const char* id;
        const void* table;
    } extensions[] {
        { CLAP_EXT_AUDIO_PORTS, &AudioPorts::table },
        { CLAP_EXT_GUI, &Gui::table },
        { CLAP_EXT_LATENCY, &Latency::table },
        { CLAP_EXT_NOTE_PORTS, &NotePorts::table },
        { CLAP_EXT_PARAMS, &Params::table },
        { CLAP_EXT_RENDER, &Render::table },
        { CLAP_EXT_STATE, &State::table },
        { CLAP_EXT_TAIL, &Tail::table },
        { CLAP_EXT_TIMER_SUPPORT, &Timers::table },
    };

    for (const auto& extension : extensions)
        if (id != nullptr && std::strcmp (extension.id, id) == 0)
            return extension.table;

    return nullptr;
}

} // namespace varnel::clap
