// SPDX-License-Identifier: AGPL-3.0-only
// The C library as a program uses it: what goes in, what comes out, and what is refused.

#include "engine/TestSignals.h"
#include "library/varnel_reverb.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace
{

constexpr auto notANumber = std::numeric_limits<float>::quiet_NaN();

/** A handle that is gone with this object. */
struct Handle
{
    explicit Handle (double rate = 44100.0, std::size_t numInputs = 2)
    {
        EXPECT_EQ (varnel_reverb_create (&reverb), VARNEL_REVERB_OK);
        EXPECT_EQ (varnel_reverb_prepare (reverb, rate, numInputs), VARNEL_REVERB_OK);
    }

    ~Handle() { varnel_reverb_destroy (reverb); }

    Channels process (const Channels& inputs, std::size_t numOutputs, std::size_t blockSize = 1000000) const
    {
        auto outputs = silence (numOutputs, static_cast<int> (inputs[0].size()));

        for (std::size_t done = 0; done < inputs[0].size(); done += blockSize)
        {
            const float* const from[] { inputs.front().data() + done, inputs.back().data() + done };
            float* const to[] { outputs.front().data() + done, outputs.back().data() + done };
            EXPECT_EQ (varnel_reverb_process (reverb, from, to, numOutputs, std::min (blockSize, inputs[0].size() - done)), VARNEL_REVERB_OK);
        }

        return outputs;
    }

    varnel_reverb* reverb = nullptr;
};

} // namespace

TEST (Library, GivesWhatTheEngineGives)
{
    Noise noise;
    const auto sound = noiseChannels (noise, 2, 20000);

    for (const std::size_t numInputs : { 1u, 2u })
        for (const std::size_t numOutputs : { 1u, 2u })
        {
            const auto inputs = numInputs == 1 ? Channels { sound[0] } : sound;
            auto expected = numInputs == 1 ? Channels (numOutputs, sound[0]) : sound;
            run (*preparedEngine (48000, { { "ReverbSize", 61.5f }, { "ReverbLo", -3.4f } }, static_cast<int> (numInputs)), expected, 20000);

            if (numInputs == 2 && numOutputs == 1)
                for (std::size_t i = 0; i < expected[0].size(); ++i)
                    expected[0][i] = 0.5f * (expected[0][i] + expected[1][i]);

            expected.resize (numOutputs);
            const Handle handle (48000, numInputs);
            EXPECT_EQ (varnel_reverb_set (handle.reverb, VARNEL_REVERB_SIZE, 61.5f), VARNEL_REVERB_OK);
            EXPECT_EQ (varnel_reverb_set_by_id (handle.reverb, "ReverbLo", -3.4f), VARNEL_REVERB_OK);

            for (const std::size_t blockSize : { 1000000u, 700u, 1u })
            {
                EXPECT_TRUE (handle.process (inputs, numOutputs, blockSize) == expected) << numInputs << " in, " << numOutputs << " out, in blocks of " << blockSize;
                EXPECT_EQ (varnel_reverb_reset (handle.reverb), VARNEL_REVERB_OK); // and then all begins anew
            }
        }

    // In place, also with the sides exchanged
    const Handle straight, crossed;
    const auto expected = straight.process ({ sound[1], sound[0] }, 2);
    auto buffers = sound;
    const float* const from[] { buffers[1].data(), buffers[0].data() };
    float* const to[] { buffers[0].data(), buffers[1].data() };
    EXPECT_EQ (varnel_reverb_process (crossed.reverb, from, to, 2, buffers[0].size()), VARNEL_REVERB_OK);
    EXPECT_TRUE (buffers == expected);
}

TEST (Library, WritesTheImpulseResponseAndLeavesItsOwnSoundAlone)
{
    Noise noise;
    const auto sound = noiseChannels (noise, 2, 3000);
    const Handle handle (32000), undisturbed (32000);
    EXPECT_EQ (varnel_reverb_load_preset (handle.reverb, "halls/winter ABBEY"), VARNEL_REVERB_OK);
    EXPECT_EQ (varnel_reverb_load_preset (undisturbed.reverb, "Winter Abbey"), VARNEL_REVERB_OK);
    handle.process (sound, 2);
    undisturbed.process (sound, 2);

    auto response = silence (2, 2000), impulse = silence (2, 2000);
    float* const to[] { response[0].data(), response[1].data() };
    EXPECT_EQ (varnel_reverb_impulse_response (handle.reverb, to, 2, 2000), VARNEL_REVERB_OK);
    EXPECT_TRUE (handle.process (sound, 2) == undisturbed.process (sound, 2));
    EXPECT_EQ (varnel_reverb_reset (handle.reverb), VARNEL_REVERB_OK);
    impulse[0][0] = impulse[1][0] = 1.0f;
    EXPECT_TRUE (handle.process (impulse, 2) == response);

    auto seconds = 0.0, longer = 0.0;
    EXPECT_EQ (varnel_reverb_tail_seconds (handle.reverb, &seconds), VARNEL_REVERB_OK);
    EXPECT_EQ (varnel_reverb_set (handle.reverb, VARNEL_REVERB_SIZE, 80.0f), VARNEL_REVERB_OK);
    EXPECT_EQ (varnel_reverb_tail_seconds (handle.reverb, &longer), VARNEL_REVERB_OK);
    EXPECT_TRUE (seconds > 1.0 && longer > 2.0 * seconds);
}

