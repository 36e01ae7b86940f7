// model_calls.cpp - the longer calls of the model, and its commands.
#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "model/model.h"

namespace zeka::test {
namespace {

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

} // namespace

const std::map<std::string, SetterRow>& SetterTable()
{
    static const auto table = [] {
        std::map<std::string, SetterRow> rows;
        std::ifstream file(SETTERS_TSV);
        for (std::string line, call, lands, sends; std::getline(file, line);) {
            std::istringstream fields(line);
            if (std::getline(fields, call, '\t') && std::getline(fields, lands, '\t') &&
                std::getline(fields, sends) && call != "call")
                rows[call] = {lands, sends == "-" ? "" : sends};
        }
        return rows;
    }();
    return table;
}

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

void Model::Named(const char* command) { sends += std::string(sends.empty() ? "" : " ") + command; }

bool Model::ChangeBlock(const char* name, const std::function<void(Message&)>& change)
{
    Message block;
    if (!Exchange(Message(64), &block))
        return false;
    Named(name);
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

void Model::SetDcOffset(int channel)
{
    std::uint8_t source = 0x00;
    if (!raw_variable_dc)
        source = dc_setting == 300 ? 0x01 : dc_setting == -300 ? 0x02 : 0x00;
    if (test_variable_dc[channel])
        source = 0x10;
    ChangeBlock("dc", [&](Message& block) { block[GroupAt(channel) + 2] = source; });
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
        Land(__func__);
    return 0;
}

void Model::ZEKAReset()
{
    const auto restore = [this]<typename V>(V now, auto start, int (Model::*set)(V)) {
        if (now != start)
            (this->*set)(start);
    };
    const auto each_channel = [](auto set) {
        for (int channel = 0; channel < 4; ++channel)
            set(channel);
    };
    Exchange(Block({0xCC, 0xFF, 0x0F}));
    restore(main_output, 0, &Model::ZEKASetOutputFunction);
    restore(amplitude, 1.0, &Model::ZEKASetAmplitude);
    restore(F, 1.0, &Model::ZEKASetFrequency);
    if (dc_setting != 0)
        each_channel([this](int c) { ZEKASetDCOffset(c, 0); });
    if (variable_dc)
        each_channel([this](int c) { ZEKASetDCOffsetVariableMode(c, false); });
    restore(common_mode, false, &Model::SetDCOffsetCommonMode);
    restore(pulse_width, 100.0, &Model::ZEKASetPulseWidth);
    each_channel([this](int c) { ZEKASetInputImpedanceMode(c, 0); });
    restore(pacing_pulse, 0, &Model::ZEKASetPacingPulseMode);
    restore(qrs, 100.0, &Model::ZEKASetQRSDuration);
    restore(cus_t, 0.2, &Model::ZEKASetTWave);
    restore(PA, 0.0, &Model::ZEKASetPacingAmplitude);
    restore(pacing_duration, 2.0, &Model::ZEKASetPacingDuration);
    restore(pacing_rate, 60u, &Model::ZEKASetPacingRate);
    ZEKASetPacingRateSynchronized();
    restore(overshoot_tc, 0u, &Model::ZEKASetOvershootTimeConstant);
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
    restore(p_duration, 100.0, &Model::ZEKASetPDuration);
    restore(pr, 160.0, &Model::ZEKASetPRInterval);
    restore(qt, 350.0, &Model::ZEKASetQTInterval);
    restore(cus_p, 0.2, &Model::ZEKASetPWave);
    restore(cus_st, 0.0, &Model::ZEKASetSTDeviation);
    SetAllOutputState(0);
    SetStandardWaveformLoop(true);
    raw_variable_dc = false;
}

// --- respiration

bool Model::SendRespiration(const std::array<int, 4>& four, bool on)
{
    Message request = Block({0xEA, 0xFF, 0x01}, 19), reply;
    for (std::size_t n = 0; n < 4; ++n)
        request[8 + n] = static_cast<std::uint8_t>(four[n]);
    request[12] = on ? 0x01 : 0x00;
    Named("respiration");
    return Exchange(request, &reply) && reply[3] == 0xFF;
}

int Model::SetRespiration(int variation, int frequency, int ratio, int baseline, int apnea_s)
{
    if (!SendRespiration({frequency, variation, ratio, baseline}, false))
        return 0;
    codes = {frequency, variation, ratio, baseline};
    resistance = (baseline + 1) * 500;
    apnea_time = apnea_s;
    return 1;
}

int Model::SetApnea(bool on)
{
    if (!SendRespiration(codes, on))
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
    if (!In(start, 0.67, 500) || !In(stop, 0.67, 500) || !In(seconds, 10, 180))
        return !In(start, 0.67, 500) ? -2 : !In(stop, 0.67, 500) ? -3 : -4;
    f_start = start;
    f_final = stop;
    f_duration = seconds;
    if (on) {
        scan1 = scan_on = true;
        F = start;
        Fd = (stop - start) / seconds / sample_rate;
    } else if (main_output == 0) {
        return 0;
    }
    main_output = on ? 1 : 0;
    Tell('m', main_output);
    Land(__func__);
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
    if (device && In(mv, 0, 10) && !In(hz, 1, 60))
        return -3;
    return Set(__func__, In(mv, 0, 10), [&] {
        main_output = !on ? 0 : triangle ? 2 : 3;
        dynamic = on;
        a_dynamic = mv;
        f_dynamic = hz;
    });
}

int Model::SetECG2_27_AAMIDriftTestAmp(double mv)
{
    if (!device || !In(mv, 1, 8))
        return device ? -2 : -1;
    drift_amp = mv;
    drift_slope = 2 * drift_amp / drift_len;
    if (drift)
        Land(__func__);
    return 0;
}

int Model::SetECG2_27_AAMIDriftTestFreq(double hz)
{
    if (!device || !In(hz, 0.05, 2))
        return device ? -2 : -1;
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
    if (state != 0)
        main_output = 1;
    if (state != 0 && overload == 0) {
        current_amp = amplitude;
        current_freq = F;
    }
    if (state == 0 && overload != 0) {
        amplitude = current_amp;
        F = current_freq;
    }
    const bool changed = state != overload;
    if (changed)
        Tell('b', state);
    overload = state;
    if (changed && state != 0 && main_output == 1) {
        F = state == 1 ? 50.0 : state == 2 ? 60.0 : state == 3 ? 80.0 : state == 4 ? 100.0 : F;
        Tell('f', F);
        period = 1.0 / F;
        amplitude = 1000.0;
        Land(__func__);
    } else if (changed && state == 0) {
        F = 1.0;
        amplitude = 0.0;
        Land(__func__);
    }
    return 0;
}

// --- playback from the instrument's memory

int Model::RateOf(double hz)
{
    for (const int rate : {40000, 20000, 10000, 8000, 5000, 4000, 2000, 1000, 500, 400, 200, 100, 50})
        if (2000.0 >= rate * (1.0 / hz))
            return rate;
    return 1000;
}

int Model::PixelsOf(double hz) { return static_cast<int>(RateOf(hz) * (1.0 / hz)); }

bool Model::ControlSetting(Message& setting)
{
    Message block;
    if (!Exchange(Message(64), &block))
        return false;
    const int rate = RateOf(F);
    const double per_period = rate / F;
    setting = Block({0xEA, 0xFF, 0x00, 0x00, 0x01});
    PutBe16(setting, 8, rate);
    PutBe16(setting, 10, static_cast<int>((per_period - static_cast<int>(per_period)) * 1000));
    setting[12] = 0x04;
    std::copy(block.begin() + 32, block.end(), setting.begin() + 32);
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
    if (!In(function, 1, 8)) {
        Exchange(Block({0xEA, 0xFF}, 5));
        return 0;
    }
    if (!device)
        return -1;
    stop_event = false;
    main_output = function;
    range = 5.0;
    Message setting;
    if (WriteWaveformInfo() && WriteRawData() && ControlSetting(setting)) {
        setting[4] = 1;
        Exchange(setting);
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
    Message setting, reply;
    if (!ControlSetting(setting))
        return 0;
    setting[4] = 0;
    Exchange(setting);
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
    for (int channel = 0; channel < 4; ++channel) {
        ZEKASetOutputLead(channel, 0);
        ZEKASetInputImpedanceMode(channel, 0);
    }
    ZEKASaveToStandaloneMode(7);
    return 1;
}

// --- output stage

bool Model::ChannelState(const std::function<void(Message&)>& change)
{
    Message reply, request = Block({0xCC, 0x00, 0x0D}, 6);
    Named("channels");
    if (!Exchange(request, &reply) || reply[3] != 0xFF)
        return false;
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
    Named("calibration");
    return Exchange(Block({0xCC, 0xFF, 0x06, 0x00, 0x01})) ? 1 : 0;
}

int Model::ZEKASetOutputDac(int first, int second)
{
    Named("dac");
    Message request = Block({0xCC, 0xFF, 0x07});
    PutBe16(request, 4, first);
    PutBe16(request, 6, second);
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
        raw_variable_dc = raw_variable_dc || mv != 0;
    }
    if (!raw_variable_dc)
        variable_dc = false;
    SetRelays();
    file_mv = true;
    file_hz = hz;
    return In(hz, 100, 40000) ? file_size : -2;
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

} // namespace zeka::test
