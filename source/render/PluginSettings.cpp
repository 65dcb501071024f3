// SPDX-License-Identifier: AGPL-3.0-only
#include "PluginSettings.h"

#include "Errors.h"
#include "PresetSearch.h"
#include "Stop.h"
#include "presets/PresetFiles.h"

#include <cmath>

namespace varnel
{

namespace
{

juce::File fileNamed (const std::string& name)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile (textFrom (name));
}

void check (const std::string& file, const juce::Result& result)
{
    if (result.failed())
        throw RenderError (std::filesystem::path (file), result.getErrorMessage().toStdString());
}

} // namespace

PluginSettings::PluginSettings() = default;

void PluginSettings::loadState (const std::string& name)
{
    constexpr juce::int64 longest = 64 << 20; // bytes; a chunk has less than a thousand
    const std::filesystem::path path (name);
    requireRegularFile (path);

    juce::MemoryBlock chunk;
    juce::FileInputStream stream (fileNamed (name));

    if (stream.failedToOpen())
        throw RenderError (path, "cannot be read: " + stream.getStatus().getErrorMessage().toStdString());

    if (stream.getTotalLength() > longest)
        throw RenderError (path, std::string ("is too large for a state"));

    stream.readIntoMemoryBlock (chunk);
    check (name, binding.setChunk (HostBinding::chunkType, chunk.getData(), chunk.getSize()));
}

void PluginSettings::loadPreset (const std::string& name)
{
    const auto file = findPresetByName (textFrom (name), PresetManager (processor));
    requireRegularFile (file.getFullPathName().toStdString());

    const auto record = stateFromBinaryFile (file);

    if (! record)
        throw RenderError (file, "cannot be read: " + juce::FileInputStream (file).getStatus().getErrorMessage());

    // The plug-in itself would take anything for a preset.
    if (const auto xml = parseStateFile (file); xml != nullptr && ! xml->hasAttribute (stateIds::presetName))
        throw RenderError (file, "is no preset: its root has no \"presetName\"");
    else if (xml == nullptr && ! record->isComplete)
        throw RenderError (file, "is no preset: neither XML nor a whole binary record");

    processor.currentPresetFile = file;
    varnel::loadPreset (processor, file);
}

void PluginSettings::setTo (size_t index, float value)
{
    const auto* const id = parameterTable[index].id;

    // A default may lie between two steps, and setting it again would move it to one of them.
    if (! juce::exactlyEqual (processor.parameterState.getRawParameterValue (id)->load(), value))
        binding.setParameter (id, processor.parameterState.getParameter (id)->convertTo0to1 (value));
}

std::optional<std::string> PluginSettings::set (const Setting& setting)
{
    setTo (setting.index, setting.value);
    const auto became = values()[setting.index];

    if (std::abs (became - setting.value) <= 1e-4f)
        return {};

    return setting.typed + " moves in steps of " + numberText (parameterTable[setting.index].interval) + ": " + numberText (setting.value) + " became " + juce::String (became, 1).toStdString();
}

void PluginSettings::set (const ParameterValues& values)
{
    for (size_t i = 0; i < values.size(); ++i)
        setTo (i, values[i]);
}

ParameterValues PluginSettings::values() const
{
    ParameterValues result {};

    for (size_t i = 0; i < result.size(); ++i)
        result[i] = *processor.parameterState.getRawParameterValue (parameterTable[i].id);

    return result;
}

void PluginSettings::saveState (const std::string& file) const
{
    const Undisturbed undisturbed;
    const auto chunk = binding.chunk (HostBinding::chunkType);
    check (file, writeWhole (fileNamed (file), chunk->getData(), chunk->getSize()));
}

void PluginSettings::savePreset (const std::string& file)
{
    const Undisturbed undisturbed;
    auto tree = processor.copyParameterState();
    tree.setProperty (stateIds::presetName, "", nullptr);
    check (file, writePreset (tree, fileNamed (file)));
}

} // namespace varnel
