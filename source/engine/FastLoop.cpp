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

/** The places of the lines in the bank. A left and a right line lie side by side, as they do in the lanes. */
struct Line
{
    enum Index
    {
        preL,
        preR,
        diffuserL1,
        diffuserR1,
        diffuserL2,
        diffuserR2,
        diffuserL3,
        diffuserR3,
        tankL1,
        tankR1,
        tankL2,
        tankR2,
        tankL3,
        tankR3,
        tankEndL,
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

/** The lanes that addProduct() takes a closer look at. */
VARNEL_INLINE WholeLanes isTiny (Lanes x) noexcept
{
    return (magnitude (x) < 0x1p-100f) & (x != 0.0f);
}

/** addProduct() of each lane. */
template <typename Gain>
VARNEL_INLINE Lanes addProducts (Lanes sum, Lanes x, Gain gain) noexcept
{
    const auto tiny = isTiny (x);

    if (any (tiny & (magnitude (sum) < 0x1p-74f))) [[unlikely]]
    {
        const auto gains = gain + Lanes {};
        return Lanes { addProduct (sum[0], x[0], gains[0]), addProduct (sum[1], x[1], gains[1]), addProduct (sum[2], x[2], gains[2]), addProduct (sum[3], x[3], gains[3]) };
    }

    return sum + where (~tiny, x) * gain;
}

/** Reads between the samples of four lines, of each of which it gets four neighbours, the oldest first. */
VARNEL_INLINE Lanes hermite (Lanes a, Lanes b, Lanes c, Lanes d, Lanes fraction) noexcept
{
    const auto [x2, x1] = rowsOfLower (a, b, c, d);
    const auto [x0, xm1] = rowsOfUpper (a, b, c, d);
    return DelayLine::hermite (x2, x1, x0, xm1, fraction);
}

/** The triangle's four phases, each of another sample, so that one step moves all of them: the later ones come from the
    earlier ones, as SpinLfo has them. */
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
        const auto moved = shuffled<0, 0, 1, 2> (phases1, phases1) + steps;
        phases0 = moved - where (moved > 0.5f, splat (1.0f));
    }

    /** A quarter of taps 1 and 2, and of 3 and 4, each for a left and a right lane. */
    VARNEL_INLINE Lanes taps12() const noexcept { return magnitude (shuffled<0, 0, 5, 5> (phases3, phases2)) - 0.25f; }
    VARNEL_INLINE Lanes taps34() const noexcept { return magnitude (shuffled<2, 2, 7, 7> (phases1, phases0)) - 0.25f; }

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
    may be read that is less than DelayBank::shortestDelay old. What the tank reads is fetched one turn ahead, and the places
    are found in the turn before that; the early lines' reads of a whole group are fetched at its start, with one load each
    once all glides have come to rest. The time goes into waiting for results rather than into work: the order of the parts
    of a turn is the one in which a processor waits least, and worth a tenth of the time.

    A block of N samples takes N + 2 turns, and in the first two and the last two of them some lanes run idle: they read
    valid places, and nothing of theirs is written. What they leave in the state does not count. At the start of a block the
    tank's and the output's lanes are taken from the engine's members only after their idle turns; at its end each part's
    lanes are given back before its idle turns.
*/
struct ReverbEngine::FastLoop
{
    ReverbEngine& engine;
    DelayBank& bank;
    float* const memory;
    float *const left, *const right;
    const float* const rightInput;
    const bool isStereo;
    const int numGroups;

    const Lanes earlyGoal0, earlyGoal1, tankGoal0, tankGoal1, levelGoal;
    const Lanes smoothing, rate, decay, coefficient, earlyWeight, lateWeight;
    const ShelfBank innerLow, innerHigh, outLow, outHigh;

