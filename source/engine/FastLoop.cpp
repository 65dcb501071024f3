// SPDX-License-Identifier: AGPL-3.0-only
#include "Lanes.h"
#include "ReverbEngine.h"

#include <algorithm>

#if VARNEL_HAS_LANES

namespace varnel
{

    #define VARNEL_INLINE [[gnu::always_inline]] inline

namespace
{

/** The places of the lines in the bank. */
struct Line
{
    enum Index
    {
        preL,
        preR,
        diffuserL1,
        diffuserL2,
        diffuserL3,
        diffuserR1,
        diffuserR2,
        diffuserR3,
        tankL1,
        tankL2,
        tankL3,
        tankEndL,
        tankR1,
        tankR2,
        tankR3,
        tankEndR
    };
};

/** Four samples each of a left and a right line. */
struct Rows
{
    Lanes left, right;
};

VARNEL_INLINE Rows rowsOfLower (Lanes a, Lanes b, Lanes c, Lanes d) noexcept
{
    const auto ab = zippedLower (a, b), cd = zippedLower (c, d);
    return { lowerOfBoth (ab, cd), upperOfBoth (ab, cd) };
}

VARNEL_INLINE Rows rowsOfUpper (Lanes a, Lanes b, Lanes c, Lanes d) noexcept
{
    const auto ab = zippedUpper (a, b), cd = zippedUpper (c, d);
    return { lowerOfBoth (ab, cd), upperOfBoth (ab, cd) };
}

/** The coefficients of four shelves side by side. */
struct ShelfBank
{
    Lanes a1, b0, b1;

    ShelfBank (const Shelf& lower, const Shelf& upper) noexcept
        : a1 { lower.a1, lower.a1, upper.a1, upper.a1 },
          b0 { lower.b0, lower.b0, upper.b0, upper.b0 },
          b1 { lower.b1, lower.b1, upper.b1, upper.b1 }
    {
    }

    VARNEL_INLINE Lanes process (Lanes x, Lanes& state) const noexcept
    {
        const auto y = b0 * x + state;
        state = (b1 * x + a1 * y) + denormalGuard;
        return y;
    }
};

/** addProduct() of each lane. */
template <typename Gain>
VARNEL_INLINE Lanes addProducts (Lanes sum, Lanes x, Gain gain) noexcept
{
    const auto isTiny = magnitude (x) < 0x1p-100f;
    const auto isFelt = isTiny & (magnitude (sum) < 0x1p-74f) & (x != 0.0f);

    if (any (isFelt)) [[unlikely]]
    {
        const auto gains = gain + Lanes {};
        return Lanes { addProduct (sum[0], x[0], gains[0]), addProduct (sum[1], x[1], gains[1]), addProduct (sum[2], x[2], gains[2]), addProduct (sum[3], x[3], gains[3]) };
    }

    return sum + where (~isTiny | INT32_MIN, x) * gain;
}

/** Reads between the samples of four lines, of each of which it gets four neighbours, the oldest first. */
VARNEL_INLINE Lanes hermite (Lanes a, Lanes b, Lanes c, Lanes d, Lanes fraction) noexcept
{
    const auto [x2, x1] = rowsOfLower (a, b, c, d);
    const auto [x0, xm1] = rowsOfUpper (a, b, c, d);
    return DelayLine::hermite (x2, x1, x0, xm1, fraction);
}

/** The triangle's four phases, each of another sample. */
struct SpinBank
{
    Lanes steps;
    Lanes phases0 {}, phases1 {}, phases2 {}, phases3 {}; ///< the newest, and those of one, two and three steps ago

    SpinBank (float phase, float increment) noexcept
        : steps { increment, 0.125f, 0.125f, 0.125f }, phases0 (splat (phase))
    {
        for (int i = 0; i < 3; ++i)
            step();
    }

