// model.h - the whole signal path a second time: settings, apply step, every formula of the signal for each
// sample, plain and slow, in the order of the documents, and the commands that the calls send. It includes
// nothing of the library but its public header and shares no code with it. The exported calls have the names
// and results that they have in the library.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "model/firmware.h"

namespace zeka::test {

/// A callback of the application. Kinds: g, p signal and pacing, m function, f frequency, b baseline, d DC
/// offset; r is the result of a call made inside a callback.
struct Event {
    char kind;
    double a, b;
};

/// A line of setters.tsv.
struct SetterRow {
    std::string lands, sends;
};
const std::map<std::string, SetterRow>& SetterTable();

struct Model {
    explicit Model(unsigned seed) { ::initstate_r(seed, random_state.data(), random_state.size(), &random); }
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    // --- the results
    std::vector<Message> sent;
    std::string sends; // names of the commands, as in setters.tsv
    std::vector<Event> events;
    std::function<void(char)> in_callback;
    std::vector<double> recorded_ac, recorded_dc; // the application's buffers
    Firmware firmware;
    const int* ane20000 = nullptr; // the table, which no exported call returns
    bool device = false;

    /// Answers the instrument's request, as the poll thread does.
    void AnswerRequest();
    void Register(char kind, bool on) { callbacks[static_cast<std::size_t>(kind)] = on; }
    /// What a loader found in a recording file. A refused head keeps the former
    /// recording; a refused line keeps none.
    enum class Found { kNothing, kRefusedHead, kRefusedLine, kSamples };
    int Load(Found found, double hz, const std::vector<double>& mv, int result);

    // --- exported calls: output function and waveform parameters
    int ZEKASetOutputFunction(int function);
    void ZEKAReset();
    int ZEKASetAmplitude(double mv)
    {
        return device && overload != 0 && In(mv, -10, 10) ? -3 : Set(__func__, amplitude, mv, -10, 10);
    }
    int ZEKASetFrequency(double hz)
    {
        const bool fits = In(hz, 0.017, 500) && !((main_output == 4 || main_output == 5) && hz > 5.0);
        return device && fits && scan_on         ? -3
               : device && fits && overload != 0 ? -4
                                                 : Set(__func__, fits, [&] { F = hz; });
    }
    int ZEKASetPulseWidth(double ms) { return Set(__func__, pulse_width, ms, 1, 300); }
    int ZEKASetQRSDuration(double ms) { return Set(__func__, qrs, ms, 5, 200); }
    int ZEKASetTWave(double mv) { return Set(__func__, cus_t, mv, 0, 5); }
    int ZEKASetPDuration(double ms) { return Set(__func__, p_duration, ms, 50, 100); }
    int ZEKASetPRInterval(double ms)
    {
        return Set(__func__, In(ms, 0, 200), [&] {
            pr = ms;
            if (pr < 50.0)
                p_duration = pr;
            else if (p_duration < 50.0)
                p_duration = 50.0;
        });
    }
    int ZEKASetQTInterval(double ms) { return Set(__func__, qt, ms, 100, 900); }
    int ZEKASetPWave(double mv) { return Set(__func__, cus_p, mv, 0, 2); }
    int ZEKASetSTDeviation(double mv) { return Set(__func__, cus_st, mv, -2, 2); }
    int ZEKASetSTSegment(double ms) { return Set(__func__, st_segment, ms, 100, 900); }
    int ZEKASetTDuration(double ms) { return Set(__func__, t_duration, ms, 100, 900); }
    int ZEKASetDCOffset(int channel, int mv)
    {
        return Set(__func__, In(channel, 0, 3) && In(mv, -1000, 1000), [&] {
            dc_setting = mv;
            SetRelays();
            SetDcOffset(channel);
        });
    }
    int ZEKASetDCOffsetVariableMode(int channel, bool on)
    {
        return Set(__func__, In(channel, 0, 3), [&] {
            variable_dc = test_variable_dc[channel] = on;
            SetRelays();
            SetDcOffset(channel);
        });
    }
    int SetDCOffsetCommonMode(bool on)
    {
        return Set(__func__, true, [&] {
            common_mode = on;
            SetRelays();
        });
    }

    // pacing
    int ZEKASetPacingPulseMode(int mode)
    {
        return Set(__func__, true, [&] { pacing_pulse = mode; });
    }
    int ZEKASetPacingAmplitude(double mv)
    {
        return Set(__func__, In(mv, -700, 700), [&] {
            PA = mv;
            for (int channel = 0; channel < 4 && PA != 0; ++channel)
                ZEKASetDCOffsetVariableMode(channel, true);
        });
    }
    int ZEKASetPacingDuration(double ms) { return Set(__func__, pacing_duration, ms, 0.1, 3); }
    int ZEKASetPacingRate(unsigned ppm)
    {
        return Set(__func__, In(ppm, 10, 360), [&] {
            pacing_rate = ppm;
            synchronized = false;
        });
    }
    int ZEKASetPacingRateSynchronized()
    {
        return Set(__func__, In(F * 60, 10, 360), [&] { synchronized = true; });
    }
    int ZEKASetOvershootTimeConstant(unsigned ms)
    {
        return Set(__func__, ms <= 100, [&] { overshoot_tc = ms; });
    }
    int ZEKASetOvershootAmplitude(double mv) { return Set(__func__, POA, std::fabs(mv), 0, 5); }

