// model.h - the whole signal path once more: settings, apply step, every formula of the signal for each
// sample, straight and slow, in the order in which it stands in the documents, and the commands that the
// calls send. It includes nothing of the library but its public header, shares no code with it, and is held
// against it call by call. Exported calls have the names and results that the library gives them.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "model/firmware.h"
#include "zeka/zeka.h"

namespace zeka::test {

/// What the application was told: g, p signal and pacing, m function, f frequency, b baseline, d DC offset
/// callbacks; r the result of a call that it made inside one.
struct Event {
    char kind;
    double a, b;
};

/// A line of setters.tsv.
struct SetterRow {
    std::string lands, sends;
};
const std::map<std::string, SetterRow>& SetterTable();

class Model {
public:
    explicit Model(unsigned seed);

    // --- what came of it
    std::vector<Message> sent;
    std::string sends; // the commands by name
    std::vector<Event> events;
    std::function<void(char)> in_callback;
    std::vector<double> recorded_ac, recorded_dc; // the application's buffers
    Firmware firmware;
    const int* ane20000 = nullptr; // the table, which no exported call hands out
    bool device = false;
    bool going = false;

    /// The poll thread's answer to the instrument's request for samples.
    void AnswerRequest();

    // --- exported calls
    int ZEKASetOutputFunction(int function);
    void ZEKAReset();
    int ZEKASetAmplitude(double mv), ZEKASetFrequency(double hz), ZEKASetPulseWidth(double ms);
    int ZEKASetQRSDuration(double ms), ZEKASetTWave(double mv), ZEKASetPDuration(double ms),
        ZEKASetPRInterval(double ms);
    int ZEKASetQTInterval(double ms), ZEKASetPWave(double mv), ZEKASetSTDeviation(double mv),
        ZEKASetSTSegment(double ms);
    int ZEKASetTDuration(double ms), ZEKASetDCOffset(int channel, int mv),
        ZEKASetDCOffsetVariableMode(int channel, bool on);
    int SetDCOffsetCommonMode(bool on);
    int ZEKASetPacingPulseMode(int mode), ZEKASetPacingAmplitude(double mv), ZEKASetPacingDuration(double ms);
    int ZEKASetPacingRate(unsigned ppm), ZEKASetPacingRateSynchronized(),
        ZEKASetOvershootTimeConstant(unsigned ms);
    int ZEKASetOvershootAmplitude(double mv);
    int SetRespiration(int variation, int frequency, int ratio, int baseline, int apnea_s), SetApnea(bool on);
    int EnableRespiration(bool on), EnableExternalRespireModule(bool on);
    int SetRespireAlgorithmParam(int bpm, int ratio, int apnea_s, int baseline, int amplitude, int rate);
    int ZEKASetFrequencyScan(bool on, int seconds, double start, double stop), SetFreqScanECG(bool on);
    int ZEKASetDynamicRangeTest(bool on, bool triangle, double mv, double hz),
        SetECG2_27_Noise(int type, double mv);
    int SetECG2_27_AAMIDriftTest(bool on), SetECG2_27_AAMIDriftTestAmp(double mv),
        SetECG2_27_AAMIDriftTestFreq(double hz);
    int SetBaselineResetTest(int state);
    int SetSpecialWave227(int index), SetSpecialWave251(int index), SetSpecialWave247(int index),
        SetANE20000Lead(int lead);
    void SetStandardWaveformLoop(bool on), ZEKAEnableLoop(bool on);
    int ZEKAOutputSignal(int function), ZEKASaveToStandaloneMode(int function), ZEKASaveDefaultWaveform();
    int ZEKASetOutputLead(int channel, int lead), ZEKASetInputImpedanceMode(int channel, int mode);
    int ZEKAGetInputImpedanceMode(int channel), ZEKASetSignalGroundToGNDGround(int channel, bool on);
    int ZEKAGetSignalGroundToGNDGround(int channel), SetAllOutputState(unsigned);
    bool SetSelectedChannelEnabled(unsigned char mask, bool on),
        SetSelectedChannelLeads(unsigned char mask, int lead);
    int ZEKASetCalibrationMode(bool on), ZEKASetOutputDac(int first, int second);
    int ZEKALoadRawData(double hz, const std::vector<double>& ac, const std::vector<double>& dc);
    /// A recording file as its loader found it. A refused head leaves the former recording, a refused line
    /// none.
    enum class Found { kNothing, kRefusedHead, kRefusedLine, kSamples };
    int Load(Found found, double hz, const std::vector<double>& mv, int result);
    bool EnableRecordRaw(int length);
    void DisableRecordRaw();
    void Register(char kind, bool on);

