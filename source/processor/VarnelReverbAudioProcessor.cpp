// SPDX-License-Identifier: AGPL-3.0-only
#include "VarnelReverbAudioProcessor.h"

#include "NksRequests.h"
#include "Places.h"
#include "PresetFile.h"
#include "Settings.h"
#include "StateChunk.h"
#include "processor/Product.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace varnel
{

namespace
{

constexpr double highestRate = 1e7; ///< Hz, far beyond what anybody uses and within what the delay lines can hold

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
VarnelReverbAudioProcessor::VarnelReverbAudioProcessor (UserSettings userSettings, Buses buses)
    : AudioProcessor (BusesProperties()
                          .withInput ("Input", juce::AudioChannelSet::stereo(), buses == Buses::on)
                          .withOutput ("Output", juce::AudioChannelSet::stereo(), buses == Buses::on)),
      parameterState (*this, nullptr),
      presetArrival ([this]
                     { takeArrivedPreset(); })
{
    settings.setStorageParameters (checkedStorage (settingsStorage (userSettings == UserSettings::used)));

    for (size_t i = 0; i < parameterTable.size(); ++i)
    {
        const auto& parameter = parameterTable[i];
        engineValues[i] = parameter.defaultValue;
        addParameterWithCallback (parameter.id,
                                  parameter.name,
                                  parameter.label,
                                  { parameter.start, parameter.end, parameter.interval },
                                  parameter.defaultValue,
                                  parameter.isSwitch ? onOffText : std::function<juce::String (float, int)>(),
                                  {},
                                  [this, i] (float value)
                                  { changeEngine (i, value); });
    }

    if (userSettings == UserSettings::used)
        midiControllers.read (*settings.getUserSettings());

    // Only now, with all parameters there, may the tree be given its type. The children are made here:
    // JUCE would move a default that lies between two steps to one of them.
    parameterState.state = treeFromState ({});

    settingsStore = &settings;

    if (userSettings == UserSettings::used)
        applyDefaultPreset();
}

VarnelReverbAudioProcessor::~VarnelReverbAudioProcessor()
{
    if (midiMapDirty)
        midiControllers.save (*settings.getUserSettings());
}

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
    parameterState.addParameterListener (id, paramCallbacks.back().get());
    rawParameters.push_back (std::make_unique<RawParameter> (parameterState, id, defaultValue, *paramCallbacks.back()));

    // The first message that reaches a listener makes JUCE allocate: better here than on the audio thread, where hosts
    // set parameters and controllers speak.
    rawParameters.back()->tell (rawParameters.back()->parameter.getValue());

    if (label != "Bool")
    {
        paramIds.push_back (id);
        midiControllers.add (*rawParameters.back());
    }
}

void VarnelReverbAudioProcessor::applyDefaultPreset()
{
    defaultPresetFile = getDefaultPresetFile (settings);

    if (const auto preset = readPresetFile (defaultPresetFile); preset.form == PresetFile::Form::preset || preset.form == PresetFile::Form::otherXml)
    {
        applyState (preset.state);
        currentPresetFile = defaultPresetFile;
    }

    currentPresetName = {};
}

//==============================================================================
/** Where every change of a parameter arrives, on its thread. A host may set a parameter to what is no number, and JUCE
    lets it pass: the parameter then goes back to where it was. */
void VarnelReverbAudioProcessor::changeEngine (size_t index, float value)
{
    if (rawParameters[index]->isOnlyTold())
        return;

    if (! std::isfinite (value))
    {
        rawParameters[index]->moveTo (engineValues[index]);
        return;
    }

    engineValues[index] = value;

    if (refreshFollowsOn != juce::Thread::getCurrentThreadId())
        (engine.*parameterTable[index].apply) (value);
}

void VarnelReverbAudioProcessor::tellValuesOffDefault()
{
    for (const auto& raw : rawParameters)
        if (const auto value = raw->parameter.getValue(); ! juce::exactlyEqual (value, raw->parameter.getDefaultValue()))
            raw->tell (value);
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
    return product::name;
}

void VarnelReverbAudioProcessor::prepareToPlay (double sampleRate, int /*samplesPerBlock*/)
{
    // Some hosts prepare before they know the rate.
    const auto isRate = sampleRate > 0.0 && sampleRate <= highestRate;
    engine.prepare (isRate ? sampleRate : static_cast<double> (engine.sampleRate), getTotalNumInputChannels());
    refreshEngine();
}

void VarnelReverbAudioProcessor::releaseResources()
{
}

void VarnelReverbAudioProcessor::processBlock (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi)
{
    engine.processBlock (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), buffer.getNumSamples());
    midiControllers.scan (midi);
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
    // A VST3 host shows a list of programs, in which the only one needs a name.
    return wrapperType == wrapperType_VST3 ? getName() : juce::String();
}

void VarnelReverbAudioProcessor::changeProgramName (int, const juce::String&)
{
}

//==============================================================================
void VarnelReverbAudioProcessor::getStateInformation (juce::MemoryBlock& destData)
{
    StateChunk::write (copyParameterState(), destData);
}

void VarnelReverbAudioProcessor::setStateInformation (const void* data, int sizeInBytes)
{
    restoreState (data, sizeInBytes);
}

