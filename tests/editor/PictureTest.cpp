// SPDX-License-Identifier: AGPL-3.0-only
// What the window looks like: compared with recorded pictures, which are also those of the documents
// or what these are made of.
// VARNEL_RECORD_PICTURES=1 records them anew (scripts/screenshot.sh).

#include "Window.h"

#include <cstdlib>

namespace
{

constexpr int blockSize = 8, mostDifference = 24; // of blocks' means, of 255: what another font renderer may change

juce::Image sideBySide (const std::vector<juce::Image>& panels)
{
    auto width = 0, x = 0;
    for (const auto& panel : panels)
        width += panel.getWidth();

    juce::Image result (juce::Image::RGB, width, panels.front().getHeight(), true);
    juce::Graphics graphics (result);
    for (const auto& panel : panels)
        graphics.drawImageAt (panel, std::exchange (x, x + panel.getWidth()), 0);
    return result;
}

void writePng (const juce::Image& image, const juce::File& file)
{
    file.deleteFile();
    file.create();
    juce::FileOutputStream stream (file);
    EXPECT_TRUE (stream.openedOk() && juce::PNGImageFormat().writeImageToStream (image, stream)) << file.getFullPathName();
}

class Pictures : public Window
{
protected:
    Pictures()
    {
        // What is drawn may not depend on which fonts a machine has beyond this one.
        lookAndFeel->setDefaultSansSerifTypefaceName ("DejaVu Sans");
        EXPECT_TRUE (juce::Font::findAllTypefaceNames().contains ("DejaVu Sans")) << "scripts/setup.sh installs it";
        processor->engine.spinPhase = 0.7f;
    }

    /** Opens the window at a width with a preset of the factory's, as if the bank were installed. */
    void openAt (int width)
    {
        open (width / 1200.0);
        editor->setBufferedToImage (true);
        const juce::File bank (juce::File (VARNEL_ROOT).getChildFile ("presets/factory"));
        auto& manager = *processor->presetManager;
        manager.factoryRoot.folder = bank;
        manager.rescan();
        manager.setCurrentPreset (bank.getChildFile ("Halls/Cathedral Nave.xml"));
        manager.loadCurrentPreset();
        waitForTick();
    }

    /** Until the window's timer has shown what there is to show. */
    void waitForTick()
    {
        processor->engine.peakInL = 1e-20f;
        EXPECT_SOON (processor->engine.peakInL == 0.0f);
    }

    void setMeters (std::array<float, 4> levels, float peak)
    {
        const auto meters = allOf<varnel::VUMeterCircle> (*editor);
        for (size_t i = 0; i < 4; ++i)
        {
            meters[i]->level = levels[i];
            meters[i]->peak = peak * levels[i];
            meters[i]->holdCounter = 50;
            meters[i]->setLevel (levels[i]);
        }
    }

    /** What is to be seen. What the window has repainted since the last time is all that has changed. */
    juce::Image look (juce::Rectangle<int> area)
    {
        WindowDriver::expectNothingStale (*editor);
        return WindowDriver::picture (area + editor->getScreenPosition());
    }

    juce::Image look() { return look (editor->getLocalBounds()); }

    static void expectPicture (const juce::Image& image, const char* name)
    {
        const auto recorded = juce::File (VARNEL_ROOT).getChildFile (name);

        if (std::getenv ("VARNEL_RECORD_PICTURES") != nullptr)
        {
            writePng (image, recorded);
            return;
        }

        const auto expected = juce::ImageFileFormat::loadFrom (recorded);
        ASSERT_EQ (image.getBounds().toString(), expected.getBounds().toString()) << recorded.getFullPathName();
        juce::Image differences (juce::Image::RGB, image.getWidth(), image.getHeight(), true);
        const auto [highest, where] = WindowDriver::compare (image, expected, blockSize, &differences);

        if (highest <= mostDifference)
            return;

        const auto folder = juce::File (VARNEL_PICTURES), got = folder.getChildFile (recorded.getFileName());
        writePng (image, got);
        writePng (differences, got.getSiblingFile (got.getFileNameWithoutExtension() + "-difference.png"));
        ADD_FAILURE() << "differs by " << highest << " of 255 at " << where.toString() << " from " << recorded.getFullPathName()
                      << "; see " << got.getFullPathName() << " and, beside it, where they differ";
    }

