// SPDX-License-Identifier: AGPL-3.0-only
// The main function of tests that need a screen: JuceMain.cpp's, with an X server of their own.

#include "TemporaryHome.h"
#include "XScreen.h"

#include <gtest/gtest.h>

#include <cstdio>

int main (int argc, char** argv)
{
    testing::InitGoogleTest (&argc, argv);
    PrivateXServer server;

    if (! testing::GTEST_FLAG (list_tests) && ! server.start())
    {
        std::fputs ("Xvfb does not start; scripts/setup.sh installs it\n", stderr);
        return 1;
    }

    const TemporaryHome home;
    const juce::ScopedJuceInitialiser_GUI juce;
    return RUN_ALL_TESTS();
}
