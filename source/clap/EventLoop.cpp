// SPDX-License-Identifier: AGPL-3.0-only

// JUCE's own message thread looks after the X server too.
#define JUCE_GUI_BASICS_INCLUDE_XHEADERS 1

#include "EventLoop.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <juce_audio_plugin_client/detail/juce_LinuxMessageThread.h>
#include <juce_events/native/juce_EventLoopInternal_linux.h>

namespace varnel::clap
{

namespace
{

constexpr uint32_t timerInterval = 16; ///< ms: a frame of most screens

/** Sees to events that have been read from a connection while something else was waited for there: the connection has
    nothing to read then, which is what JUCE's own thread waits for. Where the host's thread talks to the X server as well,
    clicks would stay there until the mouse moves again. */
struct LateEvents final : juce::Timer
{
    LateEvents() { startTimer (static_cast<int> (timerInterval)); }

    void timerCallback() override
    {
        for (const auto connection : juce::LinuxEventLoopInternal::getRegisteredFds())
            juce::LinuxEventLoopInternal::invokeEventLoopCallbackForFd (connection);
    }
};

} // namespace

struct EventLoop::Threads
{
    ~Threads()
    {
        if (late)
        {
            const juce::MessageManagerLock pause;
            late.reset();
        }

        ofHost.reset();
        own.reset();

        // With the last instance JUCE ends too, on what has to be its message thread.
        if (! juce::SharedResourcePointer<juce::detail::MessageThread>::getSharedObjectWithoutCreating())
            juce::MessageManager::getInstance()->setCurrentThreadAsMessageThread();
    }

    juce::ScopedJuceInitialiser_GUI juce;
    std::optional<juce::SharedResourcePointer<juce::detail::MessageThread>> own { std::in_place };
    std::optional<juce::SharedResourcePointer<juce::detail::HostDrivenEventLoop>> ofHost;
    std::optional<juce::SharedResourcePointer<LateEvents>> late; ///< unless the loop is the host's
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
    else
    {
        threads->late.emplace();
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
