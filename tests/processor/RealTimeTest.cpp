// SPDX-License-Identifier: AGPL-3.0-only
// What a block may not do, whatever happens on other threads meanwhile.

#include "processor/ControllerAnswers.h"
#include "support/Plugin.h"
#include "support/RealTimeGuard.h"

#include <atomic>
#include <cmath>
#include <random>
#include <shared_mutex>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using varnel::VarnelReverbAudioProcessor;

namespace
{

thread_local int numHeard = 0; ///< what the calling thread has told the listener

/** A listener that a bound controller reaches within the block. */
struct OnMessage : juce::AudioProcessorListener
{
    void audioProcessorParameterChanged (juce::AudioProcessor*, int, float) override
    {
        ++numHeard;
        action();
    }
    void audioProcessorChanged (juce::AudioProcessor*, const ChangeDetails&) override {}

    std::function<void()> action = [] {};
};

juce::MidiBuffer controller (int number, int value)
{
    juce::MidiBuffer midi;
    midi.addEvent (juce::MidiMessage::controllerEvent (1, number, value), 0);
    return midi;
}

/** What other threads do to a processor while it runs blocks, over and over again. */
class Disturbance
{
public:
    explicit Disturbance (std::function<void (std::minstd_rand&)> action)
        : thread ([this, action]
                  {
            std::minstd_rand random;
            for (; ! stop; ++numRounds)
                action (random); })
    {
        while (numRounds == 0)
            std::this_thread::yield();
    }

    ~Disturbance()
    {
        stop = true;
        thread.join();
        EXPECT_GT (numRounds, 10) << "the other thread has hardly disturbed anybody";
    }

private:
    std::atomic<bool> stop { false };
    std::atomic<int> numRounds { 0 };
    std::thread thread;
};

class RealTime : public FreshHome
{
protected:
    RealTime()
    {
        processor.addListener (&listener);
        set (processor, "ReverbHi", 0.0f); // at its default, between two steps, each message takes another lock
        processor.prepareToPlay (48000.0, 512);
    }

    ~RealTime() override { processor.removeListener (&listener); }

    /** Runs noise in blocks of all sizes, on a thread of its own as a host's. A bound controller's message takes its
        parameter's listener lock, and that is all that a block may do. @returns how many such messages there were */
    int runBlocks (
        int numBlocks, const std::function<juce::MidiBuffer (int)>& midiOf = [] (int)
                       { return juce::MidiBuffer(); })
    {
        int numMessages = 0;

        std::thread ([&]
                     {
            juce::AudioBuffer<float> noise (2, 2048);
            std::minstd_rand random { 1 };
            std::uniform_real_distribution<float> sample { -1.0f, 1.0f };

            for (int i = 0; i < numBlocks && ! HasFailure(); ++i)
            {
                for (int channel = 0; channel < 2; ++channel)
                    for (int n = 0; n < noise.getNumSamples(); ++n)
                        noise.setSample (channel, n, sample (random));

                juce::AudioBuffer<float> block (noise.getArrayOfWritePointers(), i % 7 == 0 ? 1 : 2, static_cast<int> (random() % 2049));
                auto midi = midiOf (i);
                const auto numHeardBefore = numHeard;
                std::string report;
                int numLocks = 0;
                {
                    RealTimeGuard guard;
                    process (block, midi);
                    numLocks = guard.count (RealTimeGuard::lock);
                    report = guard.report();
                }

                if (numLocks != numHeard - numHeardBefore || report.find (',') != std::string::npos || (numLocks == 0 && ! report.empty()))
                    ADD_FAILURE() << "block " << i << ": " << report;

                for (int channel = 0; channel < block.getNumChannels(); ++channel)
                    for (int n = 0; n < block.getNumSamples(); ++n)
                        if (! (std::abs (block.getSample (channel, n)) < 40.0f)) // nor if it is no number
                            FAIL() << "block " << i << " gives " << block.getSample (channel, n);
            }

            numMessages = numHeard; })
            .join();

        return numMessages;
    }

    OnMessage listener;
    std::function<void (juce::AudioBuffer<float>&, juce::MidiBuffer&)> process = [this] (auto& block, auto& midi)
    { processor.processBlock (block, midi); };
    VarnelReverbAudioProcessor processor { VarnelReverbAudioProcessor::UserSettings::used, VarnelReverbAudioProcessor::Buses::on };
};

} // namespace

