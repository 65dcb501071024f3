// SPDX-License-Identifier: AGPL-3.0-only
#include "PresetFile.h"

#include "Files.h"
#include "SafeXml.h"
#include "Text.h"

namespace varnel
{

namespace
{

constexpr size_t mostBytes = longestXml + 1; // to tell that there are too many

} // namespace

PresetFile readPresetFile (const juce::File& file)
{
    using Form = PresetFile::Form;
    const auto bytes = startOf (file, mostBytes);

    if (! bytes)
        return { Form::unreadable, {}, whyUnreadable (file) };

    const auto xml = parseSafely (textOfFile (*bytes));

    if (xml.danger.isNotEmpty())
        return { Form::unreadable, {}, "holds XML that " + xml.danger };

    if (xml.root == nullptr)
        return { Form::noXml, {}, {} };

    return { xml.root->hasAttribute (stateIds::presetName) ? Form::preset : Form::otherXml, stateFromXml (*xml.root), {} };
}

std::optional<BinaryRecord> readBinaryRecordFile (const juce::File& file)
{
    const auto bytes = startOf (file, mostBytes);

    if (! bytes)
        return {};

    juce::MemoryInputStream stream (*bytes, false);
    return readBinaryRecord (stream);
}

juce::Result writePresetFile (const juce::ValueTree& state, const juce::File& file)
{
    const auto xml = state.createXml();
    const auto text = xml != nullptr ? xml->toString() : juce::String();
    return writeWhole (file, text.toRawUTF8(), text.getNumBytesAsUTF8());
}

juce::Result loadPreset (PresetProcessor& processor, const juce::File& file)
{
    auto preset = readPresetFile (file);

    switch (preset.form)
    {
        case PresetFile::Form::preset:
            preset.state.presetName = file.getFullPathName();
            processor.applyState (preset.state);
            break;

        case PresetFile::Form::otherXml:
        case PresetFile::Form::noXml:
            processor.loadBinaryPreset (file);
            break;

        case PresetFile::Form::unreadable:
            return juce::Result::fail (preset.problem);
    }

    return juce::Result::ok();
}

} // namespace varnel
