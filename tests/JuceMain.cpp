// SPDX-License-Identifier: AGPL-3.0-only
// The main function of all tests that need JUCE. Nothing they do may reach the files of whoever runs them.

#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

#include <cstdlib>

int main (int argc, char** argv)
{
    testing::InitGoogleTest (&argc, argv);

    const auto home = juce::File::createTempFile ("varnel-home");
    home.createDirectory();

    setenv ("HOME", home.getFullPathName().toRawUTF8(), 1);
    for (const auto* folder : { "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME" })
        setenv (folder, home.getChildFile (folder).getFullPathName().toRawUTF8(), 1);

    int result = 0;
    {
        const juce::ScopedJuceInitialiser_GUI juce;
        result = RUN_ALL_TESTS();
    }

    home.deleteRecursively();
    return result;
}
