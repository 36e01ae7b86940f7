// state.h (signal) - what the whole signal path shares. Data only, so every room may include it.
// Guarded by g_CriticalSection; ZEKA_LOCKED lets clang prove that at compile time. Values marked "peek" are
// also read without the lock (getters that must not wait behind a busy setter): they are written with
// zeka::Publish and read with zeka::Peek (util/peek.h) on every thread, and carry no ZEKA_LOCKED. Defined
// with their start-up values in state.cpp, constant-initialised: no thread can meet a half-started value.
#pragma once

#include <cstdint>

#include "platform/global_objects.h"

#define ZEKA_LOCKED ZEKA_GUARDED_BY(g_CriticalSection)
#define ZEKA_NEEDS_LOCK ZEKA_REQUIRES(g_CriticalSection)

namespace zeka {
inline constexpr double kTwoPi =
    6.2831853; // the instrument family's 2*pi: every formula uses exactly this constant
inline constexpr int kChannels = 4;
} // namespace zeka

// A table, one line a value.
// clang-format off

// --- the selected function and the stream
//                                                      unit    start   meaning; written by
extern std::int32_t g_MainOutput;                    // -       0       selected output function, 0 = none; peek
extern bool g_bECGGoing;                             // -       false   samples are being streamed; _Change; peek
extern double g_fOutputTime ZEKA_LOCKED;             // s       0.0     signal clock; the sweep rescales it
extern double g_fOutputTimeGraph ZEKA_LOCKED;        // s       0.0     clock of the callbacks; never rescaled
extern double g_fTimePeriod ZEKA_LOCKED;             // s       0.0     length of one period; _Change
extern std::int32_t g_nSampleRate ZEKA_LOCKED;       // 1/s     40000   sample rate of the stream
extern std::uint16_t g_nSequenceCheck ZEKA_LOCKED;   // -       0       sequence number of the next packet, wraps
extern std::int32_t s_freqDivider ZEKA_LOCKED;       // -       10      every 10th sample goes to the signal callback
extern double g_fVoltageRange ZEKA_LOCKED;           // mV      0.0     +- limit of the ECG functions; _Change
extern double g_RangeV4Ch2Off ZEKA_LOCKED;           // mV      5.0     range without pacing and variable DC
extern double g_RangeV4Ch2On ZEKA_LOCKED;            // mV      5.0     range with them
extern bool s_ChangeOnNextCycle ZEKA_LOCKED;         // -       false   a change waits for the end of the period

// --- waveform parameters as the application set them
extern double g_F;                                   // Hz      1.0     frequency, beats per second of the ECGs; peek
extern double g_Amplitude;                           // mV      1.0     peak to peak; R wave scale of the ECGs; peek
extern double g_PulseWidth ZEKA_LOCKED;              // ms      100.0
extern double g_QRSDuration;                         // ms      100.0   peek
extern double g_PDuration ZEKA_LOCKED;               // ms      100.0
extern double g_PRInterval ZEKA_LOCKED;              // ms      160.0
extern double g_QTInterval ZEKA_LOCKED;              // ms      350.0
extern double g_STSegment ZEKA_LOCKED;               // ms      70.0    weight of the ST segment; setter takes >= 100
extern double g_TDuration ZEKA_LOCKED;               // ms      180.0   weight of the T wave
extern double g_CusP ZEKA_LOCKED;                    // mV      0.2     P wave
extern double g_CusT;                                // mV      0.2     T wave; peek
extern double g_CusST ZEKA_LOCKED;                   // mV      0.0     ST deviation

// --- working values derived by _Change
extern double s_A ZEKA_LOCKED;                       // mV      0.0     working amplitude
extern double s_PW ZEKA_LOCKED;                      // s       0.0     working pulse width
extern double s_PacDelayTP ZEKA_LOCKED;              // s       0.0     start of the triangular pulse, 0.01 while pacing
extern double s_MainsNoiseAmplitude ZEKA_LOCKED;     // mV      0.0     half of g_MainsNoiseAmp

// --- DC offset
extern std::int32_t g_DCSetting ZEKA_LOCKED;         // mV      0       one offset for all channels
extern bool g_bVariableDC ZEKA_LOCKED;               // -       true    variable DC as last set for any channel
extern bool g_bTestVariableDC[zeka::kChannels] ZEKA_LOCKED; //  true    variable DC per channel
extern bool g_bCommonMode;                           // -       false   DC offset common mode; peek
extern bool g_bRawVariableDC ZEKA_LOCKED;            // -       false   raw data carries a DC channel of its own
extern std::int32_t g_nDcDACValue ZEKA_LOCKED;       // code    -1      fixed DC code, -1 = none

