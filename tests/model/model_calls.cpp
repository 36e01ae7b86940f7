// model_calls.cpp - the exported calls of the model: ranges, results, what is stored, what goes over the
// wire.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "model/model.h"

namespace zeka::test {
namespace {

const std::array<int, 4> kAllChannels{0, 1, 2, 3};

void PutBe16(Message& m, std::size_t at, int value)
{
    m[at] = static_cast<std::uint8_t>(value >> 8);
    m[at + 1] = static_cast<std::uint8_t>(value);
}

Message Block(std::initializer_list<int> head, std::size_t size = 64)
{
    Message m(size);
    std::transform(head.begin(), head.end(), m.begin(),
                   [](int byte) { return static_cast<std::uint8_t>(byte); });
    return m;
}

bool IsChannel(int channel) { return channel >= 0 && channel <= 3; }
std::size_t GroupAt(int channel) { return 32 + 8 * static_cast<std::size_t>(channel); }
bool Outside(double x, double low, double high) { return x < low || x > high; }

} // namespace

const std::map<std::string, SetterRow>& SetterTable()
{
    static const auto table = [] {
        std::map<std::string, SetterRow> rows;
        std::ifstream file(SETTERS_TSV);
        for (std::string line, call, lands, sends; std::getline(file, line);) {
            if (line.empty() || line[0] == '#' || line.starts_with("call\t"))
                continue;
            std::istringstream fields(line);
            std::getline(fields, call, '\t');
            std::getline(fields, lands, '\t');
            std::getline(fields, sends);
            rows[call] = {lands, sends == "-" ? "" : sends};
        }
        return rows;
    }();
    return table;
}

Model::Model(unsigned seed) { ::initstate_r(seed, random_state_.data(), random_state_.size(), &random_); }

void Model::Register(char kind, bool on) { callbacks[static_cast<int>(kind)] = on; }

void Model::Land(const char* call)
{
    const std::string& lands = SetterTable().at(call).lands;
    if (lands == "now")
        Change();
    else if (lands == "period")
        ChangeRequested();
    else if (lands != "stored" && lands != "next")
        throw std::runtime_error("setters.tsv: " + lands);
}

// --- the wire

void Model::Write(Message message)
{
    if (device)
        sent.push_back(std::move(message));
}

bool Model::Exchange(const Message& request, Message* reply)
{
    if (!device)
        return false;
    sent.push_back(request);
    const Message answer = firmware.Answer(request);
    if (reply != nullptr)
        *reply = answer;
    return true;
}

bool Model::ChangeBlock(const char* name, const std::function<void(Message&)>& change)
{
    Message block;
    if (!Exchange(Message(64), &block))
        return false;
    sends += std::string(sends.empty() ? "" : " ") + name;
    block[1] = 0xFF;
    change(block);
    return Exchange(block);
}

void Model::SetRelays()
{
    ChangeBlock("state", [this](Message& block) {
        block[2] = main_output != 0 ? 0x01 : 0x08;
        PutBe16(block, 5, sample_rate);
    });
}

bool Model::SetDcOffset(int channel)
{
    int source = 0x00;
    if (!raw_variable_dc)
        source = dc_setting == 300 ? 0x01 : dc_setting == -300 ? 0x02 : 0x00;
    if (test_variable_dc[channel])
        source = 0x10;
    return ChangeBlock(
        "dc", [&](Message& block) { block[GroupAt(channel) + 2] = static_cast<std::uint8_t>(source); });
}

// --- output function and reset

int Model::ZEKASetOutputFunction(int function)
{
    if (!device)
        return -1;
    sample_rate = 40000;
    stop_event = false;
    main_output = function;
    SetRelays();
    if (function == 13)
        Change();
    else
        Land("ZEKASetOutputFunction");
    return 0;
}

void Model::ZEKAReset()
{
    Exchange(Block({0xCC, 0xFF, 0x0F}));
    if (main_output != 0)
        ZEKASetOutputFunction(0);
    if (amplitude != 1.0)
        ZEKASetAmplitude(1.0);
    if (F != 1.0)
        ZEKASetFrequency(1.0);
    if (dc_setting != 0)
        for (const int channel : kAllChannels)
            ZEKASetDCOffset(channel, 0);
    if (variable_dc)
        for (const int channel : kAllChannels)
            ZEKASetDCOffsetVariableMode(channel, false);
    if (common_mode)
        SetDCOffsetCommonMode(false);
    if (pulse_width != 100.0)
        ZEKASetPulseWidth(100.0);
    for (const int channel : kAllChannels)
        ZEKASetInputImpedanceMode(channel, 0);
    if (pacing_pulse != 0)
        ZEKASetPacingPulseMode(0);
    if (qrs != 100.0)
        ZEKASetQRSDuration(100.0);
    if (cus_t != 0.2)
        ZEKASetTWave(0.2);
    if (PA != 0.0)
        ZEKASetPacingAmplitude(0.0);
    if (pacing_duration != 2.0)
        ZEKASetPacingDuration(2.0);
    if (pacing_rate != 60)
        ZEKASetPacingRate(60);
    ZEKASetPacingRateSynchronized();
    if (overshoot_tc != 0)
        ZEKASetOvershootTimeConstant(0);
    if (noise_amp != 0.1 || main_noise != 0)
        SetECG2_27_Noise(0, 0.1);
    if (drift || drift_amp != 4.0 || 1 / drift_len != 0.1) {
        SetECG2_27_AAMIDriftTest(false);
        SetECG2_27_AAMIDriftTestAmp(4.0);
        SetECG2_27_AAMIDriftTestFreq(0.1);
    }
    if (dynamic || a_dynamic != 1.0 || f_dynamic != 40.0)
        ZEKASetDynamicRangeTest(false, true, 1.0, 40.0);
    if (scan1 || f_start != 0.67 || f_final != 150.0 || f_duration != 30)
        ZEKASetFrequencyScan(false, 30, 0.67, 150.0);
    if (p_duration != 100.0)
        ZEKASetPDuration(100.0);
    if (pr != 160.0)
        ZEKASetPRInterval(160.0);
    if (qt != 350.0)
        ZEKASetQTInterval(350.0);
    if (cus_p != 0.2)
        ZEKASetPWave(0.2);
    if (cus_st != 0.0)
        ZEKASetSTDeviation(0.0);
    SetAllOutputState(0);
    SetStandardWaveformLoop(true);
    raw_variable_dc = false;
}

// --- waveform parameters

int Model::Stored(const char* call, double& value, double argument, double low, double high)
{
    if (!device)
        return -1;
    if (Outside(argument, low, high))
        return -2;
    value = argument;
    Land(call);
    return 0;
}

int Model::ZEKASetAmplitude(double mv)
{
    return device && !Outside(mv, -10.0, 10.0) && overload != 0
               ? -3
               : Stored(__func__, amplitude, mv, -10.0, 10.0);
}

int Model::ZEKASetFrequency(double hz)
{
    if (!device)
        return -1;
    if (Outside(hz, 0.017, 500.0) || ((main_output == 4 || main_output == 5) && hz > 5.0))
        return -2;
    return scan_on ? -3 : overload != 0 ? -4 : Stored(__func__, F, hz, 0.017, 500.0);
}

int Model::ZEKASetPulseWidth(double ms) { return Stored(__func__, pulse_width, ms, 1.0, 300.0); }
int Model::ZEKASetQRSDuration(double ms) { return Stored(__func__, qrs, ms, 5.0, 200.0); }
int Model::ZEKASetTWave(double mv) { return Stored(__func__, cus_t, mv, 0.0, 5.0); }
int Model::ZEKASetPDuration(double ms) { return Stored(__func__, p_duration, ms, 50.0, 100.0); }
int Model::ZEKASetQTInterval(double ms) { return Stored(__func__, qt, ms, 100.0, 900.0); }
int Model::ZEKASetPWave(double mv) { return Stored(__func__, cus_p, mv, 0.0, 2.0); }
int Model::ZEKASetSTDeviation(double mv) { return Stored(__func__, cus_st, mv, -2.0, 2.0); }
int Model::ZEKASetSTSegment(double ms) { return Stored(__func__, st_segment, ms, 100.0, 900.0); }
int Model::ZEKASetTDuration(double ms) { return Stored(__func__, t_duration, ms, 100.0, 900.0); }

int Model::ZEKASetPRInterval(double ms)
{
    if (device && !Outside(ms, 0.0, 200.0) && (ms < 50.0 || p_duration < 50.0))
        p_duration = ms < 50.0 ? ms : 50.0;
    return Stored(__func__, pr, ms, 0.0, 200.0);
}

int Model::ZEKASetDCOffset(int channel, int mv)
{
    if (!device)
        return -1;
    if (!IsChannel(channel) || Outside(mv, -1000, 1000))
        return -2;
    dc_setting = mv;
    SetRelays();
    SetDcOffset(channel);
    return 0;
}

int Model::ZEKASetDCOffsetVariableMode(int channel, bool on)
{
    if (!device)
        return -1;
    if (!IsChannel(channel))
        return -2;
    variable_dc = test_variable_dc[channel] = on;
    SetRelays();
    SetDcOffset(channel);
    return 0;
}

int Model::SetDCOffsetCommonMode(bool on)
{
    if (!device)
        return -1;
    common_mode = on;
    SetRelays();
    return 0;
}

// --- pacing

int Model::ZEKASetPacingPulseMode(int mode)
{
    if (!device)
        return -1;
    pacing_pulse = mode;
    Land(__func__);
    return 0;
}

int Model::ZEKASetPacingAmplitude(double mv)
{
    if (!device)
        return -1;
    if (Outside(mv, -700.0, 700.0))
        return -2;
    PA = mv;
    if (PA != 0)
        for (const int channel : kAllChannels)
            ZEKASetDCOffsetVariableMode(channel, true);
    Land(__func__);
    return 0;
}

int Model::ZEKASetPacingDuration(double ms) { return Stored(__func__, pacing_duration, ms, 0.1, 3.0); }

int Model::ZEKASetPacingRate(unsigned ppm)
{
    if (!device)
        return -1;
    if (ppm < 10 || ppm > 360)
        return -2;
    pacing_rate = ppm;
    synchronized = false;
    Land(__func__);
    return 0;
}

int Model::ZEKASetPacingRateSynchronized()
{
    if (!device)
        return -1;
    if (Outside(F * 60, 10, 360))
        return -2;
    synchronized = true;
    return 0;
}

int Model::ZEKASetOvershootTimeConstant(unsigned ms)
{
    if (!device)
        return -1;
    if (ms > 100)
        return -2;
    overshoot_tc = ms;
    Land(__func__);
    return 0;
}

int Model::ZEKASetOvershootAmplitude(double mv) { return Stored(__func__, POA, std::fabs(mv), 0.0, 5.0); }

// --- respiration

bool Model::SendRespiration(const std::array<int, 4>& four, bool on)
{
    Message request = Block({0xEA, 0xFF, 0x01}, 19), reply;
    for (std::size_t n = 0; n < 4; ++n)
        request[8 + n] = static_cast<std::uint8_t>(four[n]);
    request[12] = on ? 0x01 : 0x00;
    sends += std::string(sends.empty() ? "" : " ") + "respiration";
    return Exchange(request, &reply) && reply[3] == 0xFF;
}

int Model::SetRespiration(int variation, int frequency, int ratio, int baseline, int apnea_s)
{
    if (!device || !SendRespiration({frequency, variation, ratio, baseline}, false))
        return 0;
    codes = {frequency & 0xFF, variation & 0xFF, ratio & 0xFF, baseline & 0xFF};
    resistance = (baseline + 1) * 500;
    apnea_time = apnea_s;
    return 1;
}

int Model::SetApnea(bool on)
{
    if (!device || !SendRespiration(codes, on))
        return 0;
    apnea = on;
    return 1;
}

void Model::EnableApneaByTime(int seconds)
{
    const bool want = seconds % 60 > 60 - apnea_time;
    if (want == apnea)
        return;
    apnea = !apnea;
    SetApnea(apnea);
}

int Model::EnableRespiration(bool on)
{
    respiration = on;
    if (!on) {
        resistance = apnea_time = 0;
        baseline_mod = amp_mod = freq_mod = 0.0;
        codes = {};
    }
    if (!device)
        return 0;
    Land(__func__);
    SetRelays();
    return 1;
}

int Model::EnableExternalRespireModule(bool on)
{
    if (!device)
        return 1;
    external = on;
    SetRelays();
    return 0;
}

int Model::SetRespireAlgorithmParam(int bpm, int ratio, int apnea_s, int baseline, int amp, int rate)
{
    if (!device)
        return 0;
    one_respire = 60.0 / bpm;
    exhale = one_respire * ratio / (ratio + 1.0);
    inhale = exhale / ratio;
    one_apnea = apnea_s < 0 ? 0 : apnea_s;
    baseline_mod = amplitude * baseline / 100.0;
    amp_mod = amplitude * amp / 100.0;
    freq_mod = 0.0;
    if (rate != 0) {
        freq_mod = F * rate / 100.0;
        pre_end = tau;
        end = tau + period;
    }
    return 1;
}

// --- test modes

int Model::ZEKASetFrequencyScan(bool on, int seconds, double start, double stop)
{
    ZEKASetOutputFunction(1);
    if (!device)
        return -1;
    if (Outside(start, 0.67, 500.0))
        return -2;
    if (Outside(stop, 0.67, 500.0))
        return -3;
    if (Outside(seconds, 10, 180))
        return -4;
    f_start = start;
    f_final = stop;
    f_duration = seconds;
    if (on) {
        scan1 = scan_on = true;
        F = start;
        Fd = (stop - start) / seconds / sample_rate;
        main_output = 1;
        Tell('m', 1);
        Land(__func__);
    } else if (main_output != 0) {
        main_output = 0;
        Tell('m', 0);
        Land(__func__);
    }
    return 0;
}

int Model::SetFreqScanECG(bool on)
{
    if (!device)
        return -1;
    if (on) {
        scan3 = scan_on = true;
        f_start = 0.05;
        f_final = 0.5;
        F = 0.05;
        Fd = (0.5 - 0.05) / 30.0 / sample_rate;
    }
    main_output = on ? 7 : 0;
    Tell('m', main_output);
    Land(__func__);
    return 0;
}

int Model::ZEKASetDynamicRangeTest(bool on, bool triangle, double mv, double hz)
{
    if (!device)
        return -1;
    if (Outside(mv, 0.0, 10.0))
        return -2;
    if (Outside(hz, 1.0, 60.0))
        return -3;
    main_output = !on ? 0 : triangle ? 2 : 3;
    dynamic = on;
    a_dynamic = mv;
    f_dynamic = hz;
    Land(__func__);
    return 0;
}

int Model::SetECG2_27_Noise(int type, double mv)
{
    if (device && !Outside(mv, 0.01, 5.0))
        main_noise = type;
    return Stored(__func__, noise_amp, mv, 0.01, 5.0);
}

int Model::SetECG2_27_AAMIDriftTest(bool on)
{
    if (!device)
        return -1;
    drift = on;
    Land(__func__);
    return 0;
}

int Model::SetECG2_27_AAMIDriftTestAmp(double mv)
{
    if (!device)
        return -1;
    if (Outside(mv, 1.0, 8.0))
        return -2;
    drift_amp = mv;
    drift_slope = 2 * drift_amp / drift_len;
    if (drift)
        Land(__func__);
    return 0;
}

int Model::SetECG2_27_AAMIDriftTestFreq(double hz)
{
    if (!device)
        return -1;
    if (Outside(hz, 0.05, 2.0))
        return -2;
    drift_len = 1 / hz;
    drift_quad = 0.25 / hz;
    drift_quad3 = 0.75 / hz;
    drift_slope = 2 * drift_amp / drift_len;
    if (drift)
        Land(__func__);
    return 0;
}

int Model::SetBaselineResetTest(int state)
{
    if (!device)
        return -1;
    if (state != 0) {
        main_output = 1;
        if (overload == 0) {
            current_amp = amplitude;
            current_freq = F;
        }
    } else if (overload != 0) {
        amplitude = current_amp;
        F = current_freq;
    }
    const bool changed = state != overload;
    if (changed)
        Tell('b', state);
    overload = state;
    if (!changed)
        return 0;
    if (state != 0 && main_output == 1) {
        F = state == 1 ? 50.0 : state == 2 ? 60.0 : state == 3 ? 80.0 : state == 4 ? 100.0 : F;
        Tell('f', F);
        period = 1.0 / F;
        amplitude = 1000.0;
        Land(__func__);
    } else if (state == 0) {
        F = 1.0;
        amplitude = 0.0;
        Land(__func__);
    }
    return 0;
}

// --- standard waveforms

int Model::SetSpecialWave227(int index)
{
    wave = index;
    Land(__func__);
    return 0;
}
int Model::SetSpecialWave251(int index) { return SetSpecialWave227(index); }
int Model::SetSpecialWave247(int index) { return SetSpecialWave227(index); }

int Model::SetANE20000Lead(int index)
{
    if (index < 0 || index > 8)
        return -1;
    lead = index;
    Land(__func__);
    return 0;
}

void Model::SetStandardWaveformLoop(bool on) { loop_play = on; }
void Model::ZEKAEnableLoop(bool on) { loop_file = on; }

// --- playback from the instrument's memory

int Model::RateOf(double hz)
{
    for (const int rate : {40000, 20000, 10000, 8000, 5000, 4000, 2000, 1000, 500, 400, 200, 100, 50})
        if (2000.0 >= rate * (1.0 / hz))
            return rate;
    return 1000;
}

int Model::PixelsOf(double hz) { return static_cast<int>(RateOf(hz) * (1.0 / hz)); }

bool Model::ControlSetting(Message& record)
{
    Message block;
    if (!Exchange(Message(64), &block))
        return false;
    const int rate = RateOf(F);
    const double per_period = rate / F;
    record = Block({0xEA, 0xFF, 0x00, 0x00, 0x01});
    PutBe16(record, 8, rate);
    PutBe16(record, 10, static_cast<int>((per_period - static_cast<int>(per_period)) * 1000));
    record[12] = 0x04;
    std::copy(block.begin() + 32, block.end(), record.begin() + 32);
    return true;
}

bool Model::WriteWaveformInfo()
{
    Message info = Block({0xEA, 0xFF, 0x01});
    PutBe16(info, 6, PixelsOf(F));
    PutBe16(info, 8, static_cast<int>(F / 0.01));
    info[10] = static_cast<std::uint8_t>(main_output);
    info[11] = static_cast<std::uint8_t>(static_cast<int>(pulse_width) >> 8);
    PutBe16(info, 36, main_noise);
    PutBe16(info, 38, static_cast<int>(noise_amp / 0.01));
    PutBe16(info, 40, static_cast<int>(PA));
    PutBe16(info, 42, static_cast<int>(pacing_duration));
    PutBe16(info, 44, static_cast<int>(pacing_rate));
    return Exchange(info);
}

bool Model::WriteRawData()
{
    const auto count = static_cast<std::size_t>(PixelsOf(F));
    std::vector<double> ac(count);
    A = main_output == 7 || main_output == 8 ? amplitude : amplitude / 2.0;
    period = 1.0 / F;
    PW = pulse_width / 1000.0;
    CheckEcgTime();
    const double dt = 1.0 / RateOf(F);
    for (double& mv : ac) {
        mv = MainVoltage(InPeriod());
        tau += dt;
    }
    Message image((4 * count + 55) / 56 * 56);
    for (std::size_t i = 0; i < count; ++i) {
        double unused = 0.0;
        PutBe16(image, 4 * i, Dac(variable_dc ? dc_setting : PacingV5(unused)));
        PutBe16(image, 4 * i + 2, AcWord(ac[i]));
    }
    for (std::size_t index = 0; index < image.size() / 4; index += 14) {
        Message packet = Block({0xEA, 0xFF, 0x04}), reply;
        PutBe16(packet, 6, static_cast<int>(index));
        std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(4 * index), 56, packet.begin() + 8);
        if (!Exchange(packet, &reply))
            return false;
        packet[3] = 0xFF;
        if (packet != reply)
            return false;
    }
    return true;
}

