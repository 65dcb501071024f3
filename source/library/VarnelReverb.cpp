// SPDX-License-Identifier: AGPL-3.0-only
#include "library/varnel_reverb.h"

#include "FactoryBank.h"
#include "processor/ParameterTable.h"
#include "processor/Product.h"
#include "tail/TailLength.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

using varnel::factoryBank, varnel::parameterTable, varnel::ReverbEngine, varnel::SharedValue;

static_assert (varnel::Parameter::count == VARNEL_REVERB_NUM_PARAMETERS);

struct varnel_reverb
{
    std::unique_ptr<ReverbEngine> engine;
    std::array<SharedValue<float>, VARNEL_REVERB_NUM_PARAMETERS> values;
    double rate = 44100.0; ///< Hz
    std::size_t numInputs = 2;

    /** Makes another engine. @throws std::bad_alloc; all is then as it was */
    void prepare (double newRate, std::size_t newNumInputs)
    {
        auto fresh = std::make_unique<ReverbEngine>();
        fresh->prepare (newRate, static_cast<int> (newNumInputs));

        for (std::size_t i = 0; i < values.size(); ++i)
            (*fresh.*parameterTable[i].apply) (values[i]);

        engine = std::move (fresh);
        rate = newRate;
        numInputs = newNumInputs;
    }

    void set (std::size_t number, float value) noexcept
    {
        values[number] = value;
        (*engine.*parameterTable[number].apply) (value);
    }
};

namespace
{

constexpr std::size_t chunkFrames = 512;
constexpr float highestSample = 1e10f; // what is higher is no sound, and the engine might forget its tail over it

constexpr bool isChannels (std::size_t number) noexcept
{
    return number == 1 || number == 2;
}

constexpr char lowerCase (char letter) noexcept
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char> (letter - 'A' + 'a') : letter;
}

/** @returns  what follows a text at the start of another; null if it does not start so. Case is ignored. */
const char* after (const char* text, const char* start) noexcept
{
    for (; *start != '\0'; ++text, ++start)
        if (lowerCase (*text) != lowerCase (*start))
            return nullptr;

    return text;
}

bool isNamed (const varnel_reverb_preset& preset, const char* name) noexcept
{
    if (const auto* rest = after (name, preset.folder); rest != nullptr && *preset.folder != '\0' && *rest == '/')
        name = rest + 1;

    const auto* rest = after (name, preset.name);
    return rest != nullptr && *rest == '\0';
}

float clean (float sample) noexcept
{
    return std::abs (sample) <= highestSample ? sample : 0.0f;
}

/** Takes sound from the inputs, or silence where there are none, to the outputs, which may be the same. */
void process (ReverbEngine& engine, const float* const* inputs, std::size_t numInputs, float* const* outputs, std::size_t numOutputs, std::size_t numFrames) noexcept
{
    std::array<std::array<float, chunkFrames>, 2> chunk;
    float* const channels[] { chunk[0].data(), chunk[1].data() };
    const auto inPlace = numInputs == 1 && numOutputs == 1; // the engine works on one channel itself

    for (std::size_t done = 0; done < numFrames;)
    {
        const auto count = std::min (chunkFrames, numFrames - done);

        for (std::size_t i = 0; i < 2; ++i)
        {
            if (inputs == nullptr)
                std::fill_n (channels[i], count, 0.0f);
            else
                std::transform (inputs[std::min (i, numInputs - 1)] + done, inputs[std::min (i, numInputs - 1)] + done + count, channels[i], clean);
        }

        engine.processBlock (channels, inPlace ? 1 : 2, static_cast<int> (count));

        if (numOutputs == 1 && ! inPlace)
            std::transform (channels[0], channels[0] + count, channels[1], outputs[0] + done, [] (float left, float right)
                            { return 0.5f * (left + right); });
        else
            for (std::size_t i = 0; i < numOutputs; ++i)
                std::copy_n (channels[i], count, outputs[i] + done);

        done += count;
    }
}

bool areThere (const float* const* buffers, std::size_t number) noexcept
{
    return buffers != nullptr && buffers[0] != nullptr && buffers[number - 1] != nullptr;
}

/** @returns  what is wrong with where sound is to go */
varnel_reverb_status check (float* const* outputs, std::size_t numOutputs, std::size_t numFrames) noexcept
{
    if (! isChannels (numOutputs))
        return VARNEL_REVERB_CHANNELS;

    if (numFrames > VARNEL_REVERB_MOST_FRAMES)
        return VARNEL_REVERB_FRAMES;

    return numFrames == 0 || areThere (outputs, numOutputs) ? VARNEL_REVERB_OK : VARNEL_REVERB_NULL;
}

