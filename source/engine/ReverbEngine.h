// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include "AllpassStage.h"
#include "DelayBank.h"
#include "SharedValue.h"
#include "SpinLfo.h"

#include <array>

namespace varnel
{

/** The whole sound: a stereo reverb of diffusers, a figure-of-eight tank and a few shelves.

    @code
    in ─ pre-delay ─ diffuser 1 2 3 ─┬─ early ───────────────────────────────┐
                                     │                                       ├─ shelves ─ trim ─ width ─ + ─ out
          crossed feedback ── gain ─ + ─ tank 1 2 3 ─ shelves ─┬─ late ──────┘                           │
                 ▲                                             │                                   dry ──┘
                 └──────────── other side's tank delay ◄───────┘
    @endcode

    The topology is the loop of allpass sections and delays that J. Dattorro describes in "Effect
    Design, Part 1: Reverberator and Other Filters" (JAES 45/9, 1997) after D. Griesinger. Here the
    delays are note periods and each allpass loop holds two shelves.

    Samples and settings are 32-bit floats, 1.0 is full scale. The engine adds no latency.

    Threads:
    - setUp() and prepare() allocate; neither may overlap processBlock() or the other.
    - processBlock() and reset() are for one thread at a time. They do not allocate, lock, throw or call the system.
    - The seven settings may be set on any thread at any time, also while a block runs, and by several threads at once. None
      of them checks its value: a value must be finite and within its range.
    - The peaks and spinPhase may be read, and the peaks cleared, on any thread at any time.
*/
class ReverbEngine
{
public:
    /** An engine set up for 44100 Hz and two input channels. Call prepare() and all seven settings
        before the first block. @throws std::bad_alloc */
    ReverbEngine();

    ReverbEngine (const ReverbEngine&) = delete;
    ReverbEngine& operator= (const ReverbEngine&) = delete;

    /** Builds silent delay lines and filters for a sample rate in Hz, and thus drops any tail. The next
        sample takes each smoothed value straight to its target. Filters are left without coefficients.
        @throws std::bad_alloc */
    void setUp (double newSampleRate);

    /** setUp(), and all that no setting changes. Call all seven settings afterwards, setPosition()
        before setInsertMode(): targets, filters and gains follow from them and the sample rate.
        @param newNumInputChannels  of the input bus; below 2, channel 0 feeds both sides
        @throws std::bad_alloc */
    void prepare (double newSampleRate, int newNumInputChannels);

    /** Forgets all sound and ends all glides, as prepare() does, but keeps the settings and allocates nothing. Belongs to the
        thread of processBlock(). */
    void reset() noexcept;

    /** Processes channels 0 and 1 in place and leaves all others alone.
        While the engine is bypassed the samples stay as they are.
        At the end of a block in which the output held 1e15 or more, 300 dB over full scale, or after which the tank holds
        that much or what is no number, the engine forgets its tail and goes on. So a sample that is no number spoils what
        is left of the block in which it gets through the pre-delay. Any finite sample is taken for sound, and what stays
        below that limit rings out like sound, however long that takes.
        @param channels     numChannels pointers to numSamples samples each
        @param numChannels  0 does nothing, 1 gives the mean of both outputs
        @param numSamples   any number, also none */
    void processBlock (float* const* channels, int numChannels, int numSamples) noexcept;

    /** Forgets the tail, as bypass does. On the thread of the blocks, between two of them. */
    void clear() noexcept;

    /** The room: delay lengths, density, decay and level.
        @param value  0 to 100; a nominal decay of 0.1 s to 1000 s. What is heard rings longer: the gain that follows
                      from it acts once per branch, which is longer than the period that it is worked out for */
    void setSize (float value) noexcept;

    /** Rate and depth of the tank's modulation. @param value  0 to 100, for 0 to 1 Hz and 0 to 1 ms */
    void setSpin (float value) noexcept;

    /** Low shelf of the wet signal; a cut also shortens the decay. @param decibels  -12 to 12 */
    void setLow (float decibels) noexcept;

    /** High shelf of the wet signal; a cut also shortens the decay. @param decibels  -12 to 12 */
    void setHigh (float decibels) noexcept;

    /** The listener's distance: early against late signal and, in insert mode, dry against wet.
        @param value  0 (at the source) to 100 */
    void setPosition (float value) noexcept;

    /** @param value  exactly 0 bypasses the engine from the next block on, anything else lets it run */
    void setBypass (float value) noexcept;

    /** @param value  0.5 and above: the output holds the dry signal too; below: it is all wet */
    void setInsertMode (float value) noexcept;

    /** The period in seconds of a MIDI note number, fractions included. */
    static float noteDelay (float note) noexcept;

    DelayLine preDelayL, preDelayR;
    DelayLine tankDelayL, tankDelayR;
    AllpassStage diffuserL1, diffuserL2, diffuserL3;
    AllpassStage diffuserR1, diffuserR2, diffuserR3;
    AllpassStage tankL1, tankL2, tankL3;
    AllpassStage tankR1, tankR2, tankR3;

    SharedValue<float> inverseSampleRate; ///< seconds
    SharedValue<float> spinIncrement;     ///< cycles per sample
    SharedValue<float> spinPhase;         ///< cycles, -0.5 to 0.5; written by the audio thread