int Model::ZEKAOutputSignal(int function)
{
    if (function < 1 || function > 8) {
        Exchange(Block({0xEA, 0xFF}, 5));
        return 0;
    }
    if (!device)
        return -1;
    stop_event = false;
    main_output = function;
    range = 5.0;
    Message record;
    if (WriteWaveformInfo() && WriteRawData() && ControlSetting(record)) {
        record[4] = 1;
        Exchange(record);
    }
    return 0;
}

int Model::ZEKASaveToStandaloneMode(int function)
{
    if (!device)
        return 0;
    main_output = function;
    if (!WriteWaveformInfo() || !WriteRawData())
        return 0;
    main_output = 0;
    Message record, reply;
    if (!ControlSetting(record))
        return 0;
    record[4] = 0;
    Exchange(record);
    Exchange(Block({0xEA, 0xFF, 0x07, 0x00, 0x01}, 5));
    for (int poll = 0; poll < 80; ++poll) {
        Exchange(Block({0xEA, 0x00, 0x07, 0x00, 0x01, 0x00}, 6), &reply);
        if (reply[0] == 0xEA && reply[3] == 0xFF)
            break;
    }
    return 1;
}

int Model::ZEKASaveDefaultWaveform()
{
    ZEKAReset();
    ZEKASetFrequency(1.0);
    ZEKASetAmplitude(2.0);
    for (const int channel : kAllChannels) {
        ZEKASetOutputLead(channel, 0);
        ZEKASetInputImpedanceMode(channel, 0);
    }
    ZEKASaveToStandaloneMode(7);
    return 1;
}

