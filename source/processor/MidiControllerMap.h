// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "RawParameter.h"

#include <juce_audio_basics/juce_audio_basics.h>

#include <vector>

namespace varnel
{

/** Which MIDI controller moves which parameter: one entry a parameter, in host order.

    A learn gesture marks an entry, the next controller message binds it, and from then on the parameter's listeners are
    told what the controller says. The parameter itself stays where it is: whoever answers for the format sets it.
*/
class MidiControllerMap
{
public:
    static constexpr int notBound = -1;
    static constexpr int learning = -2; ///< the next controller message binds the parameter

    /** Whoever sets parameters to what their controllers say. */
    class Answerer
    {
    public:
        virtual ~Answerer() = default;

        /** A bound controller's message, right after the parameter's listeners were told. Audio thread, within a block.
            @param value  normalised */
        virtual void controllerSaid (size_t index, float value) = 0;
    };

    /** @param changed  is set when a message binds a parameter, and at the first start ever */
    explicit MidiControllerMap (SharedValue<bool>& changed);

    /** Appends an entry. Message thread, before the first block. */
    void add (RawParameter& parameter);

    /** The entry of a parameter: 0 to 127, notBound or learning. Any thread may read or write it at any time. */
    SharedValue<int>& operator[] (size_t index) { return entries[index].controller; }
    int operator[] (size_t index) const { return entries[index].controller; }
    size_t size() const noexcept { return entries.size(); }

    /** Takes over the map of the last instance that saved it; the first instance ever notes that it has been there.
        Message thread. */
    void read (juce::PropertiesFile& settings);

    /** Writes all entries; who is still learning is not bound any more. Message thread. */
    void save (juce::PropertiesFile& settings);

    /** Binds what is learning and tells listeners and answerer what bound controllers say, in the order of the messages,
        which stay as they are. Audio thread. */
    void scan (const juce::MidiBuffer& midi);

    /** At most one, none at first. Not while a block runs. */
    void setAnswerer (Answerer* newAnswerer) noexcept { answerer = newAnswerer; }

private:
    struct Entry
    {
        RawParameter* parameter;
        SharedValue<int> controller { notBound };
    };

    std::vector<Entry> entries;
    SharedValue<bool>& hasChanged;
    SharedValue<Answerer*> answerer { nullptr };
};

} // namespace varnel
