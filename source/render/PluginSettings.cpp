// SPDX-License-Identifier: AGPL-3.0-only
#include "PluginSettings.h"

#include "Errors.h"
#include "PresetSearch.h"
#include "Stop.h"
#include "processor/PresetFile.h"
#include "processor/Text.h"

#include <cmath>

namespace varnel
{

namespace
{

juce::File fileNamed (const std::string& name)
{
    const auto text = textFrom (name);
    return juce::File::isAbsolutePath (text) && ! text.startsWithChar ('~') ? juce::File (text) : childOf (juce::File::getCurrentWorkingDirectory(), text);
}

/** A preset by its name, or if there is none of this name by its number in the list. @throws RenderError */
juce::File findPreset (const NamedPresets& presets, const juce::String& name)
{
    try
    {
        return presets.find (name);
    }
    catch (const RenderError&)
    {
        constexpr int mostDigits = 6;
        const auto isNumber = name.isNotEmpty() && name.length() <= mostDigits && name.containsOnly ("0123456789");

        if (const auto numbered = isNumber ? presetAt ({ &presets.user, &presets.factory }, name.getIntValue()) : juce::File(); numbered != juce::File())
            return numbered;

        throw;
    }
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
    const auto file = findPreset (NamedPresets (processor.settings), textFrom (name));
    requireRegularFile (file.getFullPathName().toStdString());
    const auto preset = readPresetFile (file);

    // The plug-in itself would take anything for a preset.
    if (preset.form == PresetFile::Form::otherXml)
        throw RenderError (file, "is no preset: its root has no \"presetName\"");

    if (preset.form == PresetFile::Form::noXml)
        if (const auto record = readBinaryRecordFile (file); ! record || ! record->isComplete)
            throw RenderError (file, "is no preset: neither XML nor a whole binary record");

    processor.currentPresetFile = file;

    if (const auto result = varnel::loadPreset (processor, file); result.failed())
        throw RenderError (file, result.getErrorMessage());
}

std::vector<PresetEntry> PluginSettings::presets()
{
    const NamedPresets all (processor.settings);
    std::vector<PresetEntry> entries;

    for (const auto& line : juce::StringArray::fromLines (all.list()))
        if (line.startsWithChar (' '))
            entries.push_back ({ line.trimStart().fromFirstOccurrenceOf ("  ", false, false).toStdString(), presetAt ({ &all.user, &all.factory }, static_cast<int> (entries.size())).getFullPathName().toStdString() });

    return entries;
}

std::string PluginSettings::presetList()
{
    return NamedPresets (processor.settings).list().toStdString();
}

void PluginSettings::setTo (size_t index, float value)
{
    const auto* const id = parameterTable[index].id;

    // A default may lie between two steps, and setting it again would move it to one of them.
    if (! juce::exactlyEqual (processor.parameterState.getRawParameterValue (id)->load(), value))
        binding.setParameter (id, processor.parameterState.getParameter (id)->convertTo0to1 (value));
}

std::optional<std::string> PluginSettings::set (const TypedSetting& setting)
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
    check (file, writePresetFile (tree, fileNamed (file)));
}

} // namespace varnel
