// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "DelayLine.h"
#include "Shelf.h"

namespace varnel
{

/** An allpass section (M. R. Schroeder, "Natural Sounding Artificial Reverberation", 1962) with two
    shelves in its loop, so that each pass through the loop colours the sound. It is a true allpass
    only while both shelves are flat. The loop is one sample longer than the delay line.

    Used by the audio thread alone.
*/
struct AllpassStage
{
    DelayLine delay;
    LowShelf low;
    HighShelf high;
    float coefficient = 0.0f;  ///< -1 to 1, both excluded
    float lastFiltered = 0.0f; ///< the delay's output behind both shelves, from the sample before

    /** Silences the loop but for the delay, whose memory is the bank's: shelves and lastFiltered. */
    void clear() noexcept
    {
        low.state = 0.0f;
        high.state = 0.0f;
        lastFiltered = 0.0f;
    }

    /** One sample, the delay read at whole samples.
        @tparam ofInput  whether x comes from outside and may be a denormal: what another stage gives rests on a guard */
    template <bool ofInput = false>
    float processWhole (float x) noexcept
    {
        return process<ofInput> (x, [this] (float z)
                                 { return delay.pushWhole (z); });
    }

    /** One sample, the delay read between samples. */
    float processHermite (float x) noexcept
    {
        return process<false> (x, [this] (float z)
                               { return delay.pushHermite (z); });
    }

private:
    template <bool ofInput, typename Push>
    float process (float x, Push push) noexcept
    {
        const auto g = coefficient;
        const auto y = ofInput ? addProduct (lastFiltered, x, -g) : lastFiltered - x * g;
        const auto z = g * y + x;
        lastFiltered = high.process (low.process (push (z))) + denormalGuard;
        return y;
    }
};

} // namespace varnel
