// SPDX-License-Identifier: AGPL-3.0-only
// The reverb for hosts of LV2 that have control ports and nothing else: no window, no required feature.

#include "Ports.h"

#include <lv2/core/lv2.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <new>

namespace
{

using namespace varnel::lv2;

struct Instance
{
    /** @returns  null if there is no memory, or the rate is none */
    static LV2_Handle instantiate (const LV2_Descriptor*, double rate, const char*, const LV2_Feature* const*)
    {
        std::unique_ptr<Instance> instance (new (std::nothrow) Instance);

        if (instance == nullptr || varnel_reverb_create (&instance->reverb) != VARNEL_REVERB_OK || varnel_reverb_prepare (instance->reverb, rate, 2) != VARNEL_REVERB_OK)
            return nullptr;

        return instance.release();
    }

    ~Instance() { varnel_reverb_destroy (reverb); }

    void connect (std::uint32_t port, void* data) noexcept
    {
        if (port < firstControl)
            audio[port] = static_cast<float*> (data);
        else if (port - firstControl < controls.size())
            controls[port - firstControl] = static_cast<const float*> (data);
    }

    void run (std::uint32_t numSamples) noexcept
    {
        for (std::size_t i = 0; i < controls.size(); ++i)
            if (controls[i] != nullptr)
                set (i, *controls[i]);

        varnel_reverb_process (reverb, &audio[inLeft], &audio[outLeft], 2, numSamples);
    }

    varnel_reverb* reverb = nullptr;

private:
    /** What is beyond the range goes to its end, and what is no number nowhere. */
    void set (std::size_t number, float value) noexcept
    {
        const auto& parameter = *varnel_reverb_parameter_at (number);
        auto current = 0.0f;
        varnel_reverb_get (reverb, number, &current);

        if (std::isnan (value))
            return;

        value = std::clamp (value, parameter.lowest, parameter.highest);

        if (parameter.is_switch != 0)
            value = value >= 0.5f ? 1.0f : 0.0f;

        if (! std::equal_to<>() (value, current)) // setting costs time
            varnel_reverb_set (reverb, number, value);
    }

    std::array<float*, firstControl> audio {};
    std::array<const float*, VARNEL_REVERB_NUM_PARAMETERS> controls {};
};

Instance& of (LV2_Handle handle)
{
    return *static_cast<Instance*> (handle);
}

const LV2_Descriptor descriptor {
    VARNEL_PLAIN_LV2_URI,
    Instance::instantiate,
    [] (LV2_Handle handle, std::uint32_t port, void* data)
    { of (handle).connect (port, data); },
    [] (LV2_Handle handle)
    { varnel_reverb_reset (of (handle).reverb); },
    [] (LV2_Handle handle, std::uint32_t numSamples)
    { of (handle).run (numSamples); },
    nullptr,
    [] (LV2_Handle handle)
    { delete &of (handle); },
    nullptr,
};

} // namespace

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor (std::uint32_t index)
{
    return index == 0 ? &descriptor : nullptr;
}
