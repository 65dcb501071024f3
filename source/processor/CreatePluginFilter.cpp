// SPDX-License-Identifier: AGPL-3.0-only
// What every format and the stand-alone program make an instance with.

#include "ControllerAnswers.h"

#include <optional>
#include <utility>

namespace
{

/** Outlives the processor that derives from it. */
struct MessageThreadPause
{
    std::optional<juce::MessageManagerLock> pause;
};

/** The processor with what it needs in a host.

    Its controllers are answered, and its host shows from the first block on what sounds. Hosts only hear of changes that
    come after an instance was made, so they take the parameters' defaults for what a preset of the user's has set.

    In LV2, hosts destroy an instance on a thread of theirs while JUCE's message thread runs. It has to stand still for
    that, or a timer of what is being destroyed could still be running.
*/
class HostedProcessor final : private MessageThreadPause,
                              public varnel::VarnelReverbAudioProcessor
{
public:
    // Hosts leave a bus alone that is off at first, and then there is silence.
    HostedProcessor()
        : VarnelReverbAudioProcessor (UserSettings::used, Buses::on)
    {
    }

    ~HostedProcessor() override
    {
        if (wrapperType == wrapperType_LV2)
            pause.emplace();
    }

    void processBlock (juce::AudioBuffer<float>& buffer, juce::MidiBuffer& midi) override
    {
        if (! hostKnowsValues)
        {
            hostKnowsValues = true;

            // On the audio thread: from the message thread a VST3 host would take it for an edit, and call the project
            // changed.
            tellValuesOffDefault();
        }

        VarnelReverbAudioProcessor::processBlock (buffer, midi);
    }
    using VarnelReverbAudioProcessor::processBlock;

    void getStateInformation (juce::MemoryBlock& destData) override
    {
        VarnelReverbAudioProcessor::getStateInformation (destData);
        exchangeState();
    }

    void setStateInformation (const void* data, int sizeInBytes) override
    {
        VarnelReverbAudioProcessor::setStateInformation (data, sizeInBytes);
        exchangeState();
    }

private:
    /** A VST3 host hands a state to its controller side as well, and would take anything told later for news. */
    void exchangeState()
    {
        if (wrapperType == wrapperType_VST3)
            hostKnowsValues = true;
    }

    varnel::SharedValue<bool> hostKnowsValues { wrapperType != wrapperType_LV2 && wrapperType != wrapperType_VST3 };
    varnel::ControllerAnswers answers { *this };
};

} // namespace

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter()
{
    return new HostedProcessor();
}
