// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Blocks.h"
#include "EventLoop.h"
#include "HostNews.h"
#include "Parameters.h"
#include "Window.h"

namespace varnel::clap
{

/** All that an instance has once its host has initialised it. Made and destroyed on the main thread. */
class Instance
{
public:
    explicit Instance (Host& hostToUse);
    ~Instance();

    Host& host;
    EventLoop eventLoop;

private:
    // The message thread stands still while these come and go.
    std::optional<EventLoop::Turn> turn;
    std::unique_ptr<VarnelReverbAudioProcessor> owned;

public:
    VarnelReverbAudioProcessor& processor;
    HostBinding binding;
    HostNews news;
    Parameters parameters;
    Blocks blocks;
    std::unique_ptr<Window> window; ///< null while it is closed
};

} // namespace varnel::clap