    VARNEL_INLINE void step() noexcept
    {
        phases3 = phases2;
        phases2 = phases1;
        phases1 = phases0;
        const auto phase = shuffled<0, 0, 1, 2> (phases1, phases1) + steps;
        phases0 = phase - where (phase > 0.5f, splat (1.0f));
    }

    VARNEL_INLINE Lanes taps() const noexcept
    {
        const auto phases = lowerAndUpper (shuffled<0, 5, 0, 0> (phases3, phases2), shuffled<0, 0, 2, 7> (phases1, phases0));
        return (magnitude (phases) - 0.25f) * 4.0f;
    }

    VARNEL_INLINE float phase() const noexcept { return phases3[0]; }
};

} // namespace

/** The sample loop with three neighbouring samples side by side. It gives what plainLoop() gives, to the bit.

    @code
              lanes:   diffuser L   diffuser R   tank L   tank R        output L, R
    turn i             of sample i               of sample i - 1        of sample i - 2
    @endcode

    No part of a sample waits for another part of the same turn, so one allpass step does a diffuser and a tank stage of both
    sides, and what it computes for the lines (into) is four lines' next sample. Lines are written four samples at a time,
    the diffusers' after the last turn of a group of four, the tank's one turn later, the output two turns later. So nothing
    may be read that is less than DelayBank::shortestDelay old. Where the tank reads next is found one sample ahead; the
    early lines' reads of a whole group are fetched at its start, with one load each once all glides have come to rest.

    A block of N samples takes N + 2 turns. In the first turn there is no tank and no output yet, in the second no output;
    in the last but one there are no diffusers any more, in the last no tank. Those lanes run idle: they read valid places
    but what they leave in the state is undone (keepDiffusers(), keepTank(), keepOutput()), and nothing of theirs is
    written. State is taken over from the engine's members before, and given back after.
*/
struct ReverbEngine::FastLoop
{
    struct State
    {
        Lanes lastFiltered[3], low[3], high[3];
        Lanes outLow, outHigh;
        Lanes feedback;
    };

    ReverbEngine& engine;
    const Stretch& block;
    DelayBank& bank;
    float* const memory;

    const Goals& goals;
    const Lanes earlyGoal0, earlyGoal1, tankGoalL, tankGoalR, levelGoal;
    const float smoothing, rate;
    const Lanes coefficient;
    const ShelfBank innerLow, innerHigh, outLow, outHigh;

    Lanes earlyNow0, earlyNow1, tankNowL, tankNowR, levelNow;
    bool resting = false;
    SpinBank spin;
    Lanes secondsL {}, secondsR {}, fractionA {}, fractionB {};
    State state;
    std::int32_t now;

    Lanes pre[2] {}, diffused[3][2] {};
    Lanes into[3][4] {}, filtered[4] {};
    Lanes early1 {}, early2 {}, late {};
    Lanes trim {};
    alignas (16) float trims[4] {};
    Lanes highestInL {}, highestInR {}, highestOutL {}, highestOutR {};

