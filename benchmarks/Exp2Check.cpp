// SPDX-License-Identifier: AGPL-3.0-only
// Compares the engine's exp2 with MPFR's at every float. scripts/check-exp2.sh builds and runs it.

#include "engine/Exp2.h"

#include <mpfr.h>

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <thread>
#include <vector>

namespace
{

/** A power with 100 bits. */
class Power
{
public:
    Power() { mpfr_inits2 (100, power, middle, static_cast<mpfr_ptr> (nullptr)); }
    ~Power() { mpfr_clears (power, middle, static_cast<mpfr_ptr> (nullptr)); }

    /** @returns two to the power of x, rounded to a float */
    float of (float x)
    {
        mpfr_set_flt (middle, x, MPFR_RNDN); // exact
        mpfr_exp2 (power, middle, MPFR_RNDN);
        return mpfr_get_flt (power, MPFR_RNDN);
    }

    /** @returns how far the last power is from the nearer middle between two floats, as a part of the power */
    double distance()
    {
        // The middles have 25 bits, the last of them set.
        mpfr_set (middle, power, MPFR_RNDN);
        mpfr_prec_round (middle, 24, MPFR_RNDZ);
        mpfr_prec_round (middle, 100, MPFR_RNDN);
        const auto last = std::ldexp (1.0, static_cast<int> (mpfr_get_exp (power)) - 25);
        mpfr_add_d (middle, middle, last, MPFR_RNDN);
        mpfr_sub (middle, middle, power, MPFR_RNDN);
        mpfr_div (middle, middle, power, MPFR_RNDN);
        return std::abs (mpfr_get_d (middle, MPFR_RNDN));
    }

private:
    mpfr_t power, middle;
};

constexpr std::uint32_t run = 4096, infinity = 0x7f800000, sign = 0x80000000;

std::atomic<std::uint32_t> next { 0 };
std::atomic<std::uint64_t> looked { 0 }, compared { 0 }, wrong { 0 };

bool same (float a, float b)
{
    return std::bit_cast<std::uint32_t> (a) == std::bit_cast<std::uint32_t> (b);
}

/** All floats of a run, from the one with these bits on. Where first and last have the same power, so have all between:
    powers grow with x, and rounding keeps the order. */
void check (Power& power, std::uint32_t first, std::uint64_t& numCompared)
{
    const auto lowest = power.of (std::bit_cast<float> (first));
    const auto isConstant = same (lowest, power.of (std::bit_cast<float> (first + run - 1)));

    for (std::uint32_t i = 0; i < run; ++i)
    {
        const auto x = std::bit_cast<float> (first + i);
        const auto expected = isConstant ? lowest : power.of (x);

        if (! same (varnel::exp2 (x), expected))
        {
            ++wrong;
            std::printf ("%a: %a instead of %a\n", static_cast<double> (x), static_cast<double> (varnel::exp2 (x)), static_cast<double> (expected));
        }

        // The powers of whole numbers are floats themselves, and no middles.
        if (! isConstant && std::abs (x) < 126.0f)
        {
            if (const auto distance = power.distance(); distance < 0x1p-51)
                std::printf ("%a: 2^%.2f of its power from the middle between two floats\n", static_cast<double> (x), std::log2 (distance));
        }
    }

    numCompared += isConstant ? 2 : run;
}

} // namespace

int main()
{
    static_assert (infinity % run == 0);
    std::vector<std::thread> threads;

    for (auto i = std::thread::hardware_concurrency(); i > 0; --i)
        threads.emplace_back ([]
                              {
            Power power;
            std::uint64_t numCompared = 0, numLooked = 0;

            for (std::uint32_t first; (first = next.fetch_add (run)) < infinity; numLooked += 2 * run)
            {
                check (power, first, numCompared);
                check (power, first | sign, numCompared);
            }

            looked += numLooked;
            compared += numCompared; });

    for (auto& thread : threads)
        thread.join();

    std::printf ("%llu finite floats, %llu powers worked out by MPFR: %llu wrong\n", static_cast<unsigned long long> (looked), static_cast<unsigned long long> (compared), static_cast<unsigned long long> (wrong));
    return wrong == 0 ? 0 : 1;
}