    LowShelf tankLowL, tankLowR;
    HighShelf tankHighL, tankHighR;
    LowShelf outLowL, outLowR;
    HighShelf outHighL, outHighR;

    // As the last call of setPosition() or setInsertMode() left them. A block works its own out of both settings.
    SharedValue<float> earlyGainL, lateGainL, earlyGainR, lateGainR; ///< weights of the wet sum
    SharedValue<float> dryGainL, wetGainL, dryGainR, wetGainR;       ///< weights of the output sum
    const float midGain = 0.5f, sideGain = 0.5f;                     ///< the width stage

    // Smoothed values. Delays are in seconds. The order within the arrays is
    // left 1, 2, 3, right 1, 2, 3 for the diffusers and
    // left 1, 2, 3, delay, right 1, 2, 3, delay for the tank.
    std::array<float, 2> preDelayCurrent {};
    std::array<float, 6> diffuserCurrent {};
    std::array<float, 8> tankCurrent {};
    float spinDepthCurrent = 0.0f, sizeTrimCurrent = 0.0f;

    SharedValue<float> sampleRate; ///< Hz
    float smoothCoeff = 0.0f;      ///< of the glide, once the first sample has passed

    /** Highest magnitudes since they were last set to 0, of the input as it came and of the output.
        Raised by the audio thread at the end of each block; whoever reads them clears them. */
    SharedValue<float> peakInL, peakInR, peakOutL, peakOutR;

    // Targets, in the same order as the smoothed values. Notes are MIDI note numbers.
    SharedValue<float> preDelayBase, preDelayBalance;
    std::array<SharedValue<float>, 2> preDelayTarget;
    SharedValue<float> diffuserNote, diffuserSpread;
    std::array<SharedValue<float>, 6> diffuserTarget;
    SharedValue<float> tankNote, tankSpread;
    std::array<SharedValue<float>, 8> tankTarget;
    SharedValue<float> reverbTime; ///< nominal seconds for a decay of 60 dB
    SharedValue<float> decayGain;  ///< of the crossed feedback
    SharedValue<float> sizeTrim;   ///< level of the wet signal

    float tankFeedbackL = 0.0f, tankFeedbackR = 0.0f; ///< read from the tank delays in the last sample
    SharedValue<float> spinDepth;                     ///< seconds
    float activeSmoothCoeff = 1.0f;                   ///< of the sample in hand: 1 in the first, then smoothCoeff
    std::int32_t numInputChannels = 2;
    SharedValue<bool> bypassed { false };
    bool wasBypassed = false; ///< at the end of the last block
    SharedValue<float> positionValue { 37.0f };
    SharedValue<bool> insertMode { true };

    // Settings that the stages take over at the start of a block.
    SharedValue<float> tankCoefficient;
    SharedShelf<LowShelf> innerLow, outLow; ///< of the fourteen pairs inside the reverb, and of the pair at each output
    SharedShelf<HighShelf> innerHigh, outHigh;

    /** Has every sample worked out by the plain loop. The fast one gives the same to the bit: this is for comparing them. */
    bool plainLoopOnly = false;

private:
    /** How much of each signal is in the wet sum and in the output, on both sides. */
    struct Weights
    {
        float early, late, dry, wet;
    };

    /** The settings as the audio thread has taken them over. */
    struct Goals
    {
        std::array<float, 2> preDelay;
        std::array<float, 6> diffuser;
        std::array<float, 8> tank;
        float spinIncrement, spinDepth, sizeTrim, decay;
        Weights weights;
        bool mayRunFast; ///< whether all delays on the way to these goals are long enough for the fast loop
    };

    /** A stretch of a block. */
    struct Stretch
    {
        float *left, *right;     ///< in and out; right is for the output in stereo
        const float* rightInput; ///< right or left
        bool isStereo;
        int numSamples;

        Stretch from (int start, int count) const noexcept { return { left + start, right + start, rightInput + start, isStereo, count }; }
    };

    /** The highest magnitudes in a block. */
    struct Peaks
    {
        float inL = 0.0f, inR = 0.0f, outL = 0.0f, outR = 0.0f;
    };

    Setting sizeSetting, spinSetting, lowSetting, highSetting;
    std::atomic<std::uint32_t> numChanges { 0 }; ///< of settings
    std::uint32_t numTaken = 0;                  ///< numChanges when they were last taken over
    Goals goals {};
    DelayBank bank;

    struct FastLoop;

    std::array<AllpassStage*, 12> allpassStages() noexcept;
    bool isSound() const noexcept;
    Weights weights() const noexcept;
    void setWeights() noexcept;
    void writeSize (float v) noexcept;
    void changed() noexcept;
    void takeSettings() noexcept;
    bool mayRunFast() const noexcept;
    void process (const Stretch&, Peaks&) noexcept;

    // The sample loops. They stay functions of their own so that tests/engine/check-loop.sh can look at them.
    [[gnu::noinline]] void plainLoop (const Stretch&, Peaks&) noexcept;
    [[gnu::noinline]] void fastLoop (const Stretch&, Peaks&) noexcept; ///< of a multiple of four samples
};

} // namespace varnel
