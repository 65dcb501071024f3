// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

#include <map>
#include <memory>
#include <vector>

/** A reverb that takes part in the comparison. */
struct Peer
{
    juce::String name;
    juce::String format;     ///< "VST3", "LV2", or empty for a class without one
    juce::String identifier; ///< what the format finds it by: the path of a bundle, or a URI
    juce::String package;    ///< the Debian package that brings it, if one does
    juce::String remark;     ///< what makes it another kind of thing than the rest
};

/** Ours first, then the others. */
std::vector<Peer> allPeers (const juce::String& ourVst3, const juce::String& ourLv2);

/** The one host in which all of them run. */
class PeerHost
{
public:
    /** @returns an instance at its default settings, ready to play, or null with the reason in error */
    std::unique_ptr<juce::AudioPluginInstance> load (const Peer&, double sampleRate, int blockSize, juce::String& error);

private:
    juce::VST3PluginFormat vst3;
    juce::LV2PluginFormat lv2;                                    // it knows all LV2 plug-ins of the system
    std::map<juce::String, juce::PluginDescription> descriptions; // by identifier
};
