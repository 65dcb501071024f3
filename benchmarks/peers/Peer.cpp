// SPDX-License-Identifier: AGPL-3.0-only
#include "Peer.h"

#include "HostedPlugin.h"
#include "JuceReverb.h"

std::vector<Peer> allPeers (const juce::String& ourVst3, const juce::String& ourLv2)
{
    return {
        { "Varnel Reverb", "VST3", ourVst3, {}, {} },
        { "Varnel Reverb", "LV2", ourLv2, {}, {} },
        { "juce::Reverb", {}, {}, {}, {} },
        { "Dragonfly Hall", "LV2", "https://github.com/michaelwillis/dragonfly-reverb", "dragonfly-reverb-lv2", {} },
        { "Dragonfly Room", "LV2", "urn:dragonfly:room", "dragonfly-reverb-lv2", {} },
        { "Dragonfly Plate", "LV2", "urn:dragonfly:plate", "dragonfly-reverb-lv2", {} },
        { "Calf Reverb", "LV2", "http://calf.sourceforge.net/plugins/Reverb", "calf-plugins", {} },
        { "GxReverb-Stereo", "LV2", "http://guitarix.sourceforge.net/plugins/gx_reverb_stereo#_reverb_stereo", "guitarix-lv2", {} },
        { "GxZita_rev1", "LV2", "http://guitarix.sourceforge.net/plugins/gx_zita_rev1_stereo#_zita_rev1_stereo", "guitarix-lv2", {} },
        { "GVerb", "LV2", "http://plugin.org.uk/swh-plugins/gverb", "swh-lv2", {} },
        { "SWH Plate", "LV2", "http://plugin.org.uk/swh-plugins/plate", "swh-lv2", {} },
        { "MVerb", "LV2", "http://distrho.sf.net/plugins/MVerb", "dpf-plugins-lv2", {} },
        { "MaGigaverb", "LV2", "http://distrho.sf.net/plugins/MaGigaverb", "dpf-plugins-lv2", {} },
        { "MDA Ambience", "LV2", "http://drobilla.net/plugins/mda/Ambience", "mda-lv2", {} },
        { "Invada ER", "LV2", "http://invadarecords.com/plugins/lv2/erreverb/sum", "invada-studio-plugins-lv2", "early reflections only" },
    };
}

std::unique_ptr<juce::AudioPluginInstance> PeerHost::load (const Peer& peer, double sampleRate, int blockSize, juce::String& error)
{
    std::unique_ptr<juce::AudioPluginInstance> plugin;

    if (peer.format.isEmpty())
    {
        plugin = std::make_unique<JuceReverb>();
    }
    else
    {
        auto& format = peer.format == "VST3" ? static_cast<juce::AudioPluginFormat&> (vst3) : lv2;
        auto known = descriptions.find (peer.identifier);

        if (known == descriptions.end())
        {
            // LV2's libraries complain of ours, a path, as an invalid URI on the way. But by its URI it might be another
            // one, that is installed.
            juce::OwnedArray<juce::PluginDescription> found;
            format.findAllTypesForFile (found, peer.identifier);

            if (found.isEmpty())
            {
                error = "not found";
                return {};
            }

            known = descriptions.emplace (peer.identifier, *found[0]).first;
        }

        plugin = format.createInstanceFromDescription (known->second, sampleRate, blockSize, error);
        if (plugin == nullptr)
        {
            error = error.isEmpty() ? juce::String ("it does not load") : error;
            return {};
        }
    }

    if (plugin->getTotalNumInputChannels() < 1 || plugin->getTotalNumInputChannels() > 2 || plugin->getTotalNumOutputChannels() != 2)
    {
        error << "has " << plugin->getTotalNumInputChannels() << " inputs and " << plugin->getTotalNumOutputChannels() << " outputs";
        return {};
    }

    prepare (*plugin, sampleRate, blockSize);
    return plugin;
}
