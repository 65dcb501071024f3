// SPDX-License-Identifier: AGPL-3.0-only
// The LV2 bundle in jalv, a host that shares no code with it.

#include "JackServer.h"

using Jalv = WithJack;

TEST_F (Jalv, PlaysAndFollowsAController)
{
    useStillPreset ({ { "4", 24 } }); // Position
    const auto path = juce::File (VARNEL_LV2_BUNDLE).getParentDirectory().getFullPathName() + ":/usr/lib/lv2";
    Program jalv ({ "jalv", "-i", "-n", "hosted", "urn:ostry:varnel-reverb" }, { { "LV2_PATH", path.toRawUTF8() } });
    connect ("hosted", "audio_in_", "audio_out_");
    connectPorts ("tester:midi", "hosted:in");

    Still reference;
    expectSoundOf (reference, "in jalv");

    sendController (24, 127);
    wait (2.0);
    reference.binding.setParameter ("Position", 1.0f);
    expectSoundOf (reference, "in jalv, with Position moved by a controller");

    EXPECT_TRUE (jalv.isRunning()) << jalv.printed();
    jalv.stop();
    EXPECT_EQ (jalv.exitStatus(), 0) << jalv.printed();
}
