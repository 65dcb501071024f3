// SPDX-License-Identifier: AGPL-3.0-only
// The main function of all tests that need JUCE.

#include "TemporaryHome.h"

#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

int main (int argc, char** argv)
{
    testing::InitGoogleTest (&argc, argv);
    const TemporaryHome home;
    const juce::ScopedJuceInitialiser_GUI juce;
    return RUN_ALL_TESTS();
}
