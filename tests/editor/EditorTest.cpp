// SPDX-License-Identifier: AGPL-3.0-only
// The window, worked by real mouse and keyboard events of an X server and looked at by its pixels.

#include "Support.h"
#include "XScreen.h"

#include "editor/VarnelReverbAudioProcessorEditor.h"
#include "standalone/StandaloneWindow.h"

#include <cmath>
#include <memory>
#include <optional>

using namespace varnel;

namespace
{

/** The components of a kind below another. */
template <typename Type>
std::vector<Type*> allOf (juce::Component& parent)
{
    std::vector<Type*> found;
    for (auto* child : parent.getChildren())
        if (auto* const match = dynamic_cast<Type*> (child))
            found.push_back (match);
    return found;
}

double distance (juce::Colour a, juce::Colour b)
{
    return std::max ({ std::abs (a.getRed() - b.getRed()), std::abs (a.getGreen() - b.getGreen()), std::abs (a.getBlue() - b.getBlue()) });
}

class Window : public FreshHome
{
protected:
    Window()
    {
        // No sound card, in case the program is opened
        setenv ("JACK_DEFAULT_SERVER", "none", 1);
        setenv ("JACK_NO_START_SERVER", "1", 1);
        setenv ("ALSA_CONFIG_PATH", "/dev/null", 1);
        processor->setBusesLayout ({ { juce::AudioChannelSet::stereo() }, { juce::AudioChannelSet::stereo() } });
        processor->prepareToPlay (44100.0, 512);
    }

    ~Window() override
    {
        close();
        program.reset();
        juce::PopupMenu::dismissAllActiveMenus();
        deliverMessages (50);
    }

    void open (std::optional<double> scale = {})
    {
        if (scale)
            settings().setValue ("Scale", *scale);

        close();
        ownEditor.reset (static_cast<VarnelReverbAudioProcessorEditor*> (processor->createEditor()));
        editor = ownEditor.get();
        editor->addToDesktop (juce::ComponentPeer::windowIsTemporary);
        editor->setTopLeftPosition (20, 20);
        editor->setVisible (true);
        screen.moveTo ({ 1590, 990 });
        deliverMessages (150);
    }

    /** Opens the stand-alone program's window, and answers what it has to say. */
    void openProgram()
    {
        program.emplace (programSettings);
        processor = dynamic_cast<VarnelReverbAudioProcessor*> (program->getAudioProcessor());
        editor = dynamic_cast<VarnelReverbAudioProcessorEditor*> (processor->getActiveEditor());
        program->setVisible (true);
        screen.moveTo ({ 1590, 990 });
        EXPECT_TRUE (deliverMessagesUntil ([]
                                           { return juce::ModalComponentManager::getInstance()->getNumModalComponents() > 0; }));
        deliverMessages (100);
        screen.key ("Return"); // there is no sound card
        program->toFront (true);
        deliverMessages (100);
    }

    void close()
    {
        editor = nullptr;
        ownEditor.reset();
    }

    juce::PropertiesFile& settings() { return *processor->settings.getUserSettings(); }

    double scale() const { return editor->getWidth() / 1200.0; }

    /** Where a point of the design is on the screen. */
    juce::Point<int> at (double x, double y) const
    {
        return editor->getScreenPosition() + juce::Point<double> (x * scale(), y * scale()).roundToInt();
    }

    static juce::Point<int> centreOf (const juce::Component& component) { return component.getScreenBounds().getCentre(); }

    juce::Colour pixel (juce::Point<int> position) const { return screen.capture ({ position.x, position.y, 1, 1 }).getPixelAt (0, 0); }
    juce::Colour pixel (double x, double y) const { return pixel (at (x, y)); }

    LabelKnob& knob (const juce::String& id) { return *dynamic_cast<LabelKnob*> (editor->findChildWithID (id)); }
    TolvarToggle& lamp (const juce::String& id) { return *dynamic_cast<TolvarToggle*> (editor->findChildWithID (id)); }
    ComboBoxImproved& selector() { return *allOf<ComboBoxImproved> (*editor).front(); }

    static juce::StringArray menuTexts()
    {
        juce::StringArray texts;
        for (const auto& [text, row] : XScreen::menuRows())
            texts.add (text);
        return texts;
    }

    /** Opens a menu with a right click and returns its texts. */
    juce::StringArray rightClick (juce::Point<int> position)
    {
        screen.click (position, 3);
        deliverMessages (150);
        return menuTexts();
    }

