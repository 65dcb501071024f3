// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "processor/VarnelReverbAudioProcessor.h"

namespace varnel
{

/** The plug-in's window: for now JUCE's generic panel, a slider for each of the seven parameters. */
class VarnelReverbAudioProcessorEditor : public juce::GenericAudioProcessorEditor
{
public:
    explicit VarnelReverbAudioProcessorEditor (VarnelReverbAudioProcessor& processorToShow);

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (VarnelReverbAudioProcessorEditor)
};

} // namespace varnel
