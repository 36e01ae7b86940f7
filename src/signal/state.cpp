// state.cpp (signal) - the shared signal state with its start-up values; state.h says what each value means.
#include "signal/state.h"

#include "stream/end_of_playback.h"

// the selected function and the stream
constinit std::int32_t g_MainOutput = 0;
constinit bool g_bECGGoing = false;
constinit double g_fOutputTime = 0.0;
constinit double g_fOutputTimeGraph = 0.0;
constinit double g_fTimePeriod = 0.0;
constinit std::int32_t g_nSampleRate = 40000;
constinit std::uint16_t g_nSequenceCheck = 0;
constinit std::int32_t s_freqDivider = 10;
constinit double g_fVoltageRange = 0.0;
constinit double g_RangeV4Ch2Off = 5.0;
constinit double g_RangeV4Ch2On = 5.0;
constinit bool s_ChangeOnNextCycle = false;

// waveform parameters as the application set them
constinit double g_F = 1.0;
constinit double g_Amplitude = 1.0;
constinit double g_PulseWidth = 100.0;
constinit double g_QRSDuration = 100.0;
constinit double g_PDuration = 100.0;
constinit double g_PRInterval = 160.0;
constinit double g_QTInterval = 350.0;
constinit double g_STSegment = 70.0;
constinit double g_TDuration = 180.0;
constinit double g_CusP = 0.2;
constinit double g_CusT = 0.2;
constinit double g_CusST = 0.0;

// working values derived by _Change
constinit double s_A = 0.0;
constinit double s_PW = 0.0;
constinit double s_PacDelayTP = 0.0;
constinit double s_MainsNoiseAmplitude = 0.0;

// DC offset
constinit std::int32_t g_DCSetting = 0;
constinit bool g_bVariableDC = true;
constinit bool g_bTestVariableDC[zeka::kChannels] = {true, true, true, true};
constinit bool g_bCommonMode = false;
constinit bool g_bRawVariableDC = false;
constinit std::int32_t g_nDcDACValue = -1;

// callbacks
constinit ZEKA_SIGNAL_CALLBACK g_GraphCB = nullptr;
constinit ZEKA_SIGNAL_CALLBACK g_PacingGraphCB = nullptr;
constinit ZEKA_FUNCTION_CALLBACK g_SyncMainFuncCB = nullptr;
constinit ZEKA_FREQUENCY_CALLBACK g_SyncFreqCB = nullptr;
constinit ZEKA_STATE_CALLBACK g_BaselineResetCB = nullptr;
constinit ZEKA_OFFSET_CALLBACK g_SyncDCOffsetCB = nullptr;
constinit decltype(&StopCallback) g_StandardStopCB = StopCallback;

// pacing
constinit double g_PA = 0.0;
constinit double g_PacingDuration = 2.0;
constinit unsigned g_PacingRate = 60;
constinit bool g_pacingSynchronized = true;
constinit int g_PacingPulse = 0;
constinit unsigned g_PacingOvershootTC = 0;
constinit double g_POA = 0.0;
constinit double g_Pacing_leading = 0.03;
constinit int s_PulsesRequired = 0;
constinit double s_pp = 0.0;
constinit double s_OTC = 0.0;
constinit int s_ppc = 1000;
constinit bool s_PacingPulseRaised = false;
constinit bool s_PacingIndicationNeeded = false;

// ECG time points
constinit double s_t1 = 0.0;
constinit double s_t2 = 0.0;
constinit double s_t3 = 0.0;
constinit double s_t4 = 0.0;
constinit double s_t5 = 0.0;
constinit double s_Cus_t1 = 0.0;
constinit double s_Cus_t2 = 0.0;
constinit double s_Cus_t3 = 0.0;
constinit double s_Cus_t4 = 0.0;
constinit double s_Cus_t5 = 0.0;
constinit double s_Cus_t6 = 0.0;
constinit double s_Cus_t7 = 0.0;

// respiration on the instrument (codes are the instrument's)
constinit bool g_RespirationEnabled = false;
constinit std::uint8_t g_nRespirationVariation = 0;
constinit std::uint8_t g_nRespirationFrequency = 0;
constinit std::uint8_t g_nRespirationRatio = 0;
constinit std::uint8_t g_nRespirationBaseline = 0;
constinit std::int32_t g_nRespirationResistance = 0;
constinit std::int32_t g_nRespirationApneaTime = 0;
constinit bool g_bRespirationApneaEnabled = false;
constinit bool g_ExternalRespireModule = false;

// respiration modulation of the ECG
constinit double s_OneRespireS = 0.0;
constinit double s_InhaleS = 0.0;
constinit double s_ExhaleS = 0.0;
constinit double s_OneApneaS = 0.0;
constinit double s_BaselineModV = 0.0;
constinit double s_AmpModV = 0.0;
constinit double s_FreqModHz = 0.0;
constinit double s_FreqModPreEndT = 0.0;
constinit double s_FreqModEndT = 0.0;

// test modes
constinit bool s_FreqScanOn = false;
constinit bool g_FreqScan1 = false;
constinit bool g_FreqScan3 = false;
constinit double g_Fstart = 0.67;
constinit double g_Ffinal = 150.0;
constinit std::int32_t g_Fduration = 30;
constinit double s_Fd = 0.0;
constinit bool g_DynamicRangeTest = false;
constinit double g_ADynamicRange = 1.0;
constinit double g_FDynamicRange = 40.0;
constinit std::int32_t g_MainNoise = 0;
constinit double g_MainsNoiseAmp = 0.1;
constinit bool g_AAMIDriftTest = false;
constinit double g_AAMIDriftTestAmp = 4.0;
constinit double g_AAMIDriftTestWaveLen = 10.0;
constinit double g_AAMIDriftTestWaveLenQuad = 2.5;
constinit double g_AAMIDriftTestWaveLenQuad3 = 7.5;
constinit double g_AAMIDriftTestSlope = 0.8;
constinit std::int32_t g_BaseLineOverload = 0;
constinit double s_InputDynamicRangeDC = 0.0;
constinit double s_InputDynamicRangeAC = 0.0;

// standard test waveforms
constinit std::int32_t g_nSpecialWaveform = 0;
constinit std::int32_t g_nANE20000ChannelNumber = 0;

// loaded recording
constinit double* ECGFile = nullptr;
constinit std::int32_t ECGFileSize = 0;
constinit double ECGFileFreq = 0.0;
constinit bool ECGFileUnitMV = false;
constinit double* g_DcRawData = nullptr;
namespace zeka {
constinit std::int32_t dc_raw_size = 0;
}

// loop switches
constinit bool s_loopPlay = true;
constinit bool s_loopFile = true;

// recording into the application's buffers
constinit bool s_EnableRecord = false;
constinit double* s_AcBuffer = nullptr;
constinit double* s_DcBuffer = nullptr;
constinit std::int32_t s_RecordLength = 0;
constinit std::int32_t s_RecordIndex = 0;
