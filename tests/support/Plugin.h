// SPDX-License-Identifier: AGPL-3.0-only
// What tests of the plug-in share.
#pragma once

#include "processor/Places.h"
#include "processor/Settings.h"
#include "processor/VarnelReverbAudioProcessor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

// JUCE's own way to deliver one message; its public functions run a loop that can be left only once.
namespace juce::detail
{
bool dispatchNextMessageOnSystemQueue (bool returnIfNoPendingMessages);
}

/** Whether JUCE's assertions are on. They fail the test that sets one off, and so also one that gives JUCE on purpose
    what it should not get: such steps are left to the other builds. */
#if JUCE_DEBUG
constexpr bool juceObjects = true;
#else
constexpr bool juceObjects = false;
#endif

/** Delivers messages until a condition holds or the time is up. @returns whether it holds */
inline bool deliverMessagesUntil (const std::function<bool()>& condition, int milliseconds = 5000)
{
    const auto end = juce::Time::getMillisecondCounterHiRes() + milliseconds;

    while (! condition())
    {
        if (juce::Time::getMillisecondCounterHiRes() >= end)
            return false;

        if (! juce::detail::dispatchNextMessageOnSystemQueue (true))
            juce::Thread::sleep (1);
    }

    return true;
}

/** Fails the test if a condition does not hold soon. */
#define EXPECT_SOON(condition) EXPECT_TRUE (deliverMessagesUntil ([&] { return (condition); })) << #condition << " "

inline void deliverMessages (int milliseconds)
{
    deliverMessagesUntil ([]
                          { return false; },
                          milliseconds);
}

/** Sets a parameter to a plain value, as a host would. */
inline void set (varnel::VarnelReverbAudioProcessor& processor, const char* id, float value)
{
    auto* const parameter = processor.parameterState.getParameter (id);
    parameter->setValueNotifyingHost (parameter->convertTo0to1 (value));
}

/** The plain value of a parameter. */
inline float get (const varnel::VarnelReverbAudioProcessor& processor, const char* id)
{
    return *processor.parameterState.getRawParameterValue (id);
}

inline std::vector<float> values (const varnel::VarnelReverbAudioProcessor& processor)
{
    std::vector<float> result;
    for (const auto& parameter : varnel::parameterTable)
        result.push_back (get (processor, parameter.id));
    return result;
}

/** Seven values of which none is a default, all on their steps. */
inline void setUnusualValues (varnel::VarnelReverbAudioProcessor& processor)
{
    const float unusual[] { 71.0f, 12.0f, -3.4f, 5.2f, 88.0f, 0.0f, 0.0f };
    for (size_t i = 0; i < 7; ++i)
        set (processor, varnel::parameterTable[i].id, unusual[i]);
}

inline juce::MemoryBlock chunkOf (varnel::VarnelReverbAudioProcessor& processor)
{
    juce::MemoryBlock chunk;
    processor.getStateInformation (chunk);
    return chunk;
}

inline void restore (varnel::VarnelReverbAudioProcessor& processor, const juce::MemoryBlock& chunk)
{
    processor.setStateInformation (chunk.getData(), static_cast<int> (chunk.getSize()));
}

/** A chunk with any text where the XML stands. */
inline juce::MemoryBlock chunkWith (const juce::String& xml)
{
    juce::MemoryOutputStream out;
    out << "VC2!";
    out.writeInt (static_cast<int> (xml.getNumBytesAsUTF8()));
    out << xml;
    out.writeByte (0);
    return out.getMemoryBlock();
}

/** A binary record: with the header that it has in a chunk, or without it as in the oldest files. */
inline juce::MemoryBlock binaryRecord (bool header, const std::vector<float>& numbers, const char* name = "Old Hall")
{
    juce::MemoryOutputStream out;
    if (header)
    {
        out << "Ostr";
        out.writeInt (3);
    }
    out.writeString ("dropped");
    out.write (name, std::strlen (name) + 1);
    out.writeInt (-1);
    for (const auto number : numbers)
        out.writeFloat (number);
    return out.getMemoryBlock();
}

/** Makes an object, ends it and leaves nothing in its place: whoever still calls it crashes, in every build. */
template <typename Type, typename... Arguments>
void comeAndGo (Arguments&&... arguments)
{
    alignas (Type) static std::byte place[sizeof (Type)];
    std::destroy_at (::new (place) Type (std::forward<Arguments> (arguments)...));
    std::memset (place, 0, sizeof (place));
}

/** A test that begins with a home folder as it is before the plug-in's first start. */
class FreshHome : public testing::Test
{
protected:
    FreshHome() { empty(); }
    ~FreshHome() override { empty(); }

    const juce::File home = juce::File::getSpecialLocation (juce::File::userHomeDirectory);
    const juce::File settingsFile = varnel::settingsStorage (true).getDefaultFile();

private:
    void empty() const
    {
        ASSERT_TRUE (home.isAChildOf (juce::File::getSpecialLocation (juce::File::tempDirectory))) << "this is somebody's home";
        for (const auto& file : home.findChildFiles (juce::File::findFilesAndDirectories, false))
            file.deleteRecursively();
    }
};