juce::Result VarnelReverbAudioProcessor::restoreState (const void* data, int sizeInBytes)
{
    StateChunk chunk;
    auto result = chunk.read (data, sizeInBytes);

    if (result.failed())
        return result;

    if (chunk.isBinaryRecord)
        chunk.state.presetName = "/" + *chunk.state.presetName;

    install (chunk.state);
    const auto name = chunk.state.presetName.value_or (juce::String());
    takeNamedPreset (chunk.isBinaryRecord ? NamedPreset { name, juce::File (name), name } : NamedPreset { name, fileFromPath (name), {} });
    return result;
}

/** Replaces the parameter tree by one that has our root and all seven values. */
void VarnelReverbAudioProcessor::install (const ParameterState& state)
{
    const juce::ScopedLock lock (treeLock);

    // JUCE moves what it finds in a tree to the nearest step. A default that lies between two steps is set beforehand.
    for (size_t i = 0; i < Parameter::count; ++i)
        if (const auto value = state.values[i]; juce::exactlyEqual (value, parameterTable[i].defaultValue) && ! juce::exactlyEqual (value, rawParameters[i]->value()))
            rawParameters[i]->moveTo (value);

    parameterState.replaceState (treeFromState (state));
}

juce::ValueTree VarnelReverbAudioProcessor::copyParameterState()
{
    const juce::ScopedLock lock (treeLock);
    return parameterState.copyState();
}

juce::ValueTree VarnelReverbAudioProcessor::getParameterState()
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED
    const juce::ScopedLock lock (treeLock);
    parameterState.copyState(); // writes what the parameters are at into the tree
    return parameterState.state;
}

void VarnelReverbAudioProcessor::setParameterState (const juce::ValueTree& tree)
{
    applyState (stateFromTree (tree));
}

void VarnelReverbAudioProcessor::applyState (const ParameterState& state)
{
    {
        const juce::ScopedLock lock (treeLock);
        refreshFollowsOn = juce::Thread::getCurrentThreadId();
        install (state);
        refreshFollowsOn = nullptr;
    }

    refreshEngine();
    tellHostOfPreset();
}

void VarnelReverbAudioProcessor::setPresetName (const juce::String& name)
{
    {
        const juce::ScopedLock lock (treeLock);
        parameterState.state.setProperty (stateIds::presetName, name, nullptr);
    }

    tellHostOfPreset();
}

/** Tells the host that the chunk it would get now is another, even if no parameter has moved. */
void VarnelReverbAudioProcessor::tellHostOfPreset()
{
    updateHostDisplay (ChangeDetails().withNonParameterStateChanged (true));
}

void VarnelReverbAudioProcessor::loadBinaryPreset (const juce::File& file)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED
    auto record = readBinaryRecordFile (file);

    if (! record)
        return;

    currentPresetName = "/" + *record->state.presetName;
    record->state.presetName = currentPresetFile.getFullPathName();
    applyState (record->state);
}

//==============================================================================
/** Hands the preset of a state that has been restored to the message thread, to which the current preset belongs. */
void VarnelReverbAudioProcessor::takeNamedPreset (NamedPreset preset)
{
    const auto isMessageThread = juce::MessageManager::existsAndIsCurrentThread();

    {
        const juce::ScopedLock lock (treeLock);
        arrivedPreset = std::move (preset);
    }

    if (isMessageThread)
        takeArrivedPreset();
    else
        presetArrival.triggerAsyncUpdate();
}

void VarnelReverbAudioProcessor::takeArrivedPreset()
{
    {
        const juce::ScopedLock lock (treeLock);
        const auto arrived = std::exchange (arrivedPreset, std::nullopt);

        // Another preset may have been loaded in the meantime.
        if (! arrived || parameterState.state.getProperty (stateIds::presetName).toString() != arrived->nameInTree)
            return;

        currentPresetFile = arrived->file;

        if (arrived->name)
            currentPresetName = *arrived->name;
    }

    tellCurrentPresetChanged();
}

//==============================================================================
juce::pointer_sized_int VarnelReverbAudioProcessor::handleVstPluginCanDo (juce::int32, juce::pointer_sized_int, void* ptr, float)
{
    return ptr != nullptr && std::strcmp (static_cast<const char*> (ptr), "NKSCallbacks") == 0 ? 1 : 0;
}

juce::pointer_sized_int VarnelReverbAudioProcessor::handleVstManufacturerSpecific (juce::int32 index, juce::pointer_sized_int value, void* ptr, float)
{
    return answerNksRequest (index, value, ptr);
}

std::intptr_t VARNEL_COM_CALL VarnelReverbAudioProcessor::nksCall (std::int32_t index, std::intptr_t value, void* ptr, float opt)
{
    return handleVstManufacturerSpecific (index, value, ptr, opt);
}

std::uint32_t VARNEL_COM_CALL VarnelReverbAudioProcessor::addRef()
{
    return ++nksReferences;
}

std::uint32_t VARNEL_COM_CALL VarnelReverbAudioProcessor::release()
{
    return --nksReferences;
}

nks::Result VARNEL_COM_CALL VarnelReverbAudioProcessor::queryInterface (const nks::InterfaceId, void** obj)
{
    if (obj != nullptr)
        *obj = nullptr;

    return nks::notImplemented;
}

} // namespace varnel
