// SPDX-License-Identifier: AGPL-3.0-only
#include "ReverbEngine.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <math.h>

namespace varnel
{

namespace
{

/** log2 (10) / 20: exp2f of a number of decibels times this is the linear gain. */
constexpr float log2GainPerDecibel = 0.166096404f;

/** Three hundred decibels over full scale: no sound that anybody meant, though it would ring on for minutes. */
constexpr float loudestSound = 1e15f;

constexpr float milliseconds = 0.00100000005f;
constexpr float percent = 0.00999999978f;

float gainOfDecibels (float decibels) noexcept
{
    return ::exp2f (decibels * log2GainPerDecibel);
}

/** One step of the one-pole glide. */
template <typename FloatOrLanes>
FloatOrLanes glide (FloatOrLanes current, FloatOrLanes target, float coefficient) noexcept
{
    return ((target - current) * coefficient + current) + denormalGuard;
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
    preDelayL.setUp (sampleRate, 0.025f);
    preDelayR.setUp (sampleRate, 0.025f);
    tankDelayL.setUp (sampleRate, 0.25f);
    tankDelayR.setUp (sampleRate, 0.23f);

    diffuserL1.delay.setUp (sampleRate, 0.07f);
    diffuserL2.delay.setUp (sampleRate, 0.09f);
    diffuserL3.delay.setUp (sampleRate, 0.11f);
    diffuserR1.delay.setUp (sampleRate, 0.08f);
    diffuserR2.delay.setUp (sampleRate, 0.10f);
    diffuserR3.delay.setUp (sampleRate, 0.12f);

    tankL1.delay.setUp (sampleRate, 0.15f);
    tankL2.delay.setUp (sampleRate, 0.18f);
    tankL3.delay.setUp (sampleRate, 0.21f);
    tankR1.delay.setUp (sampleRate, 0.14f);
    tankR2.delay.setUp (sampleRate, 0.16f);
    tankR3.delay.setUp (sampleRate, 0.19f);

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
    for (auto* line : { &preDelayL, &preDelayR, &tankDelayL, &tankDelayR })
        line->clear();

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

        const auto loudest = numChannels >= 2 ? processSamples<true> (channels, numSamples) : processSamples<false> (channels, numSamples);

        if (loudest >= loudestSound || ! isSound())
            clear();
    }