constexpr auto parameters = []
{
    std::array<varnel_reverb_parameter, VARNEL_REVERB_NUM_PARAMETERS> table {};

    std::transform (parameterTable.begin(), parameterTable.end(), table.begin(), [] (const varnel::Parameter& p)
                    { return varnel_reverb_parameter { p.id, p.name, std::string_view (p.label) == " " ? "" : p.label, p.start, p.end, p.interval, p.defaultValue, p.isSwitch ? 1 : 0 }; });
    return table;
}();

} // namespace

//==============================================================================
const char* varnel_reverb_version (void)
{
    return varnel::product::version;
}

const char* varnel_reverb_status_text (varnel_reverb_status status)
{
    switch (status)
    {
        case VARNEL_REVERB_OK:
            return "no error";
        case VARNEL_REVERB_NULL:
            return "a pointer is null";
        case VARNEL_REVERB_NO_MEMORY:
            return "there is not enough memory";
        case VARNEL_REVERB_RATE:
            return "the sample rate has to be 1 to 768000 Hz";
        case VARNEL_REVERB_CHANNELS:
            return "there have to be one or two channels";
        case VARNEL_REVERB_FRAMES:
            return "there are too many frames";
        case VARNEL_REVERB_NO_PARAMETER:
            return "there is no such parameter";
        case VARNEL_REVERB_VALUE:
            return "the value is no number or out of the parameter's range";
        case VARNEL_REVERB_NO_PRESET:
            return "there is no such preset";
    }

    return "an unknown status";
}

const varnel_reverb_parameter* varnel_reverb_parameter_at (size_t number)
{
    return number < parameters.size() ? &parameters[number] : nullptr;
}

varnel_reverb_status varnel_reverb_find_parameter (const char* id, size_t* number)
{
    if (id == nullptr || number == nullptr)
        return VARNEL_REVERB_NULL;

    const auto found = std::find_if (parameters.begin(), parameters.end(), [id] (const auto& parameter)
                                     { return std::string_view (id) == parameter.id; });

    if (found == parameters.end())
        return VARNEL_REVERB_NO_PARAMETER;

    *number = static_cast<size_t> (found - parameters.begin());
    return VARNEL_REVERB_OK;
}

size_t varnel_reverb_num_presets (void)
{
    return factoryBank.size();
}

const varnel_reverb_preset* varnel_reverb_preset_at (size_t index)
{
    return index < factoryBank.size() ? &factoryBank[index] : nullptr;
}

varnel_reverb_status varnel_reverb_find_preset (const char* name, size_t* index)
{
    if (name == nullptr || index == nullptr)
        return VARNEL_REVERB_NULL;

    const auto found = std::find_if (factoryBank.begin(), factoryBank.end(), [name] (const auto& preset)
                                     { return isNamed (preset, name); });

    if (found == factoryBank.end())
        return VARNEL_REVERB_NO_PRESET;

    *index = static_cast<size_t> (found - factoryBank.begin());
    return VARNEL_REVERB_OK;
}

//==============================================================================
varnel_reverb_status varnel_reverb_create (varnel_reverb** reverb)
{
    if (reverb == nullptr)
        return VARNEL_REVERB_NULL;

    *reverb = nullptr;

    try
    {
        auto made = std::make_unique<varnel_reverb>();

        for (std::size_t i = 0; i < made->values.size(); ++i)
            made->values[i] = parameterTable[i].defaultValue;

        made->prepare (made->rate, made->numInputs);
        *reverb = made.release();
        return VARNEL_REVERB_OK;
    }
    catch (const std::bad_alloc&)
    {
        return VARNEL_REVERB_NO_MEMORY;
    }
}

void varnel_reverb_destroy (varnel_reverb* reverb)
{
    delete reverb;
}

varnel_reverb_status varnel_reverb_prepare (varnel_reverb* reverb, double rate, size_t numInputs)
{
    if (reverb == nullptr)
        return VARNEL_REVERB_NULL;

    if (! (rate >= VARNEL_REVERB_LOWEST_RATE && rate <= VARNEL_REVERB_HIGHEST_RATE))
        return VARNEL_REVERB_RATE;

    if (! isChannels (numInputs))
        return VARNEL_REVERB_CHANNELS;

    try
    {
        reverb->prepare (rate, numInputs);
        return VARNEL_REVERB_OK;
    }
    catch (const std::bad_alloc&)
    {
        return VARNEL_REVERB_NO_MEMORY;
    }
}