// --- output stage

int Model::ZEKASetOutputLead(int channel, int selection)
{
    if (!device)
        return -1;
    if (!IsChannel(channel))
        return -2;
    SetRelays();
    ChangeBlock("lead", [&](Message& block) { block[GroupAt(channel) + 3] = selection == 0 ? 0xFF : 0x00; });
    return 0;
}

int Model::ZEKASetInputImpedanceMode(int channel, int mode)
{
    if (!device)
        return -1;
    if (!IsChannel(channel) || mode < 0 || mode > 3)
        return -2;
    ChangeBlock("impedance", [&](Message& block) {
        block[GroupAt(channel)] = mode == 1 ? 0xFF : 0x00;
        block[GroupAt(channel) + 1] = mode == 2 ? 0xFF : 0x00;
        block[GroupAt(channel) + 4] = mode == 3 ? 0xFF : 0x00;
    });
    return 0;
}

int Model::ZEKAGetInputImpedanceMode(int channel)
{
    Message block;
    if (!Exchange(Message(64), &block))
        return 0;
    const std::size_t at = GroupAt(channel);
    return block[at] == 0xFF ? 1 : block[at + 1] == 0xFF || block[at + 4] == 0xFF ? 2 : 0;
}

int Model::ZEKASetSignalGroundToGNDGround(int channel, bool on)
{
    if (!device)
        return -1;
    if (!IsChannel(channel))
        return -2;
    ChangeBlock("ground", [&](Message& block) { block[GroupAt(channel) + 5] = on ? 0xFF : 0x00; });
    return 0;
}

