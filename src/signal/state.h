// state.h (signal) - what the whole signal path shares. Data only, so every room may include it.
// Guarded by g_CriticalSection; ZEKA_LOCKED lets clang prove that at compile time. Values marked "peek"
// are also read without the lock, by getters that must not wait behind a busy setter. Every thread
// writes them with zeka::Publish and reads them with zeka::Peek (util/peek.h); they carry no
// ZEKA_LOCKED. state.cpp defines all values with their start-up values, constant-initialised, so that
// no thread can see a half-initialised one.
#pragma once

#include <cstdint>

#include "platform/global_objects.h"

#define ZEKA_LOCKED ZEKA_GUARDED_BY(g_CriticalSection)
#define ZEKA_NEEDS_LOCK ZEKA_REQUIRES(g_CriticalSection)

namespace zeka {
// The instrument family's 2*pi: every formula uses exactly this constant.
inline constexpr double kTwoPi = 6.2831853;
inline constexpr int kChannels = 4;
} // namespace zeka

// One line for each value. [sources that write it; none: constant]

// clang-format off

// --- the selected function and the stream
//                                                      unit    start   meaning
extern std::int32_t g_MainOutput;                    // -       0       selected output function, 0 = none; peek [output_function, playback, supervisor, sweep, test_modes, upload]
extern bool g_bECGGoing;                             // -       false   samples are being streamed; peek [apply, supervisor]
extern double g_fOutputTime ZEKA_LOCKED;             // s       0.0     signal clock; the sweep rescales it [apply, burst_plain, fast_burst, fast_sweep, upload]
extern double g_fOutputTimeGraph ZEKA_LOCKED;        // s       0.0     clock of the callbacks; never rescaled [apply, burst_plain, fast_burst, fast_sweep]
extern double g_fTimePeriod ZEKA_LOCKED;             // s       0.0     length of one period [apply, burst_plain, fast_sweep, test_modes, upload]
extern std::int32_t g_nSampleRate ZEKA_LOCKED;       // 1/s     40000   sample rate of the stream [output_function]
extern std::uint16_t g_nSequenceCheck ZEKA_LOCKED;   // -       0       sequence number of the next packet, wraps [apply, burst_plain, fast_burst]
extern std::int32_t s_freqDivider ZEKA_LOCKED;       // -       10      every 10th sample goes to the signal callback [none]
extern double g_fVoltageRange ZEKA_LOCKED;           // mV      0.0     +- limit of the ECG functions [apply, playback]
extern double g_RangeV4Ch2Off ZEKA_LOCKED;           // mV      5.0     range without pacing and variable DC [none]
extern double g_RangeV4Ch2On ZEKA_LOCKED;            // mV      5.0     range with them [none]
extern bool s_ChangeOnNextCycle ZEKA_LOCKED;         // -       false   a change takes effect at the end of the period [apply]

// --- waveform parameters as the application set them
extern double g_F;                                   // Hz      1.0     frequency, beats per second of the ECGs; peek [apply, burst_plain, fast_sweep, parameters, sweep, test_modes]
extern double g_Amplitude;                           // mV      1.0     peak to peak; R wave scale of the ECGs; peek [apply, parameters, test_modes]
extern double g_PulseWidth ZEKA_LOCKED;              // ms      100.0 [apply, parameters]
extern double g_QRSDuration;                         // ms      100.0   peek [parameters]
extern double g_PDuration ZEKA_LOCKED;               // ms      100.0 [parameters]
extern double g_PRInterval ZEKA_LOCKED;              // ms      160.0 [parameters]
extern double g_QTInterval ZEKA_LOCKED;              // ms      350.0 [parameters]
extern double g_STSegment ZEKA_LOCKED;               // ms      70.0    weight of the ST segment; setter takes >= 100 [parameters]
extern double g_TDuration ZEKA_LOCKED;               // ms      180.0   weight of the T wave [parameters]
extern double g_CusP ZEKA_LOCKED;                    // mV      0.2     P wave [parameters]
extern double g_CusT;                                // mV      0.2     T wave; peek [parameters]
extern double g_CusST ZEKA_LOCKED;                   // mV      0.0     ST deviation [parameters]

