// SPDX-License-Identifier: AGPL-3.0-only
#include "VarnelReverbAudioProcessorEditor.h"

namespace varnel
{

VarnelReverbAudioProcessorEditor::VarnelReverbAudioProcessorEditor (VarnelReverbAudioProcessor& processorToShow)
    : GenericAudioProcessorEditor (processorToShow)
{
}

// The processor knows no editor; what it needs to open one stands here.
juce::AudioProcessorEditor* VarnelReverbAudioProcessor::createEditor()
{
    return new VarnelReverbAudioProcessorEditor (*this);
}

} // namespace varnel
