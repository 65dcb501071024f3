// SPDX-License-Identifier: AGPL-3.0-only
#include "FileManager.h"

#include <juce_events/juce_events.h>

namespace varnel
{

namespace
{

/** A program that has been started. It is asked whether it runs until it has ended: one that is never asked for stays in
    the system's list of processes. */
class StartedProgram : private juce::Timer,
                       private juce::DeletedAtShutdown
{
public:
    explicit StartedProgram (const juce::StringArray& command)
    {
        process.start (command, 0);
        startTimer (500);
    }

    ~StartedProgram() override { stopTimer(); }

private:
    void timerCallback() override
    {
        if (! process.isRunning())
            delete this;
    }

    juce::ChildProcess process;
};

} // namespace

void openInFileManager (const juce::File& folder)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

#if JUCE_LINUX || JUCE_BSD
    // juce::File::startAsProcess() puts the path into a line for the shell.
    new StartedProgram ({ "xdg-open", folder.getFullPathName() });
#else
    folder.startAsProcess();
#endif
}

} // namespace varnel
