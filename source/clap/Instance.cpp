// SPDX-License-Identifier: AGPL-3.0-only
#include "Instance.h"

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter();

namespace varnel::clap
{

namespace
{

std::unique_ptr<VarnelReverbAudioProcessor> createProcessor()
{
    return std::unique_ptr<VarnelReverbAudioProcessor> (dynamic_cast<VarnelReverbAudioProcessor*> (createPluginFilter()));
}

} // namespace

Instance::Instance (Host& hostToUse)
    : host (hostToUse),
      eventLoop (host),
      turn (std::in_place, eventLoop),
      owned (createProcessor()),
      processor (*owned),
      binding (processor),
      news (processor, host),
      parameters (processor, binding),
      blocks (binding, parameters, news)
{
    const auto stereo = juce::AudioChannelSet::stereo();
    binding.setLayout (stereo, stereo);
    turn.reset();
}

Instance::~Instance()
{
    turn.emplace (eventLoop);
}

} // namespace varnel::clap
