// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "Host.h"
#include "processor/VarnelReverbAudioProcessor.h"

#include <memory>
#include <optional>

namespace varnel::clap
{

/** The plug-in's window within one of the host's. Sizes are in pixels of the screen. In an EventLoop::Turn. */
class Window : private juce::ComponentListener
{
public:
    /** @returns null if there is no screen */
    static std::unique_ptr<Window> create (VarnelReverbAudioProcessor& processor, Host& host);
    ~Window() override;

    static bool canBe (const char* api, bool isFloating);

    struct Size
    {
        uint32_t width, height;
        bool operator== (const Size&) const = default;
    };

    /** How many pixels of the screen one of the window's is, in place of what the system says. */
    bool setScale (double newScale);

    Size size() const;

    /** A size of the window's shape. */
    Size shape() const;

    /** The largest size of the window's shape within another one, or the smallest that there is. */
    Size fit (const Size& area) const;

    /** Takes the size that fits. @returns whether that is the very size */
    bool setSize (const Size& newSize);

    bool setParent (const clap_window_t& parent);

    /** @returns false if there is no parent yet */
    bool setVisible (bool shouldBeVisible);

private:
    /** What lies in the host's window, with the editor in it. */
    struct Frame : juce::Component
    {
        Frame() { setOpaque (true); }
        void paint (juce::Graphics& g) override { g.fillAll (juce::Colours::black); }
    };

    Window (VarnelReverbAudioProcessor& processor, Host& hostToUse);

    void componentMovedOrResized (juce::Component&, bool wasMoved, bool wasResized) override;

    double systemScale() const;
    double scale() const;
    Size sizeOf (int width, int height) const;
    void resizeEditor (int width, int height);
    void updateFrame();

    Host& host;
    std::unique_ptr<juce::AudioProcessorEditor> editor;
    Frame frame;
    std::optional<double> hostScale;
    bool isResizing = false; ///< at the host's wish
    int width, height;       ///< of the editor, as the host knows it

    JUCE_DECLARE_NON_COPYABLE (Window)
};

} // namespace varnel::clap
