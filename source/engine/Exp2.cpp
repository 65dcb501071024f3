// SPDX-License-Identifier: AGPL-3.0-only
#include "Exp2.h"

#include "Arithmetic.h"

namespace varnel
{

namespace
{

/** A number as the sum of the nearest double and the nearest double to what that leaves. */
struct Sum
{
    double high, low;
};

/** Two to the powers of 0 to 15 sixteenths. */
constexpr Sum powers[] {
    { 0x1.0000000000000p+0, 0.0 },
    { 0x1.0b5586cf9890fp+0, 0x1.8a62e4adc610bp-54 },
    { 0x1.172b83c7d517bp+0, -0x1.19041b9d78a76p-55 },
    { 0x1.2387a6e756238p+0, 0x1.9b07eb6c70573p-54 },
    { 0x1.306fe0a31b715p+0, 0x1.6f46ad23182e4p-55 },
    { 0x1.3dea64c123422p+0, 0x1.ada0911f09ebcp-55 },
    { 0x1.4bfdad5362a27p+0, 0x1.d4397afec42e2p-56 },
    { 0x1.5ab07dd485429p+0, 0x1.6324c054647adp-54 },
    { 0x1.6a09e667f3bcdp+0, -0x1.bdd3413b26456p-54 },
    { 0x1.7a11473eb0187p+0, -0x1.41577ee04992fp-55 },
    { 0x1.8ace5422aa0dbp+0, 0x1.6e9f156864b27p-54 },
    { 0x1.9c49182a3f090p+0, 0x1.c7c46b071f2bep-56 },
    { 0x1.ae89f995ad3adp+0, 0x1.7a1cd345dcc81p-54 },
    { 0x1.c199bdd85529cp+0, 0x1.11065895048ddp-55 },
    { 0x1.d5818dcfba487p+0, 0x1.2ed02d75b3707p-55 },
    { 0x1.ea4afa2a490dap+0, -0x1.e9c23179c2893p-54 },
};

/** Two to the power of r, less 1, for r from -1/32 to 1/32: the first eight terms of Taylor's series. Those left out are
    below 2^-68. The last sum and product and the first term are each off by at most 2^-53 of themselves, and all else by
    next to nothing, so what comes of them is off by less than 2^-52 |r|. */
double powerLessOne (double r) noexcept
{
    // The powers of the logarithm of 2, divided by the factorials
    constexpr double terms[] { 0x1.62c0223a5c824p-20, 0x1.ffcbfc588b0c7p-17, 0x1.430912f86c787p-13, 0x1.5d87fe78a6731p-10, 0x1.3b2ab6fba4e77p-7, 0x1.c6b08d704a0c0p-5, 0x1.ebfbdff82c58fp-3, 0x1.62e42fefa39efp-1 };

    auto sum = 0.0;

    for (const auto term : terms)
        sum = (sum + term) * r;

    return sum;
}

/** The sum, rounded to a double such that rounding that to a float gives what rounding the sum itself would: a sum between
    two doubles becomes the one with the odd last bit, which is never in the middle between two floats (S. Boldo and
    G. Melquiond, "Emulation of a FMA and correctly rounded sums: proved algorithms using rounding to odd", 2008).
    @param sum  positive, the higher part of the larger magnitude */
double roundedToOdd (Sum sum) noexcept
{
    const auto nearest = sum.high + sum.low;
    const auto rest = sum.low - (nearest - sum.high); // exact
    const auto bits = bitCast<std::uint64_t> (nearest);

    if (rest == 0.0 || bits % 2 == 1) // NOLINT: only an exact sum may be even
        return nearest;

    return bitCast<double> (rest > 0.0 ? bits + 1 : bits - 1);
}

} // namespace

float exp2 (float x) noexcept
{
    if (! (x < 128.0f)) // nor if it is no number
        return x * std::numeric_limits<float>::infinity();

    if (x < -150.0f)
        return 0.0f;

    // The nearest whole number of sixteenths. The offset is there because conversions to int cut off towards 0.
    const auto sixteenths = static_cast<std::int32_t> (static_cast<double> (x) * 16.0 + 4096.5) - 4096;
    const auto& power = powers[sixteenths & 15];
    const auto less = powerLessOne (x - sixteenths * 0.0625);

    // A double's exponent stands above its 52 bits of mantissa, and is 1023 for 1 up to 2.
    const auto scale = bitCast<double> (static_cast<std::uint64_t> ((sixteenths >> 4) + 1023) << 52);
    return static_cast<float> (roundedToOdd ({ power.high, power.high * less + power.low }) * scale);
}

} // namespace varnel