    FastLoop (ReverbEngine& e, const Stretch& stretch) noexcept
        : engine (e), block (stretch), bank (e.bank), memory (bank.memory.get()), goals (e.goals),
          earlyGoal0 { goals.preDelay[0], goals.preDelay[1], goals.diffuser[0], goals.diffuser[1] },
          earlyGoal1 (loadLanes (&goals.diffuser[2])),
          tankGoalL (loadLanes (&goals.tank[0])), tankGoalR (loadLanes (&goals.tank[4])),
          levelGoal { goals.spinDepth, goals.sizeTrim, goals.sizeTrim, goals.sizeTrim },
          smoothing (e.smoothCoeff), rate (e.sampleRate),
          coefficient { e.diffuserL1.coefficient, e.diffuserL1.coefficient, e.tankL1.coefficient, e.tankL1.coefficient },
          innerLow (e.tankLowL, e.tankLowL), innerHigh (e.tankHighL, e.tankHighL),
          outLow (e.outLowL, e.tankLowL), outHigh (e.outHighL, e.tankHighL),
          earlyNow0 { e.preDelayCurrent[0], e.preDelayCurrent[1], e.diffuserCurrent[0], e.diffuserCurrent[1] },
          earlyNow1 (loadLanes (&e.diffuserCurrent[2])),
          tankNowL (loadLanes (&e.tankCurrent[0])), tankNowR (loadLanes (&e.tankCurrent[4])),
          levelNow { e.spinDepthCurrent, e.sizeTrimCurrent, e.sizeTrimCurrent, e.sizeTrimCurrent },
          spin (e.spinPhase, goals.spinIncrement),
          state { { stages (e.diffuserL1, e.diffuserR1, e.tankL1, e.tankR1, &AllpassStage::lastFiltered),
                    stages (e.diffuserL2, e.diffuserR2, e.tankL2, e.tankR2, &AllpassStage::lastFiltered),
                    stages (e.diffuserL3, e.diffuserR3, e.tankL3, e.tankR3, &AllpassStage::lastFiltered) },
                  { shelves (e.diffuserL1.low, e.diffuserR1.low, e.tankL1.low, e.tankR1.low),
                    shelves (e.diffuserL2.low, e.diffuserR2.low, e.tankL2.low, e.tankR2.low),
                    shelves (e.diffuserL3.low, e.diffuserR3.low, e.tankL3.low, e.tankR3.low) },
                  { shelves (e.diffuserL1.high, e.diffuserR1.high, e.tankL1.high, e.tankR1.high),
                    shelves (e.diffuserL2.high, e.diffuserR2.high, e.tankL2.high, e.tankR2.high),
                    shelves (e.diffuserL3.high, e.diffuserR3.high, e.tankL3.high, e.tankR3.high) },
                  shelves (e.outLowL, e.outLowR, e.tankLowL, e.tankLowR),
                  shelves (e.outHighL, e.outHighR, e.tankHighL, e.tankHighR),
                  { e.tankFeedbackR, e.tankFeedbackL, e.tankFeedbackR, e.tankFeedbackL } },
          now (e.tankDelayL.writeIndex)
    {
        trim = splat (levelNow[1]);
        storeLanes (loadLanes<WholeLanes> (&bank.start[Line::tankL1]), &bank.places[0]); // for the turn that is idle
        storeLanes (loadLanes<WholeLanes> (&bank.start[Line::tankR1]), &bank.places[4]);
    }

    VARNEL_INLINE static Lanes stages (const AllpassStage& a, const AllpassStage& b, const AllpassStage& c, const AllpassStage& d, float AllpassStage::*member) noexcept
    {
        return Lanes { a.*member, b.*member, c.*member, d.*member };
    }

    VARNEL_INLINE static Lanes shelves (const Shelf& a, const Shelf& b, const Shelf& c, const Shelf& d) noexcept
    {
        return Lanes { a.state, b.state, c.state, d.state };
    }

    //==============================================================================
    VARNEL_INLINE void keepDiffusers (const State& before) noexcept
    {
        for (int k = 0; k < 3; ++k)
        {
            state.lastFiltered[k] = lowerAndUpper (before.lastFiltered[k], state.lastFiltered[k]);
            state.low[k] = lowerAndUpper (before.low[k], state.low[k]);
            state.high[k] = lowerAndUpper (before.high[k], state.high[k]);
        }
    }

    VARNEL_INLINE void keepTank (const State& before) noexcept
    {
        for (int k = 0; k < 3; ++k)
        {
            state.lastFiltered[k] = lowerAndUpper (state.lastFiltered[k], before.lastFiltered[k]);
            state.low[k] = lowerAndUpper (state.low[k], before.low[k]);
            state.high[k] = lowerAndUpper (state.high[k], before.high[k]);
        }

        state.outLow = lowerAndUpper (state.outLow, before.outLow);
        state.outHigh = lowerAndUpper (state.outHigh, before.outHigh);
        state.feedback = before.feedback;
    }

