// SPDX-License-Identifier: AGPL-3.0-only
#include "VarnelReverbAudioProcessor.h"

namespace varnel
{

namespace
{

const juce::Identifier stateType { "ReverbParams" };

juce::String onOffText (float value, int /*maximumLength*/)
{
    return value < 0.5f ? "Off" : "On";
}

} // namespace

//==============================================================================
VarnelReverbAudioProcessor::ParamChangeCallback::ParamChangeCallback (std::function<void (float)> onChangeToUse, std::atomic<float>* rawValueToUse)
    : onChange (std::move (onChangeToUse)), rawValue (rawValueToUse)
{
}

void VarnelReverbAudioProcessor::ParamChangeCallback::parameterChanged (const juce::String&, float newValue)
{
    onChange (newValue);
}

//==============================================================================
VarnelReverbAudioProcessor::VarnelReverbAudioProcessor()
    : AudioProcessor (BusesProperties()
                          .withInput ("Input", juce::AudioChannelSet::stereo(), false)
                          .withOutput ("Output", juce::AudioChannelSet::stereo(), false)),
      parameterState (*this, nullptr)
{
    for (const auto& parameter : parameterTable)
        addParameterWithCallback (parameter.id,
                                  parameter.name,
                                  parameter.label,
                                  { parameter.start, parameter.end, parameter.interval },
                                  parameter.defaultValue,
                                  parameter.isSwitch ? onOffText : std::function<juce::String (float, int)>(),
                                  {},
                                  [this, apply = parameter.apply] (float value)
                                  { (engine.*apply) (value); });

    // Only now, with all parameters there, may the tree be given its type. The children are made here:
    // JUCE would move a default that lies between two steps to one of them.
    juce::ValueTree tree (stateType);

    for (size_t i = 0; i < paramIds.size(); ++i)
        tree.appendChild ({ "PARAM", { { "id", paramIds[i] }, { "value", paramCallbacks[i]->rawValue->load() } } }, nullptr);

    parameterState.state = tree;
}

VarnelReverbAudioProcessor::~VarnelReverbAudioProcessor() = default;

void VarnelReverbAudioProcessor::addParameterWithCallback (const juce::String& id,
                                                           const juce::String& name,
                                                           const juce::String& label,
                                                           const juce::NormalisableRange<float>& range,
                                                           float defaultValue,
                                                           std::function<juce::String (float, int)> valueToText,
                                                           std::function<float (const juce::String&)> textToValue,
                                                           std::function<void (float)> onChange)
{
    parameterState.createAndAddParameter (std::make_unique<juce::AudioParameterFloat> (
        juce::ParameterID (id, 1),
        name,
        range,
        defaultValue,
        juce::AudioParameterFloatAttributes()
            .withLabel (label)
            .withStringFromValueFunction (std::move (valueToText))
            .withValueFromStringFunction (std::move (textToValue))));

    paramCallbacks.emplace_back (new ParamChangeCallback (std::move (onChange), parameterState.getRawParameterValue (id)));
    *paramCallbacks.back()->rawValue = defaultValue; // JUCE starts the raw value at the nearest step
    parameterState.addParameterListener (id, paramCallbacks.back().get());

    if (label != "Bool")
    {
        paramIds.push_back (id);
        midiControllers.emplace_back (notBound);
    }
}

/** Carries every parameter's present value into the engine, in host order. */
void VarnelReverbAudioProcessor::refreshEngine()
{
    for (const auto& callback : paramCallbacks)
        callback->parameterChanged ({}, *callback->rawValue);
}

//==============================================================================
const juce::String VarnelReverbAudioProcessor::getName() const
{
    return "Varnel Reverb";
}

void VarnelReverbAudioProcessor::prepareToPlay (double sampleRate, int /*samplesPerBlock*/)
{
    engine.prepare (sampleRate, getTotalNumInputChannels());
    refreshEngine();
}

void VarnelReverbAudioProcessor::releaseResources()
{
}

void VarnelReverbAudioProcessor::processBlock (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi)
{
    engine.processBlock (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), buffer.getNumSamples());
    scanControllers (midi);
}

/** Binds parameters that are learning and tells the listeners of bound ones what their controller says.
    The parameters stay as they are: a listener, the host's wrapper, has to answer by setting them. */
void VarnelReverbAudioProcessor::scanControllers (const juce::MidiBuffer& midi)
{
    for (const auto message : midi)
    {
        if (message.numBytes < 3 || (message.data[0] & 0xf0) != 0xb0)
            continue;

        const int controller = message.data[1];
        const auto value = static_cast<float> (message.data[2]) / 127.0f;

        for (size_t i = 0; i < midiControllers.size(); ++i)
        {
            if (midiControllers[i] == learning)
            {
                midiControllers[i] = controller;
                midiMapDirty = true;
            }

            if (midiControllers[i] == controller)
                if (auto* parameter = parameterState.getParameter (paramIds[i]))
                    parameter->sendValueChangedMessageToListeners (value);
        }
    }
}

double VarnelReverbAudioProcessor::getTailLengthSeconds() const
{
    return 0.0;
}

bool VarnelReverbAudioProcessor::acceptsMidi() const
{
    return true;
}

bool VarnelReverbAudioProcessor::producesMidi() const
{
    return false;
}

bool VarnelReverbAudioProcessor::isMidiEffect() const
{
    return false;
}

bool VarnelReverbAudioProcessor::hasEditor() const
{
    return true;
}

//==============================================================================
int VarnelReverbAudioProcessor::getNumPrograms()
{
    return 1;
}

int VarnelReverbAudioProcessor::getCurrentProgram()
{
    return 0;
}

void VarnelReverbAudioProcessor::setCurrentProgram (int)
{
}

const juce::String VarnelReverbAudioProcessor::getProgramName (int)
{
    return {};
}

void VarnelReverbAudioProcessor::changeProgramName (int, const juce::String&)
{
}

//==============================================================================
void VarnelReverbAudioProcessor::getStateInformation (juce::MemoryBlock& destData)
{
    if (const auto xml = parameterState.copyState().createXml())
        copyXmlToBinary (*xml, destData);
}

void VarnelReverbAudioProcessor::setStateInformation (const void* data, int sizeInBytes)
{
    if (const auto xml = getXmlFromBinary (data, sizeInBytes))
        if (xml->hasTagName (stateType))
            parameterState.replaceState (juce::ValueTree::fromXml (*xml));
}

} // namespace varnel
