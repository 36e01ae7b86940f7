/*
 * upload.c - stores an ECG in the instrument, which then plays it without a host.
 *     upload [BEATS-PER-MINUTE]
 */
#include <stdio.h>
#include <stdlib.h>
#include <zeka/zeka.h>

static const char* const kMeaning[] = {"done", "the instrument is gone, or asks for nothing",
                                       "the value lies outside its range"};

static int refused(const char* what, int result)
{
    if (result == 0)
        return 0;
    fprintf(stderr, "%s: %s\n", what, result >= -2 && result < 0 ? kMeaning[-result] : "held by a test");
    return 1;
}

int main(int argc, char** argv)
{
    const double rate = argc > 1 ? atof(argv[1]) : 72.0;

    if (!ZEKAConnect(-1, 5000)) {
        fprintf(stderr, "no instrument found; 'zeka doctor' says what is in the way\n");
        return 1;
    }

    /* One period is uploaded, with the settings of this moment. */
    int failed = refused("amplitude", ZEKASetAmplitude(1.0)) ||          /* QRS scale, mV */
                 refused("heart rate", ZEKASetFrequency(rate / 60.0)) || /* beats per second */
                 refused("T wave", ZEKASetTWave(0.3));                   /* mV */
    if (!failed) {
        printf("storing %d samples, %d per second\n", GetPixelNumberByFrequency(ZEKAGetFrequency()),
               GetSampleRateByFrequency(ZEKAGetFrequency()));
        failed = ZEKASaveToStandaloneMode(7) != 1; /* the ECG; takes up to 20 s */
        printf(failed ? "not confirmed, try again\n" : "stored: the instrument plays it without a host\n");
    }
    ZEKAFree();
    return failed;
}
