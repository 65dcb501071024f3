/* SPDX-License-Identifier: AGPL-3.0-only */
#ifndef VARNEL_REVERB_H
#define VARNEL_REVERB_H

/** @file
    The Varnel Reverb for programs: the plug-in's engine, to the bit, behind an interface for C99 and C++.

    @code
    varnel_reverb* reverb = NULL;
    varnel_reverb_status status = varnel_reverb_create (&reverb);                 // 44100 Hz, two input channels

    if (status == VARNEL_REVERB_OK) status = varnel_reverb_prepare (reverb, 48000.0, 2);
    if (status == VARNEL_REVERB_OK) status = varnel_reverb_load_preset (reverb, "Halls/Winter Abbey");
    if (status == VARNEL_REVERB_OK) status = varnel_reverb_process (reverb, channels, channels, 2, num_frames);
    if (status != VARNEL_REVERB_OK) puts (varnel_reverb_status_text (status));

    varnel_reverb_destroy (reverb);
    @endcode

    Samples are 32-bit floats, 1.0 is full scale, one buffer for each channel. There is no latency.

    Errors come back as a status and leave everything as it was. Nothing is printed, nothing ends the program, nothing is
    thrown. A null handle is VARNEL_REVERB_NULL wherever there is a status to say so.

    Threads. Every handle is on its own; different handles never meet. Of one handle:
    - varnel_reverb_process() and varnel_reverb_reset() belong to one thread at a time. They neither allocate nor lock nor call
      the system: they may run where audio must not wait.
    - varnel_reverb_set(), varnel_reverb_get() and their kin, varnel_reverb_load_preset() and varnel_reverb_tail_seconds() may
      come on any thread at any time, also while a block runs, which takes each setting as it stands at its start. None of
      them allocates or locks.
    - varnel_reverb_prepare() and varnel_reverb_destroy() have the handle for themselves.
    - varnel_reverb_impulse_response() allocates and takes its time, and may come on any thread, but not beside
      varnel_reverb_prepare() or varnel_reverb_destroy().
    Whatever needs no handle may be called on any thread at any time. */

#include <stddef.h>

