// SPDX-License-Identifier: AGPL-3.0-only
#include "Shelf.h"

#include "Exp2.h"

#include <algorithm>

namespace varnel
{

namespace
{

/** The square root of the linear gain. The factor is log2 (10) / 40. */
float squareRootOfGain (float decibels) noexcept
{
    return exp2 (decibels * 0.0830482021f);
}

/** The bilinear transform's frequency warping, tan (w), as the first three terms of its series. */
float warp (float w) noexcept
{
    w = std::max (std::min (w, 1.48f), 0.000128f);

    const auto w2 = w * w;
    const auto w3 = w * w2;
    const auto w5 = w2 * w3;
    return w5 * 0.133332998f + (w3 * 0.333332986f + w);
}

} // namespace

void Shelf::setUp (float newPiOverSampleRate) noexcept
{
    piOverSampleRate = newPiOverSampleRate;
    gainDb = 0.0f;
    state = 0.0f;
    a1 = 0.0f;
    b0 = 0.0f;
    b1 = 0.0f;
}

// In both designs the corner moves with the gain, down for a low boost and up for a high boost.

ShelfCoefficients LowShelf::design (float piOverSampleRate, float cornerHz, float gainDb) noexcept
{
    const auto A = squareRootOfGain (gainDb);
    const auto t = warp (cornerHz / A * piOverSampleRate);
    const auto r = 1.0f / (t + 1.0f);
    const auto k = (A * A - 1.0f) * (r * t);
    const auto feedback = (1.0f - t) * r;

    return { feedback, k + 1.0f, k - feedback };
}

ShelfCoefficients HighShelf::design (float piOverSampleRate, float cornerHz, float gainDb) noexcept
{
    const auto A = squareRootOfGain (gainDb);
    const auto t = warp (cornerHz * A * piOverSampleRate);
    const auto r = 1.0f / (t + 1.0f);
    const auto k = (A * A - 1.0f) * r;
    const auto feedback = (1.0f - t) * r;

    return { feedback, k + 1.0f, -(feedback + k) };
}

} // namespace varnel