// --- callbacks, null = nobody listens; all peek
extern void (*g_GraphCB)(double, double);            // signal output: (s, mV)
extern void (*g_PacingGraphCB)(double, double);      // pacing pulse drawn as a rectangle: (s, mV)
extern void (*g_SyncMainFuncCB)(int);                // the library switched the output function
extern void (*g_SyncFreqCB)(double);                 // the library changed the frequency (Hz)
extern void (*g_BaselineResetCB)(int);               // baseline reset test changed state
extern void (*g_SyncDCOffsetCB)(int);                // DC sweep of function 15 stepped (mV)
extern void (*g_StandardStopCB)();                   // playback ended; always StopCallback

// --- pacing
extern double g_PA ZEKA_LOCKED;                      // mV      0.0     pulse height, 0 = off
extern double g_PacingDuration ZEKA_LOCKED;          // ms      2.0     pulse width
extern unsigned g_PacingRate ZEKA_LOCKED;            // 1/min   60      rate while not synchronised
extern bool g_pacingSynchronized ZEKA_LOCKED;        // -       true    pace at the rate of the ECG
extern int g_PacingPulse ZEKA_LOCKED;                // -       0       1, 2: a second pulse 0.15 s, 0.25 s later
extern unsigned g_PacingOvershootTC ZEKA_LOCKED;     // ms      0       overshoot time constant, 0 = none
extern double g_POA ZEKA_LOCKED;                     // mV      0.0     overshoot amplitude, >= 0
extern double g_Pacing_leading ZEKA_LOCKED;          // s       0.03    lead of the pulse before the QRS onset
extern int s_PulsesRequired ZEKA_LOCKED;             // -       0       0 off, 1 single pulse, 2 a mode with a second
extern double s_pp ZEKA_LOCKED;                      // s       0.0     pacing period
extern double s_OTC ZEKA_LOCKED;                     // s       0.0     overshoot time constant
extern int s_ppc ZEKA_LOCKED;                        // samples 1000    since the pulse started; 1000 = none yet
extern bool s_PacingPulseRaised ZEKA_LOCKED;         // -       false   a pulse was made since the last change
extern bool s_PacingIndicationNeeded ZEKA_LOCKED;    // -       false   the pacing callback has yet to draw the pulse

// --- ECG time points, s from the start of the beat; _CheckECGTime
extern double s_t1 ZEKA_LOCKED;                      // function 7: R peak
extern double s_t2 ZEKA_LOCKED;                      // S trough
extern double s_t3 ZEKA_LOCKED;                      // end of QRS
extern double s_t4 ZEKA_LOCKED;                      // start of T
extern double s_t5 ZEKA_LOCKED;                      // end of T
extern double s_Cus_t1 ZEKA_LOCKED;                  // function 8: end of P
extern double s_Cus_t2 ZEKA_LOCKED;                  // QRS onset
extern double s_Cus_t3 ZEKA_LOCKED;                  // R peak
extern double s_Cus_t4 ZEKA_LOCKED;                  // S trough
extern double s_Cus_t5 ZEKA_LOCKED;                  // J point
extern double s_Cus_t6 ZEKA_LOCKED;                  // start of T
extern double s_Cus_t7 ZEKA_LOCKED;                  // end of T

// --- respiration on the instrument (codes are the instrument's)
extern bool g_RespirationEnabled ZEKA_LOCKED;        // -       false   attenuation and apnea cycle act
extern std::uint8_t g_nRespirationVariation ZEKA_LOCKED; //     0
extern std::uint8_t g_nRespirationFrequency ZEKA_LOCKED; //     0
extern std::uint8_t g_nRespirationRatio ZEKA_LOCKED; //         0
extern std::uint8_t g_nRespirationBaseline ZEKA_LOCKED; //      0
extern std::int32_t g_nRespirationResistance ZEKA_LOCKED; // ohm 0      500 .. 2500, chooses the AC attenuation
extern std::int32_t g_nRespirationApneaTime ZEKA_LOCKED; // s   0       apnea at the end of each minute
extern bool g_bRespirationApneaEnabled ZEKA_LOCKED;  // -       false   apnea as last asked for
extern bool g_ExternalRespireModule ZEKA_LOCKED;     // -       false   only stored

