// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <cstdlib>

/** A home folder of a test's own, for as long as this lives. Nothing that a test does may reach the files of whoever
    runs it. To be made before JUCE is. */
class TemporaryHome
{
public:
    TemporaryHome()
    {
        folder.createDirectory();
        setenv ("HOME", folder.getFullPathName().toRawUTF8(), 1);

        for (const auto* name : { "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME" })
            setenv (name, folder.getChildFile (name).getFullPathName().toRawUTF8(), 1);
    }

    ~TemporaryHome() { folder.deleteRecursively(); }

    TemporaryHome (const TemporaryHome&) = delete;
    TemporaryHome& operator= (const TemporaryHome&) = delete;

private:
    const juce::File folder = juce::File::createTempFile ("varnel-home");
};