// --- working values derived by _Change
extern double s_A ZEKA_LOCKED;                       // mV      0.0     working amplitude [apply, upload]
extern double s_PW ZEKA_LOCKED;                      // s       0.0     working pulse width [apply, upload]
extern double s_PacDelayTP ZEKA_LOCKED;              // s       0.0     start of the triangular pulse, 0.01 while pacing [pacing]
extern double s_MainsNoiseAmplitude ZEKA_LOCKED;     // mV      0.0     half of g_MainsNoiseAmp [apply]

// --- DC offset
extern std::int32_t g_DCSetting ZEKA_LOCKED;         // mV      0       one offset for all channels [parameters]
extern bool g_bVariableDC ZEKA_LOCKED;               // -       true    variable DC as last set for any channel [parameters, raw_data]
extern bool g_bTestVariableDC[zeka::kChannels] ZEKA_LOCKED; //  true    variable DC per channel [parameters]
extern bool g_bCommonMode;                           // -       false   DC offset common mode; peek [parameters]
extern bool g_bRawVariableDC ZEKA_LOCKED;            // -       false   raw data carries a DC channel of its own [apply, raw_data, reset]
extern std::int32_t g_nDcDACValue ZEKA_LOCKED;       // code    -1      fixed DC code, -1 = none [apply]

// --- callbacks, null = none is registered; all peek
extern void (*g_GraphCB)(double, double);            // signal output: (s, mV) [lifecycle, output_function]
extern void (*g_PacingGraphCB)(double, double);      // pacing pulse drawn as a rectangle: (s, mV) [lifecycle, output_function]
extern void (*g_SyncMainFuncCB)(int);                // the library switched the output function [lifecycle, output_function]
extern void (*g_SyncFreqCB)(double);                 // the library changed the frequency (Hz) [lifecycle, output_function]
extern void (*g_BaselineResetCB)(int);               // baseline reset test changed state [lifecycle, output_function]
extern void (*g_SyncDCOffsetCB)(int);                // DC sweep of function 15 stepped (mV) [lifecycle, output_function]
extern void (*g_StandardStopCB)();                   // playback ended; always StopCallback [none]

// --- pacing
extern double g_PA ZEKA_LOCKED;                      // mV      0.0     pulse height, 0 = off [pacing_settings]
extern double g_PacingDuration ZEKA_LOCKED;          // ms      2.0     pulse width [pacing_settings]
extern unsigned g_PacingRate ZEKA_LOCKED;            // 1/min   60      rate while not synchronised [pacing_settings]
extern bool g_pacingSynchronized ZEKA_LOCKED;        // -       true    pace at the rate of the main signal [pacing_settings]
extern int g_PacingPulse ZEKA_LOCKED;                // -       0       1, 2: a second pulse 0.15 s, 0.25 s before the first [pacing_settings]
extern unsigned g_PacingOvershootTC ZEKA_LOCKED;     // ms      0       overshoot time constant, 0 = none [pacing_settings]
extern double g_POA ZEKA_LOCKED;                     // mV      0.0     overshoot amplitude, >= 0 [pacing_settings]
extern double g_Pacing_leading ZEKA_LOCKED;          // s       0.03    lead of the pulse before the QRS onset [none]
extern int s_PulsesRequired ZEKA_LOCKED;             // -       0       0 off, 1 single pulse, 2 a mode with a second [pacing]
extern double s_pp ZEKA_LOCKED;                      // s       0.0     pacing period [pacing]
extern double s_OTC ZEKA_LOCKED;                     // s       0.0     overshoot time constant [pacing]
extern int s_ppc ZEKA_LOCKED;                        // samples 1000    since the pulse started; 1000 = none yet [pacing]
extern bool s_PacingPulseRaised ZEKA_LOCKED;         // -       false   a pulse was output since the last change [pacing]
extern bool s_PacingIndicationNeeded ZEKA_LOCKED;    // -       false   the pacing callback has not yet been given the pulse [burst_plain, pacing]

