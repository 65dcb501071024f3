// SPDX-License-Identifier: AGPL-3.0-only
#include "HostNews.h"

#include <algorithm>

namespace varnel::clap
{

namespace
{

template <typename Event>
bool push (const clap_output_events_t& list, Event event, uint16_t type)
{
    event.header.size = sizeof (Event);
    event.header.space_id = CLAP_CORE_EVENT_SPACE_ID;
    event.header.type = type;
    return list.try_push (&list, &event.header);
}

} // namespace

HostNews::HostNews (VarnelReverbAudioProcessor& processorToListenTo, Host& hostToTell)
    : processor (processorToListenTo), host (hostToTell)
{
    processor.addListener (this);
}

HostNews::~HostNews()
{
    processor.removeListener (this);
}

//==============================================================================
void HostNews::audioProcessorParameterChanged (juce::AudioProcessor*, int index, float)
{
    hasMoved = true;

    if (callingThread == juce::Thread::getCurrentThreadId())
    {
        // Offline, a controller's message has been answered by the time that the block ends.
        if (! hostSpeaks && processor.isNonRealtime())
            add (index, valueChanged);

        return;
    }

    if ((parameters[static_cast<size_t> (index)] & inGesture) != 0)
        add (index, valueChanged);
    else
        ask (rescanValues);
}

void HostNews::audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails& details)
{
    if (details.parameterInfoChanged)
        ask (rescanNames);

    if (details.nonParameterStateChanged)
        ask (markDirty);
}

void HostNews::audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index)
{
    add (index, gestureBegan | inGesture);
}

void HostNews::audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index)
{
    parameters[static_cast<size_t> (index)] &= ~static_cast<unsigned> (inGesture);
    add (index, 0);
}

void HostNews::add (int index, unsigned news)
{
    parameters[static_cast<size_t> (index)] |= news;

    if (! processing && host.params != nullptr)
        host.params->request_flush (&host.abi);
}

void HostNews::ask (unsigned task)
{
    tasks |= task;
    host.abi.request_callback (&host.abi);
}

//==============================================================================
bool HostNews::hasNews() const noexcept
{
    for (size_t i = 0; i < parameters.size(); ++i)
        if (const auto news = parameters[i].load(); (news & (gestureBegan | valueChanged)) != 0 || hostKnowsGesture[i] != ((news & inGesture) != 0))
            return true;

    return false;
}

void HostNews::setProcessing (bool shouldProcess)
{
    processing = shouldProcess;

    // What came just before would otherwise wait until there are blocks again.
    if (! shouldProcess && hasNews())
        ask (0);
}

void HostNews::tellOfTail()
{
    if (hasMoved && hasMoved.exchange (false) && host.tail != nullptr)
        host.tail->changed (&host.abi);
}

void HostNews::tell (const clap_output_events_t* list)
{
    if (list == nullptr || ! hasNews())
        return;

    for (size_t i = 0; i < parameters.size(); ++i)
        tellOf (i, *list);
}

/** A gesture within a gesture's time is told as one. What is told of a value is where the parameter is by now. */
void HostNews::tellOf (size_t index, const clap_output_events_t& list)
{
    const auto news = parameters[index].fetch_and (inGesture);
    const auto id = static_cast<clap_id> (index);

    if ((news & gestureBegan) != 0 && ! hostKnowsGesture[index])
    {
        if (! push<clap_event_param_gesture_t> (list, { {}, id }, CLAP_EVENT_PARAM_GESTURE_BEGIN))
        {
            parameters[index] |= news & (gestureBegan | valueChanged);
            return;
        }

        hostKnowsGesture[index] = true;
    }

    if ((news & valueChanged) != 0)
    {
        const auto value = static_cast<double> (*processor.parameterState.getRawParameterValue (processor.paramIds[index]));

        if (! push<clap_event_param_value_t> (list, { {}, id, nullptr, -1, -1, -1, -1, value }, CLAP_EVENT_PARAM_VALUE))
        {
            parameters[index] |= valueChanged;
            return;
        }
    }

    if ((news & inGesture) == 0 && hostKnowsGesture[index])
        hostKnowsGesture[index] = ! push<clap_event_param_gesture_t> (list, { {}, id }, CLAP_EVENT_PARAM_GESTURE_END);
}

void HostNews::tellOnMainThread()
{
    const auto asked = tasks.exchange (0);

    if (const auto rescan = asked & (rescanValues | rescanNames); rescan != 0 && host.params != nullptr)
        host.params->rescan (&host.abi, rescan);

    if ((asked & markDirty) != 0 && host.state != nullptr)
        host.state->mark_dirty (&host.abi);

    if (hasNews() && ! processing && host.params != nullptr)
        host.params->request_flush (&host.abi);
}

} // namespace varnel::clap
