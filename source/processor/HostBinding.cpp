// SPDX-License-Identifier: AGPL-3.0-only
#include "HostBinding.h"

#include <cmath>
#include <string_view>

namespace varnel
{

namespace
{

constexpr int answerInterval = 20; ///< ms: below what a hand on a controller notices

// The build tells the formats' wrappers the same.
static_assert (HostBinding::manufacturerCode == JucePlugin_ManufacturerCode);
static_assert (HostBinding::productCode == JucePlugin_PluginCode);
static_assert (HostBinding::version == JucePlugin_VersionCode);
static_assert (std::string_view (HostBinding::name) == JucePlugin_Name);
static_assert (std::string_view (HostBinding::manufacturer) == JucePlugin_Manufacturer);
static_assert (std::string_view (HostBinding::effectId) == JUCE_STRINGIFY (JucePlugin_AAXIdentifier));

} // namespace

HostBinding::HostBinding (VarnelReverbAudioProcessor& processorToBind)
    : processor (processorToBind)
{
    for (auto& message : messages)
        message = noMessage;

    if (! hostAnswers (processor.wrapperType))
    {
        processor.addListener (this);
        startTimer (answerInterval);
    }
}

HostBinding::~HostBinding()
{
    stopTimer();
    processor.removeListener (this);
}

bool HostBinding::hostAnswers (juce::AudioProcessor::WrapperType format)
{
    return format == juce::AudioProcessor::wrapperType_VST3 || format == juce::AudioProcessor::wrapperType_AAX;
}

//==============================================================================
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

//==============================================================================
juce::RangedAudioParameter& HostBinding::parameterAt (size_t index) const
{
    return *processor.parameterState.getParameter (processor.paramIds[index]);
}

/** Keeps what a controller says, and drops it when a change that has been made comes after it. In a change the parameter
    is where the value puts it; in a message it is not yet. Any thread, the audio thread too. */
void HostBinding::audioProcessorParameterChanged (juce::AudioProcessor*, int index, float told)
{
    if (answeringThread == juce::Thread::getCurrentThreadId())
        return; // our own answer, behind which another message may have come already

    const auto& parameter = *static_cast<const juce::RangedAudioParameter*> (processor.getParameters()[index]);
    const auto wanted = parameter.convertTo0to1 (parameter.convertFrom0to1 (told));
    const auto isMessage = std::isfinite (told) && ! juce::exactlyEqual (wanted, parameter.getValue());
    messages[static_cast<size_t> (index)].store (isMessage ? told : noMessage, std::memory_order_relaxed);
}

void HostBinding::answerMessages()
{
    answeringThread = juce::Thread::getCurrentThreadId();

    for (size_t i = 0; i < messages.size(); ++i)
    {
        const auto told = messages[i].exchange (noMessage, std::memory_order_relaxed);

        if (juce::exactlyEqual (told, noMessage))
            continue;

        auto& parameter = parameterAt (i);
        const auto isOurGesture = ! inGesture[i];

        if (isOurGesture)
            parameter.beginChangeGesture();

        parameter.setValueNotifyingHost (told);

        if (isOurGesture)
            parameter.endChangeGesture();
    }

    answeringThread = nullptr;
}

void HostBinding::audioProcessorParameterChangeGestureBegin (juce::AudioProcessor*, int index)
{
    inGesture[static_cast<size_t> (index)] = true;
}

void HostBinding::audioProcessorParameterChangeGestureEnd (juce::AudioProcessor*, int index)
{
    inGesture[static_cast<size_t> (index)] = false;
}

void HostBinding::timerCallback()
{
    answerMessages();
}

} // namespace varnel
