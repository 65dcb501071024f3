// SPDX-License-Identifier: AGPL-3.0-only
// A host of our own on JUCE's hosting classes, for the bundles as they have been built.
#pragma once

#ifdef VARNEL_CLAP_FILE
    #include "ClapHost.h"
#endif
#include "processor/Product.h"
#include "support/Reference.h"
#include "support/XServer.h"

/** A built bundle and the host format that reads it. */
struct Bundle
{
    const char* format;
    const char* path;
};

inline const Bundle bundles[] {
#ifdef VARNEL_VST3_BUNDLE
    { "VST3", VARNEL_VST3_BUNDLE },
    { "LV2", VARNEL_LV2_BUNDLE },
#endif
#ifdef VARNEL_CLAP_FILE
    { "CLAP", VARNEL_CLAP_FILE },
    { "CLAPWithoutTimers", VARNEL_CLAP_FILE }, // in a host that has none
#endif
};

inline std::unique_ptr<juce::AudioPluginFormat> makeFormat (const Bundle& bundle)
{
    const juce::String format (bundle.format);
#ifdef VARNEL_VST3_BUNDLE
    if (format == "LV2")
        return std::make_unique<juce::LV2PluginFormat>();

    if (format == "VST3")
        return std::make_unique<juce::VST3PluginFormat>();
#endif
    return nullptr; // JUCE has none for CLAP
}

/** A kind of host, with what it finds in a bundle. */
struct Scanned
{
    explicit Scanned (const Bundle& bundle)
        : format (makeFormat (bundle)), hasTimers (juce::String (bundle.format) == "CLAP")
    {
#ifdef VARNEL_CLAP_FILE
        if (format == nullptr)
        {
            ClapInstance::describe (*found.add (new juce::PluginDescription));
            return;
        }
#endif
        for (const auto& name : format->searchPathsForPlugins ({ juce::File (bundle.path).getParentDirectory().getFullPathName() }, true, false))
            format->findAllTypesForFile (found, name);

        // JUCE's LV2 host looks into the system's folders too.
        for (int i = found.size(); --i >= 0;)
            if (found[i]->name != varnel::product::name)
                found.remove (i);
    }

    std::unique_ptr<juce::AudioPluginInstance> create (double sampleRate = 48000.0, int blockSize = 512)
    {
#ifdef VARNEL_CLAP_FILE
        if (format == nullptr)
            return std::make_unique<ClapInstance> (hasTimers);
#endif
        juce::String error;
        auto plugin = format->createInstanceFromDescription (*found[0], sampleRate, blockSize, error);
        EXPECT_NE (plugin, nullptr) << error;
        return plugin;
    }

    std::unique_ptr<juce::AudioPluginFormat> format; ///< null for CLAP
    const bool hasTimers;
    juce::OwnedArray<juce::PluginDescription> found;
};

inline void prepare (juce::AudioPluginInstance& plugin, double sampleRate, int blockSize)
{
    plugin.releaseResources(); // or JUCE takes the new details for the old ones
    plugin.setRateAndBufferSizeDetails (sampleRate, blockSize);
    plugin.prepareToPlay (sampleRate, blockSize);
}

inline juce::AudioBuffer<float> run (juce::AudioPluginInstance& plugin, const juce::AudioBuffer<float>& buffer, int blockSize, const juce::MidiBuffer& midi = {})
{
    return inBlocks (
        buffer, blockSize, [&plugin] (auto& block, auto& messages)
        { plugin.processBlock (block, messages); },
        midi);
}

inline juce::AudioProcessorParameter* parameterNamed (juce::AudioPluginInstance& plugin, const juce::String& name)
{
    for (auto* const parameter : plugin.getParameters())
        if (parameter->getName (100) == name)
            return parameter;

    ADD_FAILURE() << "the host sees no parameter \"" << name << "\"";
    return nullptr;
}

/** Opens a plug-in's window in the corner of the screen. */
inline std::unique_ptr<juce::AudioProcessorEditor> openWindow (juce::AudioPluginInstance& plugin)
{
    std::unique_ptr<juce::AudioProcessorEditor> editor (plugin.createEditorIfNeeded());
    editor->addToDesktop (0);
    editor->setTopLeftPosition (0, 0);
    editor->setVisible (true);
    EXPECT_SOON (XServer::windowsAt (editor->getScreenBounds().getCentre()).size() > 1);
    deliverMessages (100);
    return editor;
}

/** Opens a menu by a right click, and waits until it lies where its rows will be. */
inline void openMenu (juce::Point<int> position)
{
    const auto below = position.translated (40, 12);
    const auto windows = XServer::windowsAt (below);
    XServer::click (position, 3);
    EXPECT_SOON (XServer::windowsAt (below) != windows);
    deliverMessages (400);
}
