// SPDX-License-Identifier: AGPL-3.0-only
#include "ReverbEngine.h"

#include "Exp2.h"
#include "Lanes.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace varnel
{

namespace
{

/** log2 (10) / 20: exp2 of a number of decibels times this is the linear gain. */
constexpr float log2GainPerDecibel = 0.166096404f;

/** Three hundred decibels over full scale: no sound that anybody meant, though it would ring on for minutes. */
constexpr float loudestSound = 1e15f;

constexpr float milliseconds = 0.00100000005f;
constexpr float percent = 0.00999999978f;

float gainOfDecibels (float decibels) noexcept
{
    return exp2 (decibels * log2GainPerDecibel);
}

/** Holds the higher of two magnitudes; one that is not a number raises nothing. */
void raise (float& peak, float value) noexcept
{
    if (std::abs (value) > peak)
        peak = std::abs (value);
}

/** An s-curve from 0 to 1 for y from -1 to 1, flat at both ends. */
float positionCurve (float y) noexcept
{
    return ((1.0f - std::abs (y) * 0.5f) * y) + 0.5f;
}

/** A shelf's gain inside the loops. Only cuts act there, at half the gain: a boost would make the tail grow. */
float gainInside (float decibels) noexcept
{
    return decibels > 0.0f ? 0.0f : decibels * 0.5f;
}

void publish (SharedValue<float>& shared, float peak) noexcept
{
    if (peak > shared)
        shared = peak;
}

} // namespace

//==============================================================================
ReverbEngine::ReverbEngine()
{
    setUp (44100.0);
    setWeights();
}

std::array<AllpassStage*, 12> ReverbEngine::allpassStages() noexcept
{
    return { &diffuserL1, &diffuserL2, &diffuserL3, &diffuserR1, &diffuserR2, &diffuserR3, &tankL1, &tankL2, &tankL3, &tankR1, &tankR2, &tankR3 };
}

void ReverbEngine::setUp (double newSampleRate)
{
    sampleRate = static_cast<float> (newSampleRate);

    // Capacities in seconds: the longest delay at the largest size and full modulation, with room to spare.
    // The order is that of the fast loop's lanes.
    bank.setUp (sampleRate, { { { &preDelayL, 0.025f }, { &preDelayR, 0.025f }, { &diffuserL1.delay, 0.07f }, { &diffuserR1.delay, 0.08f }, { &diffuserL2.delay, 0.09f }, { &diffuserR2.delay, 0.10f }, { &diffuserL3.delay, 0.11f }, { &diffuserR3.delay, 0.12f }, { &tankL1.delay, 0.15f }, { &tankR1.delay, 0.14f }, { &tankL2.delay, 0.18f }, { &tankR2.delay, 0.16f }, { &tankL3.delay, 0.21f }, { &tankR3.delay, 0.19f }, { &tankDelayL, 0.25f }, { &tankDelayR, 0.23f } } });

    const auto piOverSampleRate = 3.14159274f / sampleRate;

    for (auto* stage : allpassStages())
    {
        stage->low.setUp (piOverSampleRate);
        stage->high.setUp (piOverSampleRate);
        stage->lastFiltered = 0.0f;
    }

    for (auto* shelf : { &tankLowL, &tankLowR, &outLowL, &outLowR })
        shelf->setUp (piOverSampleRate);

    for (auto* shelf : { &tankHighL, &tankHighR, &outHighL, &outHighR })
        shelf->setUp (piOverSampleRate);

    for (auto* shelf : { &innerLow, &outLow })
        shelf->setUp (piOverSampleRate);

    for (auto* shelf : { &innerHigh, &outHigh })
        shelf->setUp (piOverSampleRate);

    inverseSampleRate = 1.0f / sampleRate;
    spinPhase = 0.0f;
    spinIncrement = 0.66f * inverseSampleRate;
    spinDepth = 0.00066f;

    const auto samplesPerTimeConstant = 0.100000001f * sampleRate;
    smoothCoeff = samplesPerTimeConstant < 1.0f ? 1.0f : 1.0f / samplesPerTimeConstant;
    activeSmoothCoeff = 1.0f;

    sizeTrim = 1.0f;
    changed();
}

void ReverbEngine::prepare (double newSampleRate, int newNumInputChannels)
{
    numInputChannels = newNumInputChannels;
    setUp (newSampleRate);

    preDelayBalance = 0.0f;
    diffuserSpread = -1.0f;
    tankSpread = 0.75f;

    for (auto* diffuser : { &diffuserL1, &diffuserL2, &diffuserL3, &diffuserR1, &diffuserR2, &diffuserR3 })
        diffuser->coefficient = -0.667f;

    innerLow.cornerHz = outLow.cornerHz = 130.820999f;
    innerHigh.cornerHz = outHigh.cornerHz = 4185.0f;
}

void ReverbEngine::clear() noexcept
{
    bank.clear();

    for (auto* stage : allpassStages())
        stage->clear();

    for (auto* shelf : { &tankLowL, &tankLowR, &outLowL, &outLowR })
        shelf->state = 0.0f;

    for (auto* shelf : { &tankHighL, &tankHighR, &outHighL, &outHighR })
        shelf->state = 0.0f;

    spinPhase = 0.0f;
    tankFeedbackL = 0.0f;
    tankFeedbackR = 0.0f;
}

void ReverbEngine::reset() noexcept
{
    clear();
    preDelayCurrent.fill (0.0f);
    diffuserCurrent.fill (0.0f);
    tankCurrent.fill (0.0f);
    spinDepthCurrent = sizeTrimCurrent = 0.0f;
    activeSmoothCoeff = 1.0f;
}

//==============================================================================
void ReverbEngine::processBlock (float* const* channels, int numChannels, int numSamples) noexcept
{
    const bool bypass = bypassed;

    if (bypass)
    {
        if (! wasBypassed)
            clear();
    }
    else if (numSamples > 0 && numChannels > 0)
    {
        takeSettings();

        const bool isStereo = numChannels >= 2;
        auto* const right = channels[isStereo ? 1 : 0];
        Peaks peaks;
        process ({ channels[0], right, numInputChannels >= 2 ? right : channels[0], isStereo, numSamples }, peaks);

        publish (peakInL, peaks.inL);
        publish (peakInR, peaks.inR);
        publish (peakOutL, peaks.outL);
        publish (peakOutR, peaks.outR);

        if (std::max (peaks.outL, peaks.outR) >= loudestSound || ! isSound())
            clear();
    }

    wasBypassed = bypass;
}

/** Gives the fast loop what it may have, and the plain one the rest. */
void ReverbEngine::process (const Stretch& block, Peaks& peaks) noexcept
{
    const auto numSamples = block.numSamples;
    int done = 0;

#if VARNEL_HAS_LANES
    if (goals.mayRunFast && ! plainLoopOnly)
    {
        if (activeSmoothCoeff != smoothCoeff)
        {
            plainLoop (block.from (0, 1), peaks); // a first sample, which does not glide
            bank.copyStarts();
            done = 1;
        }

        if (const auto most = (numSamples - done) / 4 * 4; most > 0)
        {
            fastLoop (block.from (done, most), peaks);
            done += most;
        }
    }
#endif

    if (done < numSamples)
    {
        plainLoop (block.from (done, numSamples - done), peaks);
        bank.copyStarts();
    }
}

/** Whether all that the tank and the output hold may be sound. What is no number stays in a stage's shelves, and so in
    lastFiltered, for ever; what grows is seen in one of the tank's eight delays, whatever the output's weights. The
    output's shelves hear the early signal, and so tell of a bad sample before it is in the tank's delays. */
bool ReverbEngine::isSound() const noexcept
{
    auto sum = std::abs (tankFeedbackL) + std::abs (tankFeedbackR);

    for (const auto* stage : { &tankL1, &tankL2, &tankL3, &tankR1, &tankR2, &tankR3 })
        sum += std::abs (stage->lastFiltered);

    for (const auto* shelf : std::initializer_list<const Shelf*> { &outLowL, &outLowR, &outHighL, &outHighR })
        sum += std::abs (shelf->state);

    return sum < loudestSound; // not so for what is no number
}

/** To be called behind every change of a setting: the next block will take all of them. */
void ReverbEngine::changed() noexcept
{
    numChanges.fetch_add (1, std::memory_order_release);
}

/** Takes over what was set since the last block. */
void ReverbEngine::takeSettings() noexcept
{
    const auto now = numChanges.load (std::memory_order_acquire);

    if (now == numTaken)
        return;

    numTaken = now;
    std::copy (preDelayTarget.begin(), preDelayTarget.end(), goals.preDelay.begin());
    std::copy (diffuserTarget.begin(), diffuserTarget.end(), goals.diffuser.begin());
    std::copy (tankTarget.begin(), tankTarget.end(), goals.tank.begin());
    goals.spinIncrement = spinIncrement;
    goals.spinDepth = spinDepth;
    goals.sizeTrim = sizeTrim;
    goals.decay = decayGain;
    goals.weights = weights();
    goals.mayRunFast = mayRunFast();

    for (auto* tank : { &tankL1, &tankL2, &tankL3, &tankR1, &tankR2, &tankR3 })
        tank->coefficient = tankCoefficient;

    for (auto* stage : allpassStages())
    {
        innerLow.giveTo (stage->low);
        innerHigh.giveTo (stage->high);
    }

    innerLow.giveTo (tankLowL);
    innerLow.giveTo (tankLowR);
    innerHigh.giveTo (tankHighL);
    innerHigh.giveTo (tankHighR);

    outLow.giveTo (outLowL);
    outLow.giveTo (outLowR);
    outHigh.giveTo (outHighL);
    outHigh.giveTo (outHighR);
}

/** Whether every delay, on its way to the goals, keeps clear of both ends of its line: the fast loop reads before it writes. */
bool ReverbEngine::mayRunFast() const noexcept
{
    const bool willGlide = activeSmoothCoeff == smoothCoeff; // or else jumps
    const auto depth = std::max (std::abs (goals.spinDepth), willGlide ? std::abs (spinDepthCurrent) : 0.0f);

    const auto isClear = [&] (const DelayLine& line, float goal, float current, float modulation)
    {
        const auto [shortest, longest] = std::minmax (goal, willGlide ? current : goal);
        return (shortest - modulation) * sampleRate >= DelayBank::shortestDelay && (longest + modulation) * sampleRate <= static_cast<float> (line.size) - DelayBank::shortestDelay;
    };

    const DelayLine* const diffusers[] { &diffuserL1.delay, &diffuserL2.delay, &diffuserL3.delay, &diffuserR1.delay, &diffuserR2.delay, &diffuserR3.delay };
    const DelayLine* const tanks[] { &tankL1.delay, &tankL2.delay, &tankL3.delay, &tankDelayL, &tankR1.delay, &tankR2.delay, &tankR3.delay, &tankDelayR };
    bool allClear = isClear (preDelayL, goals.preDelay[0], preDelayCurrent[0], 0.0f) && isClear (preDelayR, goals.preDelay[1], preDelayCurrent[1], 0.0f);

    for (std::size_t i = 0; i < 6; ++i)
        allClear = allClear && isClear (*diffusers[i], goals.diffuser[i], diffuserCurrent[i], 0.0f);

    for (std::size_t i = 0; i < 8; ++i)
        allClear = allClear && isClear (*tanks[i], goals.tank[i], tankCurrent[i], depth);

    return allClear;
}

void ReverbEngine::plainLoop (const Stretch& block, Peaks& peaks) noexcept
{
    const auto weight = goals.weights;
    float phase = spinPhase;

    const auto glideTo = [this] (float& current, float goal)
    { return current = glide (current, goal, activeSmoothCoeff); };

    for (int i = 0; i < block.numSamples; ++i)
    {
        const auto inL = block.left[i];
        const auto inR = block.rightInput[i];
        raise (peaks.inL, inL);
        raise (peaks.inR, inR);

        // Pre-delay
        preDelayL.setDelay (glideTo (preDelayCurrent[0], goals.preDelay[0]));
        preDelayR.setDelay (glideTo (preDelayCurrent[1], goals.preDelay[1]));
        const auto preL = preDelayL.pushWhole (inL);
        const auto preR = preDelayR.pushWhole (inR);

        // Diffusers
        AllpassStage* const diffusers[] { &diffuserL1, &diffuserL2, &diffuserL3, &diffuserR1, &diffuserR2, &diffuserR3 };
        for (std::size_t j = 0; j < 6; ++j)
            diffusers[j]->delay.setDelay (glideTo (diffuserCurrent[j], goals.diffuser[j]));
        const auto earlyL = diffuserL3.processWhole (diffuserL2.processWhole (diffuserL1.processWhole<true> (preL)));
        const auto earlyR = diffuserR3.processWhole (diffuserR2.processWhole (diffuserR1.processWhole<true> (preR)));

        // Spin: the left branch's delays move one way, the right branch's the other
        const auto spin = SpinLfo::step (phase, goals.spinIncrement, glideTo (spinDepthCurrent, goals.spinDepth));
        DelayLine* const tankL[] { &tankL1.delay, &tankL2.delay, &tankL3.delay, &tankDelayL };
        DelayLine* const tankR[] { &tankR1.delay, &tankR2.delay, &tankR3.delay, &tankDelayR };
        for (std::size_t j = 0; j < 4; ++j)
        {
            tankL[j]->setDelay (glideTo (tankCurrent[j], goals.tank[j]) + spin[j]);
            tankR[j]->setDelay (glideTo (tankCurrent[4 + j], goals.tank[4 + j]) - spin[j]);
        }

        // Tank: each branch hears the early signal and the end of the other branch
        const auto intoL = (tankFeedbackR * goals.decay + earlyL) + denormalGuard;
        const auto intoR = (tankFeedbackL * goals.decay + earlyR) + denormalGuard;
        const auto branchL = tankL3.processHermite (tankL2.processHermite (tankL1.processHermite (intoL)));
        const auto branchR = tankR3.processHermite (tankR2.processHermite (tankR1.processHermite (intoR)));
        const auto lateL = tankHighL.process (tankLowL.process (branchL));
        const auto lateR = tankHighR.process (tankLowR.process (branchR));
        tankFeedbackL = tankDelayL.pushHermite (lateL);
        tankFeedbackR = tankDelayR.pushHermite (lateR);

        // Wet sum and the output shelves
        const auto wetL = earlyL * weight.early + lateL * weight.late;
        const auto wetR = earlyR * weight.early + lateR * weight.late;
        const auto filteredL = outHighL.process (outLowL.process (wetL));
        const auto filteredR = outHighR.process (outLowR.process (wetR));

        // Trim, width, and the sum with the dry signal
        const auto trim = glideTo (sizeTrimCurrent, goals.sizeTrim);
        const auto trimmedL = filteredL * trim;
        const auto trimmedR = trim * filteredR;
        const auto mid = (trimmedL + trimmedR) * midGain;
        const auto side = (trimmedL - trimmedR) * sideGain;
        const auto outL = addProduct ((mid + side) * weight.wet, inL, weight.dry);
        const auto outR = addProduct ((mid - side) * weight.wet, inR, weight.dry);

        block.left[i] = block.isStereo ? outL : (outL + outR) * 0.5f;
        block.right[i] = block.isStereo ? outR : block.left[i];
        raise (peaks.outL, block.left[i]);
        raise (peaks.outR, block.right[i]);

        activeSmoothCoeff = smoothCoeff;
    }

    spinPhase = phase;
}

//==============================================================================
float ReverbEngine::noteDelay (float note) noexcept
{
    // The frequency of MIDI note 0 in Hz, and a float close below one twelfth.
    return 1.0f / (8.17579937f * exp2 (note * 0.0833332986f));
}

void ReverbEngine::setSize (float value) noexcept
{
    sizeSetting.set (value, [this] (float v)
                     { writeSize (v); });
    changed();
}

void ReverbEngine::writeSize (float v) noexcept
{
    // A parabola from 0 to 100 that rises fast at first.
    const auto s = (v * 0.0299999993f + v * v * -0.0000999999975f) * 50.0f;

    const auto base = (0.219999999f * s + 2.0f) * milliseconds;
    preDelayBase = base;
    preDelayTarget[0] = base * (1.0f - preDelayBalance);
    preDelayTarget[1] = base * (1.0f + preDelayBalance);

    const auto earlyNote = 60.0f + (-0.5f * s);
    const auto a = earlyNote - diffuserSpread;
    const auto b = earlyNote + diffuserSpread;
    diffuserNote = earlyNote;
    diffuserTarget[0] = noteDelay (a);
    diffuserTarget[1] = noteDelay (a - 4.0f);
    diffuserTarget[2] = noteDelay (a - 8.0f);
    diffuserTarget[3] = noteDelay (b);
    diffuserTarget[4] = noteDelay (b - 4.0f);
    diffuserTarget[5] = noteDelay (b - 8.0f);

    const auto lateNote = 48.0f + (-0.5f * s);
    tankNote = lateNote;
    tankCoefficient = 0.00332999998f * s + 0.333000004f;

    // The reverberation time, as decibels above a millisecond: 40 is 0.1 s, 120 is 1000 s.
    const auto d = s * s * s * 0.000079999998f + 40.0f;
    const auto decayTime = gainOfDecibels (d) * milliseconds;
    reverbTime = decayTime;

    const auto c = lateNote - tankSpread;
    const auto e = lateNote + tankSpread;
    tankTarget[0] = noteDelay (c);
    tankTarget[1] = noteDelay (c - 3.0f);
    tankTarget[2] = noteDelay (c - 6.0f);
    tankTarget[3] = noteDelay (c - 9.0f);
    tankTarget[4] = noteDelay (e);
    tankTarget[5] = noteDelay (e - 3.0f);
    tankTarget[6] = noteDelay (e - 6.0f);
    tankTarget[7] = noteDelay (e - 9.0f);

    // What the signal loses in one period of the tank delays' note, held at -144 dB.
    const auto lossDb = noteDelay (lateNote - 9.0f) / decayTime * -60.0f;
    decayGain = exp2 (lossDb > -144.0f ? lossDb * log2GainPerDecibel : -23.9178829f);

    sizeTrim = gainOfDecibels (d * -0.0666999966f);
}

void ReverbEngine::setSpin (float value) noexcept
{
    spinSetting.set (value * percent, [this] (float x)
                     {
        spinIncrement = inverseSampleRate * x;
        spinDepth = x * milliseconds; });
    changed();
}

void ReverbEngine::setLow (float value) noexcept
{
    lowSetting.set (value, [this] (float decibels)
                    {
        outLow.design (decibels);
        innerLow.design (gainInside (decibels)); });
    changed();
}

void ReverbEngine::setHigh (float value) noexcept
{
    highSetting.set (value, [this] (float decibels)
                     {
        outHigh.design (decibels);
        innerHigh.design (gainInside (decibels)); });
    changed();
}

void ReverbEngine::setPosition (float value) noexcept
{
    positionValue = value;
    setWeights();
}

void ReverbEngine::setInsertMode (float value) noexcept
{
    insertMode = value >= 0.5f;
    setWeights();
}

void ReverbEngine::setBypass (float value) noexcept
{
    bypassed = value == 0.0f; // NOLINT: exactly 0 is the rule
}

ReverbEngine::Weights ReverbEngine::weights() const noexcept
{
    const bool insert = insertMode;
    const auto x = positionValue * percent;

    const auto z = insert ? x : positionCurve ((-1.0f + x) + x);

    // A crossfade that stays above a straight line: both weights are 0.75 at its middle.
    const auto a = (2.0f - (1.0f - z)) * (1.0f - z);
    const auto b = z * (2.0f - z);

    return { a, b, insert ? a : 0.0f, insert ? b : 1.0f };
}

void ReverbEngine::setWeights() noexcept
{
    const auto [early, late, dry, wet] = weights();
    earlyGainL = earlyGainR = early;
    lateGainL = lateGainR = late;
    dryGainL = dryGainR = dry;
    wetGainL = wetGainR = wet;
    changed();
}

} // namespace varnel
