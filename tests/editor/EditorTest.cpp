// SPDX-License-Identifier: AGPL-3.0-only
// The window as somebody works it by mouse and keys, and what it does by itself.

#include "Window.h"

#include "standalone/AudioSettings.h"

#include <cmath>

using namespace varnel;

TEST_F (Window, OpensAtTheScaleThatWasKept)
{
    open();
    EXPECT_EQ (editor->getWidth(), 600);
    EXPECT_EQ (editor->getHeight(), 310);
    close();
    EXPECT_EQ (settings().getDoubleValue ("Scale"), 0.5);

    settings().saveIfNeeded();
    open();
    close();
    EXPECT_FALSE (settings().needsToBeSaved()) << "an unchanged scale is not written again";

    open();
    editor->setSize (900, 465); // a host's resize counts, too
    close();
    EXPECT_EQ (settings().getDoubleValue ("Scale"), 0.75);

    for (const auto& [stored, width] : { std::pair<juce::String, int> { "0.75", 900 }, { "1", 1200 }, { "0.4", 480 }, { "0", 600 }, { "-3", 600 }, { "nan", 600 }, { "0.1", 480 }, { "7", 1200 }, { "inf", 1200 }, { "1e300", 1200 } })
    {
        settings().setValue ("Scale", stored);
        open();
        EXPECT_EQ (editor->getWidth(), width) << stored;
        EXPECT_NEAR (editor->getHeight(), width * 620 / 1200, 1) << stored;
        close();
    }
}

TEST_F (Window, IsSizedByItsCornerWithinItsLimits)
{
    open();
    const auto dragTo = [this] (juce::Point<int> position)
    {
        user.drag (editor->getScreenBounds().getBottomRight() - juce::Point<int> (4, 4), position);
        return editor->getBounds().withPosition (0, 0);
    };

    EXPECT_EQ (dragTo ({ 200, 100 }), juce::Rectangle<int> (480, 248));
    EXPECT_EQ (dragTo ({ 1590, 990 }), juce::Rectangle<int> (1200, 620));
    const auto between = dragTo ({ 820, 500 });
    EXPECT_NEAR (between.getWidth() / static_cast<double> (between.getHeight()), 1200.0 / 620.0, 0.01);
    EXPECT_LT (between.getWidth(), 1200);
}

TEST_F (Window, ShowsLevelsWhereTheyBelong)
{
    open();
    auto& engine = processor->engine;
    SharedValue<float>* const peaks[] { &engine.peakInL, &engine.peakInR, &engine.peakOutL, &engine.peakOutR };
    const auto meters = allOf<VUMeterCircle> (*editor);

    for (size_t i = 0; i < 4; ++i)
        *peaks[i] = 0.1f + 0.2f * static_cast<float> (i);
    EXPECT_SOON (engine.peakInL == 0.0f);

    // On a busy machine they may have begun to fall, by a fifth at a time and all of them as far.
    const auto fallen = meters[0]->level / 0.1f;
    const auto numFalls = std::log (fallen) / std::log (0.8f);
    EXPECT_TRUE (numFalls > -0.01f && numFalls < 10.0f && std::abs (numFalls - std::round (numFalls)) < 0.01f) << fallen;

    for (size_t i = 0; i < 4; ++i)
    {
        EXPECT_FLOAT_EQ (meters[i]->level, fallen * (0.1f + 0.2f * static_cast<float> (i)));
        EXPECT_EQ (*peaks[i], 0.0f) << "a reading empties it";
    }
}

TEST (Meter, RisesAtOnceFallsByAFifthAndHoldsItsPeak)
{
    VUMeterCircle meter;
    meter.setLevel (0.5f);
    EXPECT_FLOAT_EQ (meter.peak, 0.5f);
    meter.setLevel (0.0f);
    EXPECT_FLOAT_EQ (meter.level, 0.4f);

    for (int tick = 2; tick < 50; ++tick)
    {
        meter.setLevel (0.1f);
        EXPECT_FLOAT_EQ (meter.peak, 0.5f) << tick;
    }
    meter.setLevel (0.1f);
    EXPECT_NEAR (meter.peak, 0.1f, 0.001f) << "after fifty updates the peak drops to the level";

    for (int i = 0; i < 500; ++i)
        meter.setLevel (0.0f);
    EXPECT_GT (meter.level, 0.0f);

    for (const auto beyond : { std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN() })
    {
        meter.setLevel (beyond);
        for (int i = 0; i < 200; ++i)
            meter.setLevel (0.2f);
        EXPECT_NEAR (meter.level, 0.2f, 1e-3f);
        EXPECT_NEAR (meter.peak, 0.2f, 1e-3f);
    }
}

