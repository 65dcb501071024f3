// SPDX-License-Identifier: AGPL-3.0-only
// Usage: screenshot FOLDER PRESETS
// Writes pictures of the window into a folder: at three sizes, with music in its meters, and with its menu open.

#include "Support.h"
#include "TemporaryHome.h"
#include "XScreen.h"

#include "presets/PresetManager.h"

#include <cmath>
#include <cstdio>

namespace
{

bool write (const juce::Image& image, const juce::File& file)
{
    file.deleteFile();
    juce::FileOutputStream stream (file);
    return stream.openedOk() && juce::PNGImageFormat().writeImageToStream (image, stream);
}

/** Plays a chord through the plug-in and lets the window's timer see it. */
void play (varnel::VarnelReverbAudioProcessor& processor, int milliseconds)
{
    juce::AudioBuffer<float> buffer (2, 1764); // 40 ms
    juce::MidiBuffer midi;
    auto phase = 0.0f;

    for (int time = 0; time < milliseconds; time += 40)
    {
        for (int i = 0; i < buffer.getNumSamples(); ++i, phase += 0.03f)
        {
            buffer.setSample (0, i, 0.35f * (std::sin (phase) + std::sin (phase * 1.5f)));
            buffer.setSample (1, i, 0.28f * (std::sin (phase) + std::sin (phase * 1.26f)));
        }

        processor.processBlock (buffer, midi);
        deliverMessages (40);
    }
}

} // namespace

int main (int argc, char** argv)
{
    if (argc != 3)
    {
        std::fputs ("Usage: screenshot FOLDER PRESETS\n", stderr);
        return 2;
    }

    const auto here = juce::File::getCurrentWorkingDirectory();
    const auto folder = here.getChildFile (argv[1]), presets = here.getChildFile (argv[2]);
    PrivateXServer server;

    if (! server.start())
    {
        std::fputs ("screenshot: Xvfb does not start\n", stderr);
        return 1;
    }

    const TemporaryHome home;
    const juce::ScopedJuceInitialiser_GUI juce;
    const XScreen screen;
    auto written = true;

    varnel::VarnelReverbAudioProcessor processor;
    processor.setBusesLayout ({ { juce::AudioChannelSet::stereo() }, { juce::AudioChannelSet::stereo() } });
    processor.prepareToPlay (44100.0, 1764);

    const std::unique_ptr<juce::AudioProcessorEditor> editor (processor.createEditor());
    editor->addToDesktop (0);
    editor->setTopLeftPosition (0, 0);
    editor->setVisible (true);

    // As if the bank were installed
    auto& manager = *processor.presetManager;
    manager.factoryRoot.folder = presets;
    manager.rescan();
    manager.setCurrentPreset (presets.getChildFile ("Halls").findChildFiles (juce::File::findFiles, false)[0]);
    manager.loadCurrentPreset();

    for (const auto width : { 480, 600, 1200 })
    {
        editor->setSize (width, width * 620 / 1200);
        play (processor, 800);
        screen.moveTo ({ 1500, 900 });
        written = written && write (screen.capture (editor->getScreenBounds()), folder.getChildFile ("window-" + juce::String (width) + ".png"));
    }

    editor->setSize (600, 310);
    play (processor, 200);
    screen.click (editor->getScreenBounds().getTopLeft() + juce::Point<int> (300, 17));
    screen.moveTo ({ 340, 120 });
    deliverMessages (500);
    written = written && write (screen.capture ({ 0, 0, 880, 330 }), folder.getChildFile ("menu.png"));
    juce::PopupMenu::dismissAllActiveMenus();
    deliverMessages (100);

    if (! written)
        std::fprintf (stderr, "screenshot: %s: cannot be written\n", folder.getFullPathName().toRawUTF8());

    return written ? 0 : 1;
}
