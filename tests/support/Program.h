// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <gtest/gtest.h>
#include <juce_core/juce_core.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

/** A program that has been started and that is gone with this object. */
class Program
{
public:
    /** @param environment  variables to set, or to unset where they have no value */
    Program (const juce::StringArray& command, const std::vector<std::pair<const char*, const char*>>& environment = {})
    {
        std::vector<const char*> words;
        for (const auto& word : command)
            words.push_back (word.toRawUTF8());
        words.push_back (nullptr);

        pid = fork();
        if (pid == 0)
        {
            prctl (PR_SET_PDEATHSIG, SIGTERM); // also when a test crashes
            const auto log = open (output.getFullPathName().toRawUTF8(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2 (open ("/dev/null", O_RDONLY), 0);
            dup2 (log, 1);
            dup2 (log, 2);
            for (const auto& [name, value] : environment)
                value != nullptr ? setenv (name, value, 1) : unsetenv (name);
            execvp (words[0], const_cast<char**> (words.data()));
            _exit (127);
        }
    }

    ~Program()
    {
        if (isRunning())
        {
            kill (pid, SIGTERM);
            if (exitStatus() == -1)
                kill (pid, SIGKILL);
        }
        EXPECT_FALSE (printed().contains ("JUCE Assertion") || printed().contains ("Leaked objects")) << printed();
        output.deleteFile();
    }

    bool isRunning()
    {
        if (! ended && waitpid (pid, &status, WNOHANG) == pid)
            ended = true;
        return ! ended;
    }

    void stop() { kill (pid, SIGTERM); }

    /** Waits. @returns -1 if it does not end by itself */
    int exitStatus()
    {
        for (int i = 0; i < 1000 && isRunning(); ++i)
            usleep (10000);
        return ended && WIFEXITED (status) ? WEXITSTATUS (status) : -1;
    }

    juce::String printed() const
    {
        const auto text = output.loadFileAsString();

        // JUCE introduces itself in debug builds.
        return text.startsWith ("JUCE v") ? text.fromFirstOccurrenceOf ("\n", false, false) : text;
    }

private:
    const juce::File output = juce::File::createTempFile ("log");
    pid_t pid = -1;
    int status = 0;
    bool ended = false;
};