    // Smoothed values, and the places and fractions that follow from them
    Lanes earlyNow0, earlyNow1, tankNow0, tankNow1, levelNow;
    Lanes depth {};                            ///< four times: for the left lanes as it is, for the right ones negated
    bool resting = false;                      ///< whether no smoothed value will change any more before the block's end
    WholeLanes earlyWhole0 {}, earlyWhole1 {}; ///< of the delays at rest
    SpinBank spin;
    Lanes seconds0 {}, seconds1 {}, fraction0 {}, fraction1 {};
    std::int32_t now;
    WholeLanes nowLanes;

    // State of the stages, in the lanes of the picture; of late and output shelves: output L, R, late L, R
    Lanes lastFiltered[3] {}, low[3] {}, high[3] {}, outLowState {}, outHighState {};
    Lanes feedback {}; ///< in the lower lanes, crossed

    // On the way between turns
    bool preIsTiny = false, inputIsTiny = false, inputWasTiny = false; ///< of this group, and of the last one's input
    Lanes pre[2] {}, diffused[3][2] {};
    Lanes read0 {}, read1 {}; ///< of the tank's lines 1 and 2, 3 and end
    Lanes into[3][4] {}, filtered[4] {};
    Lanes early1 {}, early2 {}, late {};
    Lanes trim {};
    alignas (16) float trims[4] {};
    Lanes highestInL {}, highestInR {}, highestOutL {}, highestOutR {};

    FastLoop (ReverbEngine& e, const Stretch& block) noexcept
        : engine (e), bank (e.bank), memory (bank.memory.get()),
          left (block.left), right (block.right), rightInput (block.rightInput), isStereo (block.isStereo), numGroups (block.numSamples / 4),
          earlyGoal0 (preDelayAndFirst (e.goals.preDelay, e.goals.diffuser)), earlyGoal1 (secondAndThird (e.goals.diffuser)),
          tankGoal0 (sideBySide (&e.goals.tank[0], &e.goals.tank[4])), tankGoal1 (sideBySide (&e.goals.tank[2], &e.goals.tank[6])),
          levelGoal { e.goals.spinDepth, e.goals.sizeTrim, e.goals.sizeTrim, e.goals.sizeTrim },
          smoothing (splat (e.smoothCoeff)), rate (splat (e.sampleRate)), decay (splat (e.goals.decay)),
          coefficient { e.diffuserL1.coefficient, e.diffuserL1.coefficient, e.tankL1.coefficient, e.tankL1.coefficient },
          earlyWeight (splat (e.goals.weights.early)), lateWeight (splat (e.goals.weights.late)),
          innerLow (e.tankLowL, e.tankLowL), innerHigh (e.tankHighL, e.tankHighL),
          outLow (e.outLowL, e.tankLowL), outHigh (e.outHighL, e.tankHighL),
          earlyNow0 (preDelayAndFirst (e.preDelayCurrent, e.diffuserCurrent)), earlyNow1 (secondAndThird (e.diffuserCurrent)),
          tankNow0 (sideBySide (&e.tankCurrent[0], &e.tankCurrent[4])), tankNow1 (sideBySide (&e.tankCurrent[2], &e.tankCurrent[6])),
          levelNow { e.spinDepthCurrent, e.sizeTrimCurrent, e.sizeTrimCurrent, e.sizeTrimCurrent },
          spin (e.spinPhase, e.goals.spinIncrement),
          now (e.tankDelayL.writeIndex), nowLanes (splat (now))
    {
        trim = splat (levelNow[1]);
        setDepth();
        takeDiffusers();
    }

    VARNEL_INLINE static Lanes preDelayAndFirst (const std::array<float, 2>& preDelays, const std::array<float, 6>& diffusers) noexcept
    {
        return Lanes { preDelays[0], preDelays[1], diffusers[0], diffusers[3] };
    }

    VARNEL_INLINE static Lanes secondAndThird (const std::array<float, 6>& diffusers) noexcept
    {
        return Lanes { diffusers[1], diffusers[4], diffusers[2], diffusers[5] };
    }

