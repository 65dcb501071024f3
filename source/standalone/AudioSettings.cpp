// SPDX-License-Identifier: AGPL-3.0-only
#include "AudioSettings.h"

namespace varnel
{

namespace
{

constexpr int width = 520, edge = 12, rowHeight = 28, noteHeight = 44;
constexpr int numChannels = 2;

} // namespace

AudioSettings::AudioSettings (juce::StandalonePluginHolder& holder)
    : devices (holder.deviceManager),
      selector (devices, 0, numChannels, 0, numChannels, true, false, true, false)
{
    JUCE_ASSERT_MESSAGE_THREAD
    setOpaque (true);

    note.setJustificationType (juce::Justification::centredLeft);
    note.setColour (juce::Label::textColourId, juce::Colour (0xffffd24a));
    note.setMinimumHorizontalScale (1.0f);
    addChildComponent (note);

    muteButton.setClickingTogglesState (true);
    muteButton.getToggleStateValue().referTo (holder.getMuteInputValue());
    addAndMakeVisible (muteButton);
    addAndMakeVisible (selector);

    devices.addChangeListener (this);
    setSize (width, 400);
    layOut();
}

AudioSettings::~AudioSettings()
{
    devices.removeChangeListener (this);
}

void AudioSettings::paint (juce::Graphics& g)
{
    g.fillAll (findColour (juce::ResizableWindow::backgroundColourId));
}

/** JUCE's lists paint what they say of emptiness where their rows hide it. */
void AudioSettings::paintOverChildren (juce::Graphics& g)
{
    const std::function<void (const juce::Component&)> visit = [&] (const juce::Component& parent)
    {
        for (auto* child : parent.getChildren())
        {
            auto* const list = dynamic_cast<juce::ListBox*> (child);

            if (list == nullptr)
                visit (*child);
            else if (list->isVisible() && list->getListBoxModel()->getNumRows() == 0)
                g.drawText ("none found", getLocalArea (&parent, list->getBounds()), juce::Justification::centred, false);
        }
    };

    g.setColour (findColour (juce::Label::textColourId));
    visit (selector);
}

void AudioSettings::resized()
{
    layOut();
}

void AudioSettings::childBoundsChanged (juce::Component* child)
{
    if (child == &selector)
        layOut();
}

void AudioSettings::changeListenerCallback (juce::ChangeBroadcaster*)
{
    layOut();
}

/** As high as its content; the selector knows its own height. */
void AudioSettings::layOut()
{
    auto* const type = devices.getCurrentDeviceTypeObject();
    const auto isEmpty = type == nullptr || (type->getDeviceNames (false).isEmpty() && type->getDeviceNames (true).isEmpty());
    auto text = juce::String();

    if (devices.getCurrentAudioDevice() == nullptr)
        text = isEmpty ? "No sound card was found" + (type != nullptr ? " by " + type->getTypeName() : juce::String()) + ". Plug one in or start its server, then choose its type anew."
                       : juce::String ("No sound card is in use: choose an output.");

    note.setText (text, juce::dontSendNotification);
    note.setVisible (text.isNotEmpty());

    auto y = edge;

    if (note.isVisible())
    {
        note.setBounds (edge, y, getWidth() - 2 * edge, noteHeight);
        y += noteHeight;
    }

    // Where the selector has its own boxes
    const auto boxes = juce::roundToInt (static_cast<float> (getWidth()) * 0.35f);
    muteButton.setBounds (boxes - 4, y, getWidth() - boxes - edge, rowHeight);
    y += rowHeight;

    selector.setBounds (0, y, getWidth(), selector.getHeight());
    setSize (getWidth(), y + selector.getHeight() + edge);
}

} // namespace varnel