varnel_reverb_status varnel_reverb_reset (varnel_reverb* reverb)
{
    if (reverb == nullptr)
        return VARNEL_REVERB_NULL;

    reverb->engine->reset();
    return VARNEL_REVERB_OK;
}

varnel_reverb_status varnel_reverb_set (varnel_reverb* reverb, size_t number, float value)
{
    if (reverb == nullptr)
        return VARNEL_REVERB_NULL;

    if (number >= parameterTable.size())
        return VARNEL_REVERB_NO_PARAMETER;

    if (! (value >= parameterTable[number].start && value <= parameterTable[number].end))
        return VARNEL_REVERB_VALUE;

    reverb->set (number, value);
    return VARNEL_REVERB_OK;
}

varnel_reverb_status varnel_reverb_set_by_id (varnel_reverb* reverb, const char* id, float value)
{
    size_t number = 0;
    const auto status = varnel_reverb_find_parameter (id, &number);
    return status == VARNEL_REVERB_OK || reverb == nullptr ? varnel_reverb_set (reverb, number, value) : status;
}

varnel_reverb_status varnel_reverb_get (const varnel_reverb* reverb, size_t number, float* value)
{
    if (reverb == nullptr || value == nullptr)
        return VARNEL_REVERB_NULL;

    if (number >= parameterTable.size())
        return VARNEL_REVERB_NO_PARAMETER;

    *value = reverb->values[number];
    return VARNEL_REVERB_OK;
}

varnel_reverb_status varnel_reverb_get_by_id (const varnel_reverb* reverb, const char* id, float* value)
{
    size_t number = 0;
    const auto status = varnel_reverb_find_parameter (id, &number);
    return status == VARNEL_REVERB_OK || reverb == nullptr ? varnel_reverb_get (reverb, number, value) : status;
}

varnel_reverb_status varnel_reverb_load_preset (varnel_reverb* reverb, const char* name)
{
    if (reverb == nullptr)
        return VARNEL_REVERB_NULL;

    size_t index = 0;

    if (const auto status = varnel_reverb_find_preset (name, &index); status != VARNEL_REVERB_OK)
        return status;

    for (std::size_t i = 0; i < VARNEL_REVERB_NUM_PARAMETERS; ++i)
        reverb->set (i, factoryBank[index].values[i]);

    return VARNEL_REVERB_OK;
}

varnel_reverb_status varnel_reverb_process (varnel_reverb* reverb, const float* const* inputs, float* const* outputs, size_t numOutputs, size_t numFrames)
{
    if (reverb == nullptr)
        return VARNEL_REVERB_NULL;

    if (const auto status = check (outputs, numOutputs, numFrames); status != VARNEL_REVERB_OK)
        return status;

    if (numFrames > 0 && ! areThere (inputs, reverb->numInputs))
        return VARNEL_REVERB_NULL;

    process (*reverb->engine, inputs, reverb->numInputs, outputs, numOutputs, numFrames);
    return VARNEL_REVERB_OK;
}

varnel_reverb_status varnel_reverb_impulse_response (const varnel_reverb* reverb, float* const* outputs, size_t numOutputs, size_t numFrames)
{
    if (reverb == nullptr)
        return VARNEL_REVERB_NULL;

    if (const auto status = check (outputs, numOutputs, numFrames); status != VARNEL_REVERB_OK || numFrames == 0)
        return status;

    try
    {
        auto fresh = std::make_unique<varnel_reverb>();
        fresh->values = reverb->values;
        fresh->prepare (reverb->rate, reverb->numInputs);

        constexpr auto one = 1.0f;
        const float* const impulse[] { &one, &one };
        float* const rest[] { outputs[0] + 1, outputs[numOutputs - 1] + 1 };
        process (*fresh->engine, impulse, reverb->numInputs, outputs, numOutputs, 1);
        process (*fresh->engine, nullptr, reverb->numInputs, rest, numOutputs, numFrames - 1);
        return VARNEL_REVERB_OK;
    }
    catch (const std::bad_alloc&)
    {
        return VARNEL_REVERB_NO_MEMORY;
    }
}

varnel_reverb_status varnel_reverb_tail_seconds (const varnel_reverb* reverb, double* seconds)
{
    if (reverb == nullptr || seconds == nullptr)
        return VARNEL_REVERB_NULL;

    *seconds = varnel::tailLength (*reverb->engine);
    return VARNEL_REVERB_OK;
}