    /** Two of the left and two of the right, from memory. */
    VARNEL_INLINE static Lanes sideBySide (const float* l, const float* r) noexcept
    {
        return Lanes { l[0], r[0], l[1], r[1] };
    }

    VARNEL_INLINE void setDepth() noexcept
    {
        depth = shuffled<0, 0, 0, 0> (levelNow, levelNow) * Lanes { 4.0f, -4.0f, 4.0f, -4.0f };
    }

    //==============================================================================
    // Between the engine's members and the lanes. Nothing of the engine is changed before the lanes are given back.

    template <int k>
    VARNEL_INLINE void takeDiffuser (const AllpassStage& l, const AllpassStage& r) noexcept
    {
        lastFiltered[k] = Lanes { l.lastFiltered, r.lastFiltered };
        low[k] = Lanes { l.low.state, r.low.state };
        high[k] = Lanes { l.high.state, r.high.state };
    }

    template <int k>
    VARNEL_INLINE void takeTank (const AllpassStage& l, const AllpassStage& r) noexcept
    {
        lastFiltered[k] = lowerOfBoth (lastFiltered[k], Lanes { l.lastFiltered, r.lastFiltered });
        low[k] = lowerOfBoth (low[k], Lanes { l.low.state, r.low.state });
        high[k] = lowerOfBoth (high[k], Lanes { l.high.state, r.high.state });
    }

    template <int k, int lane>
    VARNEL_INLINE void giveBack (AllpassStage& stage) const noexcept
    {
        stage.lastFiltered = lastFiltered[k][lane];
        stage.low.state = low[k][lane];
        stage.high.state = high[k][lane];
    }

    VARNEL_INLINE void takeDiffusers() noexcept
    {
        takeDiffuser<0> (engine.diffuserL1, engine.diffuserR1);
        takeDiffuser<1> (engine.diffuserL2, engine.diffuserR2);
        takeDiffuser<2> (engine.diffuserL3, engine.diffuserR3);
    }

    VARNEL_INLINE void giveBackDiffusers() const noexcept
    {
        giveBack<0, 0> (engine.diffuserL1);
        giveBack<0, 1> (engine.diffuserR1);
        giveBack<1, 0> (engine.diffuserL2);
        giveBack<1, 1> (engine.diffuserR2);
        giveBack<2, 0> (engine.diffuserL3);
        giveBack<2, 1> (engine.diffuserR3);
    }

    VARNEL_INLINE void takeTank() noexcept
    {
        const auto& e = engine;
        takeTank<0> (e.tankL1, e.tankR1);
        takeTank<1> (e.tankL2, e.tankR2);
        takeTank<2> (e.tankL3, e.tankR3);
        outLowState = Lanes { 0.0f, 0.0f, e.tankLowL.state, e.tankLowR.state };
        outHighState = Lanes { 0.0f, 0.0f, e.tankHighL.state, e.tankHighR.state };
        feedback = Lanes { e.tankFeedbackR, e.tankFeedbackL };
    }

    VARNEL_INLINE void giveBackTank() const noexcept
    {
        auto& e = engine;
        giveBack<0, 2> (e.tankL1);
        giveBack<0, 3> (e.tankR1);
        giveBack<1, 2> (e.tankL2);
        giveBack<1, 3> (e.tankR2);
        giveBack<2, 2> (e.tankL3);
        giveBack<2, 3> (e.tankR3);
        e.tankLowL.state = outLowState[2];
        e.tankLowR.state = outLowState[3];
        e.tankHighL.state = outHighState[2];
        e.tankHighR.state = outHighState[3];
        e.tankFeedbackR = feedback[0];
        e.tankFeedbackL = feedback[1];
    }

    VARNEL_INLINE void takeOutput() noexcept
    {
        const auto& e = engine;
        outLowState = lowerAndUpper (Lanes { e.outLowL.state, e.outLowR.state }, outLowState);
        outHighState = lowerAndUpper (Lanes { e.outHighL.state, e.outHighR.state }, outHighState);
    }