int Model::ZEKAGetSignalGroundToGNDGround(int channel)
{
    Message block;
    return !Exchange(Message(64), &block) || block[GroupAt(channel) + 5] == 0xFF ? 1 : 0;
}

int Model::SetAllOutputState(unsigned)
{
    if (!device)
        return -1;
    SetRelays();
    return 0;
}

bool Model::ChannelState(const std::function<void(Message&)>& change)
{
    Message reply, request = Block({0xCC, 0x00, 0x0D}, 6);
    if (!Exchange(request, &reply) || reply[3] != 0xFF)
        return false;
    sends += "channels";
    request[1] = 0xFF;
    request[4] = reply[4];
    request[5] = reply[5];
    change(request);
    return Exchange(request, &reply) && reply[3] == 0xFF;
}

bool Model::SetSelectedChannelEnabled(unsigned char mask, bool on)
{
    return ChannelState(
        [&](Message& m) { m[4] = static_cast<std::uint8_t>(on ? m[4] | mask : m[4] & ~mask); });
}

bool Model::SetSelectedChannelLeads(unsigned char mask, int selection)
{
    return ChannelState([&](Message& m) {
        m[4] = mask;
        m[5] = static_cast<std::uint8_t>(selection != 0 ? m[5] | mask : m[5] & ~mask);
    });
}

