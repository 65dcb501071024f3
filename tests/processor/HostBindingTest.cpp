// SPDX-License-Identifier: AGPL-3.0-only
// The binding driven as a host would: layouts, chunk and bypass.

#include "processor/HostBinding.h"
#include "support/Plugin.h"

using varnel::HostBinding;

namespace
{

const auto mono = juce::AudioChannelSet::mono();
const auto stereo = juce::AudioChannelSet::stereo();

class Host : public FreshHome
{
protected:
    Host()
    {
        EXPECT_TRUE (binding.setLayout (stereo, stereo));
        binding.prepare (48000.0, 64);
    }

    varnel::VarnelReverbAudioProcessor processor;
    HostBinding binding { processor };
};

} // namespace

TEST_F (Host, TakesTheLayoutsOfEveryFormat)
{
    EXPECT_EQ (binding.latency(), 0);

    for (const auto& [in, out] : { std::pair (mono, mono), std::pair (mono, stereo), std::pair (stereo, stereo), std::pair (juce::AudioChannelSet::create5point1(), juce::AudioChannelSet::create5point1()) })
        EXPECT_TRUE (binding.accepts (in, out)) << in.getDescription() << " to " << out.getDescription();

    EXPECT_FALSE (binding.setParameter ("PreviewID", 1.0f));
    EXPECT_FALSE (binding.parameterValue ("PreviewID"));
}

TEST_F (Host, HasABypassOfItsOwn)
{
    juce::MidiBuffer midi;
    juce::AudioBuffer<float> buffer (2, 64);
    const auto run = [&] (float value)
    {
        buffer.clear();
        buffer.setSample (0, 0, value);
        binding.process (buffer, midi);
        return buffer.getSample (0, 0);
    };

    EXPECT_NE (run (1.0f), 1.0f);
    EXPECT_TRUE (binding.setParameter (HostBinding::masterBypassId, 0.5f));
    EXPECT_EQ (run (1.0f), 1.0f);
    EXPECT_EQ (get (processor, "Bypass"), 1.0f) << "the effect's own switch is another thing";
    EXPECT_EQ (chunkOf (processor), *binding.chunk (HostBinding::chunkType)) << "and the host's is not in the state";
    EXPECT_TRUE (binding.setParameter (HostBinding::masterBypassId, 0.0f));
    EXPECT_NE (run (1.0f), 1.0f);
}

TEST_F (Host, StoresAndRestoresOneChunk)
{
    EXPECT_TRUE (binding.setParameter ("ReverbSize", 0.71f));
    const auto chunk = binding.chunk (HostBinding::chunkType);
    ASSERT_TRUE (chunk);
    EXPECT_FALSE (binding.chunk (0x52366939));

    EXPECT_TRUE (binding.setParameter ("ReverbSize", 0.1f));
    EXPECT_TRUE (binding.setChunk (0x52366939, chunk->getData(), chunk->getSize()).failed());
    EXPECT_EQ (get (processor, "ReverbSize"), 10.0f);
    EXPECT_TRUE (binding.setChunk (HostBinding::chunkType, chunk->getData(), chunk->getSize()).wasOk());
    EXPECT_EQ (get (processor, "ReverbSize"), 71.0f);
}