TEST (Library, RefusesWhatIsWrongAndStaysAsItWas)
{
    const Handle handle (48000);
    auto* const reverb = handle.reverb;
    std::size_t number = 99;
    auto value = 0.0f;
    auto samples = silence (2, 10);
    float* const buffers[] { samples[0].data(), samples[1].data() };
    float* const halves[] { samples[0].data(), nullptr };
    constexpr std::size_t tooMany = VARNEL_REVERB_MOST_FRAMES + std::size_t { 1 };

    EXPECT_EQ (varnel_reverb_create (nullptr), VARNEL_REVERB_NULL);
    varnel_reverb_destroy (nullptr);

    for (const auto rate : { 0.0, -48000.0, 1e9, 0.5, static_cast<double> (notANumber), std::numeric_limits<double>::infinity() })
        EXPECT_EQ (varnel_reverb_prepare (reverb, rate, 2), VARNEL_REVERB_RATE) << rate;

    for (const std::size_t channels : { std::size_t { 0 }, std::size_t { 3 }, std::numeric_limits<std::size_t>::max() })
    {
        EXPECT_EQ (varnel_reverb_prepare (reverb, 48000, channels), VARNEL_REVERB_CHANNELS);
        EXPECT_EQ (varnel_reverb_process (reverb, buffers, buffers, channels, 10), VARNEL_REVERB_CHANNELS);
        EXPECT_EQ (varnel_reverb_impulse_response (reverb, buffers, channels, 10), VARNEL_REVERB_CHANNELS);
    }

    EXPECT_EQ (varnel_reverb_process (reverb, buffers, buffers, 2, tooMany), VARNEL_REVERB_FRAMES);
    EXPECT_EQ (varnel_reverb_impulse_response (reverb, buffers, 2, tooMany), VARNEL_REVERB_FRAMES);
    EXPECT_EQ (varnel_reverb_process (reverb, nullptr, nullptr, 2, 0), VARNEL_REVERB_OK) << "nothing to do";

    for (auto* const* wrong : { static_cast<float* const*> (nullptr), static_cast<float* const*> (halves) })
    {
        EXPECT_EQ (varnel_reverb_process (reverb, wrong, buffers, 2, 10), VARNEL_REVERB_NULL);
        EXPECT_EQ (varnel_reverb_process (reverb, buffers, wrong, 2, 10), VARNEL_REVERB_NULL);
        EXPECT_EQ (varnel_reverb_impulse_response (reverb, wrong, 2, 10), VARNEL_REVERB_NULL);
    }

    for (const auto wrong : { notANumber, 100.5f, -1e-3f, std::numeric_limits<float>::infinity() })
        EXPECT_EQ (varnel_reverb_set (reverb, VARNEL_REVERB_SIZE, wrong), VARNEL_REVERB_VALUE) << wrong;

    EXPECT_EQ (varnel_reverb_set (reverb, 7, 0.0f), VARNEL_REVERB_NO_PARAMETER);
    EXPECT_EQ (varnel_reverb_set_by_id (reverb, "Size", 0.0f), VARNEL_REVERB_NO_PARAMETER);
    EXPECT_EQ (varnel_reverb_set_by_id (reverb, nullptr, 0.0f), VARNEL_REVERB_NULL);
    EXPECT_EQ (varnel_reverb_set_by_id (nullptr, "Size", 0.0f), VARNEL_REVERB_NULL);
    EXPECT_EQ (varnel_reverb_get (reverb, 7, &value), VARNEL_REVERB_NO_PARAMETER);
    EXPECT_EQ (varnel_reverb_get (reverb, 0, nullptr), VARNEL_REVERB_NULL);
    EXPECT_EQ (varnel_reverb_get_by_id (reverb, "", &value), VARNEL_REVERB_NO_PARAMETER);
    EXPECT_EQ (varnel_reverb_find_parameter (nullptr, &number), VARNEL_REVERB_NULL);
    EXPECT_EQ (varnel_reverb_find_preset ("Winter Abbey", nullptr), VARNEL_REVERB_NULL);
    EXPECT_EQ (varnel_reverb_tail_seconds (reverb, nullptr), VARNEL_REVERB_NULL);
    EXPECT_EQ (varnel_reverb_parameter_at (7), nullptr);
    EXPECT_EQ (varnel_reverb_preset_at (varnel_reverb_num_presets()), nullptr);
    EXPECT_EQ (varnel_reverb_load_preset (reverb, nullptr), VARNEL_REVERB_NULL);

    for (const auto* name : { "", "/", "Winter", "Winter Abbey ", "Rooms/Winter Abbey", "/New Sound", "Halls/", "Halls-Winter Abbey" })
        EXPECT_EQ (varnel_reverb_load_preset (reverb, name), VARNEL_REVERB_NO_PRESET) << name;

    EXPECT_EQ (number, 99u);

    for (std::size_t i = 0; i < VARNEL_REVERB_NUM_PARAMETERS; ++i)
    {
        EXPECT_EQ (varnel_reverb_get (reverb, i, &value), VARNEL_REVERB_OK);
        EXPECT_EQ (value, varnel_reverb_parameter_at (i)->default_value) << i;
    }

    // Samples that are no sound count as silence, so nothing of them stays.
    Noise noise;
    auto sound = noiseChannels (noise, 2, 2000), bad = sound;
    sound[0][1000] = sound[1][500] = sound[1][501] = 0.0f;
    bad[0][1000] = notANumber;
    bad[1][500] = 1e11f;
    bad[1][501] = -std::numeric_limits<float>::infinity();
    EXPECT_TRUE (handle.process (bad, 2) == Handle (48000).process (sound, 2));

    for (int status = VARNEL_REVERB_OK; status <= VARNEL_REVERB_NO_PRESET; ++status)
        EXPECT_STRNE (varnel_reverb_status_text (static_cast<varnel_reverb_status> (status)), varnel_reverb_status_text (static_cast<varnel_reverb_status> (15)));
}
