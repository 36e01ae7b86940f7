// paced_ecg.cpp - an ECG with pacing pulses, watched through the callbacks: what a display would draw.
//     paced_ecg [SECONDS]
//
// Callbacks run on the library's thread and under its lock, 70 in a row every 17.5 ms. They must be quick:
// these only note what they hear, and the main thread does the talking.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <zeka/zeka.h>

namespace {

std::atomic<double> highest_mv{0.0};
std::atomic<unsigned> corners{0};
std::atomic<double> first_pulse_s{-1.0};
std::atomic<double> last_pulse_s{-1.0};

void OnSignal(double, double mV) // every 10th sample, 4000 per second
{
    if (mV > highest_mv)
        highest_mv = mV;
}

void OnPacing(double seconds, double) // each pulse as the four corners of a rectangle
{
    if (corners++ % 4 != 0)
        return;
    if (first_pulse_s < 0.0)
        first_pulse_s = seconds;
    last_pulse_s = seconds;
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 10.0;
    if (ZEKAConnect(-1, 5000) != 1) {
        std::fprintf(stderr, "no instrument found; 'zeka doctor' says what is in the way\n");
        return 1;
    }
    ZEKARegisterSignalOutputCallback(OnSignal);
    ZEKARegisterPacingOutputCallback(OnPacing); // runs only while there is a signal callback too

    const bool ok = ZEKASetFrequency(72.0 / 60.0) == 0 &&   // 72 beats per minute
                    ZEKASetPacingDuration(2.0) == 0 &&      // ms
                    ZEKASetPacingAmplitude(5.0) == 0 &&     // mV; switches pacing on
                    ZEKASetPacingRateSynchronized() == 0 && // a pulse for each beat
                    ZEKASetOutputFunction(7) == 0;          // ECG
    SleepEx(static_cast<unsigned>(seconds * 1000.0));
    const bool stopped = ZEKASetOutputFunction(0) == 0;
    ZEKARegisterPacingOutputCallback(nullptr);
    ZEKARegisterSignalOutputCallback(nullptr);
    ZEKAFree();

    const unsigned pulses = corners / 4;
    std::printf("R wave %.3f mV, %u pacing pulses", highest_mv.load(), pulses);
    if (pulses > 1)
        std::printf(", %.2f per minute", 60.0 * (pulses - 1) / (last_pulse_s - first_pulse_s));
    std::printf("\n");
    return ok && stopped ? 0 : 1;
}
