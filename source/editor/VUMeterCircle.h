// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace varnel
{

/** A bar meter that is seen through a curved window: fifty horizontal bars, clipped to a segment of a ring.

    A rise shows at once, a fall takes a fifth of the way at each update, and the peak is held for fifty
    updates. Full scale, 1.0, is near bar 40; the red begins behind it. Message thread.
*/
class VUMeterCircle : public juce::Component
{
public:
    VUMeterCircle();

    /** Takes the highest magnitude since the last call, 1.0 being full scale, and shows it. To be called every 40 ms. */
    void setLevel (float value);

    void paint (juce::Graphics& g) override;

    float fall = 0.2f;       ///< share of the way down that is taken at each update
    float level = 0.0f;      ///< shown, linear
    float peak = 0.0f;       ///< held, linear
    int holdCounter = 0;     ///< updates left before the peak drops
    float radius = 0.0f;     ///< twice the outer radius of the ring, in pixels
    float startAngle = 0.0f; ///< radians from the top, of the outer end; negative on the left
    float innerAngle = 0.0f; ///< radians, of the inner end
    float arcCentreY = 0.0f; ///< of the ring, in the meter's own pixels; its x is the edge between left and right

private:
    void repaintWhatChanged();

    double shownLit = 0.0; ///< bars, when they were last repainted
    int shownPeakBar = 0;
    juce::Image bars; ///< all of them, unlit

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (VUMeterCircle)
};

} // namespace varnel
