/* SPDX-License-Identifier: AGPL-3.0-only */
/* A program in C99 as somebody else would build it; prints the library's version. */
#include <varnel_reverb.h>

#include <stdio.h>

int main (void)
{
    static float left[1000], right[1000];
    float* const channels[2] = { left, right };
    varnel_reverb* reverb = NULL;
    varnel_reverb_status status = varnel_reverb_create (&reverb);

    if (status == VARNEL_REVERB_OK)
        status = varnel_reverb_load_preset (reverb, "Plates/Bright Sheet");
    if (status == VARNEL_REVERB_OK)
        status = varnel_reverb_impulse_response (reverb, channels, 2, 1000);

    printf ("%s: %s\n", varnel_reverb_version(), varnel_reverb_status_text (status));
    varnel_reverb_destroy (reverb);
    return status == VARNEL_REVERB_OK && left[500] != 0.0f ? 0 : 1;
}