    void choose (const juce::String& text)
    {
        EXPECT_TRUE (screen.choose (text)) << "the menu has no row \"" << text << "\", only: " << menuTexts().joinIntoString (" | ");
    }

    void closeMenu()
    {
        juce::PopupMenu::dismissAllActiveMenus();
        deliverMessages (100);
    }

    void write (const juce::File& file, int size)
    {
        file.create();
        file.replaceWithText ("<ReverbParams presetName=''><PARAM id='ReverbSize' value='" + juce::String (size) + "'/></ReverbParams>");
    }

    const XScreen screen;
    std::unique_ptr<VarnelReverbAudioProcessor> ownProcessor = std::make_unique<VarnelReverbAudioProcessor>();
    std::unique_ptr<VarnelReverbAudioProcessorEditor> ownEditor;
    VarnelReverbAudioProcessor* processor = ownProcessor.get();
    VarnelReverbAudioProcessorEditor* editor = nullptr;

private:
    juce::PropertySet programSettings;
    std::optional<StandaloneWindow> program;
};

} // namespace

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

TEST_F (Window, IsSizedByItsMenuAndItsCorner)
{
    open();
    for (const auto percent : { 80, 100, 120, 140, 160, 180, 200 })
    {
        const auto texts = rightClick (at (600, 540));
        EXPECT_EQ (texts.joinIntoString ("|"), "Set GUI size:|80% |100% |120% |140% |160% |180% |200% |Show Tooltips");
        choose (juce::String (percent) + "% ");
        EXPECT_EQ (editor->getWidth(), 6 * percent);
        EXPECT_EQ (editor->getHeight(), juce::roundToInt (3.1 * percent));

        // The next menu ticks this size, and the picture follows.
        rightClick (at (600, 540));
        for (const auto& [text, row] : XScreen::menuRows())
            if (text.endsWith ("% "))
            {
                EXPECT_EQ (row->getAccessibilityHandler()->getCurrentState().isChecked(), text == juce::String (percent) + "% ") << text << " at " << percent;
            }
        closeMenu();
        EXPECT_LT (distance (pixel (600, 612), juce::Colour (48, 48, 48)), 12) << "the band at " << percent;
        EXPECT_GT (pixel (250, 450).getRed(), 120) << "the panel at " << percent;
    }

    const auto corner = [this]
    { return editor->getScreenBounds().getBottomRight() - juce::Point<int> (4, 4); };

    screen.drag (corner(), { 200, 100 });
    EXPECT_EQ (editor->getBounds().withPosition (0, 0), juce::Rectangle<int> (480, 248)) << "no smaller";
    screen.drag (corner(), { 1590, 990 });
    EXPECT_EQ (editor->getBounds().withPosition (0, 0), juce::Rectangle<int> (1200, 620)) << "no larger";
    screen.drag (corner(), { 820, 500 });
    EXPECT_NEAR (editor->getWidth() / static_cast<double> (editor->getHeight()), 1200.0 / 620.0, 0.01);
    EXPECT_LT (editor->getWidth(), 1200);
}

TEST_F (Window, TurnsEachPointerOverItsWholeAngle)
{
    open (1.0);

    for (const auto* id : { "ReverbSize", "ReverbMod", "ReverbLo", "ReverbHi", "Position" })
    {
        auto& parameter = *processor->parameterState.getParameter (id);

        for (const auto& [proportion, degrees] : { std::pair { 0.0f, -150.48 }, { 0.5f, 0.0 }, { 1.0f, 150.48 } })
        {
            parameter.setValueNotifyingHost (proportion);
            deliverMessages (250);

            // The centre of what is white on the dial
            const auto dial = knob (id).slider.getScreenBounds();
            const auto picture = screen.capture (dial);
            juce::Point<double> offset;
            for (int y = 0; y < picture.getHeight(); ++y)
                for (int x = 0; x < picture.getWidth(); ++x)
                    if (picture.getPixelAt (x, y) == juce::Colours::white)
                        offset += juce::Point<double> (x + 0.5 - dial.getWidth() * 0.5, y + 0.5 - dial.getHeight() * 0.5);

            const auto angle = std::atan2 (offset.x, -offset.y) * 180.0 / juce::MathConstants<double>::pi;
            EXPECT_NEAR (angle, degrees, 2.0) << id << " at " << proportion;
        }
    }
}