    VARNEL_INLINE void keepOutput (const State& before) noexcept
    {
        state.outLow = lowerAndUpper (before.outLow, state.outLow);
        state.outHigh = lowerAndUpper (before.outHigh, state.outHigh);
    }

    //==============================================================================
    VARNEL_INLINE Lanes load (std::int32_t place) const noexcept { return loadLanes (memory + place); }

    VARNEL_INLINE bool isSeam (std::int32_t first) const noexcept { return ((first + 3) & bank.smallestMask) < 6; }

    VARNEL_INLINE void write (Line::Index i, std::int32_t first, Lanes row) noexcept
    {
        storeLanes (row, memory + (bank.start[i] + (first & bank.mask[i])));
    }

    void writeAtSeam (Line::Index i, std::int32_t first, Lanes row) noexcept
    {
        float* const samples = memory + bank.start[i];

        for (int k = 0; k < 4; ++k)
        {
            const auto index = (first + k) & bank.mask[i];
            samples[index] = row[k];
            if (index < DelayBank::numCopied)
                samples[index + bank.mask[i] + 1] = row[k];
        }
    }

    VARNEL_INLINE void writeBoth (Line::Index left, Line::Index right, std::int32_t first, Rows rows) noexcept
    {
        if (isSeam (first)) [[unlikely]]
        {
            writeAtSeam (left, first, rows.left);
            writeAtSeam (right, first, rows.right);
        }
        else
        {
            write (left, first, rows.left);
            write (right, first, rows.right);
        }
    }

    //==============================================================================
    VARNEL_INLINE void findPlaces (int slot) noexcept
    {
        if (! resting)
        {
            tankNowL = glide (tankNowL, tankGoalL, smoothing);
            tankNowR = glide (tankNowR, tankGoalR, smoothing);
            levelNow = glide (levelNow, levelGoal, smoothing);
            trims[slot] = levelNow[1];
        }

        spin.step();
        const auto taps = spin.taps() * shuffled<0, 0, 0, 0> (levelNow, levelNow);
        secondsL = tankNowL + taps;
        secondsR = tankNowR - taps;

        const auto samplesL = rate * secondsL, samplesR = rate * secondsR;
        const auto wholeL = wholeFloor (samplesL), wholeR = wholeFloor (samplesR);
        const auto fractionL = samplesL - toFloat (wholeL), fractionR = samplesR - toFloat (wholeR);
        fractionA = zippedLower (fractionL, fractionR);
        fractionB = zippedUpper (fractionL, fractionR);

        const auto oldest = now + slot - 2;
        storeLanes (loadLanes<WholeLanes> (&bank.start[Line::tankL1]) + ((oldest - wholeL) & loadLanes<WholeLanes> (&bank.mask[Line::tankL1])), &bank.places[0]);
        storeLanes (loadLanes<WholeLanes> (&bank.start[Line::tankR1]) + ((oldest - wholeR) & loadLanes<WholeLanes> (&bank.mask[Line::tankR1])), &bank.places[4]);
    }

    VARNEL_INLINE static Lanes pair (const Lanes (&pairs)[2], int slot, Lanes upper) noexcept
    {
        return slot % 2 == 0 ? lowerAndUpper (pairs[slot / 2], upper) : upperOfBoth (pairs[slot / 2], upper);
    }