TEST_F (RealTime, GuardCatchesEveryOffence)
{
    using Guard = RealTimeGuard;
    std::shared_mutex sharedMutex;
    juce::CriticalSection criticalSection;
    auto* given = new int (1);
    const volatile int zero = 0;

    const std::tuple<const char*, Guard::Offence, std::function<void()>> offenders[] {
        { "a growing vector", Guard::allocation, []
          { std::vector<int> v; v.push_back (1); } },
        { "delete", Guard::release, [&]
          { delete given; given = nullptr; } },
        { "a string of JUCE's", Guard::allocation, [&]
          { juce::String text (static_cast<int> (zero)); } },
        { "std::shared_mutex", Guard::lock, [&]
          { const std::shared_lock lock (sharedMutex); } },
        { "juce::CriticalSection", Guard::lock, [&]
          { const juce::ScopedLock lock (criticalSection); } },
        { "sleep_for", Guard::sleep, []
          { std::this_thread::sleep_for (std::chrono::microseconds (1)); } },
        { "write", Guard::systemCall, []
          { EXPECT_EQ (write (-1, "", 1), -1); } },
        { "throw", Guard::exception, []
          { try { throw 1; } catch (int) {} } },
    };

    processor.midiControllers[2] = 7;
    juce::AudioBuffer<float> block (2, 64);
    block.clear();
    auto midi = controller (7, 64);

    const auto run = [&] (const std::function<void()>& action, Guard::Offence offence)
    {
        listener.action = action;
        RealTimeGuard guard;
        processor.processBlock (block, midi);
        const auto count = guard.count (offence);
        return std::make_pair (count, guard.report());
    };

    // The message itself takes one lock and does nothing else.
    run ([] {}, Guard::lock); // what happens the first time only, happens here
    const auto innocent = run ([] {}, Guard::lock);
    EXPECT_EQ (innocent.second, "locks: 1 (pthread_mutex_lock)");

    for (const auto& [name, offence, action] : offenders)
    {
        if ((offence == Guard::sleep || offence == Guard::systemCall) && ! Guard::seesSystemCalls())
            GTEST_SKIP() << "this kernel does not tell of system calls";

        const auto [count, report] = run (action, offence);
        EXPECT_GT (count, offence == Guard::lock ? 1 : 0) << name << " passes for: " << report;
    }

    listener.action = [] {};
}

TEST_F (RealTime, MovesOfFreshParametersAllocateNothing)
{
    VarnelReverbAudioProcessor fresh;

    for (const auto& parameter : varnel::parameterTable)
        for (const auto value : { 0.3f, 1.0f, 0.0f })
        {
            auto* const moved = fresh.parameterState.getParameter (parameter.id);
            RealTimeGuard guard;
            moved->setValueNotifyingHost (value);
            EXPECT_EQ (guard.count (RealTimeGuard::allocation) + guard.count (RealTimeGuard::release) + guard.count (RealTimeGuard::systemCall), 0) << parameter.id;
        }
}

TEST_F (RealTime, HoldsWhileOthersAutomateAndRead)
{
    const Disturbance automation ([this] (auto& random)
                                  {
        const auto& parameter = varnel::parameterTable[random() % 7];
        processor.parameterState.getParameter (parameter.id)->setValueNotifyingHost (static_cast<float> (random() % 1001) / 1000.0f); });
    const Disturbance meters ([this] (auto&)
                              {
        for (auto* peak : { &processor.engine.peakInL, &processor.engine.peakInR, &processor.engine.peakOutL, &processor.engine.peakOutR })
            *peak = 0.0f; });

    runBlocks (2000);
}

TEST_F (RealTime, HoldsWhileOthersRestoreAndStoreStates)
{
    setUnusualValues (processor);
    const auto unusual = chunkOf (processor);
    VarnelReverbAudioProcessor fresh (VarnelReverbAudioProcessor::UserSettings::ignored);
    const auto defaults = chunkOf (fresh);

    const Disturbance state ([&] (auto& random)
                             {
        restore (processor, random() % 2 == 0 ? unusual : defaults);
        chunkOf (processor); });
    runBlocks (2000);
}