// --- respiration modulation of the ECG
extern double s_OneRespireS ZEKA_LOCKED;             // s       0.0     one breath
extern double s_InhaleS ZEKA_LOCKED;                 // s       0.0     inspiration
extern double s_ExhaleS ZEKA_LOCKED;                 // s       0.0     expiration
extern double s_OneApneaS ZEKA_LOCKED;               // s       0.0     apnea at the end of each minute
extern double s_BaselineModV ZEKA_LOCKED;            // mV      0.0     baseline wander
extern double s_AmpModV ZEKA_LOCKED;                 // mV      0.0     QRS amplitude swing
extern double s_FreqModHz ZEKA_LOCKED;               // Hz      0.0     heart rate swing, 0 = none
extern double s_FreqModPreEndT ZEKA_LOCKED;          // s       0.0     start of the running beat
extern double s_FreqModEndT ZEKA_LOCKED;             // s       0.0     end of the running beat

// --- test modes
extern bool s_FreqScanOn;                            // -       false   a sweep runs; peek
extern bool g_FreqScan1 ZEKA_LOCKED;                 // -       false   it is the sine sweep
extern bool g_FreqScan3 ZEKA_LOCKED;                 // -       false   it is the ECG sweep
extern double g_Fstart;                              // Hz      0.67    peek
extern double g_Ffinal;                              // Hz      150.0   peek
extern std::int32_t g_Fduration;                     // s       30      peek
extern double s_Fd ZEKA_LOCKED;                      // Hz      0.0     frequency step of the sweep per sample
extern bool g_DynamicRangeTest ZEKA_LOCKED;          // -       false
extern double g_ADynamicRange;                       // mV      1.0     added sine, peak to peak; peek
extern double g_FDynamicRange;                       // Hz      40.0    added sine; peek
extern std::int32_t g_MainNoise;                     // -       0       0 off, 1 50 Hz, 3 random, else 60 Hz; peek
extern double g_MainsNoiseAmp;                       // mV      0.1     peak to peak; peek
extern bool g_AAMIDriftTest;                         // -       false   peek
extern double g_AAMIDriftTestAmp;                    // mV      4.0     triangle, peak to peak; peek
extern double g_AAMIDriftTestWaveLen;                // s       10.0    period; peek
extern double g_AAMIDriftTestWaveLenQuad ZEKA_LOCKED; // s      2.5     a quarter of it
extern double g_AAMIDriftTestWaveLenQuad3 ZEKA_LOCKED; // s     7.5     three quarters of it
extern double g_AAMIDriftTestSlope ZEKA_LOCKED;      // mV/s    0.8     2 * amplitude / period
extern std::int32_t g_BaseLineOverload;              // -       0       baseline reset test state; peek
extern double s_InputDynamicRangeDC ZEKA_LOCKED;     // mV      0.0     DC level of function 15
extern double s_InputDynamicRangeAC ZEKA_LOCKED;     // mV      0.0     AC ramp of function 15

// --- standard test waveforms
extern std::int32_t g_nSpecialWaveform;              // -       0       index for functions 9, 10 and 16; peek
extern std::int32_t g_nANE20000ChannelNumber;        // -       0       lead for function 17; peek

// --- loaded recording: heap arrays owned by files/recording_store.cpp, exchanged under the lock
extern double* ECGFile ZEKA_LOCKED;                  // mV      null    AC channel, ECGFileSize samples
extern std::int32_t ECGFileSize ZEKA_LOCKED;         // samples 0       -7 after a rejected data line
extern double ECGFileFreq ZEKA_LOCKED;               // 1/s     0.0
extern bool ECGFileUnitMV ZEKA_LOCKED;               // -       false   samples are mV, else uV
extern double* g_DcRawData ZEKA_LOCKED;              // mV      null    DC channel, zeka::dc_raw_size samples
namespace zeka {
extern std::int32_t dc_raw_size ZEKA_LOCKED;         // samples 0       length of g_DcRawData: a file load changes
} //                                                                    ECGFileSize but keeps the older DC channel
// --- loop switches; peek
extern bool s_loopPlay;                              // -       true    standard waveforms repeat
extern bool s_loopFile;                              // -       true    files repeat

// --- recording into the application's buffers
extern bool s_EnableRecord ZEKA_LOCKED;              // -       false
extern double* s_AcBuffer ZEKA_LOCKED;               // counts  null    s_RecordLength entries, the application's
extern double* s_DcBuffer ZEKA_LOCKED;               // mV      null    s_RecordLength entries, the application's
extern std::int32_t s_RecordLength ZEKA_LOCKED;      // samples 0
extern std::int32_t s_RecordIndex ZEKA_LOCKED;       // samples 0       recorded so far

// clang-format on
