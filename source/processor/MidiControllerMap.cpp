// SPDX-License-Identifier: AGPL-3.0-only
#include "MidiControllerMap.h"

#include "Settings.h"

namespace varnel
{

MidiControllerMap::MidiControllerMap (SharedValue<bool>& changed)
    : hasChanged (changed)
{
}

void MidiControllerMap::add (RawParameter& parameter)
{
    entries.push_back ({ &parameter });
}

void MidiControllerMap::read (juce::PropertiesFile& settings)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    if (settings.getIntValue (settingsKeys::initialized) == 1)
    {
        for (size_t i = 0; i < entries.size(); ++i)
            entries[i].controller = settings.getIntValue (juce::String (i), notBound);
    }
    else
    {
        settings.setValue (settingsKeys::initialized, 1);
        hasChanged = true;
    }
}

void MidiControllerMap::save (juce::PropertiesFile& settings)
{
    JUCE_ASSERT_MESSAGE_MANAGER_IS_LOCKED

    for (size_t i = 0; i < entries.size(); ++i)
    {
        if (entries[i].controller == learning)
            entries[i].controller = notBound;

        settings.setValue (juce::String (i), static_cast<int> (entries[i].controller));
    }
}

void MidiControllerMap::scan (const juce::MidiBuffer& midi)
{
    Answerer* const answers = answerer;

    for (const auto message : midi)
    {
        if (message.numBytes < 3 || (message.data[0] & 0xf0) != 0xb0 || ((message.data[1] | message.data[2]) & 0x80) != 0)
            continue;

        const int controller = message.data[1];
        const auto value = static_cast<float> (message.data[2]) / 127.0f;

        for (size_t i = 0; i < entries.size(); ++i)
        {
            auto& entry = entries[i];

            if (entry.controller == learning)
            {
                entry.controller = controller;
                hasChanged = true;
            }

            if (entry.controller == controller)
            {
                entry.parameter->tell (value);

                if (answers != nullptr)
                    answers->controllerSaid (i, value);
            }
        }
    }
}

} // namespace varnel
