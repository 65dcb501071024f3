// SPDX-License-Identifier: AGPL-3.0-only
// Usage: screenshot FOLDER PRESETS
// Writes pictures of the window into a folder: at three sizes, with music in its meters, and with its menu open; and those
// of the manual.

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

struct Panel
{
    juce::Image image;
    juce::String caption;
};

juce::Image sideBySide (const std::vector<Panel>& panels)
{
    constexpr auto gap = 8, captionHeight = 40;
    auto width = -gap, height = 0;

    for (const auto& panel : panels)
    {
        width += panel.image.getWidth() + gap;
        height = juce::jmax (height, panel.image.getHeight());
    }

    juce::Image result (juce::Image::RGB, width, height + captionHeight, true);
    juce::Graphics graphics (result);
    graphics.fillAll (juce::Colour (0xff2a2a2a));
    auto x = 0;

    for (const auto& [image, caption] : panels)
    {
        graphics.drawImageAt (image, x, 0);
        graphics.setColour (juce::Colours::white);
        graphics.setFont (juce::FontOptions (16.0f));
        graphics.drawText (caption, x, height, image.getWidth(), captionHeight, juce::Justification::centred);
        x += image.getWidth() + gap;
    }

    return result;
}

/** Puts the numbers of the manual's table beside the window's parts, at 1200 by 620. */
void numberParts (juce::Image& window)
{
    constexpr juce::Point<int> places[] { { 467, 34 }, { 990, 40 }, { 600, 424 }, { 56, 304 }, { 214, 304 }, { 352, 362 }, { 860, 362 }, { 878, 299 }, { 968, 331 }, { 1180, 180 }, { 1132, 370 }, { 1010, 529 }, { 484, 592 }, { 1168, 605 }, { 140, 440 } };
    juce::Graphics graphics (window);
    graphics.setFont (juce::FontOptions (17.0f, juce::Font::bold));
    auto number = 1;

    for (const auto place : places)
    {
        const auto circle = juce::Rectangle<int> (28, 28).withCentre (place).toFloat();
        graphics.setColour (juce::Colour (0xfffff3a8));
        graphics.fillEllipse (circle);
        graphics.setColour (juce::Colours::black);
        graphics.drawEllipse (circle, 1.5f);
        graphics.drawText (juce::String (number++), circle, juce::Justification::centred);
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

    std::unique_ptr<juce::AudioProcessorEditor> editor;

    const auto open = [&]
    {
        editor.reset();
        editor.reset (processor.createEditor());
        editor->addToDesktop (0);
        editor->setTopLeftPosition (0, 0);
        editor->setVisible (true);
    };

    // Where a point of the design of 1200 by 620 is on the screen
    const auto at = [&] (int x, int y)
    { return editor->getScreenPosition() + juce::Point<int> (x, y) * editor->getWidth() / 1200; };

    const auto capture = [&] (int x, int y, int width, int height)
    {
        deliverMessages (300);
        return screen.capture ({ x, y, width, height });
    };

    const auto close = [&]
    {
        juce::PopupMenu::dismissAllActiveMenus();
        screen.moveTo ({ 1500, 900 });
        deliverMessages (300);
    };

    open();

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
    close();

    editor->setSize (1200, 620);
    play (processor, 800);
    auto window = screen.capture (editor->getScreenBounds());
    numberParts (window);
    written = written && write (window, folder.getChildFile ("manual-window.png"));

    std::vector<Panel> panels;
    panels.push_back ({ capture (10, 114, 180, 210), "at rest: the name" });
    screen.moveTo (at (100, 214));
    panels.push_back ({ capture (10, 114, 180, 210), "mouse over it: the value" });
    screen.click (at (100, 299));
    panels.push_back ({ capture (10, 114, 180, 210), "caption clicked: type" });
    screen.key ("Escape");
    close();
    written = written && write (sideBySide (panels), folder.getChildFile ("manual-knob.png"));

    panels.clear();
    const std::pair<int, const char*> bindings[] { { -1, "no controller yet" }, { -2, "waiting for a controller" }, { 74, "bound to controller 74" } };
    for (const auto& [controller, caption] : bindings)
    {
        processor.midiControllers[3] = controller; // of Hi
        screen.click (at (260, 214), 3);
        panels.push_back ({ capture (170, 114, 372, 200), caption });
        close();
    }
    written = written && write (sideBySide (panels), folder.getChildFile ("manual-midi-learn.png"));

    panels.clear();
    processor.settings.getUserSettings()->setValue (varnel::settingsKeys::showTooltips, 1);
    open();
    editor->setSize (840, 434);
    screen.click (at (230, 430), 3);
    panels.push_back ({ capture (60, 290, 300, 260), "right-click on the bare panel" });
    close();
    screen.moveTo (at (940, 214));
    deliverMessages (1500);
    panels.push_back ({ capture (290, 60, 550, 260), "a tooltip, when the mouse rests on a dial" });
    written = written && write (sideBySide (panels), folder.getChildFile ("manual-size-menu.png"));
    close();

    if (! written)
        std::fprintf (stderr, "screenshot: %s: cannot be written\n", folder.getFullPathName().toRawUTF8());

    return written ? 0 : 1;
}
