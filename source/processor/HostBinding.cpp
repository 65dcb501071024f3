// SPDX-License-Identifier: AGPL-3.0-only
#include "HostBinding.h"

#include "processor/Product.h"

#include <string_view>

namespace varnel
{

// The wrappers of the formats are told the same.
static_assert (product::makerCode == JucePlugin_ManufacturerCode);
static_assert (product::productCode == JucePlugin_PluginCode);
static_assert (product::versionCode == JucePlugin_VersionCode);
static_assert (std::string_view (product::name) == JucePlugin_Name);
static_assert (std::string_view (product::maker) == JucePlugin_Manufacturer);
static_assert (std::string_view (product::effectId) == JUCE_STRINGIFY (JucePlugin_AAXIdentifier));

HostBinding::HostBinding (VarnelReverbAudioProcessor& processorToBind)
    : processor (processorToBind)
{
}

bool HostBinding::accepts (const juce::AudioChannelSet& input, const juce::AudioChannelSet& output) const
{
    return processor.checkBusesLayoutSupported ({ { input }, { output } });
}

bool HostBinding::setLayout (const juce::AudioChannelSet& input, const juce::AudioChannelSet& output)
{
    return processor.setBusesLayout ({ { input }, { output } });
}

void HostBinding::prepare (double sampleRate, int largestBlock)
{
    processor.setRateAndBufferSizeDetails (sampleRate, largestBlock);
    processor.prepareToPlay (sampleRate, largestBlock);
}

void HostBinding::process (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi)
{
    if (bypassedByHost)
        processor.processBlockBypassed (buffer, midi);
    else
        processor.processBlock (buffer, midi);
}

void HostBinding::forgetTail()
{
    processor.engine.clear();
}

int HostBinding::latency() const
{
    return processor.getLatencySamples();
}

//==============================================================================
bool HostBinding::setParameter (const juce::String& id, float value)
{
    if (id == masterBypassId)
    {
        bypassedByHost = value >= 0.5f;
        return true;
    }

    auto* const parameter = processor.parameterState.getParameter (id);

    if (parameter != nullptr)
        parameter->setValueNotifyingHost (value);

    return parameter != nullptr;
}

std::optional<float> HostBinding::parameterValue (const juce::String& id) const
{
    if (id == masterBypassId)
        return bypassedByHost ? 1.0f : 0.0f;

    if (const auto* const parameter = processor.parameterState.getParameter (id))
        return parameter->getValue();

    return {};
}

void HostBinding::setPlainValue (size_t index, float value)
{
    if (auto& parameter = processor.rawParameter (index); ! juce::exactlyEqual (value, parameter.value()))
        parameter.moveTo (value);
}

float HostBinding::plainValue (size_t index) const
{
    return processor.rawParameter (index).value();
}

std::optional<juce::MemoryBlock> HostBinding::chunk (juce::uint32 type) const
{
    if (type != chunkType)
        return {};

    juce::MemoryBlock data;
    processor.getStateInformation (data);
    return data;
}

juce::Result HostBinding::setChunk (juce::uint32 type, const void* data, size_t numBytes)
{
    if (type != chunkType)
        return juce::Result::fail ("is of an unknown type");

    return processor.restoreState (data, static_cast<int> (numBytes));
}

} // namespace varnel