    // respiration, test modes, standard waveforms
    int SetRespiration(int variation, int frequency, int ratio, int baseline, int apnea_s);
    int SetApnea(bool on);
    int EnableRespiration(bool on);
    int EnableExternalRespireModule(bool)
    {
        return Set(__func__, true, [&] { SetRelays(); }) == 0 ? 0 : 1;
    }
    int SetRespireAlgorithmParam(int bpm, int ratio, int apnea_s, int baseline, int amp, int rate);
    int ZEKASetFrequencyScan(bool on, int seconds, double start, double stop);
    int SetFreqScanECG(bool on);
    int ZEKASetDynamicRangeTest(bool on, bool triangle, double mv, double hz);
    int SetECG2_27_Noise(int type, double mv)
    {
        return Set(__func__, In(mv, 0.01, 5), [&] {
            main_noise = type;
            noise_amp = mv;
        });
    }
    int SetECG2_27_AAMIDriftTest(bool on)
    {
        return Set(__func__, true, [&] { drift = on; });
    }
    int SetECG2_27_AAMIDriftTestAmp(double mv);
    int SetECG2_27_AAMIDriftTestFreq(double hz);
    int SetBaselineResetTest(int state);
    int SetSpecialWave227(int index)
    {
        wave = index;
        Land(__func__);
        return 0;
    }
    int SetSpecialWave251(int index) { return SetSpecialWave227(index); }
    int SetSpecialWave247(int index) { return SetSpecialWave227(index); }
    int SetANE20000Lead(int index)
    {
        if (!In(index, 0, 8))
            return -1;
        lead = index;
        Land(__func__);
        return 0;
    }
    void SetStandardWaveformLoop(bool on) { loop_play = on; }
    void ZEKAEnableLoop(bool on) { loop_file = on; }

    // playback from the instrument's memory, output stage, recordings
    int ZEKAOutputSignal(int function);
    int ZEKASaveToStandaloneMode(int function);
    int ZEKASaveDefaultWaveform();
    int ZEKASetOutputLead(int channel, int selection)
    {
        return Set(__func__, In(channel, 0, 3), [&] {
            SetRelays();
            ChangeBlock("lead", [&](Message& block) { block[GroupAt(channel) + 3] = Flag(selection == 0); });
        });
    }
    int ZEKASetInputImpedanceMode(int channel, int mode)
    {
        return Set(__func__, In(channel, 0, 3) && In(mode, 0, 3), [&] {
            ChangeBlock("impedance", [&](Message& block) {
                block[GroupAt(channel)] = Flag(mode == 1);
                block[GroupAt(channel) + 1] = Flag(mode == 2);
                block[GroupAt(channel) + 4] = Flag(mode == 3);
            });
        });
    }
    int ZEKAGetInputImpedanceMode(int channel)
    {
        Message block;
        const std::size_t at = GroupAt(channel);
        return !Exchange(Message(64), &block)                   ? 0
               : block[at] == 0xFF                              ? 1
               : block[at + 1] == 0xFF || block[at + 4] == 0xFF ? 2
                                                                : 0;
    }
    int ZEKASetSignalGroundToGNDGround(int channel, bool on)
    {
        return Set(__func__, In(channel, 0, 3), [&] {
            ChangeBlock("ground", [&](Message& block) { block[GroupAt(channel) + 5] = Flag(on); });
        });
    }
    int ZEKAGetSignalGroundToGNDGround(int channel)
    {
        Message block;
        return !Exchange(Message(64), &block) || block[GroupAt(channel) + 5] == 0xFF ? 1 : 0;
    }
    int SetAllOutputState(unsigned)
    {
        return Set(__func__, true, [&] { SetRelays(); });
    }
    bool SetSelectedChannelEnabled(unsigned char mask, bool on);
    bool SetSelectedChannelLeads(unsigned char mask, int selection);
    int ZEKASetCalibrationMode(bool);
    int ZEKASetOutputDac(int first, int second);
    int ZEKALoadRawData(double hz, const std::vector<double>& ac, const std::vector<double>& dc);
    bool EnableRecordRaw(int length);
    void DisableRecordRaw() { recording = false; }

    [[nodiscard]] double DriftHz() const { return 1 / drift_len; }

