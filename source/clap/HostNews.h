// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Host.h"
#include "processor/VarnelReverbAudioProcessor.h"

#include <array>
#include <atomic>

namespace varnel::clap
{

/** What the host has to hear of, until it has heard it.

    Gestures, and the values that they come to, go out as events of the next block; while there are no blocks the host is
    asked for a flush. Values that move without a gesture are those of a preset or a state: the host is asked to read all
    of them anew, and takes none for automation. A preset also makes the host's project one that has to be saved.

    What the host itself sets is no news to it. In real time a controller's message is none either: whoever answers it
    opens a gesture.

    The host's events come in on one thread at a time; gestures and values from any.
*/
class HostNews : private juce::AudioProcessorListener
{
public:
    HostNews (VarnelReverbAudioProcessor& processorToListenTo, Host& hostToTell);
    ~HostNews() override;

    /** A call of the host's, a block or a flush. What it moves on its thread is the host's own word or a controller's. */
    class HostCall
    {
    public:
        explicit HostCall (HostNews& newsToUse)
            : news (newsToUse)
        {
            news.callingThread = juce::Thread::getCurrentThreadId();
        }

        ~HostCall() { news.callingThread = nullptr; }

    private:
        HostNews& news;

        JUCE_DECLARE_NON_COPYABLE (HostCall)
    };

    /** Does what makes a parameter move at the host's wish. Within a HostCall. */
    template <typename Function>
    void hostMoves (Function&& function)
    {
        hostSpeaks = true;
        function();
        hostSpeaks = false;
    }

    /** Hands over gestures and values. What the host does not take is kept. Within a HostCall.
        @param list  may be null */
    void tell (const clap_output_events_t* list);

    /** Says that the tail's length is another, if anything has moved since. Audio thread, within a block. */
    void tellOfTail();

    /** Whether there are blocks from now on. Audio thread. */
    void setProcessing (bool shouldProcess);

    /** Whether there are blocks. Any thread. */
    bool isProcessing() const noexcept { return processing; }

    /** Does what the host has to be on its main thread for. */
    void tellOnMainThread();

private:
    /** What has happened to a parameter since the host heard of it. */
    enum News : unsigned
    {
        gestureBegan = 1,
        valueChanged = 2,
        inGesture = 4 ///< not news but the state
    };

    /** What the main thread has been asked to do. */
    enum Task : unsigned
    {
        rescanValues = CLAP_PARAM_RESCAN_VALUES,
        rescanNames = CLAP_PARAM_RESCAN_INFO | CLAP_PARAM_RESCAN_TEXT,
        markDirty = 1u << 31
    };

    void audioProcessorParameterChanged (juce::AudioProcessor*, int index, float) override;
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails& details) override;
    void audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index) override;
    void audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index) override;

    void add (int index, unsigned news);
    void ask (unsigned task);
    bool hasNews() const noexcept;
    void tellOf (size_t index, const clap_output_events_t& list);

    VarnelReverbAudioProcessor& processor;
    Host& host;

    // These order what several threads see of each other; all else about a value is its own atomic.
    std::array<std::atomic<unsigned>, Parameter::count> parameters {};
    std::atomic<bool> processing { false };
    std::atomic<unsigned> tasks { 0 };
    std::atomic<bool> hasMoved { false };

    std::array<SharedValue<bool>, Parameter::count> hostKnowsGesture {};
    SharedValue<juce::Thread::ThreadID> callingThread { nullptr };
    bool hostSpeaks = false; // the calling thread's

    JUCE_DECLARE_NON_COPYABLE (HostNews)
};

} // namespace varnel::clap