    VARNEL_INLINE void giveBackOutput() const noexcept
    {
        auto& e = engine;
        e.outLowL.state = outLowState[0];
        e.outLowR.state = outLowState[1];
        e.outHighL.state = outHighState[0];
        e.outHighR.state = outHighState[1];
    }

    /** What no turn changes any more. */
    VARNEL_INLINE void giveBackRest (Peaks& peaks) const noexcept
    {
        auto& e = engine;
        e.preDelayCurrent = { earlyNow0[0], earlyNow0[1] };
        e.diffuserCurrent = { earlyNow0[2], earlyNow1[0], earlyNow1[2], earlyNow0[3], earlyNow1[1], earlyNow1[3] };
        storeLanes (shuffled<0, 2, 4, 6> (tankNow0, tankNow1), &e.tankCurrent[0]);
        storeLanes (shuffled<1, 3, 5, 7> (tankNow0, tankNow1), &e.tankCurrent[4]);
        e.spinDepthCurrent = levelNow[0];
        e.sizeTrimCurrent = levelNow[1];
        e.spinPhase = spin.phase();

        DelayLine* const lines[4][4] { { &e.preDelayL, &e.preDelayR, &e.diffuserL1.delay, &e.diffuserR1.delay }, { &e.diffuserL2.delay, &e.diffuserR2.delay, &e.diffuserL3.delay, &e.diffuserR3.delay }, { &e.tankL1.delay, &e.tankR1.delay, &e.tankL2.delay, &e.tankR2.delay }, { &e.tankL3.delay, &e.tankR3.delay, &e.tankDelayL, &e.tankDelayR } };
        const Lanes seconds[4] { earlyNow0, earlyNow1, seconds0, seconds1 };

        for (int k = 0; k < 4; ++k)
        {
            const auto samples = rate * seconds[k];
            const auto whole = wholeFloor (samples);
            const auto fraction = samples - toFloat (whole);
            const auto writeIndex = splat (now) & maskOf (k);

            for (int i = 0; i < 4; ++i)
            {
                lines[k][i]->delaySamples = samples[i];
                lines[k][i]->delayWhole = whole[i];
                lines[k][i]->delayFraction = fraction[i];
                lines[k][i]->writeIndex = writeIndex[i];
            }
        }

        peaks.inL = std::max (peaks.inL, highestOf (highestInL));
        peaks.inR = std::max (peaks.inR, highestOf (highestInR));
        peaks.outL = std::max (peaks.outL, highestOf (highestOutL));
        peaks.outR = std::max (peaks.outR, highestOf (highestOutR));
    }

    //==============================================================================
    VARNEL_INLINE WholeLanes maskOf (int four) const noexcept { return loadLanes<WholeLanes> (aligned (&bank.mask[static_cast<std::size_t> (four) * 4])); }
    VARNEL_INLINE WholeLanes startOf (int four) const noexcept { return loadLanes<WholeLanes> (aligned (&bank.start[static_cast<std::size_t> (four) * 4])); }
    VARNEL_INLINE Lanes load (std::int32_t place) const noexcept { return loadLanes (memory + place); }

    /** Finds the places of four lines for samples that go, or went, into them at an index before it is masked. */
    VARNEL_INLINE void place (int four, WholeLanes indices, std::int32_t* places) const noexcept
    {
        storeLanes (startOf (four) + (indices & maskOf (four)), aligned (places));
    }

    VARNEL_INLINE void write (std::int32_t firstPlace, Lanes row) const noexcept { storeLanes (row, memory + firstPlace); }

    VARNEL_INLINE void writeBoth (const std::int32_t* places, Rows rows) const noexcept
    {
        write (places[0], rows.left);
        write (places[1], rows.right);
    }