TEST_F (RealTime, HoldsWhileControllersAreLearned)
{
    // The menu's side of it: parameters start to learn, stop and are detached.
    const Disturbance menu ([this] (auto& random)
                            { processor.midiControllers[random() % 7] = static_cast<int> (random() % 2) - 2; });

    EXPECT_GT (runBlocks (2000, [] (int i)
                          { return controller (i % 128, i / 128 % 128); }),
               0);
}

TEST_F (RealTime, HoldsInAHostThatAnswersControllers)
{
    const varnel::ControllerAnswers answers (processor);

    for (size_t i = 0; i < 7; ++i)
        processor.midiControllers[i] = 20 + static_cast<int> (i);

    EXPECT_EQ (runBlocks (500, [] (int i)
                          { return controller (20 + i % 7, i % 128); }),
               500);
}

TEST_F (RealTime, HoldsForMidiOfEveryKindAndLength)
{
    processor.midiControllers[1] = varnel::MidiControllerMap::learning;
    processor.midiControllers[2] = 0x7f;

    juce::MidiBuffer midi;
    for (int status = 0; status < 256; ++status)
        if ((status & 0xf0) != 0xb0)
            for (int length = 1; length <= 3; ++length)
            {
                const juce::uint8 bytes[] { static_cast<juce::uint8> (status), 0x7f, 0x7f };
                midi.addEvent (bytes, length, status);
            }

    std::vector<juce::uint8> sysex (4 << 20, 0x3b);
    sysex.front() = 0xf0;
    sysex.back() = 0xf7;
    midi.addEvent (sysex.data(), static_cast<int> (sysex.size()), 300);

    // Controllers whose data are none, and one that is cut short
    for (const auto& bytes : { std::array<juce::uint8, 3> { 0xb0, 0xff, 0x10 }, { 0xb1, 0x10, 0x80 } })
        midi.addEvent (bytes.data(), 3, 0);
    midi.addEvent (std::array<juce::uint8, 2> { 0xb2, 0x10 }.data(), 2, 0);

    runBlocks (20, [&midi] (int)
               { return midi; });
    EXPECT_EQ (processor.midiControllers[1], varnel::MidiControllerMap::learning);

    // With a controller among them, the host's MIDI stays as it was.
    midi.addEvent (juce::MidiMessage::controllerEvent (7, 0x11, 127), 400);
    const auto before = midi;
    process = [this, &midi] (auto& block, auto&)
    { processor.processBlock (block, midi); };
    runBlocks (1);
    EXPECT_EQ (processor.midiControllers[1], 0x11);
    EXPECT_EQ (midi.data, before.data);
}

// The attachments of the window's controls post to the message thread. That is all that an open window costs a block.
TEST_F (RealTime, PostsOneMessageForAControlOfAnOpenWindow)
{
    using Guard = RealTimeGuard;
    const std::unique_ptr<juce::AudioProcessorEditor> editor (processor.createEditor());
    const varnel::ControllerAnswers answers (processor);
    juce::AudioBuffer<float> block (2, 64);
    block.clear();

    const auto expectOf = [&] (juce::MidiBuffer midi, int locks, int systemCalls, int mostAllocations, const juce::String& what)
    {
        std::thread ([&]
                     {
            Guard guard;
            processor.processBlock (block, midi);
            EXPECT_TRUE (guard.count (Guard::lock) == locks && guard.count (Guard::systemCall) == (Guard::seesSystemCalls() ? systemCalls : 0) && guard.count (Guard::allocation) <= mostAllocations
                         && guard.count (Guard::release) + guard.count (Guard::sleep) + guard.count (Guard::exception) == 0) << what << ": " << guard.report(); })
            .join();
    };

    for (int i = 0; i < 7; ++i)
    {
        processor.midiControllers[static_cast<size_t> (i)] = 20 + i;
        expectOf (controller (20 + i, 127), 4, 1, 1, "the first message to " + processor.paramIds[static_cast<size_t> (i)]);
        expectOf (controller (20 + i, 64), 2, 0, 0, "the next, before the window has seen the first");
        deliverMessages (20);
    }

    expectOf ({}, 0, 0, 0, "a block without messages");
}