TEST_F (Window, MeasuresLevels)
{
    open (1.0);
    auto& engine = processor->engine;
    SharedValue<float>* const peaks[] { &engine.peakInL, &engine.peakInR, &engine.peakOutL, &engine.peakOutR };

    // Where the middle of a bar shows on a ring: left or right, outer or inner
    const auto barAt = [this] (size_t meter, int bar)
    {
        const auto y = 80.0 + 266.0 + 0.008 * 266.0 - bar * 0.02 * 266.0 + 0.006 * 266.0;
        const auto radius = meter == 0 || meter == 3 ? 228.5 : 206.5;
        const auto x = std::sqrt (radius * radius - (y - 248.0) * (y - 248.0));
        return pixel (600.0 + (meter < 2 ? -x : x), y);
    };

    for (size_t meter = 0; meter < 4; ++meter)
    {
        for (const auto& [level, lastBar] : { std::pair { 0.1f, 18 }, { 1.0f, 39 } })
            EXPECT_TRUE (deliverMessagesUntil ([&, level = level, lastBar = lastBar]
                                               {
                *peaks[meter] = level; // as the audio thread does, before each tick
                deliverMessages (50);
                return barAt (meter, lastBar) == juce::Colour (0xffe6e6e6) && barAt (meter, lastBar + 3).getBrightness() < 0.35f; },
                                               6000))
                << "meter " << meter << " at " << level;

        EXPECT_EQ (barAt (meter, 40), juce::Colour (0xffffff00)) << "the peak of full scale is held in yellow";

        // The other three stand still.
        for (size_t other = meter + 1; other < 4; ++other)
            EXPECT_LT (barAt (other, 10).getBrightness(), 0.35f);
    }

    // Between the rings the track shows
    EXPECT_EQ (pixel (600.0 - 217.5 * std::sin (1.2), 248.0 - 217.5 * std::cos (1.2)), juce::Colour (0xff1b0e15));
    EXPECT_EQ (engine.peakInL, 0.0f) << "a reading empties it";

    // The modulation lamp is as bright as the phase is far from 0.
    for (const auto& [phase, brightness] : { std::pair { 0.0f, 23 }, { -0.5f, 127 } })
    {
        engine.spinPhase = phase;
        deliverMessages (120);
        EXPECT_EQ (pixel (940, 331), juce::Colour::greyLevel (static_cast<float> (brightness) / 255.0f)) << phase;
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

TEST_F (Window, IsWorkedByTheMouseAlone)
{
    write (getUserPresetFolder (ownProcessor->settings).getChildFile ("Mine.xml"), 11);
    openProgram();
    auto& size = knob ("ReverbSize");
    const auto keyboardIsFree = [this] (const char* after)
    {
        auto* const focused = juce::Component::getCurrentlyFocusedComponent();
        EXPECT_EQ (focused, editor) << "after " << after << " the keyboard is with " << (focused != nullptr ? focused->getTitle() : "nobody");
        const auto preset = selector().getText();
        const auto before = values (*processor);
        for (const auto* key : { "Return", "space", "Up", "Home" })
            screen.key (key);
        EXPECT_EQ (values (*processor), before) << after;
        EXPECT_EQ (selector().getText(), preset) << after;
        EXPECT_EQ (XScreen::openMenu(), nullptr) << after;
    };

    // Captions: the name, under the mouse the value, a blank, and the unit, which of Size is one too
    EXPECT_EQ (size.label.getText(), "SIZE");
    EXPECT_EQ (size.label.getFont().getTypefaceName(), "Avenir");
    screen.moveTo (centreOf (knob ("ReverbHi").slider));
    EXPECT_EQ (knob ("ReverbHi").label.getText(), "-1.4 dB");
    screen.moveTo (centreOf (size.slider));
    EXPECT_EQ (size.label.getText(), "33  ");
    EXPECT_NEAR (size.label.getFont().getHeight(), 46 * 0.5f * 0.7f, 0.01f);

    // Drag: up is more, down is less, and it stops at the ends. A double click returns to the default.
    screen.drag (centreOf (size.slider), centreOf (size.slider).translated (0, -60));
    const auto dragged = get (*processor, "ReverbSize");
    EXPECT_GT (dragged, 40.0f);
    screen.drag (centreOf (size.slider), centreOf (size.slider).translated (0, 400));
    EXPECT_EQ (get (*processor, "ReverbSize"), 0.0f);
    screen.click (centreOf (size.slider));
    screen.click (centreOf (size.slider));
    EXPECT_EQ (get (*processor, "ReverbSize"), 33.0f);
    keyboardIsFree ("a turn of a dial");

    // The wheel: one step a notch, ten with Shift, whatever the range
    for (const auto& [id, step] : { std::pair { "ReverbSize", 1.0f }, { "ReverbLo", 0.2f } })
    {
        set (*processor, id, 5.0f);
        screen.click (centreOf (knob (id).slider), 4);
        EXPECT_NEAR (get (*processor, id), 5.0f + step, 1e-5f) << id;
        screen.click (centreOf (knob (id).slider), 5);
        screen.click (centreOf (knob (id).slider), 5);
        EXPECT_NEAR (get (*processor, id), 5.0f - step, 1e-5f) << id;
        screen.hold ("Shift_L", true);
        screen.click (centreOf (knob (id).slider), 4);
        screen.hold ("Shift_L", false);
        EXPECT_NEAR (get (*processor, id), 5.0f + 9.0f * step, 1e-5f) << id;
    }

    // A click on the caption opens an entry with the bare number, which stays when the mouse goes.
    const auto openEntry = [&]
    {
        screen.click (centreOf (size.label));
        screen.moveTo (at (600, 450));
        return size.label.getCurrentTextEditor();
    };
    set (*processor, "ReverbSize", 33.0f);
    ASSERT_NE (openEntry(), nullptr);
    EXPECT_EQ (size.label.getCurrentTextEditor()->getHighlightedText(), "33");
    screen.type ("71");
    screen.key ("Return");
    EXPECT_EQ (get (*processor, "ReverbSize"), 71.0f);
    EXPECT_EQ (size.label.getText(), "SIZE");
    keyboardIsFree ("an entry");

    for (const auto& [typed, value] : { std::pair { "-5", 0.0f }, { "999", 100.0f }, { juceObjects ? "1000" : "nan", 100.0f }, { "inf", 100.0f }, { "12 rooms", 12.0f }, { "", 0.0f } })
    {
        ASSERT_NE (openEntry(), nullptr);
        size.label.getCurrentTextEditor()->setText (typed);
        size.label.hideEditor (false);
        deliverMessages (50);
        EXPECT_EQ (get (*processor, "ReverbSize"), value) << typed;
    }
    for (const auto* end : { "Escape", "Return" }) // given up, or left as it was
    {
        ASSERT_NE (openEntry(), nullptr);
        screen.key (end);
        EXPECT_EQ (size.label.getText(), "SIZE") << end;
        EXPECT_EQ (get (*processor, "ReverbSize"), 0.0f) << end;
    }

    // Every control learns by its menu, which a knob opens from its caption, too. A dot says that it does.
    auto& map = processor->midiControllers;
    const char* const ids[] { "ReverbSize", "ReverbMod", "ReverbLo", "ReverbHi", "Position", "Bypass", "ReverbInsertMode" };
    for (size_t i = 0; i < 7; ++i)
    {
        auto& control = *dynamic_cast<LearningControl*> (editor->findChildWithID (ids[i]));
        const auto middle = i < 5 ? centreOf (knob (ids[i]).slider) : centreOf (control);
        const auto value = get (*processor, ids[i]);
        EXPECT_EQ (control.midiIndex, static_cast<int> (i));
        EXPECT_EQ (rightClick (middle).joinIntoString ("|"), "Start MIDI Learn...");
        EXPECT_FALSE (control.dot.isVisible());
        choose ("Start MIDI Learn...");
        EXPECT_EQ (map[i], -2);
        EXPECT_EQ (pixel (centreOf (control.dot)), juce::Colour (0xffffc400)) << ids[i];
        rightClick (i < 5 ? centreOf (knob (ids[i]).label) : middle);
        choose ("Stop MIDI Learn...");
        EXPECT_EQ (map[i], -1);
        map[i] = 12;
        EXPECT_EQ (rightClick (middle).joinIntoString ("|"), "Detach from MIDI Automation...|Midi Controller: 12|Start MIDI Learn...");
        choose ("Detach from MIDI Automation...");
        EXPECT_EQ (map[i], -1);
        EXPECT_EQ (get (*processor, ids[i]), value) << "a right click moves nothing";

        // Dismissed with the mouse elsewhere, the caption is the name again.
        rightClick (middle);
        screen.moveTo (at (600, 450));
        screen.click (at (600, 450));
        deliverMessages (200);
        if (i < 5)
        {
            EXPECT_EQ (knob (ids[i]).label.getText(), knob (ids[i]).name.toUpperCase());
        }
    }
    EXPECT_EQ (midiLearnMenu (-3).getNumItems(), 0);
    keyboardIsFree ("menus");

    // Lamps switch from round about them and from their captions; a right click there, as on all that has no menu of its
    // own, opens the panel's and does nothing else.
    for (const auto& [id, lit, near, caption] : { std::tuple { "Bypass", juce::Colour (0xffff0000), at (1165, 529).translated (0, -10), at (1080, 529) }, { "ReverbInsertMode", juce::Colours::white, at (1100, 370).translated (10, 0), at (1100, 430) } })
        for (const auto place : { near, caption })
        {
            const auto before = get (*processor, id);
            screen.click (place);
            EXPECT_EQ (get (*processor, id), 1.0f - before) << id;
            EXPECT_EQ (pixel (centreOf (lamp (id))), before == 1.0f ? juce::Colour (0xff555555) : lit) << id;
            EXPECT_TRUE (rightClick (place).contains ("Show Tooltips")) << id;
            closeMenu();
            EXPECT_EQ (get (*processor, id), 1.0f - before) << id;
        }
    for (const auto place : { at (600, 450), at (878, 40), at (944, 40), at (390, 250), at (810, 250), at (940, 331), at (600, 592) })
    {
        EXPECT_TRUE (rightClick (place).contains ("Show Tooltips")) << place.toString();
        closeMenu();
    }
    keyboardIsFree ("right clicks");

    // The arrows, to their tips, and the version
    EXPECT_EQ (selector().getText(), "");
    screen.click (at (933, 8));
    EXPECT_EQ (selector().getText(), "Mine");
    screen.click (at (868, 14));
    EXPECT_EQ (get (*processor, "ReverbSize"), 11.0f);
    screen.click (at (600, 592));
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
        screen.key ("Tab");
        ASSERT_TRUE (editor->isParentOf (focused()));
        EXPECT_TRUE (focused()->hasFocusOutline()) << says();
        stops.add (says());
    }
    EXPECT_EQ (stops.joinIntoString ("|"), "Preset: |Size: 33|Lo: 0.00 dB|Hi: -1.4 dB|Spin: 33 %|Position: 33 %|Insert Mode: On|Effect: On|Previous preset|Next preset|Varnel Reverb 1.1.1");
    for (int i = 0; i < 2; ++i)
    {
        screen.key ("Tab");
        EXPECT_FALSE (editor->isParentOf (focused())) << "on to the program's own buttons";
    }
    screen.key ("Tab");
    EXPECT_EQ (says(), "Preset: ") << "and round";
    for (int i = 0; i < 3; ++i)
        screen.key ("Tab", "Shift_L");
    EXPECT_EQ (says(), "Varnel Reverb 1.1.1");
    for (int i = 0; i < 3; ++i)
        screen.key ("Tab");

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
    for (const auto& [key, name] : { std::pair { "Down", "B" }, { "Down", "C" }, { "Down", "A" }, { "Up", "C" } })
    {
        screen.key (key);
        EXPECT_EQ (selector().getText(), name) << key;
    }

    // A dial: steps, leaps and ends, with the value beside it; what has a modifier is the host's.
    screen.key ("Tab");
    auto& size = knob ("ReverbSize");
    auto* const bubble = allOf<ValueBubble> (*editor).front();
    for (const auto& [key, modifier, value] : { std::tuple { "Up", "", 23.0f }, { "Down", "", 22.0f }, { "Page_Up", "", 32.0f }, { "Right", "", 33.0f }, { "Page_Down", "", 23.0f }, { "End", "", 100.0f }, { "Home", "", 0.0f }, { "Up", "Control_L", 0.0f }, { "End", "Shift_L", 0.0f }, { "space", "", 0.0f } })
    {
        screen.key (key, *modifier != 0 ? modifier : nullptr);
        EXPECT_EQ (get (*processor, "ReverbSize"), value) << modifier << key;
    }
    EXPECT_TRUE (bubble->isVisible());
    EXPECT_EQ (size.label.getText(), "SIZE") << "the caption is the mouse's";

    // Return opens the entry on the value, and the keyboard comes back to the dial.
    screen.key ("Return");
    ASSERT_NE (size.label.getCurrentTextEditor(), nullptr);
    EXPECT_FALSE (bubble->isVisible());
    EXPECT_EQ (size.label.getCurrentTextEditor()->getHighlightedText(), "0");
    screen.type ("71");
    screen.key ("Return");
    EXPECT_EQ (says(), "Size: 71");
    screen.key ("Return");
    screen.type ("5");
    screen.key ("Tab");
    EXPECT_EQ (get (*processor, "ReverbSize"), 5.0f);
    EXPECT_EQ (says(), "Lo: 0.00 dB") << "Tab takes what was typed, and goes on";

    // The menus, and back to where the keyboard was
    screen.key ("F10", "Shift_L");
    deliverMessages (200);
    EXPECT_EQ (menuTexts().joinIntoString ("|"), "Start MIDI Learn...");
    screen.key ("Down");
    screen.key ("Return");
    deliverMessages (200);
    EXPECT_EQ (processor->midiControllers[2], -2);
    EXPECT_EQ (says(), "Lo: 0.00 dB");
    for (int i = 0; i < 5; ++i)
        screen.key ("Tab");
    EXPECT_EQ (says(), "Effect: On");
    screen.key ("Return");
    deliverMessages (200);
    EXPECT_EQ (says(), "Effect: Off");
    screen.key ("Tab");
    screen.key ("F10", "Shift_L");
    deliverMessages (200);
    EXPECT_TRUE (menuTexts().contains ("Show Tooltips"));
    closeMenu();
    screen.key ("Return");
    deliverMessages (200);
    EXPECT_EQ (selector().getText(), "B") << "the previous preset";

    // What is done is undone.
    screen.key ("z", "Control_L");
    EXPECT_EQ (selector().getText(), "C");
    EXPECT_EQ (get (*processor, "Bypass"), 0.0f);
    screen.key ("z", "Control_L");
    EXPECT_EQ (get (*processor, "Bypass"), 1.0f);
    screen.key ("z", "Control_L");
    EXPECT_EQ (get (*processor, "ReverbSize"), 71.0f);
}

TEST_F (Window, ShowsTooltipsIfAskedTo)
{
    open();
    auto* const tip = allOf<juce::TooltipWindow> (*editor).front();
    for (const auto isOn : { false, true, false })
    {
        EXPECT_EQ (settings().getBoolValue ("Show Tooltips"), isOn);
        screen.moveTo (centreOf (knob ("ReverbMod").slider));
        deliverMessages (1500);
        EXPECT_EQ (tip->isVisible(), isOn);
        EXPECT_LE (tip->getWidth(), 430);
        screen.moveTo (at (600, 540));
        rightClick (at (600, 540));
        choose ("Show Tooltips");
    }
    EXPECT_EQ (knob ("ReverbMod").slider.getTooltip(), "Determines the amount of detuning of the reverb. Increasing depth results in a fuller, richer sound");
}

TEST_F (Window, ChoosesPresets)
{
    const auto user = getUserPresetFolder (processor->settings), factory = home.getChildFile ("factory");
    write (user.getChildFile ("Mine.xml"), 11);
    write (user.getChildFile ("Pads/Deep.xml"), 22);
    write (factory.getChildFile ("Halls/Big.xml"), 77);
    write (factory.getChildFile ("Rooms/Small.xml"), 5);

    open();
    EXPECT_EQ (selector().getText(), "");
    auto& manager = *processor->presetManager;
    manager.factoryRoot.folder = factory;
    manager.rescan();
    deliverMessages (50);

    screen.click (centreOf (selector()));
    deliverMessages (200);
    EXPECT_EQ (menuTexts().joinIntoString ("|"), "User Presets|Pads|Mine|Factory Presets|Halls|Rooms|Save|Save as..|Load|Set as default|Show user preset folder|Show factory preset folder|Change user preset location|Rescan presets");
    choose ("Mine");
    EXPECT_EQ (get (*processor, "ReverbSize"), 11.0f);
    EXPECT_EQ (selector().getText(), "Mine");

    // The same again is a reload.
    set (*processor, "ReverbSize", 60.0f);
    screen.click (centreOf (selector()));
    deliverMessages (200);
    for (const auto& [text, row] : XScreen::menuRows())
        EXPECT_EQ (row->getAccessibilityHandler()->getCurrentState().isChecked(), text == "Mine") << text;
    choose ("Mine");
    EXPECT_EQ (get (*processor, "ReverbSize"), 11.0f);

    manager.stepToPreviousPreset();
    deliverMessages (50);
    EXPECT_EQ (selector().getText(), "Small") << "the last precedes the first";

    // The way to the current preset is ticked, and choosing it loads nothing.
    screen.click (centreOf (selector()));
    deliverMessages (200);
    for (const auto& [text, row] : XScreen::menuRows())
        if (text == "Rooms" || text == "Halls")
        {
            EXPECT_EQ (row->getAccessibilityHandler()->getCurrentState().isChecked(), text == "Rooms") << text;
        }
    closeMenu();

    screen.click (centreOf (selector()));
    deliverMessages (200);
    choose ("Set as default");
    EXPECT_EQ (settings().getValue ("defaultPreset"), factory.getChildFile ("Rooms/Small.xml").getFullPathName());

    // "Save" on a factory preset asks for a name, and closing the window with the chooser open does no harm. JUCE's own
    // chooser wants to be told whether files or folders are saved.
    if (juceObjects)
        return;

    const auto before = factory.getChildFile ("Rooms/Small.xml").loadFileAsString();
    set (*processor, "ReverbSize", 60.0f);
    screen.click (centreOf (selector()));
    deliverMessages (200);
    choose ("Save");
    deliverMessages (300);
    EXPECT_EQ (factory.getChildFile ("Rooms/Small.xml").loadFileAsString(), before);
    close();
    deliverMessages (200);
    EXPECT_EQ (processor->presetManager, nullptr);
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
    EXPECT_TRUE (deliverMessagesUntil ([this]
                                       { return selector().getText() == "Far Away"; }));
    EXPECT_EQ (selector().getSelectedId(), 0) << "it is in neither folder";
    deliverMessages (80);
    EXPECT_EQ (knob ("ReverbSize").slider.getValue(), 80.0);
    EXPECT_FALSE (lamp ("Bypass").button.getToggleState());
}

TEST_F (Window, MayBeOneOfMany)
{
    open();
    auto second = std::make_unique<VarnelReverbAudioProcessor>();
    std::unique_ptr<juce::AudioProcessorEditor> other (second->createEditor());
    EXPECT_EQ (&other->getLookAndFeel(), &editor->getLookAndFeel());
    other.reset();
    second.reset();

    // The first is none the worse for it, also if it closes while a menu of its own is open.
    for (const auto place : { centreOf (selector()), centreOf (knob ("ReverbLo").slider), at (600, 540) })
    {
        screen.click (place, place == centreOf (selector()) ? 1 : 3);
        deliverMessages (200);
        EXPECT_GT (menuTexts().size(), 0);
        close();
        deliverMessages (200);
        open();
    }
}

// The address sanitizer looks for leaks in memory; the server counts its own.
TEST_F (Window, OpensAThousandTimesAndLeavesNothing)
{
    const auto cycle = [this] (int times)
    {
        for (int i = 0; i < times; ++i)
        {
            const std::unique_ptr<juce::AudioProcessorEditor> opened (processor->createEditor());
            opened->addToDesktop (juce::ComponentPeer::windowIsTemporary);
            opened->setVisible (true);
            deliverMessagesUntil ([]
                                  { return true; });
        }
        deliverMessages (200);
    };

    cycle (20);
    const auto windows = screen.numWindows();
    const auto resources = screen.numResources();
    cycle (1000);
    EXPECT_EQ (screen.numWindows(), windows);
    EXPECT_LE (screen.numResources(), resources + 10);
}

//==============================================================================
namespace
{

/** What the selector's menu holds, a line each: texts with ids, sub-menus indented, spacers by their height. */
juce::String describe (const juce::PopupMenu& menu, const juce::String& indent = {})
{
    juce::String lines;

    for (juce::PopupMenu::MenuItemIterator iterator (menu); iterator.next();)
    {
        auto& item = iterator.getItem();

        if (item.customComponent != nullptr)
        {
            int width = 0, height = 0;
            item.customComponent->getIdealSize (width, height);
            lines << indent << "spacer " << height;
        }
        else if (item.isSeparator)
            lines << indent << "---";
        else if (item.itemID == -1 || item.isSectionHeader)
            lines << indent << (item.isSectionHeader ? "# " : item.isEnabled ? ""
                                                                             : "(off) ")
                  << item.text;
        else
            lines << indent << item.itemID << " " << (item.isEnabled ? "" : "(off) ") << item.text;

        lines << (item.shouldBreakAfter ? " |\n" : "\n");

        if (item.subMenu != nullptr)
            lines << describe (*item.subMenu, indent + "  ");
    }

    return lines;
}

class Menu : public FreshHome
{
protected:
    juce::String menuWith (const juce::StringArray& userFiles, const juce::StringArray& factoryFiles, const juce::String& current = {})
    {
        const auto user = getUserPresetFolder (processor.settings), factory = home.getChildFile ("factory");
        user.deleteRecursively();
        factory.deleteRecursively();
        user.createDirectory();
        for (const auto& [root, files] : { std::pair { user, userFiles }, { factory, factoryFiles } })
            for (const auto& file : files)
                root.getChildFile (file + ".xml").create();

        processor.currentPresetFile = current.isEmpty() ? juce::File() : home.getChildFile (current);
        PresetManager manager (processor);
        manager.factoryRoot.folder = factory;
        manager.rescan();
        ComboBoxImproved box;
        const PresetManager::ComboBoxAttachment attachment (manager, box);
        shown = box.getText();
        selected = box.getSelectedId();
        return describe (*box.getRootMenu());
    }

    VarnelReverbAudioProcessor processor;
    juce::String shown;
    int selected = 0;
};

const juce::String commands ("(off) Save\nSave as..\nLoad\n---\n(off) Set as default\n---\nShow user preset folder\nShow factory preset folder\nChange user preset location\nRescan presets\nspacer 10\n");

} // namespace

TEST_F (Menu, LaysOutPresetsInColumns)
{
    EXPECT_EQ (menuWith ({}, {}), "spacer 5\n0 (off) User Presets\n0 (off) factory\n---\n" + commands);
    EXPECT_EQ (menuWith ({ "one", "Pads/two" }, { "New" }), "spacer 5\n0 User Presets\n  1 one\n  0 Pads\n    2 two\n0 factory\n  3 New\n---\n" + commands);

    // A root's loose files take their ids first, though they stand below the folders.
    EXPECT_EQ (menuWith ({ "loose", "Pads/Deep/down", "Pads/two" }, { "New", "Halls/Big" }, "Documents/Ostry/Varnel Reverb/User Presets/Pads/Deep/down.xml"),
               "# User Presets\nspacer 7\n-2 Pads\n  2 two\n  -2 Deep\n    3 down\n1 loose\nspacer 132 |\n"
               "# Factory Presets\nspacer 7\n0 Halls\n  5 Big\n4 New\nspacer 154 |\nspacer 20\n"
                   + commands.replace ("(off) ", ""));
    EXPECT_EQ (shown, "down");
    EXPECT_EQ (selected, 3);

    // Spacers: the user's column counts folders and files, the factory's folders alone.
    const auto columnsWith = [this] (int userFolders, int factoryFolders)
    {
        juce::StringArray letters;
        for (auto letter = 'a'; letter <= 'l'; ++letter)
            letters.add (juce::String::charToString (static_cast<juce::juce_wchar> (letter)) + "/p");
        const auto first = [&] (int number)
        { return juce::StringArray (letters.begin(), number); };
        const auto text = menuWith (first (userFolders), first (factoryFolders));
        juce::StringArray spacers;
        for (const auto& line : juce::StringArray::fromLines (text))
            if (line.startsWith ("spacer ") && line != "spacer 7" && line != "spacer 20" && line != "spacer 10")
                spacers.add (line.fromFirstOccurrenceOf ("spacer ", false, false).upToFirstOccurrenceOf (" ", false, false));
        return spacers.joinIntoString (",");
    };
    EXPECT_EQ (columnsWith (3, 12), "198");
    EXPECT_EQ (columnsWith (3, 2), "110,132");
    EXPECT_EQ (columnsWith (0, 2), "132");
    EXPECT_EQ (columnsWith (12, 2), "220");
    EXPECT_EQ (columnsWith (9, 9), "");

    menuWith ({ "a" }, {}, "elsewhere/Foreign.xml");
    EXPECT_EQ (shown, "Foreign");
    EXPECT_EQ (selected, 0);

    // Hosts of one format keep a default of their own.
    juce::PluginHostType::jucePlugInClientCurrentWrapperType = juce::AudioProcessor::wrapperType_AAX;
    EXPECT_FALSE (menuWith ({}, {}).contains ("Set as default"));
    juce::PluginHostType::jucePlugInClientCurrentWrapperType = juce::AudioProcessor::wrapperType_Undefined;
}