    /** A row that goes over the end of its line lies in the copy of the line's start, one near the start has to be copied there. */
    VARNEL_INLINE void mendSeams (Line::Index firstLine, std::int32_t first) const noexcept
    {
        if (((first + 3) & bank.smallestMask) >= 6) [[likely]]
            return;

        for (auto i = static_cast<std::size_t> (firstLine), end = i + 8; i < end; ++i)
        {
            auto* const start = memory + bank.start[i];
            auto* const copy = start + bank.mask[i] + 1;
            const auto index = first & bank.mask[i];

            if (index < DelayBank::numCopied)
                for (int k = 0; k < DelayBank::numCopied; ++k)
                    copy[k] = start[k];
            else if (index + 3 > bank.mask[i])
                for (int k = 0; k < DelayBank::numCopied; ++k)
                    start[k] = copy[k];
        }
    }

    //==============================================================================
    /** Where the tank reads for a sample of the group, or for the first of the next one. Delays are positive, so truncated
        ones are rounded down. */
    VARNEL_INLINE void findPlaces (int slot) noexcept
    {
        if (! resting)
        {
            tankNow0 = glide (tankNow0, tankGoal0, smoothing);
            tankNow1 = glide (tankNow1, tankGoal1, smoothing);
            levelNow = glide (levelNow, levelGoal, smoothing);
            trims[slot % 4] = levelNow[1];
            setDepth();
        }

        spin.step();
        seconds0 = tankNow0 + spin.taps12() * depth;
        seconds1 = tankNow1 + spin.taps34() * depth;

        const auto samples0 = rate * seconds0, samples1 = rate * seconds1;
        const auto whole0 = truncate (samples0), whole1 = truncate (samples1);
        fraction0 = samples0 - toFloat (whole0);
        fraction1 = samples1 - toFloat (whole1);

        const auto oldest = nowLanes + (slot - 2);
        place (2, oldest - whole0, &bank.places[0]);
        place (3, oldest - whole1, &bank.places[4]);
    }

    /** A sample of the diffusers' lanes, and the lower or the upper lanes of something of the tank's. */
    VARNEL_INLINE static Lanes withLower (const Lanes (&pairs)[2], int slot, Lanes tank) noexcept
    {
        return slot % 2 == 0 ? lowerOfBoth (pairs[slot / 2], tank) : upperAndLower (pairs[slot / 2], tank);
    }

    VARNEL_INLINE static Lanes withUpper (const Lanes (&pairs)[2], int slot, Lanes tank) noexcept
    {
        return slot % 2 == 0 ? lowerAndUpper (pairs[slot / 2], tank) : upperOfBoth (pairs[slot / 2], tank);
    }

    template <int k>
    VARNEL_INLINE void filter (Lanes read) noexcept
    {
        lastFiltered[k] = innerHigh.process (innerLow.process (read, low[k]), high[k]) + denormalGuard;
    }

    VARNEL_INLINE void turn (int slot, bool readsAhead, bool findsPlaces) noexcept
    {
        // Allpass sections
        const auto x = withLower (pre, slot, (feedback * decay + early1) + denormalGuard);
        const auto y1 = preIsTiny ? addProducts (lastFiltered[0], x, -coefficient) : lastFiltered[0] - x * coefficient;
        const auto y2 = lastFiltered[1] - y1 * coefficient;
        const auto y3 = lastFiltered[2] - y2 * coefficient;
        into[0][slot] = coefficient * y1 + x;
        into[1][slot] = coefficient * y2 + y1;
        into[2][slot] = coefficient * y3 + y2;

        // Loop shelves
        filter<0> (withLower (diffused[0], slot, read0));
        filter<1> (withUpper (diffused[1], slot, read0));
        filter<2> (withLower (diffused[2], slot, read1));
        feedback = shuffled<3, 2, 1, 0> (read1, read1);

        // Output
        const auto wet = early2 * earlyWeight + upperOfBoth (late, late) * lateWeight;
        late = outHigh.process (outLow.process (lowerAndUpper (wet, y3), outLowState), outHighState);
        filtered[slot] = late;
        early2 = early1;
        early1 = y3;

        // What the tank reads in the next turn, and where it will read in the one after that
        if (readsAhead)
        {
            const auto* const places = bank.places.data();
            read0 = hermite (load (places[0]), load (places[1]), load (places[2]), load (places[3]), fraction0);
            read1 = hermite (load (places[4]), load (places[5]), load (places[6]), load (places[7]), fraction1);

            if (findsPlaces)
                findPlaces (slot + 1);
        }
    }

