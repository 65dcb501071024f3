// SPDX-License-Identifier: AGPL-3.0-only
// The ABI of CLAP, as far as it is used here.
#pragma once

#include <clap/entry.h>
#include <clap/ext/audio-ports.h>
#include <clap/ext/gui.h>
#include <clap/ext/latency.h>
#include <clap/ext/note-ports.h>
#include <clap/ext/params.h>
#include <clap/ext/state.h>
#include <clap/ext/thread-check.h>
#include <clap/ext/timer-support.h>

// Where it stands depends on how new the headers are.
#if __has_include(<clap/factory/plugin-factory.h>)
    #include <clap/factory/plugin-factory.h>
#else
    #include <clap/plugin-factory.h>
#endif

// Of small extensions that not every set of headers has, what the ABI says
#if __has_include(<clap/ext/render.h>)
    #include <clap/ext/render.h>
#else
inline constexpr char CLAP_EXT_RENDER[] = "clap.render";

enum : int32_t
{
    CLAP_RENDER_REALTIME = 0,
    CLAP_RENDER_OFFLINE = 1
};

using clap_plugin_render_mode = int32_t;

struct clap_plugin_render_t
{
    bool (CLAP_ABI* has_hard_realtime_requirement) (const clap_plugin_t* plugin);
    bool (CLAP_ABI* set) (const clap_plugin_t* plugin, clap_plugin_render_mode mode); // main thread
};
#endif

#if __has_include(<clap/ext/tail.h>)
    #include <clap/ext/tail.h>
#else
inline constexpr char CLAP_EXT_TAIL[] = "clap.tail";

struct clap_plugin_tail_t
{
    uint32_t (CLAP_ABI* get) (const clap_plugin_t* plugin); // frames, without end from INT32_MAX on; main and audio thread
};

struct clap_host_tail_t
{
    void (CLAP_ABI* changed) (const clap_host_t* host); // audio thread
};
#endif
