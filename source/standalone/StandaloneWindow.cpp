// SPDX-License-Identifier: AGPL-3.0-only
#include "StandaloneWindow.h"

#include "AudioSettings.h"
#include "processor/Product.h"

#include <cstdio>
#include <utility>

namespace varnel
{

namespace
{

constexpr auto answeredDevices = "inputAnsweredFor"; ///< the devices for which it is settled whether the input is heard
constexpr int noticeHeight = 30;

/** The first and the last four are JUCE's own. */
enum MenuItem
{
    settingsItem = 1,
    saveItem = 2,
    loadItem = 3,
    resetItem = 4,
    undoItem,
    redoItem,
    compareItem
};

const juce::KeyPress undoKey ('z', juce::ModifierKeys::commandModifier, 0);
const juce::KeyPress redoKey ('z', juce::ModifierKeys::commandModifier | juce::ModifierKeys::shiftModifier, 0);

juce::Colour windowColour()
{
    return juce::LookAndFeel::getDefaultLookAndFeel().findColour (juce::ResizableWindow::backgroundColourId);
}

/** Keeps JUCE's line about a muted input away: it has the place of ours, and says so without a sound card, too. */
struct Holder : juce::StandalonePluginHolder
{
    explicit Holder (juce::PropertySet& properties)
        : StandalonePluginHolder (&properties, false, {}, nullptr, {}, true)
    {
        processorHasPotentialFeedbackLoop = false;
    }

