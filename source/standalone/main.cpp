// SPDX-License-Identifier: AGPL-3.0-only
// The program varnel-reverb.

#include "StandaloneWindow.h"
#include "processor/Product.h"
#include "processor/Settings.h"

#include <CLI/CLI.hpp>

#include <array>
#include <csignal>
#include <cstdio>
#include <iostream>

namespace
{

std::sig_atomic_t volatile stopRequested = 0;

class StandaloneApp : public juce::JUCEApplication,
                      private juce::Timer
{
public:
    const juce::String getApplicationName() override { return varnel::product::name; }
    const juce::String getApplicationVersion() override { return varnel::product::version; }
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

#if JUCE_WINDOWS
        constexpr std::array signals { SIGTERM, SIGINT };
#else
        constexpr std::array signals { SIGTERM, SIGHUP, SIGINT };
#endif

        for (const auto signal : signals)
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
    CLI::App app { "Opens the reverb in a window of its own, between the inputs and the outputs of a sound card or a JACK\n"
                   "server. All MIDI inputs are heard. Settings and sound are kept from one run to the next.",
                   "varnel-reverb" };
    app.footer ("To put the reverb on files, see varnel-render.");
    app.set_help_flag ("-h,--help", "Print this");
    app.set_version_flag ("-V,--version", std::string ("varnel-reverb ") + varnel::product::version, "Print the version");
    app.allow_extras();

    try
    {
        app.parse (argc, argv);
    }
    catch (const CLI::Success& request) // --help, --version
    {
        app.exit (request);
        return std::cout.flush() ? 0 : 1;
    }
    catch (const CLI::ParseError& error)
    {
        std::fprintf (stderr, "varnel-reverb: %s\nTry varnel-reverb --help\n", error.what());
        return 2;
    }

    if (const auto unknown = app.remaining(); ! unknown.empty())
    {
        std::fprintf (stderr, "varnel-reverb: unknown argument \"%s\"\nTry varnel-reverb --help\n", unknown.front().c_str());
        return 2;
    }

    juce::JUCEApplicationBase::createInstance = createApp;
#if JUCE_WINDOWS
    return juce::JUCEApplicationBase::main();
#else
    return juce::JUCEApplicationBase::main (argc, const_cast<const char**> (argv));
#endif
}
