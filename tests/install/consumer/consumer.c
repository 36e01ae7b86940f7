/* consumer.c - somebody's C program: connects, plays, hears the signal, stops. */
#include <stdatomic.h>
#include <stdio.h>
#include <zeka/zeka.h>

static atomic_int heard;

static void Hear(double seconds, double mV)
{
    (void)seconds;
    (void)mV;
    atomic_fetch_add(&heard, 1);
}

int main(void)
{
    if (ZEKAConnect(-1, 20000) != 1) {
        fprintf(stderr, "no instrument\n");
        return 1;
    }
    ZEKARegisterSignalOutputCallback(Hear);
    const bool played = ZEKASetFrequency(10.0) == 0 && ZEKASetOutputFunction(1) == 0;
    for (int i = 0; i < 2000 && atomic_load(&heard) < 140; ++i)
        SleepEx(10); /* two bursts are enough */
    const bool stopped = ZEKASetOutputFunction(0) == 0;
    ZEKAFree();
    return played && stopped && atomic_load(&heard) >= 140 ? 0 : 1;
}