TEST (Meter, RepaintsAllThatChanges)
{
    VUMeterCircle meter;
    meter.setBounds (0, 0, 300, 266);
    meter.radius = 476.0f;
    meter.startAngle = 1.975f;
    meter.innerAngle = 1.94f;
    meter.arcCentreY = 168.0f;
    meter.setVisible (true);
    meter.setBufferedToImage (true);
    juce::Random random (1);

    for (int tick = 0; tick < 150; ++tick)
    {
        meter.setLevel (tick % 60 == 0 ? 0.8f : 0.4f * random.nextFloat());
        WindowDriver::expectNothingStale (meter);
    }
}

TEST_F (Window, IsWorkedByTheMouseAlone)
{
    for (const auto* name : { "Mine.xml", "Next.xml", "Other.xml" })
        write (getUserPresetFolder (ownProcessor->settings).getChildFile (name), 11);
    openProgram();
    auto& size = knob ("ReverbSize");
    const auto keyboardIsFree = [this] (const char* after)
    {
        auto* const focused = juce::Component::getCurrentlyFocusedComponent();
        EXPECT_EQ (focused, editor) << "after " << after << " the keyboard is with " << (focused != nullptr ? focused->getTitle() : "nobody");
        const auto preset = selector().getText();
        const auto before = values (*processor);
        for (const auto* key : { "return", "spacebar", "cursor up", "home" })
            user.key (key);
        EXPECT_EQ (values (*processor), before) << after;
        EXPECT_EQ (selector().getText(), preset) << after;
        EXPECT_EQ (WindowDriver::menuTexts().size(), 0) << after;
    };

    // Under the mouse the value, a blank, and the unit, which of Size is a blank too
    user.moveTo (centreOf (size.slider));
    EXPECT_EQ (size.label.getText(), "33  ");

    // Drag: up is more, down is less, and it stops at the ends. A double click returns to the default.
    user.drag (centreOf (size.slider), centreOf (size.slider).translated (0, -60));
    EXPECT_GT (get (*processor, "ReverbSize"), 40.0f);
    user.drag (centreOf (size.slider), centreOf (size.slider).translated (0, 400));
    EXPECT_EQ (get (*processor, "ReverbSize"), 0.0f);
    user.doubleClick (centreOf (size.slider));
    EXPECT_EQ (get (*processor, "ReverbSize"), 33.0f);
    keyboardIsFree ("a turn of a dial");

    // The wheel: one step a notch, ten with Shift, whatever the range, and sideways to the left. A touchpad's small movements
    // add up, and a system may turn all of them round.
    for (const auto& [id, step] : { std::pair { "ReverbSize", 1.0f }, { "ReverbLo", 0.2f } })
    {
        const auto expectSteps = [&, id = id, step = step] (juce::MouseWheelDetails amount, int times, bool withShift, float steps)
        {
            set (*processor, id, 5.0f);
            for (int i = 0; i < times; ++i)
                user.wheel (centreOf (knob (id).slider), amount, withShift);
            EXPECT_NEAR (get (*processor, id), 5.0f + steps * step, 1e-5f) << id << " by " << amount.deltaX << ", " << amount.deltaY << (amount.isSmooth ? " smoothly" : "");
        };
        expectSteps ({ 0.0f, 0.33f, false, false, false }, 1, false, 1.0f);
        expectSteps ({ 0.0f, -0.33f, false, false, false }, 2, false, -2.0f);
        expectSteps ({ 0.0f, 0.33f, false, false, false }, 1, true, 10.0f);
        expectSteps ({ 0.33f, 0.0f, false, false, false }, 1, false, -1.0f);
        expectSteps ({ 0.0f, 0.33f, true, false, false }, 1, false, -1.0f);
        expectSteps ({ 0.0f, 0.0625f, false, true, false }, 10, false, 3.0f);
        expectSteps ({ 0.0f, -0.0625f, false, true, false }, 3, false, 0.0f); // takes up what was left
    }

    // A click on the caption opens an entry with the bare number, which stays when the mouse goes.
    const auto openEntry = [&]
    {
        user.click (centreOf (size.label));
        user.moveTo (at (600, 450));
        return size.label.getCurrentTextEditor();
    };
    set (*processor, "ReverbSize", 33.0f);
    ASSERT_NE (openEntry(), nullptr);
    EXPECT_EQ (size.label.getCurrentTextEditor()->getHighlightedText(), "33");
    user.type ("71");
    user.key ("return");
    EXPECT_EQ (get (*processor, "ReverbSize"), 71.0f);
    EXPECT_EQ (size.label.getText(), "SIZE");
    keyboardIsFree ("an entry");

    for (const auto& [typed, value] : { std::pair { "-5", 0.0f }, { "999", 100.0f }, { juceObjects ? "1000" : "nan", 100.0f }, { "inf", 100.0f }, { "12 rooms", 12.0f }, { "", 0.0f } })
    {
        ASSERT_NE (openEntry(), nullptr);
        size.label.getCurrentTextEditor()->setText (typed);
        size.label.hideEditor (false);
        EXPECT_EQ (get (*processor, "ReverbSize"), value) << typed;
    }
    for (const auto* end : { "escape", "return" }) // given up, or left as it was
    {
        ASSERT_NE (openEntry(), nullptr);
        user.key (end);
        EXPECT_EQ (size.label.getText(), "SIZE") << end;
        EXPECT_EQ (get (*processor, "ReverbSize"), 0.0f) << end;
    }

    // A knob's menu opens from its caption, too, and once it is dismissed the caption is the name again.
    EXPECT_EQ (rightClick (centreOf (size.label)).joinIntoString ("|"), "Start MIDI Learn...");
    user.moveTo (at (600, 450));
    user.closeMenu();
    EXPECT_EQ (size.label.getText(), "SIZE");
    keyboardIsFree ("menus");

    // Lamps switch from round about them and from their captions; a right click there, as on all that has no menu of its
    // own, opens the panel's and does nothing else.
    for (const auto& [id, near, caption] : { std::tuple { "Bypass", at (1165, 529).translated (0, -10), at (1080, 529) }, { "ReverbInsertMode", at (1100, 370).translated (10, 0), at (1100, 430) } })
        for (const auto place : { near, caption })
        {
            const auto before = get (*processor, id);
            user.click (place);
            EXPECT_EQ (get (*processor, id), 1.0f - before) << id;
            EXPECT_EQ (lamp (id).button.getToggleState(), before == 0.0f) << id;
            EXPECT_TRUE (rightClick (place).contains ("Show Tooltips")) << id;
            user.closeMenu();
            EXPECT_EQ (get (*processor, id), 1.0f - before) << id;
        }
    for (const auto place : { at (600, 450), at (878, 40), at (944, 40), at (390, 250), at (810, 250), at (940, 331), at (600, 592) })
    {
        EXPECT_TRUE (rightClick (place).contains ("Show Tooltips")) << place.toString();
        user.closeMenu();
    }
    keyboardIsFree ("right clicks");

    // The arrows, to their tips, and the version
    EXPECT_EQ (selector().getText(), "");
    user.click (at (933, 8));
    EXPECT_EQ (selector().getText(), "Next");
    user.click (at (868, 14));
    EXPECT_EQ (selector().getText(), "Mine");
    EXPECT_EQ (get (*processor, "ReverbSize"), 11.0f);
    user.click (at (600, 592));
    EXPECT_EQ (allOf<juce::ImageButton> (*editor).back()->getTitle(), "Varnel Reverb 1.1.1 (r947) hash e6619a6e");
    keyboardIsFree ("step buttons and version line");
}