#ifdef __cplusplus
extern "C"
{
#endif

#if defined(__GNUC__)
    #define VARNEL_REVERB_API __attribute__ ((visibility ("default")))
#else
    #define VARNEL_REVERB_API
#endif

    typedef enum varnel_reverb_status
    {
        VARNEL_REVERB_OK = 0,
        VARNEL_REVERB_NULL = 1, /**< a null pointer where there has to be something */
        VARNEL_REVERB_NO_MEMORY = 2,
        VARNEL_REVERB_RATE = 3,         /**< not within VARNEL_REVERB_LOWEST_RATE to VARNEL_REVERB_HIGHEST_RATE */
        VARNEL_REVERB_CHANNELS = 4,     /**< neither 1 nor 2 */
        VARNEL_REVERB_FRAMES = 5,       /**< more than VARNEL_REVERB_MOST_FRAMES */
        VARNEL_REVERB_NO_PARAMETER = 6, /**< there is no parameter of that number or ID */
        VARNEL_REVERB_VALUE = 7,        /**< no number, or out of the parameter's range */
        VARNEL_REVERB_NO_PRESET = 8     /**< there is no preset of that name */
    } varnel_reverb_status;

#define VARNEL_REVERB_LOWEST_RATE 1.0       /**< Hz */
#define VARNEL_REVERB_HIGHEST_RATE 768000.0 /**< Hz */
#define VARNEL_REVERB_MOST_FRAMES 2147483648u

    /** The parameters, in the order in which they are numbered. The numbers never change. */
    typedef enum varnel_reverb_parameter_number
    {
        VARNEL_REVERB_SIZE = 0,
        VARNEL_REVERB_SPIN = 1,
        VARNEL_REVERB_LO = 2,
        VARNEL_REVERB_HI = 3,
        VARNEL_REVERB_POSITION = 4,
        VARNEL_REVERB_EFFECT = 5,
        VARNEL_REVERB_INSERT_MODE = 6,
        VARNEL_REVERB_NUM_PARAMETERS = 7
    } varnel_reverb_parameter_number;

    /** All that is to be known of a parameter. Lives as long as the program. */
    typedef struct varnel_reverb_parameter
    {
        const char* id;   /**< in presets, sessions and scripts; never changes */
        const char* name; /**< for people */
        const char* unit; /**< "%", "dB" or "" */
        float lowest;
        float highest;
        float step;          /**< of the plug-in's controls, counted from the lowest; values between steps are values too */
        float default_value; /**< which may lie between two steps */
        int is_switch;       /**< 1: off below 0.5, on from there; Effect is off at 0 alone */
    } varnel_reverb_parameter;

    /** A preset of the factory's bank. Lives as long as the program. */
    typedef struct varnel_reverb_preset
    {
        const char* name;   /**< "Winter Abbey", which no other preset has */
        const char* folder; /**< "Halls"; "" for the sound to start from */
        float values[VARNEL_REVERB_NUM_PARAMETERS];
    } varnel_reverb_preset;

    typedef struct varnel_reverb varnel_reverb;

    /* ------------------------------------------------------------------------------------------------------------------ */

    /** The version of the library that runs, as "1.2.3". */
    VARNEL_REVERB_API const char* varnel_reverb_version (void);

    /** What a status means, in a few words without a full stop; also for numbers that are none. */
    VARNEL_REVERB_API const char* varnel_reverb_status_text (varnel_reverb_status status);

    /** A parameter by its number, 0 to VARNEL_REVERB_NUM_PARAMETERS - 1. @returns  null for any other number */
    VARNEL_REVERB_API const varnel_reverb_parameter* varnel_reverb_parameter_at (size_t number);

    /** The number of the parameter with an ID, which is compared letter by letter. */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_find_parameter (const char* id, size_t* number);

    VARNEL_REVERB_API size_t varnel_reverb_num_presets (void);

    /** A preset by its place in the bank: the start sound first, then folder by folder. @returns  null where there is none */
    VARNEL_REVERB_API const varnel_reverb_preset* varnel_reverb_preset_at (size_t index);

    /** A preset by its name, "Winter Abbey", or with its folder, "Halls/Winter Abbey". The case of ASCII letters is ignored. */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_find_preset (const char* name, size_t* index);

    /* ------------------------------------------------------------------------------------------------------------------ */

    /** Makes a reverb for 44100 Hz and two input channels, with all parameters at their defaults.
        @param reverb  gets the handle; null after an error */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_create (varnel_reverb** reverb);

    /** Nothing happens to a null handle. */
    VARNEL_REVERB_API void varnel_reverb_destroy (varnel_reverb* reverb);

    /** Takes another sample rate or number of inputs, and forgets all sound. The parameters stay.
        @param rate                in Hz
        @param num_input_channels  1: the one input feeds both sides; or 2 */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_prepare (varnel_reverb* reverb, double rate, size_t num_input_channels);

    /** Forgets all sound, as varnel_reverb_prepare() does, in the time of an audio callback. */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_reset (varnel_reverb* reverb);

    /** Sets a parameter. The sound glides there, with a time constant of 0.1 s for what would click.
        @param value  within the parameter's range: nothing is clamped or moved to a step */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_set (varnel_reverb* reverb, size_t number, float value);
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_set_by_id (varnel_reverb* reverb, const char* id, float value);

    /** The value that a parameter was last set to. */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_get (const varnel_reverb* reverb, size_t number, float* value);
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_get_by_id (const varnel_reverb* reverb, const char* id, float* value);

    /** Sets all parameters to a preset's values. @param name  as for varnel_reverb_find_preset() */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_load_preset (varnel_reverb* reverb, const char* name);

    /** Puts the reverb on a stretch of sound. The result does not depend on how a sound is cut into stretches. What is no number,
        or beyond 1e10 either way, counts as silence.
        @param inputs               as many buffers as varnel_reverb_prepare() was told
        @param outputs              num_output_channels buffers. Each may be one of the inputs; apart from that none may overlap
        @param num_output_channels  1: the mean of both sides; or 2
        @param num_frames           samples in each buffer, also none, at most VARNEL_REVERB_MOST_FRAMES */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_process (varnel_reverb* reverb, const float* const* inputs, float* const* outputs, size_t num_output_channels, size_t num_frames);

    /** Writes the response to a single sample of 1.0 in each input channel, with the parameters, the rate and the number of inputs
        as they stand. The handle's own sound goes on undisturbed.
        @param outputs, num_output_channels, num_frames  as for varnel_reverb_process() */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_impulse_response (const varnel_reverb* reverb, float* const* outputs, size_t num_output_channels, size_t num_frames);

    /** How long the reverb rings with its settings: the seconds from an impulse until the energy that is left of the wet part of
        the response has fallen by 60 dB. It is worked out by a rule and never measured: on the factory's presets at 44.1 to 96 kHz
        it is at least what a measurement gives and at most 1.3 times that. 0 where nothing wet is in the output. */
    VARNEL_REVERB_API varnel_reverb_status varnel_reverb_tail_seconds (const varnel_reverb* reverb, double* seconds);

#ifdef __cplusplus
}
#endif

#endif
