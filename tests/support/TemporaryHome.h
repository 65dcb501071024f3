// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_core/juce_core.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#ifdef __linux__
    #include <sched.h>
    #include <sys/mount.h>
    #include <unistd.h>

/** Hides what a package of ours has installed from this process and what it starts: presets that new instances would begin
    with, and a bundle that a host would take for the built one. Whoever is not root does so in a namespace where it is;
    where that is not allowed, tests fail. To be called before there are threads. */
inline void hideWhatIsInstalled()
{
    const auto user = std::to_string (getuid());
    for (const auto* folder : { "/opt/Application Support/Ostry/Varnel Reverb", "/usr/lib/lv2/Varnel Reverb.lv2" })
        if (access (folder, F_OK) == 0 && (unshare (CLONE_NEWNS) == 0 || unshare (CLONE_NEWUSER | CLONE_NEWNS) == 0))
        {
            std::ofstream ("/proc/self/uid_map") << user + ' ' + user + " 1";
            if (mount ("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 || mount ("none", folder, "tmpfs", 0, nullptr) != 0)
                std::perror (folder);
        }
}
#endif

/** A home folder of a test's own, for as long as this lives. Nothing that a test does may reach the files of whoever
    runs it. To be made before JUCE is. */
class TemporaryHome
{
public:
    TemporaryHome()
    {
#ifdef __linux__
        hideWhatIsInstalled();
#endif
        folder.createDirectory();
        setenv ("HOME", folder.getFullPathName().toRawUTF8(), 1);

        for (const auto* name : { "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME" })
            setenv (name, folder.getChildFile (name).getFullPathName().toRawUTF8(), 1);
    }

    ~TemporaryHome()
    {
        folder.deleteRecursively();
    }

    TemporaryHome (const TemporaryHome&) = delete;
    TemporaryHome& operator= (const TemporaryHome&) = delete;

private:
    const juce::File folder = juce::File::createTempFile ("varnel-home");
};
