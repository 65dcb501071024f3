// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Host.h"

#include <juce_events/juce_events.h>

#include <memory>
#include <optional>

namespace varnel::clap
{

/** Sees to it that JUCE's messages, among them its timers and the window's events, are delivered.

    If the host has timers, its main thread is JUCE's message thread and delivers them whenever the timer calls. Else a
    thread of JUCE's own is, and has to stand still while the main thread does what belongs to the message thread.
    Instances share the thread. Main thread.
*/
class EventLoop
{
public:
    explicit EventLoop (Host& hostToUse);
    ~EventLoop();

    /** Delivers what has arrived, if it is our timer that calls. */
    void timerCalled (clap_id timer);

    /** As long as this lives, the calling thread may do what belongs to the message thread. */
    class Turn
    {
    public:
        explicit Turn (const EventLoop& loop);

    private:
        std::optional<juce::MessageManagerLock> pause;
    };

private:
    struct Threads;

    Host& host;
    std::optional<clap_id> timer;
    std::unique_ptr<Threads> threads;

    JUCE_DECLARE_NON_COPYABLE (EventLoop)
};

} // namespace varnel::clap