    /// What the getters return, by name.
    [[nodiscard]] std::map<std::string, double> Values() const;

private:
    void Land(const char* call);
    void Change(), ChangeRequested(), CheckIfChangeRequired(double t), Apply(), CheckEcgTime();
    void Tell(char kind, double a, double b = 0.0);
    int Stored(const char* call, double& value, double argument, double low, double high);

    // the wire
    void Write(Message message);
    bool Exchange(const Message& request, Message* reply = nullptr);
    bool ChangeBlock(const char* name, const std::function<void(Message&)>& change);
    void SetRelays();
    bool SetDcOffset(int channel), ChannelState(const std::function<void(Message&)>&change);
    bool SendRespiration(const std::array<int, 4>& codes, bool apnea);
    void EnableApneaByTime(int seconds);
    bool ControlSetting(Message&record), WriteWaveformInfo(), WriteRawData();

    // the signal
    void SendNextPacket(), UpdateFreqScan();
    double MainVoltage(double t), Ecg(double t), Noise(),
        Table(const int*table, int entries, int size, int index, double at);
    double PacingV5(double&acc), InputRangeDc(), RespireVoltage(double t) const, RespireV() const;
    double RespireAt(double time) const;
    void CheckPulse(double offset, bool&latch), CheckStandardLoop(), StopCallback();
    [[nodiscard]] bool IsEndOfFile() const;
    [[nodiscard]] double InPeriod() const, Attenuation() const;
    [[nodiscard]] static int Dac(double mv), RateOf(double hz), PixelsOf(double hz);
    [[nodiscard]] int AcWord(double mv, double* counts = nullptr) const;
    int Rand();

    random_data random_{};
    std::array<char, 128> random_state_{};

    // settings and working values, start-up values as the library has them
    int main_output = 0, sample_rate = 40000, graph_counter = 0, sequence = 0;
    double F = 1.0, amplitude = 1.0, pulse_width = 100.0, qrs = 100.0, p_duration = 100.0, pr = 160.0,
           qt = 350.0, st_segment = 70.0, t_duration = 180.0, cus_p = 0.2, cus_t = 0.2, cus_st = 0.0;
    double period = 0.0, tau = 0.0, tau_graph = 0.0, range = 0.0, A = 0.0, PW = 0.0, pac_delay = 0.0,
           noise = 0.0;
    bool change_on_next = false, in_change = false, stop_event = false;
    int dc_setting = 0;
    bool variable_dc = true, test_variable_dc[4] = {true, true, true, true}, common_mode = false,
         raw_variable_dc = false;
    bool callbacks[128] = {};
    double t1 = 0, t2 = 0, t3 = 0, t4 = 0, t5 = 0, c1 = 0, c2 = 0, c3 = 0, c4 = 0, c5 = 0, c6 = 0, c7 = 0;
    // pacing
    double PA = 0.0, pacing_duration = 2.0, POA = 0.0, leading = 0.03, pp = 0.0, OTC = 0.0;
    unsigned pacing_rate = 60, overshoot_tc = 0;
    bool synchronized = true, raised = false, indication = false, latch0 = false, latch1 = false,
         latch2 = false;
    int pacing_pulse = 0, pulses_required = 0, ppc = 1000;
    // respiration
    bool respiration = false, apnea = false, external = false;
    std::array<int, 4> codes{}; // frequency, variation, ratio, baseline
    int resistance = 0, apnea_time = 0;
    double one_respire = 0, inhale = 0, exhale = 0, one_apnea = 0, baseline_mod = 0, amp_mod = 0,
           freq_mod = 0, pre_end = 0, end = 0;
    // test modes
    bool scan_on = false, scan1 = false, scan3 = false, dynamic = false, drift = false;
    double f_start = 0.67, f_final = 150.0, Fd = 0.0, a_dynamic = 1.0, f_dynamic = 40.0, noise_amp = 0.1;
    int f_duration = 30, main_noise = 0, overload = 0;
    double drift_amp = 4.0, drift_len = 10.0, drift_quad = 2.5, drift_quad3 = 7.5, drift_slope = 0.8;
    double current_amp = 1.0, current_freq = 1.0, range_dc = 0.0, range_ac = 0.0, stair_time = -1.0;
    std::int64_t stair_tick = -1;
    // waveforms, recordings
    int wave = 0, lead = 0;
    bool loop_play = true, loop_file = true, recording = false;
    std::vector<double> file, dc_raw;
    int file_size = 0;
    double file_hz = 0.0;
    bool file_mv = false;
    std::size_t record_length = 0;
};

} // namespace zeka::test
