// model_signal.cpp - the apply step, the burst and every formula of the signal, one sample at a time.
#include <algorithm>
#include <cmath>
#include <memory>

#include "model/model.h"
#include "zeka/zeka.h"

namespace zeka::test {
namespace {

constexpr double kTwoPi = 6.2831853;

double Trunc32(double x) { return static_cast<double>(static_cast<std::int64_t>(x)); }

constexpr double kLength227[] = {43081 / 720.0, 43142 / 720.0, 43144 / 720.0, 34511 / 720.0, 65211 / 720.0,
                                 65214 / 720.0, 65207 / 720.0, 65238 / 720.0, 65239 / 720.0, 65237 / 720.0};

const std::vector<double>* Pattern247(int index)
{
    static std::vector<double> patterns[5]; // copies, because the library must build its own
    if (index < 0 || index > 4)
        return nullptr;
    std::vector<double>& pattern = patterns[index];
    if (pattern.empty()) {
        const std::unique_ptr<double[]> samples{getArray(index)};
        pattern.assign(samples.get(), samples.get() + (index == 4 ? 3600000 : 60000));
    }
    return &pattern;
}

} // namespace

void Model::Tell(char kind, double a, double b)
{
    if (!callbacks[static_cast<std::size_t>(kind)])
        return;
    events.push_back({kind, a, b});
    if (in_callback)
        in_callback(kind);
}

// --- the apply step

void Model::ChangeRequested()
{
    if (going && main_output != 0)
        change_on_next = true;
    else
        Change();
}

void Model::CheckIfChangeRequired(double t)
{
    if (!change_on_next || in_change || !(period - t < 0.0004 || F < 0.15))
        return;
    change_on_next = false;
    Change();
    SetRelays();
}

void Model::Change()
{
    if (in_change) { // a call from a callback of the first burst or of the step itself
        if (going && main_output != 0)
            change_on_next = true;
        return;
    }
    Apply();
    if (main_output == 0 && going)
        Apply();
}

void Model::Apply()
{
    in_change = true;
    if (main_output == 0) {
        if (going) {
            going = false;
            tau = tau_graph = 0.0;
            stop_event = true;
            SetBaselineResetTest(0);
            scan_on = scan1 = scan3 = false;
            respiration = false;
        }
    } else {
        if (main_output != 18)
            raw_variable_dc = false;
        if (main_output == 13) {
            F = 1.0;
            pulse_width = 50.0;
        }
        A = amplitude / 2;
        double cap = 500.0;
        if (main_output >= 4 && main_output <= 6)
            cap = 5.0;
        if (main_output == 7 || main_output == 8) {
            cap = 6.0;
            A = std::min(std::max(2 * A, -5.0), 5.0);
        }
        if (F > cap) {
            F = cap;
            Tell('f', F);
        }
        period = 1 / F;
        noise = 0.5 * noise_amp;
        if (main_output == 9 && wave >= 0 && wave <= 9)
            period = kLength227[wave];
        if (main_output == 10 || main_output == 17)
            period = 1.0;
        if (main_output == 16)
            period = 60.0;
        if ((main_output == 14 || main_output == 18) && file_size > 0 && file_hz > 0.0)
            period = file_size / file_hz;
        if (dynamic && A + a_dynamic / 2 > 5.0) {
            A = 5.0 - a_dynamic / 2;
            amplitude = std::floor(0.5 + 100 * 2 * A) / 100;
        }
        PW = pulse_width / 1000;
        CheckEcgTime();
        pulses_required = 0;
        pac_delay = 0;
        if (PA != 0) {
            pulses_required = pacing_pulse != 0 ? 2 : 1;
            OTC = overshoot_tc / 1000.0;
            ppc = 1000;
            raised = false;
            pp = synchronized && period >= 1.0 / 6.0 && period <= 6.0 ? period : 60.0 / pacing_rate;
            pac_delay = 0.01;
        }
        if (main_output == 15) {
            range_dc = -300.0;
            range_ac = 0.0;
        }
        if (!going) {
            going = true;
            sequence = 0;
            change_on_next = false;
            stop_event = false; // a stop that was not answered belongs to the former stream
            SetRelays();
            SendNextPacket();
        }
    }
    range = 5.0;
    in_change = false;
}

void Model::CheckEcgTime()
{
    double q = qrs / 1000;
    const double T = 1 / F;
    double a = 0.07, b = 0.18;
    if (q + a + b > T) {
        a = 0;
        if (q + 0.18 > T) {
            b = 0.16;
            if (q + 0.16 > T) {
                b = 0;
                if (q > T)
                    q = T;
            }
        }
    }
    t1 = 0.01 + 0.4375 * q;
    t2 = t1 + 0.5 * q;
    t3 = t2 + 0.0625 * q;
    t4 = t3 + a;
    t5 = t4 + b;
    const double rest = qt / 1000 - q;
    const double st = st_segment * rest / (st_segment + t_duration);
    const double tw = t_duration * rest / (st_segment + t_duration);
    c1 = p_duration / 1000;
    c2 = c1 + (pr - p_duration) / 1000;
    c3 = c2 + 0.4375 * q;
    c4 = c3 + 0.5 * q;
    c5 = c4 + 0.0625 * q;
    c6 = c5 + st;
    c7 = c6 + tw;
}

// --- the burst

double Model::InPeriod() { return tau - period * Trunc32(tau / period); }

bool Model::IsEndOfFile() { return (main_output == 14 || main_output == 18) && !loop_file && tau > period; }

void Model::CheckStandardLoop()
{
    if (loop_play || !(tau > period))
        return;
    Tell('g', -1.0, 0.0);
    ZEKASetOutputFunction(0);
}

double Model::Attenuation()
{
    constexpr double kBySteps[] = {1.0, 2.873, 7.827, 13.134, 17.92, 22.9}; // of 500 ohms: factors
    const bool tabled = resistance > 0 && resistance <= 2500 && resistance % 500 == 0;
    return respiration && tabled ? kBySteps[resistance / 500] : 1.0;
}

int Model::Dac(double mv)
{
    mv = std::min(std::max(mv, -1000.0), 1000.0);
    return static_cast<int>(0.5 + (mv + 1000.0) / 2000.0 * 65535.0);
}

int Model::AcWord(double mv, double* counts)
{
    double ac = mv * 4.0 * (1600.0 / Attenuation());
    ac = ac > 32767.0 ? 32767.0 : ac < -32768.0 ? -32768.0 : ac;
    if (counts != nullptr)
        *counts = ac;
    return static_cast<int>(ac);
}

void Model::AnswerRequest()
{
    if (stop_event) {
        stop_event = false;
        SetRelays();
    } else {
        SendNextPacket();
    }
}

void Model::SendNextPacket()
{
    if (IsEndOfFile()) {
        ZEKASetOutputFunction(0);
        Tell('g', -1.0, 0.0);
        return;
    }
    Message burst(3200);
    if (tau == 0.0)
        graph_counter = 0;
    for (std::size_t n = 0; n < 700; ++n) {
        const std::size_t packet = n / 14 * 64;
        if (n % 14 == 0) {
            burst[packet] = burst[packet + 1] = 0x01;
            burst[packet + 5] = 0x0E;
            burst[packet + 6] = static_cast<std::uint8_t>(sequence >> 8);
            burst[packet + 7] = static_cast<std::uint8_t>(sequence);
            sequence = (sequence + 1) & 0xFFFF;
        }
        const double t = InPeriod();
        double pacing = 0.0;
        double main = IsEndOfFile() ? 0.0 : MainVoltage(t);
        double dc = 0.0;
        if (main_output == 18) {
            const double at = file_hz * t;
            if (!IsEndOfFile() && !dc_raw.empty() && at >= 0)
                dc = dc_raw[std::min(static_cast<std::size_t>(at), dc_raw.size() - 1)] /
                     (file_mv ? 1.0 : 1000.0);
        } else {
            dc = PacingV5(pacing);
        }
        if (!(main_output == 1 && overload != 0))
            main = pacing + main;
        if (callbacks['g'] && graph_counter == 0) {
            Tell('g', tau_graph, main);
            if (callbacks['p'] && indication) {
                const double w = pacing_duration / 1000.0;
                Tell('p', tau_graph, 0.0);
                Tell('p', tau_graph, PA);
                Tell('p', tau_graph + w, PA);
                Tell('p', tau_graph + w, 0.0);
                indication = false;
            }
        }
        graph_counter = graph_counter < 9 ? graph_counter + 1 : 0;
        if (overload != 0 && main_output == 1) {
            dc = main;
            main = 0.0;
        }
        double counts = 0.0;
        const int dc_word = Dac(dc), ac_word = AcWord(main, &counts);
        const std::size_t at = packet + 8 + 4 * (n % 14);
        burst[at] = static_cast<std::uint8_t>(dc_word >> 8);
        burst[at + 1] = static_cast<std::uint8_t>(dc_word);
        burst[at + 2] = static_cast<std::uint8_t>(ac_word >> 8);
        burst[at + 3] = static_cast<std::uint8_t>(ac_word);
        const double dt = 1.0 / sample_rate;
        tau += dt;
        tau_graph += dt;
        if (scan_on) {
            const double q = tau / period, phase = q - Trunc32(q);
            F = F + Fd;
            period = 1.0 / F;
            tau = period * phase;
        }
        if (recording && recorded_ac.size() < record_length) {
            recorded_ac.push_back(counts);
            recorded_dc.push_back(dc);
        }
        CheckIfChangeRequired(t);
    }
    if (device)
        sent.push_back(burst);
    if (respiration)
        EnableApneaByTime(static_cast<int>(tau_graph));
    UpdateFreqScan();
}

void Model::UpdateFreqScan()
{
    if (!scan_on)
        return;
    Tell('f', F);
    const double f = std::floor(0.5 + F * 100000.0) / 100000.0;
    if (!(f >= f_final || f_start >= f))
        return;
    Tell('f', -1.0);
    if (scan1)
        ZEKASetFrequencyScan(false, f_duration, f_start, f_final);
    if (scan3)
        SetFreqScanECG(false);
}

// --- the main voltage

double Model::MainVoltage(double t)
{
    const double T = period, P = PW, D = pac_delay;
    double v = 0.0;
    switch (main_output) {
    case 1:
        return A * std::sin(F * kTwoPi * t);
    case 2:
    case 3:
        if (main_output == 2) {
            const double k = 4 * A / T;
            v = t < 0.25 * T ? k * t : t < 0.75 * T ? 2 * A - k * t : k * t - 4 * A;
        } else {
            v = t < T / 2 ? A : -A;
        }
        if (dynamic)
            v = std::min(std::max(v + (a_dynamic / 2) * std::sin(f_dynamic * kTwoPi * tau), -5.0), 5.0);
        return v;
    case 4:
        return t < P ? 2 * A : 0.0;
    case 5: {
        const double k = 4 * A / P;
        return t < D ? 0.0 : t < D + P / 2 ? (t - D) * k : t < D + P ? 4 * A - (t - D) * k : 0.0;
    }
    case 6:
        return 2 * A * std::exp(-t / 0.05);
    case 7:
    case 8:
        return Ecg(t);
    case 9: {
        static const int* const table = GetSpecialWave227Array(0, nullptr, nullptr);
        CheckStandardLoop();
        return Table(table, 10, 66000, wave, 720.0 * t);
    }
    case 10: {
        static const int* const table = GetSpecialWave251Array(0, nullptr, nullptr);
        CheckStandardLoop();
        return Table(table, 16, 1000, wave, 1000.0 * t);
    }
    case 13:
        return t < 0.5 ? A * std::exp(-t / 0.05) : -A * std::exp(-(t - 0.5) / 0.05);
    case 14:
    case 18:
        if (file.empty() || !(file_hz * t >= 0))
            return 0.0;
        return file[std::min(static_cast<std::size_t>(file_hz * t), file.size() - 1)] /
               (file_mv ? 1.0 : 1000.0);
    case 15:
        if (tau < 20.0 || tau >= 1220.0)
            return 0.0;
        range_ac += tau <= 620.0 ? 1.0 / sample_rate : -1.0 / sample_rate;
        return range_ac;
    case 16: {
        CheckStandardLoop();
        const std::vector<double>* const pattern = Pattern247(wave);
        const auto at = static_cast<std::size_t>(1000.0 * t);
        return pattern == nullptr || at >= pattern->size() ? 0.0 : (*pattern)[at];
    }
    case 17: {
        CheckStandardLoop();
        v = ane20000 == nullptr ? 0.0 : Table(ane20000, 9, 1000, lead, 1000.0 * t);
        return v + Noise();
    }
    default:
        return 0.0;
    }
}

double Model::Table(const int* table, int entries, int size, int index, double at)
{
    const double element = static_cast<double>(index) * size + Trunc32(at);
    if (index < 0 || index >= entries || element < 0 || element >= static_cast<double>(entries) * size)
        return 0.0;
    return table[static_cast<std::size_t>(element)] / 1000.0;
}

double Model::Noise()
{
    if (main_noise == 0)
        return 0.0;
    if (main_noise != 3)
        return noise * std::sin((main_noise == 1 ? 50.0 : 60.0) * kTwoPi * tau);
    std::int32_t r = 0;
    ::random_r(&random, &r);
    return noise * (2.0 * r / 2147483647.0 - 1.0);
}

double Model::Ecg(double t)
{
    double amp = A, r = 0.0, v = 0.0;
    bool have_r = false;
    if (freq_mod != 0) {
        if (tau > end) {
            pre_end = end;
            end = end + 1 / (F + freq_mod * RespireAt(end));
        }
        t = tau - pre_end;
        r = RespireVoltage(t);
        have_r = true;
    }
    if (amp_mod != 0) {
        if (!have_r)
            r = RespireAt(tau);
        have_r = true;
        if (r != 0)
            amp = amp + amp_mod * r;
    }
    v = main_output == 7 ? Beat7(t, amp) : Beat8(t, amp);
    if (baseline_mod != 0) {
        if (!have_r)
            r = RespireAt(tau);
        v = v + baseline_mod * r;
    }
    v = v + Noise();
    if (drift) {
        const double x = tau - drift_len * Trunc32(tau / drift_len);
        if (x < drift_quad)
            v = v + drift_slope * x;
        else if (x < drift_quad3)
            v = v - drift_slope * x + drift_amp;
        else
            v = v + drift_slope * x - 2 * drift_amp;
    }
    return v > range ? range : v < -range ? -range : v;
}

double Model::Beat7(double t, double a)
{
    return t < 0.01 ? 0.0
           : t < t1 ? 0.875 * a * (t - 0.01) / (t1 - 0.01)
           : t < t2 ? a * (0.875 - (t - t1) / (t2 - t1))
           : t < t3 ? a * (0.125 * (t - t2) / (t3 - t2) - 0.125)
           : t < t4 ? 0.0
           : t < t5 ? cus_t * std::sin(kTwoPi * (t - t4) / 0.36)
                    : 0.0;
}

double Model::Beat8(double t, double a)
{
    const auto hump = [&] { return std::sin(kTwoPi * (t - c6) / (2 * (c7 - c6))); };
    if (t < c1 && !(p_duration > 0)) // rounding can put t just below 0; a wave without length is not drawn
        return 0.0;
    return t < c1                                   ? cus_p * std::sin(kTwoPi * t / (0.002 * p_duration))
           : t < c2                                 ? 0.0
           : t < c3                                 ? 0.875 * a * (t - c2) / (c3 - c2)
           : t < c4                                 ? a * (0.875 - (t - c3) / (c4 - c3))
           : t < c5                                 ? (t - c4) * (a / 8 + cus_st) / (c5 - c4) - a / 8
           : t < c6                                 ? cus_st
           : t < c7 && cus_st != 0 && t < c7 - 0.09 ? cus_st + (cus_t - cus_st) * hump()
           : t < c7                                 ? cus_t * hump()
                                                    : 0.0;
}

double Model::RespireVoltage(double t)
{
    if (t <= inhale)
        return std::sin(t * kTwoPi / (2 * inhale));
    const double u = t - inhale;
    return u <= exhale ? -std::sin(u * kTwoPi / (2 * exhale)) : 0.0;
}

double Model::RespireAt(double time)
{
    if (one_apnea == 0)
        return RespireVoltage(time - one_respire * Trunc32(time / one_respire));
    const double m = time - 60 * Trunc32(time / 60.0);
    return m >= 60.0 - one_apnea ? 0.0 : RespireVoltage(m - one_respire * Trunc32(m / one_respire));
}

// --- the DC channel

void Model::CheckPulse(double offset, bool& latch)
{
    const double t = tau + offset;
    const double k = Trunc32(t / pp + 0.000001);
    const double d = t - k * pp;
    if (latch) {
        if (d > 0.01)
            latch = false;
    } else if (std::fabs(d) < 0.000105) {
        ppc = 0;
        indication = true;
        latch = true;
    }
}

double Model::PacingV5(double& acc)
{
    if (pulses_required >= 1) {
        const double offset = main_output == 8 ? leading - c2 : leading - 0.01;
        CheckPulse(offset, latch0);
        if (pacing_pulse == 1)
            CheckPulse(offset + 0.15, latch1);
        if (pacing_pulse == 2)
            CheckPulse(offset + 0.25, latch2);
        const int N = static_cast<int>(0.5 + sample_rate * pacing_duration / 1000.0);
        const double s = PA > 0 ? -1 : 1;
        if (N - ppc > 0) {
            raised = true;
            ppc += 1;
            double droop = 0;
            if (OTC != 0 && ppc > 1)
                droop = s * std::fabs(POA) * (1 - std::exp(-static_cast<double>(ppc) / N));
            return PA + droop;
        }
        if (OTC == 0 || !raised)
            return 0.0;
        const double e = std::exp((N - ppc) / (OTC * sample_rate));
        ppc += 1;
        acc += s * std::fabs(POA) * e;
        return 0.0;
    }
    if (overload != 0)
        return -500.0;
    return main_output == 15 ? InputRangeDc() : dc_setting;
}

double Model::InputRangeDc()
{
    if (tau < 20.0 || tau >= 1220.0) {
        stair_tick = -1;
        if (tau < 0.0003 || (tau >= 1220.0 && tau < 1220.0003))
            Tell('d', -300);
        return -300.0;
    }
    const auto tick = static_cast<std::int64_t>(0.5 + tau * 10000.0);
    const bool first = tick != stair_tick || !(tau > stair_time && tau - stair_time < 0.0001);
    stair_tick = tick;
    stair_time = tau;
    if (tick % 5000 == 0 && first) {
        range_dc += tau <= 620.0 ? 0.5 : -0.5;
        range_ac = 0.0;
        Tell('d', static_cast<int>(range_dc));
    }
    return range_dc;
}

} // namespace zeka::test
