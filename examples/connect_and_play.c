/*
 * connect_and_play.c - the smallest whole program: connect, play a sine, stop, free.
 *     connect_and_play [SECONDS]
 */
#include <stdio.h>
#include <stdlib.h>
#include <zeka/zeka.h>

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? atof(argv[1]) : 5.0;

    if (!ZEKAConnect(-1, 5000)) { /* any port, within 5 s */
        fprintf(stderr, "no instrument found; 'zeka doctor' says what is in the way\n");
        return 1;
    }
    printf("playing on %s\n", ZEKAGetSerialNumber());

    /* 1 mV peak to peak at 10 Hz. Settings first, then the function: so the first sample is already right. */
    int failed = ZEKASetAmplitude(1.0) != 0;
    failed |= ZEKASetFrequency(10.0) != 0;
    failed |= ZEKASetOutputFunction(1) != 0;

    SleepEx((unsigned)(seconds * 1000.0)); /* the library streams meanwhile */

    failed |= ZEKASetOutputFunction(0) != 0; /* off */
    ZEKAFree();                              /* the port is free for other programs */
    if (failed)
        fprintf(stderr, "the instrument did not do all that was asked\n");
    return failed;
}