    VARNEL_INLINE void turn (int slot, bool findsPlaces) noexcept
    {
        // Tank reads
        const auto* const places = bank.places.data();
        const auto readA = hermite (load (places[0]), load (places[4]), load (places[1]), load (places[5]), fractionA);
        const auto readB = hermite (load (places[2]), load (places[6]), load (places[3]), load (places[7]), fractionB);

        if (findsPlaces)
            findPlaces (slot);

        // Chain
        const auto crossed = (state.feedback * goals.decay + lowerOfBoth (early1, early1)) + denormalGuard;
        const auto x = pair (pre, slot, crossed);
        const auto y1 = addProducts (state.lastFiltered[0], x, -coefficient);
        const auto y2 = state.lastFiltered[1] - y1 * coefficient;
        const auto y3 = state.lastFiltered[2] - y2 * coefficient;
        into[0][slot] = coefficient * y1 + x;
        into[1][slot] = coefficient * y2 + y1;
        into[2][slot] = coefficient * y3 + y2;

        // Loop shelves
        const Lanes read[3] { pair (diffused[0], slot, lowerOfBoth (readA, readA)), pair (diffused[1], slot, readA), pair (diffused[2], slot, lowerOfBoth (readB, readB)) };
        for (int k = 0; k < 3; ++k)
            state.lastFiltered[k] = innerHigh.process (innerLow.process (read[k], state.low[k]), state.high[k]) + denormalGuard;
        state.feedback = shuffled<0, 1, 3, 2> (readB, readB);

        // Output
        const auto wet = early2 * goals.weights.early + upperOfBoth (late, late) * goals.weights.late;
        late = outHigh.process (outLow.process (lowerAndUpper (wet, y3), state.outLow), state.outHigh);
        filtered[slot] = late;
        early2 = early1;
        early1 = y3;
    }

    //==============================================================================
    VARNEL_INLINE void readEarly (int group) noexcept
    {
        writeBoth (Line::preL, Line::preR, now, { loadLanes (block.left + group * 4), loadLanes (block.rightInput + group * 4) });

        const auto mask0 = loadLanes<WholeLanes> (&bank.mask[0]), mask1 = loadLanes<WholeLanes> (&bank.mask[4]);
        const auto start0 = loadLanes<WholeLanes> (&bank.start[0]), start1 = loadLanes<WholeLanes> (&bank.start[4]);

        if (resting)
        {
            storeLanes (start0 + ((now - wholeFloor (rate * earlyNow0)) & mask0), &bank.earlyPlaces[0]);
            storeLanes (start1 + ((now - wholeFloor (rate * earlyNow1)) & mask1), &bank.earlyPlaces[4]);

            const auto* const places = bank.earlyPlaces.data();
            const auto zip = [&] (Lanes (&pairs)[2], Line::Index left, Line::Index right)
            {
                const auto l = load (places[left]), r = load (places[right]);
                pairs[0] = zippedLower (l, r);
                pairs[1] = zippedUpper (l, r);
            };
            zip (pre, Line::preL, Line::preR);
            zip (diffused[0], Line::diffuserL1, Line::diffuserR1);
            zip (diffused[1], Line::diffuserL2, Line::diffuserR2);
            zip (diffused[2], Line::diffuserL3, Line::diffuserR3);
        }
        else
        {
            for (int i = 0; i < 4; ++i)
            {
                earlyNow0 = glide (earlyNow0, earlyGoal0, smoothing);
                earlyNow1 = glide (earlyNow1, earlyGoal1, smoothing);
                storeLanes (start0 + ((now + i - wholeFloor (rate * earlyNow0)) & mask0), &bank.earlyPlaces[static_cast<std::size_t> (i) * 8]);
                storeLanes (start1 + ((now + i - wholeFloor (rate * earlyNow1)) & mask1), &bank.earlyPlaces[static_cast<std::size_t> (i) * 8 + 4]);
            }

            const auto* const places = bank.earlyPlaces.data();
            const auto gather = [&] (Lanes (&pairs)[2], Line::Index left, Line::Index right)
            {
                pairs[0] = Lanes { memory[places[left]], memory[places[right]], memory[places[8 + left]], memory[places[8 + right]] };
                pairs[1] = Lanes { memory[places[16 + left]], memory[places[16 + right]], memory[places[24 + left]], memory[places[24 + right]] };
            };
            gather (pre, Line::preL, Line::preR);
            gather (diffused[0], Line::diffuserL1, Line::diffuserR1);
            gather (diffused[1], Line::diffuserL2, Line::diffuserR2);
            gather (diffused[2], Line::diffuserL3, Line::diffuserR3);
        }
    }