    juce::SharedResourcePointer<varnel::LookingFabulous> lookAndFeel;
};

} // namespace

TEST_F (Pictures, OfTheWindowAtThreeSizes)
{
    openAt (600);
    setMeters ({ 0.3f, 0.2f, 0.6f, 0.5f }, 1.6f);
    expectPicture (look(), "docs/images/window-600.png");

    editor->setSize (1200, 620);
    setMeters ({ 0.2f, 0.1f, 0.4f, 0.3f }, 2.0f);
    expectPicture (look(), "docs/images/window-1200.png");

    // All that can be otherwise is: dials at their ends and between, both lamps dark, levels beyond full scale, a button down
    openAt (480);
    const std::pair<const char*, float> values[] { { "ReverbSize", 0.0f }, { "ReverbMod", 100.0f }, { "ReverbLo", -12.0f }, { "ReverbHi", 12.0f }, { "Position", 50.0f }, { "Bypass", 0.0f }, { "ReverbInsertMode", 0.0f } };
    for (const auto& [id, value] : values)
        set (*processor, id, value);
    processor->engine.spinPhase = -0.2f;
    user.click (at (600, 592));
    waitForTick();
    allOf<juce::ImageButton> (*editor).front()->setState (juce::Button::buttonDown);
    setMeters ({ 1.1f, 0.01f, 3.0f, 0.5f }, 1.5f);
    look(); // and from there two come down
    processor->engine.spinPhase = -0.9f;
    waitForTick();
    setMeters ({ 1.1f, 0.01f, 0.5f, 0.5f }, 1.2f);
    expectPicture (look(), "tests/editor/pictures/turned.png");
}

TEST_F (Pictures, OfKnobs)
{
    openAt (1200);
    const auto dial = at (100, 214);
    const auto lookAtKnob = [this]
    { return look ({ 10, 114, 180, 210 }); };

    std::vector<juce::Image> panels;
    panels.push_back (lookAtKnob());
    user.moveTo (dial);
    panels.push_back (lookAtKnob());
    user.click (at (100, 299));
    knob ("ReverbLo").label.getCurrentTextEditor()->setCaretVisible (false); // which would blink
    panels.push_back (lookAtKnob());
    user.key ("escape");
    user.moveTo (away);
    knob ("ReverbLo").slider.grabKeyboardFocus();
    user.key ("cursor up");
    panels.push_back (lookAtKnob());
    expectPicture (sideBySide (panels), "tests/editor/pictures/knob.png");
    EXPECT_SOON (! allOf<varnel::ValueBubble> (*editor).front()->isVisible());
    look();
}

TEST_F (Pictures, OfMenus)
{
    openAt (600);
    user.click (centreOf (selector()));
    user.moveTo (away);
    expectPicture (look ({ 0, 0, 880, 330 }), "docs/images/menu.png");
    user.closeMenu();

    editor->setSize (1200, 620);
    std::vector<juce::Image> panels;
    for (const auto controller : { -1, -2, 74 })
    {
        processor->midiControllers[3] = controller; // of Hi
        waitForTick();
        rightClick (at (260, 214));
        panels.push_back (look ({ 170, 114, 372, 200 }));
        user.closeMenu();
    }
    expectPicture (sideBySide (panels), "tests/editor/pictures/learn.png");

    panels.clear();
    settings().setValue ("Show Tooltips", 1);
    openAt (840);
    rightClick (at (230, 430));
    panels.push_back (look ({ 60, 290, 300, 260 }));
    user.closeMenu();
    user.moveTo (at (940, 214));
    EXPECT_SOON (allOf<juce::TooltipWindow> (*editor).front()->isVisible());
    panels.push_back (look ({ 290, 60, 550, 260 }));
    expectPicture (sideBySide (panels), "tests/editor/pictures/sizes.png");
    EXPECT_EQ (lookAndFeel->getTooltipBounds ("on the left", { 100, 100 }, { 840, 434 }).getPosition(), juce::Point<int> (124, 106));
}

TEST_F (Pictures, OfTheProgram)
{
    openProgram();
    expectPicture (WindowDriver::picture (program->getBounds()), "tests/editor/pictures/program.png");
}