int Model::ZEKASetCalibrationMode(bool)
{
    sends += "calibration";
    return Exchange(Block({0xCC, 0xFF, 0x06, 0x00, 0x01})) ? 1 : 0;
}

int Model::ZEKASetOutputDac(int first, int second)
{
    Message request = Block({0xCC, 0xFF, 0x07});
    PutBe16(request, 4, first);
    PutBe16(request, 6, second);
    sends += "dac";
    return Exchange(request) ? 1 : 0;
}

// --- recordings

int Model::ZEKALoadRawData(double hz, const std::vector<double>& ac, const std::vector<double>& dc)
{
    file = ac;
    dc_raw = dc;
    file_size = static_cast<int>(ac.size());
    for (double& mv : file)
        mv = std::clamp(mv, -5.0, 5.0);
    for (double& mv : dc_raw) {
        mv = std::clamp(mv, -1000.0, 1000.0);
        if (mv != 0)
            raw_variable_dc = true;
    }
    if (!raw_variable_dc)
        variable_dc = false;
    SetRelays();
    file_mv = true;
    file_hz = hz;
    return hz < 100.0 || hz > 40000.0 ? -2 : file_size;
}

int Model::Load(Found found, double hz, const std::vector<double>& mv, int result)
{
    if (found == Found::kNothing)
        return result;
    file_hz = hz;
    if (found == Found::kRefusedHead)
        return result;
    file = found == Found::kSamples ? mv : std::vector<double>{};
    for (double& v : file)
        v = std::clamp(v, -2.5, 2.5);
    file_mv = true;
    return file_size = result;
}

