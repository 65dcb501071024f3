// SPDX-License-Identifier: AGPL-3.0-only
// The plain LV2 plug-in behind its own interface, as a host loads it.

#include "engine/TestSignals.h"
#include "library/varnel_reverb.h"

#include <gtest/gtest.h>
#include <lv2/core/lv2.h>

#include <array>
#include <cmath>
#include <dlfcn.h>
#include <limits>
#include <memory>

TEST (PlainLv2, SoundsLikeTheLibraryAndHoldsValuesThatAreNone)
{
    const std::unique_ptr<void, int (*) (void*)> library (dlopen (VARNEL_PLAIN_LV2, RTLD_NOW | RTLD_LOCAL), dlclose);
    ASSERT_NE (library, nullptr) << dlerror();
    const auto find = reinterpret_cast<LV2_Descriptor_Function> (dlsym (library.get(), "lv2_descriptor"));
    ASSERT_NE (find, nullptr);
    EXPECT_EQ (find (1), nullptr);
    const auto& plugin = *find (0);
    const LV2_Feature* const none[] { nullptr };
    EXPECT_EQ (plugin.instantiate (&plugin, -1.0, "", none), nullptr);
    auto* const instance = plugin.instantiate (&plugin, 48000.0, "", none);
    ASSERT_NE (instance, nullptr);

    varnel_reverb* reverb = nullptr;
    ASSERT_EQ (varnel_reverb_create (&reverb), VARNEL_REVERB_OK);
    ASSERT_EQ (varnel_reverb_prepare (reverb, 48000.0, 2), VARNEL_REVERB_OK);

    constexpr auto infinity = std::numeric_limits<float>::infinity(), notANumber = std::numeric_limits<float>::quiet_NaN();
    struct Step
    {
        std::array<float, 7> controls, expected;
    };
    const Step steps[] {
        { { 60, 20, -3, 2.2f, 70, 1, 0 }, { 60, 20, -3, 2.2f, 70, 1, 0 } },
        { { 1e9f, -infinity, -12.1f, infinity, notANumber, 0.7f, -5 }, { 100, 0, -12, 12, 70, 1, 0 } },
        { { notANumber, notANumber, notANumber, notANumber, 33, notANumber, notANumber }, { 100, 0, -12, 12, 33, 1, 0 } },
        { { 20, 20, 0, 0, 33, 0.2f, 1 }, { 20, 20, 0, 0, 33, 0, 1 } },
        { { 20, 20, 0, 0, 33, 1, 1 }, { 20, 20, 0, 0, 33, 1, 1 } },
    };
    Noise noise;

    for (const auto again : { false, true })
    {
        plugin.activate (instance);
        EXPECT_EQ (varnel_reverb_reset (reverb), VARNEL_REVERB_OK);

        for (const auto& step : steps)
        {
            auto sound = noiseChannels (noise, 2, 700), expected = sound;
            for (std::uint32_t i = 0; i < 4; ++i)
                plugin.connect_port (instance, i, sound[i % 2].data()); // in place
            for (std::uint32_t i = 0; i < 7; ++i)
            {
                plugin.connect_port (instance, 4 + i, const_cast<float*> (&step.controls[i]));
                EXPECT_EQ (varnel_reverb_set (reverb, i, step.expected[i]), VARNEL_REVERB_OK);
            }
            plugin.connect_port (instance, 11, nullptr); // no such port
            plugin.run (instance, 0);
            plugin.run (instance, 700);
            float* const channels[] { expected[0].data(), expected[1].data() };
            EXPECT_EQ (varnel_reverb_process (reverb, channels, channels, 2, 700), VARNEL_REVERB_OK);
            EXPECT_TRUE (sound == expected) << "step " << &step - steps << (again ? ", once more" : "");
        }
    }

    plugin.cleanup (instance);
    varnel_reverb_destroy (reverb);
}