    //==============================================================================
    VARNEL_INLINE void readEarly (int group) noexcept
    {
        auto* const writePlaces = bank.writePlaces.data();
        place (0, nowLanes, writePlaces);
        place (1, nowLanes, writePlaces + 4);
        const auto inL = loadLanes (left + group * 4), inR = loadLanes (rightInput + group * 4);
        write (writePlaces[Line::preL], inL);
        write (writePlaces[Line::preR], inR);
        raise (highestInL, inL);
        raise (highestInR, inR);
        inputWasTiny = inputIsTiny;
        inputIsTiny = any (isTiny (inL) | isTiny (inR));

        auto* const places = bank.earlyPlaces.data();

        if (resting)
        {
            place (0, nowLanes - earlyWhole0, places);
            place (1, nowLanes - earlyWhole1, places + 4);

            const auto zip = [&] (Lanes (&pairs)[2], Line::Index line)
            {
                const auto l = load (places[line]), r = load (places[line + 1]);
                pairs[0] = zippedLower (l, r);
                pairs[1] = zippedUpper (l, r);
            };
            zip (pre, Line::preL);
            zip (diffused[0], Line::diffuserL1);
            zip (diffused[1], Line::diffuserL2);
            zip (diffused[2], Line::diffuserL3);
        }
        else
        {
            for (int i = 0; i < 4; ++i)
            {
                earlyNow0 = glide (earlyNow0, earlyGoal0, smoothing);
                earlyNow1 = glide (earlyNow1, earlyGoal1, smoothing);
                place (0, nowLanes + i - truncate (rate * earlyNow0), places + i * 8);
                place (1, nowLanes + i - truncate (rate * earlyNow1), places + i * 8 + 4);
            }

            const auto gather = [&] (Lanes (&pairs)[2], Line::Index line)
            {
                pairs[0] = Lanes { memory[places[line]], memory[places[line + 1]], memory[places[8 + line]], memory[places[9 + line]] };
                pairs[1] = Lanes { memory[places[16 + line]], memory[places[17 + line]], memory[places[24 + line]], memory[places[25 + line]] };
            };
            gather (pre, Line::preL);
            gather (diffused[0], Line::diffuserL1);
            gather (diffused[1], Line::diffuserL2);
            gather (diffused[2], Line::diffuserL3);
        }

        preIsTiny = any (isTiny (pre[0]) | isTiny (pre[1]));
    }

    VARNEL_INLINE void writeDiffusers() noexcept
    {
        const auto* const places = bank.writePlaces.data();
        writeBoth (places + Line::diffuserL1, rowsOfLower (into[0][0], into[0][1], into[0][2], into[0][3]));
        writeBoth (places + Line::diffuserL2, rowsOfLower (into[1][0], into[1][1], into[1][2], into[1][3]));
        writeBoth (places + Line::diffuserL3, rowsOfLower (into[2][0], into[2][1], into[2][2], into[2][3]));
        mendSeams (Line::preL, now);
    }

    VARNEL_INLINE void writeTank() noexcept
    {
        auto* const places = &bank.writePlaces[Line::tankL1];
        place (2, nowLanes - 4, places);
        place (3, nowLanes - 4, places + 4);
        writeBoth (places, rowsOfUpper (into[0][1], into[0][2], into[0][3], into[0][0]));
        writeBoth (places + 2, rowsOfUpper (into[1][1], into[1][2], into[1][3], into[1][0]));
        writeBoth (places + 4, rowsOfUpper (into[2][1], into[2][2], into[2][3], into[2][0]));
        writeBoth (places + 6, rowsOfUpper (filtered[1], filtered[2], filtered[3], filtered[0]));
        mendSeams (Line::tankL1, now - 4);
    }

