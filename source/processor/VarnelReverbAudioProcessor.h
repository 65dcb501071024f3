// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "MidiControllerMap.h"
#include "NksPlugin.h"
#include "ParameterTable.h"
#include "PresetProcessor.h"
#include "RawParameter.h"
#include "engine/ReverbEngine.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <array>
#include <functional>
#include <vector>

namespace varnel
{

/** The plug-in: seven parameters, the engine behind them, the user's settings and a map of MIDI controllers.

    Threads: processBlock() on the host's audio thread; construction, destruction and createEditor() on
    the message thread; parameter changes, state and prepareToPlay() on any. A parameter's change reaches
    the engine on the thread that makes it, without a lock. prepareToPlay() must not overlap a block.

    Whatever a value comes from, the engine is only given finite ones.
*/
class VarnelReverbAudioProcessor : public juce::AudioProcessor,
                                   public PresetProcessor,
                                   public juce::VST2ClientExtensions,
                                   public nks::INKS1Plugin
{
public:
    /** What a parameter does when it changes: hands the plain value on to onChange, on the thread of the change. */
    struct ParamChangeCallback : juce::AudioProcessorValueTreeState::Listener,
                                 juce::ReferenceCountedObject
    {
        ParamChangeCallback (std::function<void (float)> onChangeToUse, std::atomic<float>* rawValueToUse);

        void parameterChanged (const juce::String& id, float newValue) override;

        std::function<void (float)> onChange;
        std::atomic<float>* rawValue; ///< owned by the parameter state
    };

    /** Whose settings an instance starts from. */
    enum class UserSettings
    {
        used,   ///< the user's file: the MIDI map and the default preset come from it, changes go to it
        ignored ///< the parameters' defaults and an empty map; the file is never written
    };

    /** Whether the two buses are on before anybody sets a layout. */
    enum class Buses
    {
        off,
        on
    };

    explicit VarnelReverbAudioProcessor (UserSettings userSettings = UserSettings::used, Buses buses = Buses::off);

    /** Saves the MIDI map, if it changed, and the settings. */
    ~VarnelReverbAudioProcessor() override;

    const juce::String getName() const override;

    /** Builds the engine for a sample rate in Hz, which drops any tail. What cannot be a rate counts as the last one that
        could, 44100 Hz at first. The block size is free. @throws std::bad_alloc */
    void prepareToPlay (double sampleRate, int samplesPerBlock) override;
    void releaseResources() override;

    /** Reverberates channels 0 and 1 in place, then looks for controllers in the MIDI. Any number of
        channels and samples will do, also none. */
    void processBlock (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override;
    using juce::AudioProcessor::processBlock;

    double getTailLengthSeconds() const override;
    bool acceptsMidi() const override;
    bool producesMidi() const override;
    bool isMidiEffect() const override;

    juce::AudioProcessorEditor* createEditor() override;
    bool hasEditor() const override;

    int getNumPrograms() override;
    int getCurrentProgram() override;
    void setCurrentProgram (int index) override;
    const juce::String getProgramName (int index) override;
    void changeProgramName (int index, const juce::String& newName) override;

    /** Tells all listeners of each parameter that is not at its default where it is. Audio thread: it takes the listeners'
        locks, and nothing moves. */
    void tellValuesOffDefault();

    /** A parameter by its place in host order. */
    RawParameter& rawParameter (size_t index) const { return *rawParameters[index]; }

    /** Writes the parameter tree as XML in the layout of copyXmlToBinary(). */
    void getStateInformation (juce::MemoryBlock& destData) override;

    /** Takes what getStateInformation() wrote, or a binary record of an older version; anything else changes nothing.
        @see restoreState */
    void setStateInformation (const void* data, int sizeInBytes) override;

    /** setStateInformation(), and says why a chunk was refused. */
    juce::Result restoreState (const void* data, int sizeInBytes);

    juce::ValueTree getParameterState() override;
    juce::ValueTree copyParameterState() override;
    void setParameterState (const juce::ValueTree& tree) override;
    void loadBinaryPreset (const juce::File& file) override;
    void applyState (const ParameterState& state) override;
    void setPresetName (const juce::String& name) override;

    /** @returns 1 if ptr points at the text "NKSCallbacks", else 0 */
    juce::pointer_sized_int handleVstPluginCanDo (juce::int32 index, juce::pointer_sized_int value, void* ptr, float opt) override;

    /** @see answerNksRequest */
    juce::pointer_sized_int handleVstManufacturerSpecific (juce::int32 index, juce::pointer_sized_int value, void* ptr, float opt) override;

    /** Forwards to handleVstManufacturerSpecific(). The operations of this interface say who owns what: nks::INKS1Plugin. */
    std::intptr_t VARNEL_COM_CALL nksCall (std::int32_t index, std::intptr_t value, void* ptr, float opt) override;
    std::uint32_t VARNEL_COM_CALL addRef() override;
    std::uint32_t VARNEL_COM_CALL release() override;
    nks::Result VARNEL_COM_CALL queryInterface (const nks::InterfaceId iid, void** obj) override;

    juce::AudioProcessorValueTreeState parameterState;

    MidiControllerMap midiControllers { midiMapDirty };
    std::vector<juce::String> paramIds;       ///< in host order
    juce::ApplicationProperties settings;     ///< message thread
    juce::File defaultPresetFile;             ///< what the constructor looked for
    SharedValue<bool> midiMapDirty { false }; ///< the destructor has to save the map

    ReverbEngine engine;

private:
    /** A preset that a state names, on its way to the message thread. */
    struct NamedPreset
    {
        juce::String nameInTree;
        juce::File file;
        std::optional<juce::String> name; ///< for currentPresetName, if it changes
    };

    void addParameterWithCallback (const juce::String& id,
                                   const juce::String& name,
                                   const juce::String& label,
                                   const juce::NormalisableRange<float>& range,
                                   float defaultValue,
                                   std::function<juce::String (float, int)> valueToText,
                                   std::function<float (const juce::String&)> textToValue,
                                   std::function<void (float)> onChange);
    void applyDefaultPreset();
    void changeEngine (size_t index, float value);
    void refreshEngine();
    void install (const ParameterState& state);
    void tellHostOfPreset();
    void takeNamedPreset (NamedPreset preset);
    void takeArrivedPreset();

    // What the engine was last given, to fall back to
    std::array<SharedValue<float>, Parameter::count> engineValues;

    // The thread whose changes do not reach the engine, since all values are about to go there; set under treeLock
    SharedValue<juce::Thread::ThreadID> refreshFollowsOn { nullptr };

    std::vector<juce::ReferenceCountedObjectPtr<ParamChangeCallback>> paramCallbacks;
    std::vector<std::unique_ptr<RawParameter>> rawParameters; // in host order
    std::atomic<juce::uint32> nksReferences { 0 };

    // Held by whoever reads or replaces the parameter tree from outside the parameters. The audio thread does neither.
    juce::CriticalSection treeLock;
    std::optional<NamedPreset> arrivedPreset; // guarded by treeLock
    juce::LockingAsyncUpdater presetArrival;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (VarnelReverbAudioProcessor)
};

} // namespace varnel
