// SPDX-License-Identifier: AGPL-3.0-only
// What every format and the stand-alone program make an instance with.

#include "HostBinding.h"

namespace
{

/** Outlives the processor that derives from it. */
struct MessageThreadPause
{
    std::optional<juce::MessageManagerLock> pause;
};

/** The processor with the binding that it needs in a host.

    In LV2, hosts destroy an instance on a thread of theirs while JUCE's message thread runs. It has to stand still for
    that, or a timer of what is being destroyed could still be running.
*/
class BoundProcessor final : private MessageThreadPause,
                             public varnel::VarnelReverbAudioProcessor
{
public:
    // Hosts leave a bus alone that is off at first, and then there is silence.
    BoundProcessor()
        : VarnelReverbAudioProcessor (UserSettings::used, Buses::on)
    {
    }

    ~BoundProcessor() override
    {
        if (wrapperType == wrapperType_LV2)
            pause.emplace();
    }

private:
    varnel::HostBinding binding { *this };
};

} // namespace

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter()
{
    return new BoundProcessor();
}