    wasBypassed = bypass;
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

/** Hands the stages what was set since the last block. */
void ReverbEngine::takeSettings() noexcept
{
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

template <bool stereo>
float ReverbEngine::processSamples (float* const* channels, int numSamples) noexcept
{
    float* const left = channels[0];
    float* const right = stereo ? channels[1] : channels[0];
    const float* const rightInput = numInputChannels >= 2 ? right : left;

    // Settings, as they stand at the start of the block
    const auto earlyGoal0 = Lanes { preDelayTarget[0], preDelayTarget[1], diffuserTarget[0], diffuserTarget[1] };
    const auto earlyGoal1 = Lanes { diffuserTarget[2], diffuserTarget[3], diffuserTarget[4], diffuserTarget[5] };
    const auto tankGoalL = Lanes { tankTarget[0], tankTarget[1], tankTarget[2], tankTarget[3] };
    const auto tankGoalR = Lanes { tankTarget[4], tankTarget[5], tankTarget[6], tankTarget[7] };
    const float spinStep = spinIncrement, spinDepthGoal = spinDepth;
    const float steadySmoothing = smoothCoeff, decay = decayGain, sizeTrimGoal = sizeTrim;
    const auto weight = weights();

    // State that the loop holds in registers
    auto earlyNow0 = Lanes { preDelayCurrent[0], preDelayCurrent[1], diffuserCurrent[0], diffuserCurrent[1] };
    auto earlyNow1 = loadLanes (&diffuserCurrent[2]);
    auto tankNowL = loadLanes (&tankCurrent[0]);
    auto tankNowR = loadLanes (&tankCurrent[4]);
    float phase = spinPhase, smoothing = activeSmoothCoeff, spinDepthNow = spinDepthCurrent, sizeTrimNow = sizeTrimCurrent;
    float highestInL = 0.0f, highestInR = 0.0f, highestOutL = 0.0f, highestOutR = 0.0f;

    for (int i = 0; i < numSamples; ++i)
    {
        const auto inL = left[i];
        const auto inR = rightInput[i];
        raise (highestInL, inL);
        raise (highestInR, inR);

        // Pre-delay
        earlyNow0 = glide (earlyNow0, earlyGoal0, smoothing);
        DelayLine::setDelays (preDelayL, preDelayR, diffuserL1.delay, diffuserL2.delay, earlyNow0);
        const auto preL = preDelayL.pushWhole (inL);
        const auto preR = preDelayR.pushWhole (inR);

        // Diffusers
        earlyNow1 = glide (earlyNow1, earlyGoal1, smoothing);
        DelayLine::setDelays (diffuserL3.delay, diffuserR1.delay, diffuserR2.delay, diffuserR3.delay, earlyNow1);
        const auto earlyL = diffuserL3.processWhole (diffuserL2.processWhole (diffuserL1.processWhole<true> (preL)));
        const auto earlyR = diffuserR3.processWhole (diffuserR2.processWhole (diffuserR1.processWhole<true> (preR)));

        // Spin: the left branch's delays move one way, the right branch's the other
        spinDepthNow = glide (spinDepthNow, spinDepthGoal, smoothing);
        const auto spin = SpinLfo::step (phase, spinStep, spinDepthNow);
        tankNowL = glide (tankNowL, tankGoalL, smoothing);
        tankNowR = glide (tankNowR, tankGoalR, smoothing);
        DelayLine::setDelays (tankL1.delay, tankL2.delay, tankL3.delay, tankDelayL, tankNowL + spin);
        DelayLine::setDelays (tankR1.delay, tankR2.delay, tankR3.delay, tankDelayR, tankNowR - spin);

        // Tank: each branch hears the early signal and the end of the other branch
        const auto intoL = (tankFeedbackR * decay + earlyL) + denormalGuard;
        const auto intoR = (tankFeedbackL * decay + earlyR) + denormalGuard;
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
        sizeTrimNow = glide (sizeTrimNow, sizeTrimGoal, smoothing);
        const auto trimmedL = filteredL * sizeTrimNow;
        const auto trimmedR = sizeTrimNow * filteredR;
        const auto mid = (trimmedL + trimmedR) * midGain;
        const auto side = (trimmedL - trimmedR) * sideGain;
        const auto outL = addProduct ((mid + side) * weight.wet, inL, weight.dry);
        const auto outR = addProduct ((mid - side) * weight.wet, inR, weight.dry);

        if constexpr (stereo)
        {
            left[i] = outL;
            right[i] = outR;
            raise (highestOutL, outL);
            raise (highestOutR, outR);
        }
        else
        {
            left[i] = (outL + outR) * 0.5f;
            raise (highestOutL, left[i]);
        }

        smoothing = steadySmoothing;
    }

    preDelayCurrent = { earlyNow0[0], earlyNow0[1] };
    diffuserCurrent = { earlyNow0[2], earlyNow0[3], earlyNow1[0], earlyNow1[1], earlyNow1[2], earlyNow1[3] };
    storeLanes (tankNowL, &tankCurrent[0]);
    storeLanes (tankNowR, &tankCurrent[4]);
    spinDepthCurrent = spinDepthNow;
    sizeTrimCurrent = sizeTrimNow;
    activeSmoothCoeff = smoothing;
    spinPhase = phase;
    publish (peakInL, highestInL);
    publish (peakInR, highestInR);
    publish (peakOutL, highestOutL);
    publish (peakOutR, stereo ? highestOutR : highestOutL);
    return std::max (highestOutL, highestOutR);
}

//==============================================================================
float ReverbEngine::noteDelay (float note) noexcept
{
    // The frequency of MIDI note 0 in Hz, and a float close below one twelfth.
    return 1.0f / (8.17579937f * ::exp2f (note * 0.0833332986f));
}

void ReverbEngine::setSize (float value) noexcept
{
    sizeSetting.set (value, [this] (float v)
                     { writeSize (v); });
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
    decayGain = ::exp2f (lossDb > -144.0f ? lossDb * log2GainPerDecibel : -23.9178829f);

    sizeTrim = gainOfDecibels (d * -0.0666999966f);
}

void ReverbEngine::setSpin (float value) noexcept
{
    spinSetting.set (value * percent, [this] (float x)
                     {
        spinIncrement = inverseSampleRate * x;
        spinDepth = x * milliseconds; });
}

void ReverbEngine::setLow (float value) noexcept
{
    lowSetting.set (value, [this] (float decibels)
                    {
        outLow.design (decibels);
        innerLow.design (gainInside (decibels)); });
}

void ReverbEngine::setHigh (float value) noexcept
{
    highSetting.set (value, [this] (float decibels)
                     {
        outHigh.design (decibels);
        innerHigh.design (gainInside (decibels)); });
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
}

} // namespace varnel
