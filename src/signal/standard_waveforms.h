// standard_waveforms.h (signal) - the selected standard waveform at a time, and its period.
#pragma once

#include "signal/state.h"

// Synthesised on first use and kept until the library is unloaded, mV at 1000 samples/s.
// Invariant: a pattern's pointer is null until its buffer is complete; it is stored with release
// and loaded with acquire order.
extern double ECG227[360]; // the beat of the patterns; getECG227Array builds it
extern double* pattern1;   // pattern 0: a triangle every second
extern double* pattern2;
extern double* pattern3;
extern double* pattern4;
extern double* pattern5; // pattern 4: one hour

namespace zeka {
/// Values in mV at time t (s) of functions 9, 10, 16 and 17, without noise; 0.0 for
/// an index outside the tables.
double Wave227At(double t) ZEKA_NEEDS_LOCK;
double Wave251At(double t) ZEKA_NEEDS_LOCK;
double Wave247At(double t) ZEKA_NEEDS_LOCK;
double Ane20000At(double t) ZEKA_NEEDS_LOCK;
/// Length (s) of the selected IEC 60601-2-27 waveform; `fallback` for an index outside the table.
double Wave227Period(double fallback) ZEKA_NEEDS_LOCK;
/// Builds the pattern that function 16 will play, so that no burst has to. Needs no lock.
void PreparePattern247();
} // namespace zeka