// --- ECG time points, s from the start of the beat
extern double s_t1 ZEKA_LOCKED;                      // function 7: R peak [ecg]
extern double s_t2 ZEKA_LOCKED;                      // S trough [ecg]
extern double s_t3 ZEKA_LOCKED;                      // end of QRS [ecg]
extern double s_t4 ZEKA_LOCKED;                      // start of T [ecg]
extern double s_t5 ZEKA_LOCKED;                      // end of T [ecg]
extern double s_Cus_t1 ZEKA_LOCKED;                  // function 8: end of P [ecg]
extern double s_Cus_t2 ZEKA_LOCKED;                  // QRS onset [ecg]
extern double s_Cus_t3 ZEKA_LOCKED;                  // R peak [ecg]
extern double s_Cus_t4 ZEKA_LOCKED;                  // S trough [ecg]
extern double s_Cus_t5 ZEKA_LOCKED;                  // J point [ecg]
extern double s_Cus_t6 ZEKA_LOCKED;                  // start of T [ecg]
extern double s_Cus_t7 ZEKA_LOCKED;                  // end of T [ecg]

// --- respiration on the instrument (codes are the instrument's)
extern bool g_RespirationEnabled ZEKA_LOCKED;        // -       false   attenuation and apnea cycle are on [apply, respiration_commands]
extern std::uint8_t g_nRespirationVariation ZEKA_LOCKED; //     0 [respiration_commands]
extern std::uint8_t g_nRespirationFrequency ZEKA_LOCKED; //     0 [respiration_commands]
extern std::uint8_t g_nRespirationRatio ZEKA_LOCKED; //         0 [respiration_commands]
extern std::uint8_t g_nRespirationBaseline ZEKA_LOCKED; //      0 [respiration_commands]
extern std::int32_t g_nRespirationResistance ZEKA_LOCKED; // ohm 0      500 .. 2500, chooses the AC attenuation [respiration_commands]
extern std::int32_t g_nRespirationApneaTime ZEKA_LOCKED; // s   0       apnea at the end of each minute [respiration_commands]
extern bool g_bRespirationApneaEnabled ZEKA_LOCKED;  // -       false   apnea as last commanded [respiration_commands]
extern bool g_ExternalRespireModule ZEKA_LOCKED;     // -       false   only stored [respiration_commands]

// --- respiration modulation of the ECG
extern double s_OneRespireS ZEKA_LOCKED;             // s       0.0     one breath [respiration]
extern double s_InhaleS ZEKA_LOCKED;                 // s       0.0     inspiration [respiration]
extern double s_ExhaleS ZEKA_LOCKED;                 // s       0.0     expiration [respiration]
extern double s_OneApneaS ZEKA_LOCKED;               // s       0.0     apnea at the end of each minute [respiration]
extern double s_BaselineModV ZEKA_LOCKED;            // mV      0.0     baseline wander [respiration, respiration_commands]
extern double s_AmpModV ZEKA_LOCKED;                 // mV      0.0     QRS amplitude swing [respiration, respiration_commands]
extern double s_FreqModHz ZEKA_LOCKED;               // Hz      0.0     heart rate swing, 0 = none [respiration, respiration_commands]
extern double s_FreqModPreEndT ZEKA_LOCKED;          // s       0.0     start of the running beat [ecg, respiration]
extern double s_FreqModEndT ZEKA_LOCKED;             // s       0.0     end of the running beat [ecg, respiration]