    VARNEL_INLINE static void raise (Lanes& highest, Lanes x) noexcept
    {
        const auto m = magnitude (x);
        highest = m > highest ? m : highest;
    }

    static float highestOf (Lanes x) noexcept
    {
        return std::max (std::max (x[0], x[1]), std::max (x[2], x[3]));
    }

    VARNEL_INLINE void writeOutput (int group) noexcept
    {
        const auto inL = loadLanes (left + group * 4), inR = loadLanes (rightInput + group * 4);
        const auto& weights = engine.goals.weights;
        const auto [filteredL, filteredR] = rowsOfLower (filtered[2], filtered[3], filtered[0], filtered[1]);
        const auto trimmedL = filteredL * trim, trimmedR = filteredR * trim;
        const auto mid = (trimmedL + trimmedR) * engine.midGain;
        const auto side = (trimmedL - trimmedR) * engine.sideGain;
        const auto wetL = (mid + side) * weights.wet, wetR = (mid - side) * weights.wet;
        const auto outL = inputWasTiny ? addProducts (wetL, inL, weights.dry) : wetL + inL * weights.dry;
        const auto outR = inputWasTiny ? addProducts (wetR, inR, weights.dry) : wetR + inR * weights.dry;

        const auto first = isStereo ? outL : (outL + outR) * 0.5f;
        const auto second = isStereo ? outR : first;
        storeLanes (first, left + group * 4);
        storeLanes (second, right + group * 4);
        raise (highestOutL, first);
        raise (highestOutR, second);
    }

    VARNEL_INLINE static bool isFixed (Lanes current, Lanes goal, Lanes step) noexcept
    {
        return ! any (glide (current, goal, step) != current);
    }

    /** Looks whether all smoothed values have come to where another step would leave them. */
    VARNEL_INLINE void lookForRest() noexcept
    {
        if (isFixed (earlyNow0, earlyGoal0, smoothing) && isFixed (earlyNow1, earlyGoal1, smoothing)
            && isFixed (tankNow0, tankGoal0, smoothing) && isFixed (tankNow1, tankGoal1, smoothing) && isFixed (levelNow, levelGoal, smoothing))
        {
            resting = true;
            earlyWhole0 = truncate (rate * earlyNow0);
            earlyWhole1 = truncate (rate * earlyNow1);
        }
    }

    VARNEL_INLINE void run (Peaks& peaks) noexcept
    {
        lookForRest();
        findPlaces (0);

        for (int group = 0;; ++group, now += 4, nowLanes += 4)
        {
            const bool isFirst = group == 0, isLast = group == numGroups;

            if (isLast)
            {
                inputWasTiny = inputIsTiny;
                giveBackDiffusers();
            }
            else
            {
                if (! resting)
                    lookForRest();

                readEarly (group);
            }

            turn (0, ! isLast, true);

            if (isFirst)
                takeTank();
            else
                writeTank();

            if (isLast)
                giveBackTank();

            turn (1, ! isLast, true);

            if (isFirst)
                takeOutput();
            else
                writeOutput (group - 1);

            if (isLast)
                break;

            turn (2, true, true);
            trim = resting ? splat (levelNow[1]) : loadLanes (trims);
            turn (3, true, group + 1 < numGroups);
            writeDiffusers();
        }

        giveBackOutput();
        giveBackRest (peaks);
    }
};

/** Its frame is large enough for gcc to guard it, and the guard ends in a call. It holds no array that input could overrun. */
__attribute__ ((no_stack_protector)) void ReverbEngine::fastLoop (const Stretch& block, Peaks& peaks) noexcept
{
    FastLoop loop (*this, block);
    loop.run (peaks);
}

} // namespace varnel

#endif
