// SPDX-License-Identifier: AGPL-3.0-only
// What comes in on a side road of the host: NKS requests.

#include "support/Plugin.h"

#include <array>
#include <cstring>
#include <optional>

using varnel::VarnelReverbAudioProcessor;

namespace
{

// Directions
constexpr int NI = 0x4e49, ni = 0x6e69, Ni = 0x4e69;

class Nks : public testing::Test
{
protected:
    juce::pointer_sized_int ask (int direction, int property, void* ptr, juce::pointer_sized_int value = 0)
    {
        return processor.nksCall (direction * 0x10000 + property, value, ptr, 0.0f);
    }

    VarnelReverbAudioProcessor processor { VarnelReverbAudioProcessor::UserSettings::ignored };
};

} // namespace

TEST_F (Nks, AnswersForEveryPropertyAndDirection)
{
    struct Property
    {
        int number, size;
        bool writable;
        std::optional<juce::int64> value;
    };

    const Property known[] { { 12, 4, false, 3 }, { 13, 4, true, 0 }, { 28, 1, false, {} }, { 32, 8, true, 1 } };

    for (int number = 0; number < 40; ++number)
    {
        const auto* const property = std::find_if (std::begin (known), std::end (known), [number] (const auto& p)
                                                   { return p.number == number; });
        const auto isKnown = property != std::end (known);
        std::array<char, 16> untouched, memory;
        untouched.fill (0x55);

        // Get: at an odd address, and no byte more than the property has
        memory = untouched;
        EXPECT_EQ (ask (NI, number, memory.data() + 1), isKnown ? 1 : 0) << number;
        EXPECT_EQ (ask (NI, number, nullptr), number == 28 ? 1 : 0) << number;
        auto expected = untouched;
        if (isKnown && property->value)
            std::memcpy (expected.data() + 1, &*property->value, static_cast<size_t> (property->size)); // on a little-endian machine
        EXPECT_EQ (memory, expected) << number;

        // Describe: a size of eight bytes and a flag of one
        memory = untouched;
        EXPECT_EQ (ask (Ni, number, memory.data() + 1), isKnown ? 1 : 0) << number;
        EXPECT_EQ (ask (Ni, number, nullptr), isKnown ? 1 : 0) << number;
        expected = untouched;
        if (isKnown)
        {
            const juce::int64 size = property->size;
            std::memcpy (expected.data() + 1, &size, 8);
            expected[9] = property->writable ? 1 : 0;
        }
        EXPECT_EQ (memory, expected) << number;

        // Set: only with the right size
        for (const auto size : { 0, 1, 4, 8, -1 })
        {
            memory.fill (0);
            testing::internal::CaptureStdout();
            EXPECT_EQ (ask (ni, number, memory.data() + 1, size), (number == 13 && size == 4) || (number == 32 && size == 8) ? 1 : 0) << number << ", " << size;
            EXPECT_EQ (ask (ni, number, nullptr, size), 0);
            testing::internal::GetCapturedStdout();
        }

        for (const auto direction : { 0, 0x6e49, 0x494e, 0xffff })
            EXPECT_EQ (processor.handleVstManufacturerSpecific (static_cast<int> (static_cast<unsigned int> (direction) << 16) | number, 4, memory.data(), 0.0f), 0);
    }
}

TEST_F (Nks, LogsWhatTheHostTellsAndKeepsNothing)
{
    testing::internal::CaptureStdout();
    for (juce::int32 mode : { 1, 2, 0, -7 })
        EXPECT_EQ (ask (ni, 13, &mode, 4), 1);
    juce::uint64 version = 18446744073709551615u;
    EXPECT_EQ (ask (ni, 32, &version, 8), 1);
    EXPECT_EQ (testing::internal::GetCapturedStdout(), "Set the plugin to big view\n"
                                                       "Set the plugin to compact view\n"
                                                       "Set the plugin to not embedded view\n"
                                                       "Set the plugin to not embedded view\n"
                                                       "Current nks version of the host is: 18446744073709551615\n");
    juce::int32 mode = 5;
    EXPECT_EQ (ask (NI, 13, &mode), 1);
    EXPECT_EQ (mode, 0);

    for (const auto& [text, answer] : { std::pair { "NKSCallbacks", 1 }, { "NKSCALLBACKS", 0 }, { "NKSCallbacks2", 0 }, { "", 0 } })
    {
        std::string canDo (text);
        EXPECT_EQ (processor.handleVstPluginCanDo (0, 0, canDo.data(), 0.0f), answer) << text;
    }
    EXPECT_EQ (processor.handleVstPluginCanDo (0, 0, nullptr, 0.0f), 0);

    // The count counts and destroys nothing.
    nks::INKS1Plugin& plugin = processor;
    EXPECT_EQ (plugin.addRef(), 1u);
    EXPECT_EQ (plugin.addRef(), 2u);
    EXPECT_EQ (plugin.release(), 1u);
    EXPECT_EQ (plugin.release(), 0u);
    void* obj = &mode;
    EXPECT_EQ (plugin.queryInterface ("0123456789abcde", &obj), 3);
    EXPECT_EQ (obj, nullptr);
    EXPECT_EQ (plugin.queryInterface ("0123456789abcde", nullptr), 3);
}