TEST_F (Window, IsWorkedByKeysAlone)
{
    for (const auto* name : { "A", "Folder/B", "Folder/C" })
        write (getUserPresetFolder (ownProcessor->settings).getChildFile (name).withFileExtension ("xml"), name[0] == 'A' ? 11 : 22);

    openProgram();
    const auto focused = []
    { return juce::Component::getCurrentlyFocusedComponent(); };
    const auto says = [&]
    {
        auto* const handler = focused()->getAccessibilityHandler();
        auto* const value = handler->getValueInterface();
        return handler->getTitle() + (value != nullptr ? ": " + value->getCurrentValueAsString() : juce::String());
    };

    // The order of the signal and of the eye, one stop each, all of them framed and named; and back again
    EXPECT_EQ (focused(), editor);
    EXPECT_FALSE (editor->hasFocusOutline());
    juce::StringArray stops;
    for (int i = 0; i < 11; ++i)
    {
        user.key ("tab");
        ASSERT_TRUE (editor->isParentOf (focused()));
        EXPECT_TRUE (focused()->hasFocusOutline()) << says();
        stops.add (says());
    }
    EXPECT_EQ (stops.joinIntoString ("|"), "Preset: |Size: 33|Lo: 0.00 dB|Hi: -1.4 dB|Spin: 33 %|Position: 33 %|Insert Mode: On|Effect: On|Previous preset|Next preset|Varnel Reverb 1.1.1");
    for (int i = 0; i < 2; ++i)
    {
        user.key ("tab");
        EXPECT_FALSE (editor->isParentOf (focused())) << "on to the program's own buttons";
    }
    user.key ("tab");
    EXPECT_EQ (says(), "Preset: ") << "and round";
    for (int i = 0; i < 3; ++i)
        user.key ("shift + tab");
    EXPECT_EQ (says(), "Varnel Reverb 1.1.1");
    for (int i = 0; i < 3; ++i)
        user.key ("tab");

    // What is read is read once: only the stops have anything to say.
    auto numTalking = 0;
    const std::function<void (const juce::Component&)> listen = [&] (const juce::Component& parent)
    {
        for (auto* child : parent.getChildren())
        {
            auto* const handler = child->isVisible() ? child->getAccessibilityHandler() : nullptr;
            numTalking += handler != nullptr && (handler->getTitle().isNotEmpty() || handler->getValueInterface() != nullptr) ? 1 : 0;
            listen (*child);
        }
    };
    listen (*editor);
    EXPECT_EQ (numTalking, 11);

    // All presets, past the rows of folders and commands
    for (const auto& [key, name] : { std::pair { "cursor down", "B" }, { "cursor down", "C" }, { "cursor down", "A" }, { "cursor up", "C" } })
    {
        user.key (key);
        EXPECT_EQ (selector().getText(), name) << key;
    }

    // A dial: steps, leaps and ends, with the value beside it; what has a modifier is the host's.
    user.key ("tab");
    auto& size = knob ("ReverbSize");
    auto* const bubble = allOf<ValueBubble> (*editor).front();
    for (const auto& [key, value] : { std::pair { "cursor up", 23.0f }, { "cursor down", 22.0f }, { "page up", 32.0f }, { "cursor right", 33.0f }, { "page down", 23.0f }, { "end", 100.0f }, { "home", 0.0f }, { "ctrl + cursor up", 0.0f }, { "shift + end", 0.0f }, { "spacebar", 0.0f } })
    {
        user.key (key);
        EXPECT_EQ (get (*processor, "ReverbSize"), value) << key;
    }
    EXPECT_TRUE (bubble->isVisible());
    EXPECT_EQ (size.label.getText(), "SIZE") << "the caption is the mouse's";

    // Return opens the entry on the value, and the keyboard comes back to the dial.
    user.key ("return");
    ASSERT_NE (size.label.getCurrentTextEditor(), nullptr);
    EXPECT_FALSE (bubble->isVisible());
    EXPECT_EQ (size.label.getCurrentTextEditor()->getHighlightedText(), "0");
    user.type ("71");
    user.key ("return");
    EXPECT_EQ (says(), "Size: 71");
    user.key ("return");
    user.type ("5");
    user.key ("tab");
    EXPECT_EQ (get (*processor, "ReverbSize"), 5.0f);
    EXPECT_EQ (says(), "Lo: 0.00 dB") << "Tab takes what was typed, and goes on";

    // The menus, and back to where the keyboard was
    user.key ("shift + F10");
    EXPECT_EQ (user.menuTexts().joinIntoString ("|"), "Start MIDI Learn...");
    user.key ("cursor down");
    user.key ("return");
    EXPECT_EQ (processor->midiControllers[2], -2);
    EXPECT_EQ (says(), "Lo: 0.00 dB");
    for (int i = 0; i < 5; ++i)
        user.key ("tab");
    EXPECT_EQ (says(), "Effect: On");
    user.key ("return");
    EXPECT_EQ (says(), "Effect: Off");
    user.key ("tab");
    user.key ("shift + F10");
    EXPECT_TRUE (user.menuTexts().contains ("Show Tooltips"));
    user.closeMenu();
    user.key ("return");
    EXPECT_EQ (selector().getText(), "B") << "the previous preset";

    // What is done is undone.
    user.key ("ctrl + Z");
    EXPECT_EQ (selector().getText(), "C");
    EXPECT_EQ (get (*processor, "Bypass"), 0.0f);
    user.key ("ctrl + Z");
    EXPECT_EQ (get (*processor, "Bypass"), 1.0f);
    user.key ("ctrl + Z");
    EXPECT_EQ (get (*processor, "ReverbSize"), 71.0f);
}