bool Model::EnableRecordRaw(int length)
{
    if (recording)
        return false;
    recording = true;
    record_length = static_cast<std::size_t>(length);
    recorded_ac.clear();
    recorded_dc.clear();
    return true;
}

void Model::DisableRecordRaw()
{
    recording = false;
    record_length = 0;
}

std::map<std::string, double> Model::Values() const
{
    return {{"ZEKAGetOutputFunction", main_output},
            {"ZEKAIsPlaying", going},
            {"ZEKAGetAmplitude", amplitude},
            {"ZEKAGetFrequency", F},
            {"ZEKAGetPulseWidth", pulse_width},
            {"ZEKAGetQRSDuration", qrs},
            {"ZEKAGetTWave", cus_t},
            {"ZEKAGetPDuration", p_duration},
            {"ZEKAGetPRInterval", pr},
            {"ZEKAGetQTInterval", qt},
            {"ZEKAGetPWave", cus_p},
            {"ZEKAGetSTDeviation", cus_st},
            {"ZEKAGetSTSegment", st_segment},
            {"ZEKAGetTDuration", t_duration},
            {"ZEKAGetDCOffset", dc_setting},
            {"ZEKAGetDCOffsetVariableMode", variable_dc},
            {"GetDCOffsetCommonMode", common_mode},
            {"ZEKAGetPacingPulseMode", pacing_pulse},
            {"ZEKAGetPacingAmplitude", PA},
            {"ZEKAGetPacingDuration", pacing_duration},
            {"ZEKAGetPacingRate", pacing_rate},
            {"ZEKAGetOvershootTimeConstant", overshoot_tc},
            {"ZEKAGetOvershootAmplitude", POA},
            {"ZEKAGetFrequencyScan", scan1},
            {"GetFreqScanSineStartFreq", f_start},
            {"GetFreqScanSineStopFreq", f_final},
            {"GetFreqScanSineDuration", f_duration},
            {"GetFreqScanECG", scan_on},
            {"ZEKAGetDynamicRangeTest", dynamic},
            {"GetDynamicRangeTestAmp", a_dynamic},
            {"GetDynamicRangeTestFreq", f_dynamic},
            {"GetECG2_27_NoiseFreq", main_noise},
            {"GetECG2_27_NoiseAmp", noise_amp},
            {"GetECG2_27_AAMIDriftTest", drift},
            {"GetECG2_27_AAMIDriftTestAmp", drift_amp},
            {"GetECG2_27_AAMIDriftTestFreq", 1 / drift_len},
            {"GetBaselineResetTest", overload},
            {"GetSpecialWave227", wave},
            {"GetSpecialWave251", wave},
            {"GetSpecialWave247", wave},
            {"GetANE20000Lead", lead}};
}

} // namespace zeka::test