// --- test modes
extern bool s_FreqScanOn;                            // -       false   a sweep runs; peek [sweep]
extern bool g_FreqScan1 ZEKA_LOCKED;                 // -       false   the sine sweep runs [sweep]
extern bool g_FreqScan3 ZEKA_LOCKED;                 // -       false   the ECG sweep runs [sweep]
extern double g_Fstart;                              // Hz      0.67    peek [sweep]
extern double g_Ffinal;                              // Hz      150.0   peek [sweep]
extern std::int32_t g_Fduration;                     // s       30      peek [sweep]
extern double s_Fd ZEKA_LOCKED;                      // Hz      0.0     frequency step of the sweep per sample [sweep]
extern bool g_DynamicRangeTest ZEKA_LOCKED;          // -       false [test_modes]
extern double g_ADynamicRange;                       // mV      1.0     added sine, peak to peak; peek [test_modes]
extern double g_FDynamicRange;                       // Hz      40.0    added sine; peek [test_modes]
extern std::int32_t g_MainNoise;                     // -       0       0 off, 1 50 Hz, 3 random, else 60 Hz; peek [test_modes]
extern double g_MainsNoiseAmp;                       // mV      0.1     peak to peak; peek [test_modes]
extern bool g_AAMIDriftTest;                         // -       false   peek [test_modes]
extern double g_AAMIDriftTestAmp;                    // mV      4.0     triangle, peak to peak; peek [test_modes]
extern double g_AAMIDriftTestWaveLen;                // s       10.0    period; peek [test_modes]
extern double g_AAMIDriftTestWaveLenQuad ZEKA_LOCKED; // s      2.5     a quarter of the period [test_modes]
extern double g_AAMIDriftTestWaveLenQuad3 ZEKA_LOCKED; // s     7.5     three quarters of the period [test_modes]
extern double g_AAMIDriftTestSlope ZEKA_LOCKED;      // mV/s    0.8     2 * amplitude / period [test_modes]
extern std::int32_t g_BaseLineOverload;              // -       0       baseline reset test state; peek [test_modes]
extern double s_InputDynamicRangeDC ZEKA_LOCKED;     // mV      0.0     DC level of function 15 [staircase]
extern double s_InputDynamicRangeAC ZEKA_LOCKED;     // mV      0.0     AC ramp of function 15 [staircase]

// --- standard test waveforms
extern std::int32_t g_nSpecialWaveform;              // -       0       index for functions 9, 10 and 16; peek [standard_waveforms]
extern std::int32_t g_nANE20000ChannelNumber;        // -       0       lead for function 17; peek [standard_waveforms]

// --- loaded recording: files/recording_store.cpp owns the arrays (heap) and exchanges them under the lock
extern double* ECGFile ZEKA_LOCKED;                  // mV      null    AC channel, ECGFileSize samples [recording_store]
extern std::int32_t ECGFileSize ZEKA_LOCKED;         // samples 0       -7 after a rejected data line [recording_store]
extern double ECGFileFreq ZEKA_LOCKED;               // 1/s     0.0 [raw_data, recording_store]
extern bool ECGFileUnitMV ZEKA_LOCKED;               // -       false   samples are mV, else uV [raw_data, recording_store]
extern double* g_DcRawData ZEKA_LOCKED;              // mV      null    DC channel, zeka::dc_raw_size samples [recording_store]
namespace zeka {
extern std::int32_t dc_raw_size ZEKA_LOCKED;         // samples 0       length of g_DcRawData: a file load changes [recording_store]
} //                                                                    ECGFileSize but keeps the older DC channel
// --- loop switches; peek
extern bool s_loopPlay;                              // -       true    standard waveforms repeat [playback]
extern bool s_loopFile;                              // -       true    files repeat [playback]

// --- recording into the application's buffers
extern bool s_EnableRecord ZEKA_LOCKED;              // -       false [record_buffers]
extern double* s_AcBuffer ZEKA_LOCKED;               // counts  null    s_RecordLength entries, the application's [record_buffers]
extern double* s_DcBuffer ZEKA_LOCKED;               // mV      null    s_RecordLength entries, the application's [record_buffers]
extern std::int32_t s_RecordLength ZEKA_LOCKED;      // samples 0 [record_buffers]
extern std::int32_t s_RecordIndex ZEKA_LOCKED;       // samples 0       recorded so far [burst_plain, record_buffers]

// clang-format on