TEST (History, ForgetsWhatIsMoreThanAHundredStepsBack)
{
    VarnelReverbAudioProcessor processor (VarnelReverbAudioProcessor::UserSettings::ignored);
    History history (processor);

    for (int i = 1; i <= 120; ++i)
    {
        set (processor, "Position", static_cast<float> (std::min (i, 200 - i)));
        EXPECT_TRUE (history.canUndo());
    }
    while (history.canUndo())
        history.undo();
    EXPECT_EQ (get (processor, "Position"), 20.0f);
}

TEST_F (Window, FollowsAHostThatRestoresAState)
{
    open();
    VarnelReverbAudioProcessor far (VarnelReverbAudioProcessor::UserSettings::ignored);
    set (far, "ReverbSize", 80.0f);
    set (far, "Bypass", 0.0f);
    far.setPresetName ("/somewhere/Far Away.xml");
    std::thread ([&]
                 { restore (*processor, chunkOf (far)); })
        .join();
    EXPECT_SOON (selector().getText() == "Far Away");
    EXPECT_EQ (selector().getSelectedId(), 0) << "it is in neither folder";
    deliverMessages (80);
    EXPECT_EQ (knob ("ReverbSize").slider.getValue(), 80.0);
    EXPECT_FALSE (lamp ("Bypass").button.getToggleState());
}

