// SPDX-License-Identifier: AGPL-3.0-only
// The main function of all tests that need JUCE, and of those that need a screen as well.

#include "TemporaryHome.h"

#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

#include <cstdio>

#if VARNEL_TESTS_HAVE_SCREEN
    #include "support/XServer.h"
#endif

int main (int argc, char** argv)
{
    testing::InitGoogleTest (&argc, argv);

#if VARNEL_TESTS_HAVE_SCREEN
    XServer server;

    if (! testing::GTEST_FLAG (list_tests) && ! server.start())
    {
        std::fputs ("Xvfb does not start; scripts/setup.sh installs it\n", stderr);
        return 1;
    }
#else
    setenv ("DISPLAY", "none", 1); // or JUCE takes the first, which is somebody's, or another test's that soon goes
#endif

    const TemporaryHome home;
    const juce::ScopedJuceInitialiser_GUI juce;
    return RUN_ALL_TESTS();
}
