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