TEST_F (Window, MayCloseWhileAMenuIsOpen)
{
    open();
    for (const auto place : { centreOf (selector()), centreOf (knob ("ReverbLo").slider), at (600, 540) })
    {
        user.click (place, place == centreOf (selector()) ? juce::ModifierKeys::leftButtonModifier : juce::ModifierKeys::rightButtonModifier);
        EXPECT_GT (user.menuTexts().size(), 0);
        close();
        open();
    }
}

// The address sanitizer looks for leaks in memory; the server counts its own.

TEST_F (Window, LeavesNothingBehind)
{
    openProgram();
    const auto countWindows = []
    { return juce::Desktop::getInstance().getNumComponents() + juce::ComponentPeer::getNumPeers(); };
    const auto numWindows = countWindows();

    for (int i = 0; i < 50; ++i)
    {
        const std::unique_ptr<juce::AudioProcessorEditor> opened (ownProcessor->createEditor());
        EXPECT_EQ (&opened->getLookAndFeel(), &editor->getLookAndFeel());
        opened->addToDesktop (juce::ComponentPeer::windowIsTemporary);
        opened->setVisible (true);
        deliverMessages (1);
    }
    EXPECT_EQ (countWindows(), numWindows);

    // Nobody calls what has gone.
    PresetManager manager (*ownProcessor);
    ComboBoxImproved box;
    comeAndGo<VarnelReverbAudioProcessorEditor> (*ownProcessor);
    comeAndGo<PresetManager::ComboBoxAttachment> (manager, box);
    comeAndGo<History> (*ownProcessor);
    comeAndGo<AudioSettings> (*program->pluginHolder);
    manager.rescan();
    box.addItem ("one", 1);
    box.setSelectedId (1, juce::sendNotificationSync);
    setUnusualValues (*ownProcessor);
    restore (*ownProcessor, chunkOf (*ownProcessor));
    program->getDeviceManager().sendSynchronousChangeMessage();
    deliverMessages (200);
}