    // --- the frame of the setters, the apply step
    static bool In(double x, double low, double high) { return !(x < low || x > high); }
    void Land(const char* call);
    template <typename Store> int Set(const char* call, bool in_range, Store store)
    {
        if (!device || !in_range)
            return device ? -2 : -1;
        store();
        Land(call);
        return 0;
    }
    int Set(const char* call, double& value, double argument, double low, double high)
    {
        return Set(call, In(argument, low, high), [&] { value = argument; });
    }
    void Change(), ChangeRequested(), CheckIfChangeRequired(double t), Apply(), CheckEcgTime();
    void Tell(char kind, double a, double b = 0.0);

    // --- the wire
    static std::size_t GroupAt(int channel) { return 32 + 8 * static_cast<std::size_t>(channel); }
    static std::uint8_t Flag(bool on) { return on ? 0xFF : 0x00; }
    bool Exchange(const Message& request, Message* reply = nullptr);
    bool ChangeBlock(const char* name, const std::function<void(Message&)>& change);
    void SetRelays(), SetDcOffset(int channel), EnableApneaByTime(int seconds), Named(const char*command);
    bool ChannelState(const std::function<void(Message&)>& change);
    bool SendRespiration(const std::array<int, 4>& four, bool on);
    bool ControlSetting(Message&setting), WriteWaveformInfo(), WriteRawData();

    // --- the signal
    void SendNextPacket(), UpdateFreqScan(), CheckPulse(double offset, bool&latch), CheckStandardLoop();
    double MainVoltage(double t), Ecg(double t), Beat7(double t, double a), Beat8(double t, double a),
        Noise();
    double Table(const int* table, int entries, int size, int index, double at);
    double PacingV5(double&acc), InputRangeDc(), RespireVoltage(double t), RespireAt(double time);
    bool IsEndOfFile();
    double InPeriod(), Attenuation();
    int Dac(double mv), RateOf(double hz), PixelsOf(double hz), AcWord(double mv, double*counts = nullptr);

    random_data random{}; // the C library's rand() with a sequence of the model's own
    std::array<char, 128> random_state{};

    // --- settings and working values with their start-up values; s, Hz, mV; settings in ms
    int main_output = 0, sample_rate = 40000, graph_counter = 0, sequence = 0, dc_setting = 0;
    bool going = false, change_on_next = false, in_change = false, stop_event = false;
    double F = 1.0, amplitude = 1.0, pulse_width = 100.0, qrs = 100.0, p_duration = 100.0, pr = 160.0,
           qt = 350.0;
    double st_segment = 70.0, t_duration = 180.0, cus_p = 0.2, cus_t = 0.2, cus_st = 0.0;
    double period = 0, tau = 0, tau_graph = 0, range = 0, A = 0, PW = 0, pac_delay = 0, noise = 0;
    double t1 = 0, t2 = 0, t3 = 0, t4 = 0, t5 = 0, c1 = 0, c2 = 0, c3 = 0, c4 = 0, c5 = 0, c6 = 0, c7 = 0;
    bool variable_dc = true, test_variable_dc[4] = {true, true, true, true}, common_mode = false;
    bool raw_variable_dc = false;
    std::array<bool, 128> callbacks{};
    // pacing
    double PA = 0.0, pacing_duration = 2.0, POA = 0.0, leading = 0.03, pp = 0.0, OTC = 0.0;
    unsigned pacing_rate = 60, overshoot_tc = 0;
    bool synchronized = true, raised = false, indication = false, latch0 = false, latch1 = false,
         latch2 = false;
    int pacing_pulse = 0, pulses_required = 0, ppc = 1000;
    // respiration; the codes: frequency, variation, ratio, baseline
    bool respiration = false, apnea = false;
    std::array<int, 4> codes{};
    int resistance = 0, apnea_time = 0;
    double one_respire = 0, inhale = 0, exhale = 0, one_apnea = 0;
    double baseline_mod = 0, amp_mod = 0, freq_mod = 0, pre_end = 0, end = 0;
    // test modes
    bool scan_on = false, scan1 = false, scan3 = false, dynamic = false, drift = false;
    double f_start = 0.67, f_final = 150.0, Fd = 0.0, a_dynamic = 1.0, f_dynamic = 40.0, noise_amp = 0.1;
    int f_duration = 30, main_noise = 0, overload = 0;
    double drift_amp = 4.0, drift_len = 10.0, drift_quad = 2.5, drift_quad3 = 7.5, drift_slope = 0.8;
    double current_amp = 1.0, current_freq = 1.0, range_dc = 0.0, range_ac = 0.0, stair_time = -1.0;
    std::int64_t stair_tick = -1;
    // waveforms, recordings
    int wave = 0, lead = 0, file_size = 0;
    bool loop_play = true, loop_file = true, recording = false, file_mv = false;
    std::vector<double> file, dc_raw;
    double file_hz = 0.0;
    std::size_t record_length = 0;
};

} // namespace zeka::test