    void createPlugin() override
    {
        StandalonePluginHolder::createPlugin();
        processorHasPotentialFeedbackLoop = false;
    }
};

} // namespace

//==============================================================================
StandaloneWindow::Notice::Notice()
{
    text.setColour (juce::Label::textColourId, juce::Colours::black);
    addAndMakeVisible (text);
    addAndMakeVisible (settingsButton);
}

void StandaloneWindow::Notice::paint (juce::Graphics& g)
{
    g.fillAll (juce::Colour (0xfff7edc4));
}

void StandaloneWindow::Notice::resized()
{
    auto area = getLocalBounds().reduced (4);
    settingsButton.setBounds (area.removeFromRight (96));
    text.setBounds (area);
}

//==============================================================================
StandaloneWindow::StandaloneWindow (juce::PropertySet& settings)
    : StandaloneFilterWindow (product::name, windowColour(), std::make_unique<Holder> (settings)),
      properties (settings)
{
    JUCE_ASSERT_MESSAGE_THREAD

    // The keyboard goes to the instrument, and by the Tab key on to the rest.
    setWantsKeyboardFocus (false);
    followProcessor();

    notice.setLookAndFeel (&plainLook);
    notice.settingsButton.onClick = [this]
    { showSettings(); };
    Component::addChildComponent (notice);

    getDeviceManager().addChangeListener (this);
    pluginHolder->getMuteInputValue().addListener (this);

    // What there is to ask is asked in the middle of a window that is there.
    juce::MessageManager::callAsync ([window = SafePointer<StandaloneWindow> (this)]
                                     {
        if (window != nullptr)
            window->lookAtDevice(); });
}

StandaloneWindow::~StandaloneWindow()
{
    delete settingsWindow.getComponent();
    pluginHolder->getMuteInputValue().removeListener (this);
    getDeviceManager().removeChangeListener (this);
    history.reset();
    save();
    notice.setLookAndFeel (nullptr);
}

void StandaloneWindow::save()
{
    pluginHolder->savePluginState();
    pluginHolder->saveAudioDeviceState();
}

/** Follows a processor that is new. */
void StandaloneWindow::followProcessor()
{
    getContentComponent()->setExplicitFocusOrder (1);
    history.emplace (*getAudioProcessor());
    history->onChange = [this]
    { pluginHolder->savePluginState(); };
}

//==============================================================================
juce::BorderSize<int> StandaloneWindow::getContentComponentBorder() const
{
    return DocumentWindow::getContentComponentBorder().addedTo (juce::BorderSize<int> (notice.isVisible() ? noticeHeight : 0, 0, 0, 0));
}

void StandaloneWindow::resized()
{
    StandaloneFilterWindow::resized();
    const auto border = DocumentWindow::getContentComponentBorder();
    notice.setBounds (border.subtractedFrom (getLocalBounds()).withHeight (noticeHeight));
}

bool StandaloneWindow::keyPressed (const juce::KeyPress& key)
{
    if (key == undoKey)
        chosen (undoItem);
    else if (key == redoKey)
        chosen (redoItem);
    else
        return StandaloneFilterWindow::keyPressed (key);

    return true;
}

void StandaloneWindow::buttonClicked (juce::Button*)
{
    const auto addItem = [] (juce::PopupMenu& menu, int id, const juce::String& text, bool isEnabled, const juce::KeyPress& key)
    {
        juce::PopupMenu::Item item (text);
        item.itemID = id;
        item.isEnabled = isEnabled;
        item.shortcutKeyDescription = key.isValid() ? key.getTextDescription() : juce::String();
        menu.addItem (std::move (item));
    };

    juce::PopupMenu menu;
    menu.addItem (settingsItem, "Audio/MIDI Settings...");
    menu.addSeparator();
    addItem (menu, undoItem, "Undo", history->canUndo(), undoKey);
    addItem (menu, redoItem, "Redo", history->canRedo(), redoKey);
    addItem (menu, compareItem, history->isOnB() ? "A/B: B is heard, switch to A" : "A/B: A is heard, switch to B", true, {});
    menu.addSeparator();
    menu.addItem (saveItem, "Save current state...");
    menu.addItem (loadItem, "Load a saved state...");
    menu.addSeparator();
    menu.addItem (resetItem, "Reset to default state");

    menu.showMenuAsync ({}, [window = SafePointer<StandaloneWindow> (this)] (int item)
                        {
        if (window != nullptr)
            window->chosen (item); });
}

void StandaloneWindow::chosen (int item)
{
    switch (item)
    {
        case settingsItem:
            showSettings();
            break;

        case undoItem:
            history->undo();
            break;

        case redoItem:
            history->redo();
            break;

        case compareItem:
            history->compare();
            break;

        case resetItem:
            history.reset(); // goes before the processor that it follows
            resetToDefaultState();
            followProcessor();
            break;

        default:
            handleMenuResult (item);
            break;
    }
}

//==============================================================================
void StandaloneWindow::changeListenerCallback (juce::ChangeBroadcaster*)
{
    pluginHolder->saveAudioDeviceState();
    lookAtDevice();
}

void StandaloneWindow::valueChanged (juce::Value&)
{
    pluginHolder->saveAudioDeviceState();
    showNotice();
}

/** Asks what has to be asked about the present sound card. */
void StandaloneWindow::lookAtDevice()
{
    auto* const device = getDeviceManager().getCurrentAudioDevice();

    if (device == nullptr)
    {
        if (! std::exchange (missedDevice, true))
        {
            const juce::String title ("No sound card"), text ("There is no sound card that can be used, so there will be no sound. When one is there, choose it in Options > Audio/MIDI Settings.");
            std::fprintf (stderr, "varnel-reverb: %s: %s\n", title.toRawUTF8(), text.toRawUTF8());
            ask (title, text, { "OK" }, nullptr);
        }

        showNotice();
        return;
    }

    if (std::exchange (missedDevice, false))
        box.reset();

    const auto setup = getDeviceManager().getAudioDeviceSetup();
    const auto devices = (juce::StringArray { device->getTypeName(), setup.inputDeviceName, setup.outputDeviceName }).joinIntoString (" | ");

    // A laptop's microphone and its loudspeakers are two devices with two names: the names say nothing.
    const auto canHowl = ! device->getActiveInputChannels().isZero() && ! device->getActiveOutputChannels().isZero();

    if (canHowl && properties.getValue (answeredDevices) != devices)
    {
        pluginHolder->getMuteInputValue() = true;
        ask ("Could this howl?",
             "Sound comes in from " + setup.inputDeviceName.quoted() + " and goes out to " + setup.outputDeviceName.quoted() + ". With a microphone near a loudspeaker that is a loop, which howls. The input is muted until you let it through.",
             { "Let it through", "Keep it muted" },
             [this, devices] (int button)
             {
                 pluginHolder->getMuteInputValue() = button != 1;
                 properties.setValue (answeredDevices, devices);
             });
    }

    showNotice();
}

void StandaloneWindow::showNotice()
{
    auto* const device = getDeviceManager().getCurrentAudioDevice();
    const auto isMuted = device != nullptr && ! device->getActiveInputChannels().isZero() && static_cast<bool> (pluginHolder->getMuteInputValue().getValue());
    notice.text.setText (device != nullptr ? "The input is muted, so that nothing can howl." : "No sound card is in use: nothing is heard.", juce::dontSendNotification);

    if (const auto isNeeded = device == nullptr || isMuted; isNeeded != notice.isVisible())
    {
        const auto content = getContentComponent()->getBounds();
        notice.setVisible (isNeeded);
        setContentComponentSize (content.getWidth(), content.getHeight());
    }
}

void StandaloneWindow::showSettings()
{
    if (settingsWindow != nullptr)
        return;

    juce::DialogWindow::LaunchOptions options;
    options.content.setOwned (new AudioSettings (*pluginHolder));
    options.dialogTitle = "Audio/MIDI Settings";
    options.dialogBackgroundColour = plainLook.findColour (juce::ResizableWindow::backgroundColourId);
    options.componentToCentreAround = this;
    options.useNativeTitleBar = true;
    options.resizable = false;

    settingsWindow = options.create();
    settingsWindow->setLookAndFeel (&plainLook);
    settingsWindow->enterModalState (true, nullptr, true);
}

/** Shows a box in the middle of the window, in place of any that is open. @param answered  gets the button's number, from
    1; 0 if the box was closed by the Escape key */
void StandaloneWindow::ask (const juce::String& title, const juce::String& text, const juce::StringArray& buttons, std::function<void (int)> answered)
{
    box = std::make_unique<juce::AlertWindow> (title, text, buttons.size() > 1 ? juce::MessageBoxIconType::QuestionIcon : juce::MessageBoxIconType::InfoIcon, this);
    box->setLookAndFeel (&plainLook);

    for (int i = 0; i < buttons.size(); ++i)
        box->addButton (buttons[i], i + 1);

    const auto closed = [window = SafePointer<StandaloneWindow> (this), shown = SafePointer<juce::AlertWindow> (box.get()), answered = std::move (answered)] (int button)
    {
        if (window == nullptr || shown == nullptr)
            return;

        window->box.reset();

        if (answered != nullptr)
            answered (button);
    };

    box->enterModalState (true, juce::ModalCallbackFunction::create (closed));
}

} // namespace varnel
