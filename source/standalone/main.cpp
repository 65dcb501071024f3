// SPDX-License-Identifier: AGPL-3.0-only
// The program varnel-reverb.

#include "StandaloneWindow.h"
#include "processor/Settings.h"

#include <csignal>
#include <cstdio>
#include <string_view>

namespace
{

constexpr auto help = "Usage: varnel-reverb\n"
                      "Opens the reverb in a window of its own, between the inputs and the outputs of a sound card or a JACK\n"
                      "server. All MIDI inputs are heard. Settings and sound are kept from one run to the next.\n"
                      "\n"
                      "  --help     shows this\n"
                      "  --version  shows the version\n"
                      "\n"
                      "To put the reverb on files, see varnel-render.\n";

std::sig_atomic_t volatile stopRequested = 0;

class StandaloneApp : public juce::JUCEApplication,
                      private juce::Timer
{
public:
    const juce::String getApplicationName() override { return "Varnel Reverb"; }
    const juce::String getApplicationVersion() override { return VARNEL_VERSION; }
    bool moreThanOneInstanceAllowed() override { return true; }

    void initialise (const juce::String&) override
    {
        if (juce::Desktop::getInstance().getDisplays().displays.isEmpty())
        {
            std::fputs ("varnel-reverb: there is no display to open a window on; varnel-render works without\n", stderr);
            setApplicationReturnValue (1);
            quit();
            return;
        }

        for (const auto signal : { SIGTERM, SIGHUP, SIGINT })
            std::signal (signal, [] (int)
                         { stopRequested = 1; });

        auto storage = varnel::settingsStorage (true);
        storage.applicationName = "Stand-alone";
        settings.setStorageParameters (varnel::checkedStorage (storage));

        window = std::make_unique<varnel::StandaloneWindow> (*settings.getUserSettings());
        window->setVisible (true);

        startTimer (100);
    }

    void shutdown() override
    {
        window.reset();
        settings.saveIfNeeded();
    }

private:
    void timerCallback() override
    {
        if (stopRequested != 0)
            quit();
    }

    juce::ApplicationProperties settings;
    std::unique_ptr<varnel::StandaloneWindow> window;
};

juce::JUCEApplicationBase* createApp()
{
    return new StandaloneApp();
}

} // namespace

int main (int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string_view argument (argv[i]);

        if (argument == "--help" || argument == "-h")
            return std::fputs (help, stdout) < 0 ? 1 : 0;

        if (argument == "--version")
            return std::puts ("varnel-reverb " VARNEL_VERSION) < 0 ? 1 : 0;

        std::fprintf (stderr, "varnel-reverb: unknown argument \"%s\"\nTry varnel-reverb --help\n", argv[i]);
        return 2;
    }

    juce::JUCEApplicationBase::createInstance = createApp;
    return juce::JUCEApplicationBase::main (argc, const_cast<const char**> (argv));
}
