// SPDX-License-Identifier: AGPL-3.0-only
#include "StandaloneWindow.h"

#include <cstdio>

namespace varnel
{

namespace
{

constexpr auto answeredDevices = "inputAnsweredFor"; ///< the devices for which it is settled whether the input is heard

juce::Colour windowColour()
{
    return juce::LookAndFeel::getDefaultLookAndFeel().findColour (juce::ResizableWindow::backgroundColourId);
}

} // namespace

StandaloneWindow::StandaloneWindow (juce::PropertySet& settings)
    : StandaloneFilterWindow ("Varnel Reverb", windowColour(), std::make_unique<juce::StandalonePluginHolder> (&settings, false, juce::String(), nullptr, juce::Array<juce::StandalonePluginHolder::PluginInOuts>(), true)),
      properties (settings)
{
    getDeviceManager().addChangeListener (this);
    lookAtDevice();
}

StandaloneWindow::~StandaloneWindow()
{
    getDeviceManager().removeChangeListener (this);
    save();
}

void StandaloneWindow::save()
{
    pluginHolder->savePluginState();
    pluginHolder->saveAudioDeviceState();
}

void StandaloneWindow::changeListenerCallback (juce::ChangeBroadcaster*)
{
    lookAtDevice();
}

/** Asks what has to be asked about the present sound card. */
void StandaloneWindow::lookAtDevice()
{
    auto* const device = getDeviceManager().getCurrentAudioDevice();

    if (device == nullptr)
    {
        if (! std::exchange (missedDevice, true))
            say ("No sound card", "There is no sound card that can be used, so there will be no sound. When one is there, choose it in Options > Audio/MIDI Settings.");

        return;
    }

    missedDevice = false;

    const auto setup = getDeviceManager().getAudioDeviceSetup();
    const auto devices = (juce::StringArray { device->getTypeName(), setup.inputDeviceName, setup.outputDeviceName }).joinIntoString (" | ");

    if (properties.getValue (answeredDevices) == devices)
        return;

    auto muted = pluginHolder->getMuteInputValue();
    const auto isLoop = setup.inputDeviceName == setup.outputDeviceName && ! device->getActiveInputChannels().isZero();
    muted = isLoop;

    if (! isLoop)
    {
        properties.setValue (answeredDevices, devices);
        return;
    }

    message = juce::AlertWindow::showScopedAsync (juce::MessageBoxOptions()
                                                      .withIconType (juce::MessageBoxIconType::QuestionIcon)
                                                      .withTitle ("Could this howl?")
                                                      .withMessage ("Sound comes in from the device that it goes out to: " + setup.outputDeviceName + ". With a microphone near a loudspeaker that is a loop, which howls. The input is muted until you let it through.")
                                                      .withButton ("Let it through")
                                                      .withButton ("Keep it muted")
                                                      .withAssociatedComponent (this),
                                                  [this, devices] (int button)
                                                  {
                                                      pluginHolder->getMuteInputValue() = button != 1;
                                                      properties.setValue (answeredDevices, devices);
                                                  });
}

void StandaloneWindow::say (const juce::String& title, const juce::String& text)
{
    std::fprintf (stderr, "varnel-reverb: %s: %s\n", title.toRawUTF8(), text.toRawUTF8());
    message = juce::AlertWindow::showScopedAsync (juce::MessageBoxOptions::makeOptionsOk (juce::MessageBoxIconType::InfoIcon, title, text, {}, this), nullptr);
}

} // namespace varnel