    VARNEL_INLINE void writeDiffusers() noexcept
    {
        writeBoth (Line::diffuserL1, Line::diffuserR1, now, rowsOfLower (into[0][0], into[0][1], into[0][2], into[0][3]));
        writeBoth (Line::diffuserL2, Line::diffuserR2, now, rowsOfLower (into[1][0], into[1][1], into[1][2], into[1][3]));
        writeBoth (Line::diffuserL3, Line::diffuserR3, now, rowsOfLower (into[2][0], into[2][1], into[2][2], into[2][3]));
    }

    VARNEL_INLINE void writeTank() noexcept
    {
        writeBoth (Line::tankL1, Line::tankR1, now - 4, rowsOfUpper (into[0][1], into[0][2], into[0][3], into[0][0]));
        writeBoth (Line::tankL2, Line::tankR2, now - 4, rowsOfUpper (into[1][1], into[1][2], into[1][3], into[1][0]));
        writeBoth (Line::tankL3, Line::tankR3, now - 4, rowsOfUpper (into[2][1], into[2][2], into[2][3], into[2][0]));
        writeBoth (Line::tankEndL, Line::tankEndR, now - 4, rowsOfUpper (filtered[1], filtered[2], filtered[3], filtered[0]));
    }

    VARNEL_INLINE static void raise (Lanes& highest, Lanes x) noexcept
    {
        const auto m = magnitude (x);
        highest = m > highest ? m : highest;
    }

    VARNEL_INLINE void writeOutput (int group) noexcept
    {
        float* const left = block.left + group * 4;
        float* const right = block.right + group * 4;
        const auto inL = loadLanes (left), inR = loadLanes (block.rightInput + group * 4);
        raise (highestInL, inL);
        raise (highestInR, inR);

        const auto [filteredL, filteredR] = rowsOfLower (filtered[2], filtered[3], filtered[0], filtered[1]);
        const auto trimmedL = filteredL * trim, trimmedR = filteredR * trim;
        const auto mid = (trimmedL + trimmedR) * engine.midGain;
        const auto side = (trimmedL - trimmedR) * engine.sideGain;
        const auto outL = addProducts ((mid + side) * goals.weights.wet, inL, goals.weights.dry);
        const auto outR = addProducts ((mid - side) * goals.weights.wet, inR, goals.weights.dry);

        const auto first = block.isStereo ? outL : (outL + outR) * 0.5f;
        const auto second = block.isStereo ? outR : first;
        storeLanes (first, left);
        storeLanes (second, right);
        raise (highestOutL, first);
        raise (highestOutR, second);
    }

    static bool isFixed (Lanes current, Lanes goal, float coefficient) noexcept
    {
        return ! any (glide (current, goal, coefficient) != current);
    }

    VARNEL_INLINE void run() noexcept
    {
        const auto numGroups = block.numSamples / 4;
        const auto first = now;
        State before = state;

        for (int group = 0;; ++group, now += 4)
        {
            const bool isFirst = group == 0, isLast = group == numGroups;

            if (! isLast)
            {
                if (! resting)
                    resting = isFixed (earlyNow0, earlyGoal0, smoothing) && isFixed (earlyNow1, earlyGoal1, smoothing) && isFixed (tankNowL, tankGoalL, smoothing) && isFixed (tankNowR, tankGoalR, smoothing) && isFixed (levelNow, levelGoal, smoothing);

                readEarly (group);
            }

            if (isFirst || isLast)
                before = state;

            turn (0, ! isLast);

            if (isFirst)
            {
                keepTank (before);
                keepOutput (before);
                before = state;
            }
            else
                writeTank();

            if (isLast)
            {
                keepDiffusers (before);
                before = state;
            }

            turn (1, ! isLast);

            if (isFirst)
                keepOutput (before);
            else
                writeOutput (group - 1);

            if (isLast)
            {
                keepDiffusers (before);
                keepTank (before);
                break;
            }

            turn (2, true);
            turn (3, true);
            writeDiffusers();
            trim = resting ? splat (levelNow[1]) : loadLanes (trims);
        }

        now = first + block.numSamples;
    }

