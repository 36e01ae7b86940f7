"""Every function of libzeka's C interface, as include/zeka/zeka.h declares it: the one table from which the
plain functions, their argument types and the stub file are made. A test compares it with the header."""

from __future__ import annotations

import re
from typing import NamedTuple

DECLARATIONS = """
bool ZEKAInit(ZEKA_CONNECTION_CALLBACK callback)
int ZEKAConnect(int port, unsigned int timeoutMs)
void ZEKAFree()
bool ZEKAIsConnected()
bool ZEKAIsPlaying()
void RegisterNotifyEvent(unsigned int message, ZEKA_NOTIFY_CALLBACK callback)
void WinEventCb(unsigned int message, unsigned int wParam, unsigned long lParam)
int ZEKASetOutputFunction(int function)
int ZEKAGetOutputFunction()
void ZEKARegisterSignalOutputCallback(ZEKA_SIGNAL_CALLBACK callback)
void ZEKARegisterPacingOutputCallback(ZEKA_SIGNAL_CALLBACK callback)
void ZEKARegisterOutputFunctionCallback(ZEKA_FUNCTION_CALLBACK callback)
void ZEKARegisterFrequencyCallback(ZEKA_FREQUENCY_CALLBACK callback)
void RegisterBaselineResetCB(ZEKA_STATE_CALLBACK callback)
void RegisterSyncDCOffsetCB(ZEKA_OFFSET_CALLBACK callback)
void ZEKAReset()
int ZEKASetAmplitude(double mV)
double ZEKAGetAmplitude()
int ZEKASetFrequency(double hz)
double ZEKAGetFrequency()
int ZEKASetPulseWidth(double ms)
double ZEKAGetPulseWidth()
int ZEKASetQRSDuration(double ms)
double ZEKAGetQRSDuration()
int ZEKASetTWave(double mV)
double ZEKAGetTWave()
int ZEKASetPDuration(double ms)
double ZEKAGetPDuration()
int ZEKASetPRInterval(double ms)
double ZEKAGetPRInterval()
int ZEKASetQTInterval(double ms)
double ZEKAGetQTInterval()
int ZEKASetPWave(double mV)
double ZEKAGetPWave()
int ZEKASetSTDeviation(double mV)
double ZEKAGetSTDeviation()
int ZEKASetSTSegment(double ms)
double ZEKAGetSTSegment()
int ZEKASetTDuration(double ms)
double ZEKAGetTDuration()
int ZEKASetDCOffset(int channel, int mV)
int ZEKAGetDCOffset()
int ZEKASetDCOffsetVariableMode(int channel, bool on)
bool ZEKAGetDCOffsetVariableMode()
int SetDCOffsetCommonMode(bool on)
bool GetDCOffsetCommonMode()
int ZEKASetPacingPulseMode(int mode)
int ZEKAGetPacingPulseMode()
int ZEKASetPacingAmplitude(double mV)
double ZEKAGetPacingAmplitude()
int ZEKASetPacingDuration(double ms)
double ZEKAGetPacingDuration()
int ZEKASetPacingRate(unsigned int ppm)
unsigned int ZEKAGetPacingRate()
int ZEKASetPacingRateSynchronized()
int ZEKASetOvershootTimeConstant(unsigned int ms)
unsigned int ZEKAGetOvershootTimeConstant()
int ZEKASetOvershootAmplitude(double mV)
double ZEKAGetOvershootAmplitude()
int SetRespiration(int variation, int frequency, int ratio, int baseline, int apneaSeconds)
int SetApnea(bool on)
void EnableApneaByTime(int seconds)
int EnableRespiration(bool on)
int EnableExternalRespireModule(bool on)
int SetRespireAlgorithmParam(int breathsPerMinute, int ratio, int apneaSeconds, int baselinePercent, int
    amplitudePercent, int ratePercent)
int ZEKASetFrequencyScan(bool on, int seconds, double startHz, double stopHz)
bool ZEKAGetFrequencyScan()
double GetFreqScanSineStartFreq()
double GetFreqScanSineStopFreq()
int GetFreqScanSineDuration()
int SetFreqScanECG(bool on)
bool GetFreqScanECG()
int ZEKASetDynamicRangeTest(bool on, bool triangle, double amplitude, double frequency)
bool ZEKAGetDynamicRangeTest()
double GetDynamicRangeTestAmp()
double GetDynamicRangeTestFreq()
int SetECG2_27_Noise(int type, double amplitude)
int GetECG2_27_NoiseFreq()
double GetECG2_27_NoiseAmp()
int SetECG2_27_AAMIDriftTest(bool on)
bool GetECG2_27_AAMIDriftTest()
int SetECG2_27_AAMIDriftTestAmp(double amplitude)
double GetECG2_27_AAMIDriftTestAmp()
int SetECG2_27_AAMIDriftTestFreq(double frequency)
double GetECG2_27_AAMIDriftTestFreq()
int SetBaselineResetTest(int state)
int GetBaselineResetTest()
int SetSpecialWave227(int index)
int GetSpecialWave227()
int* GetSpecialWave227Array(int index, unsigned int* length, unsigned int* rate)
int SetSpecialWave251(int index)
int GetSpecialWave251()
int* GetSpecialWave251Array(int index, unsigned int* length, unsigned int* rate)
int SetSpecialWave247(int index)
int GetSpecialWave247()
double* GetSpecialWave247Array(int pattern, unsigned int* length, unsigned int* rate)
int SetANE20000Lead(int lead)
int GetANE20000Lead()
double* getIEC47RawArray(IEC247_PATTERN pattern)
double* getArray(IEC247_PATTERN pattern)
double* getECG227Array()
double* getRRavgArray()
double* getRRdevArray()
double* getHRVfreqArray()
int ZEKAOutputSignal(int function)
int GetSampleRateByFrequency(double hz)
int GetPixelNumberByFrequency(double hz)
void SetStandardWaveformLoop(bool on)
void ZEKAEnableLoop(bool on)
int ZEKASaveToStandaloneMode(int function)
int ZEKASaveDefaultWaveform()
int ZEKAGetDeviceInformation(MODEL_INFORMATION* info)
int ZEKASetDeviceInformation(MODEL_INFORMATION* info)
int ZEKAGetHWInformation(void* info)
int ZEKASetHWInformation(int setting0, int setting1)
const char* ZEKAGetSerialNumber()
unsigned int ZEKAGetVersion()
int64_t ZEKAGetDeviceHandle()
void SetDeviceTimeoutSetting(unsigned int readMs, unsigned int writeMs)
int ZEKASetOutputLead(int channel, OutputLead lead)
int ZEKASetInputImpedanceMode(int channel, int mode)
int ZEKAGetInputImpedanceMode(int channel)
int ZEKASetSignalGroundToGNDGround(int channel, bool on)
int ZEKAGetSignalGroundToGNDGround(int channel)
int ZEKAGetOutputStage(ZEKA_OUTPUT_STAGE* stage)
int SetAllOutputState(unsigned int state)
bool SetSelectedChannelEnabled(unsigned char mask, bool on)
bool SetSelectedChannelLeads(unsigned char mask, OutputLead lead)
int ZEKASetCalibrationMode(bool on)
int ZEKASetOutputDac(int first, int second)
int ZEKAReadMfgInfo(unsigned char* buffer, int length)
int ZEKAWriteMfgInfo(unsigned char* buffer, int length)
int ZEKASetDCOffsetCalibrationData(int channel, int value)
int ZEKAWriteDCCalibrationData(int index, int value)
int ZEKASetFixedDCByDAC(int code)
int ZEKAUpdateFwLoadFirmwareFile(void* a, void* b, void* c, void* d)
void ZEKAUpdateFwBurnBinFile(void* a)
int LoadECGtxt(const char* path, int channel)
int LoadECGtxtSingle(const char* path)
int LoadECGBin(const wchar_t* path)
int CheckECGTxtChannel(const wchar_t* path, char** names)
int ZEKALoadRawData(RAW_WAVEFORM_DATA* data)
int getFileSize(const char* path)
bool EnableRecordRaw(double* ac, double* dc, int length)
void DisableRecordRaw()
int DumpRawData(double* values, unsigned int count, const wchar_t* path)
int OutputRaw(int rate, unsigned int count, double* values, const char* name, const wchar_t* path)
int DumpStandardWaveform(int* table, int count, int rate, const char* name, const wchar_t* path)
void SleepEx(unsigned int ms)
int CloseHandle(int64_t handle)
void CloseThread(unsigned long threadId)
"""


class Parameter(NamedTuple):
    type: str
    name: str


class Declaration(NamedTuple):
    result: str
    name: str
    parameters: tuple[Parameter, ...]


_DECLARATION = re.compile(r"([\w ]+?[ *]+)(\w+)\(([^)]*)\)")


def _split(text: str) -> Parameter:
    """'unsigned int* length' as its type and its name."""
    kind, name = re.fullmatch(r"(.*?[ *])(\w+)", text.strip()).groups()  # type: ignore[union-attr]
    return Parameter(kind.strip(), name)


def parse(text: str) -> dict[str, Declaration]:
    """Declarations by name; white space and "(void)" do not matter."""
    found = {}
    for result, name, inside in _DECLARATION.findall(" ".join(text.split()).replace("(void)", "()")):
        parameters = tuple(_split(part) for part in inside.split(",") if part.strip())
        found[name] = Declaration(result.strip(), name, parameters)
    return found


FUNCTIONS = parse(DECLARATIONS)
