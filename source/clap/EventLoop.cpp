// SPDX-License-Identifier: AGPL-3.0-only

// JUCE's own message thread looks after the X server too.
#define JUCE_GUI_BASICS_INCLUDE_XHEADERS 1

#include "EventLoop.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <juce_audio_plugin_client/detail/juce_LinuxMessageThread.h>

namespace varnel::clap
{

namespace
{

constexpr uint32_t timerInterval = 16; ///< ms: a frame of most screens

} // namespace

struct EventLoop::Threads
{
    juce::ScopedJuceInitialiser_GUI juce;
    juce::SharedResourcePointer<juce::detail::MessageThread> own;
    std::optional<juce::SharedResourcePointer<juce::detail::HostDrivenEventLoop>> ofHost;
};

EventLoop::EventLoop (Host& hostToUse)
    : host (hostToUse), threads (std::make_unique<Threads>())
{
    clap_id id = CLAP_INVALID_ID;

    if (host.timers != nullptr && host.timers->register_timer (&host.abi, timerInterval, &id))
    {
        timer = id;
        threads->ofHost.emplace();
    }
}

EventLoop::~EventLoop()
{
    if (timer)
        host.timers->unregister_timer (&host.abi, *timer);
}

void EventLoop::timerCalled (clap_id calledTimer)
{
    if (timer == calledTimer)
        (*threads->ofHost)->processPendingEvents();
}

EventLoop::Turn::Turn (const EventLoop& loop)
{
    // A host's main thread need not be the thread that it was when the host began.
    if (loop.timer)
        juce::MessageManager::getInstance()->setCurrentThreadAsMessageThread();
    else
        pause.emplace();
}

} // namespace varnel::clap