    static float highestOf (Lanes x) noexcept
    {
        return std::max (std::max (x[0], x[1]), std::max (x[2], x[3]));
    }

    VARNEL_INLINE void giveBack (Peaks& peaks) const noexcept
    {
        auto& e = engine;
        e.preDelayCurrent = { earlyNow0[0], earlyNow0[1] };
        e.diffuserCurrent = { earlyNow0[2], earlyNow0[3], earlyNow1[0], earlyNow1[1], earlyNow1[2], earlyNow1[3] };
        storeLanes (tankNowL, &e.tankCurrent[0]);
        storeLanes (tankNowR, &e.tankCurrent[4]);
        e.spinDepthCurrent = levelNow[0];
        e.sizeTrimCurrent = levelNow[1];
        e.spinPhase = spin.phase();

        AllpassStage* const stages[3][4] { { &e.diffuserL1, &e.diffuserR1, &e.tankL1, &e.tankR1 }, { &e.diffuserL2, &e.diffuserR2, &e.tankL2, &e.tankR2 }, { &e.diffuserL3, &e.diffuserR3, &e.tankL3, &e.tankR3 } };
        for (int k = 0; k < 3; ++k)
            for (int i = 0; i < 4; ++i)
            {
                stages[k][i]->lastFiltered = state.lastFiltered[k][i];
                stages[k][i]->low.state = state.low[k][i];
                stages[k][i]->high.state = state.high[k][i];
            }

        e.outLowL.state = state.outLow[0];
        e.outLowR.state = state.outLow[1];
        e.tankLowL.state = state.outLow[2];
        e.tankLowR.state = state.outLow[3];
        e.outHighL.state = state.outHigh[0];
        e.outHighR.state = state.outHigh[1];
        e.tankHighL.state = state.outHigh[2];
        e.tankHighR.state = state.outHigh[3];
        e.tankFeedbackR = state.feedback[2];
        e.tankFeedbackL = state.feedback[3];

        DelayLine* const lines[4][4] { { &e.preDelayL, &e.preDelayR, &e.diffuserL1.delay, &e.diffuserL2.delay }, { &e.diffuserL3.delay, &e.diffuserR1.delay, &e.diffuserR2.delay, &e.diffuserR3.delay }, { &e.tankL1.delay, &e.tankL2.delay, &e.tankL3.delay, &e.tankDelayL }, { &e.tankR1.delay, &e.tankR2.delay, &e.tankR3.delay, &e.tankDelayR } };
        const Lanes seconds[4] { earlyNow0, earlyNow1, secondsL, secondsR };
        for (int k = 0; k < 4; ++k)
        {
            const auto samples = rate * seconds[k];
            const auto whole = wholeFloor (samples);
            const auto fraction = samples - toFloat (whole);

            for (int i = 0; i < 4; ++i)
            {
                lines[k][i]->delaySamples = samples[i];
                lines[k][i]->delayWhole = whole[i];
                lines[k][i]->delayFraction = fraction[i];
                lines[k][i]->writeIndex = now & lines[k][i]->mask;
            }
        }

        peaks.inL = std::max (peaks.inL, highestOf (highestInL));
        peaks.inR = std::max (peaks.inR, highestOf (highestInR));
        peaks.outL = std::max (peaks.outL, highestOf (highestOutL));
        peaks.outR = std::max (peaks.outR, highestOf (highestOutR));
    }
};

/** Its frame is large enough for gcc to guard it, and the guard ends in a call. It holds no array that input could overrun. */
__attribute__ ((no_stack_protector)) void ReverbEngine::fastLoop (const Stretch& block, Peaks& peaks) noexcept
{
    FastLoop loop (*this, block);
    loop.run();
    loop.giveBack (peaks);
}

} // namespace varnel

#endif
