// bench_burst.cpp - the cost of building one burst of 700 samples (17.5 ms of signal), for every output
// function and for the most expensive modulations, on the plain path and on the fast one.
//
// Ratios within the run are what can be compared between machines: per_S is the time in units of S = 700
// calls of the C library's sin on the arguments of a 1 Hz sine; per_exp and per_rand likewise. The time
// beside a name is that of 229 bursts, four seconds of signal, so that every part of a period counts.
// us_per_burst, the ratios and the measures are taken from the fastest stretch, because another program on
// the machine may slow some of them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "signal/apply.h"
#include "stream/burst.h"
#include "zeka/zeka.h"

namespace {

constexpr std::size_t kCalls = 700;
constexpr int kStretch = 229; // bursts timed together: four seconds of signal

/// Processor time of this thread in ns, which leaves other programs on the machine out.
double ProcessorNs()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

// --- the measures: 700 calls each, over the arguments of one second of signal, repeatedly

class Calls {
public:
    explicit Calls(double (*argument)(double))
    {
        for (std::size_t i = 0; i < arguments_.size(); ++i)
            arguments_[i] = argument(static_cast<double>(i) / 40000.0);
    }

    template <typename Call> void SevenHundred(Call call)
    {
        if (at_ + kCalls > arguments_.size())
            at_ = 0;
        for (const double* x = &arguments_[at_]; x != &arguments_[at_] + kCalls; ++x)
            benchmark::DoNotOptimize(call(*x));
        at_ += kCalls;
    }

private:
    std::vector<double> arguments_ = std::vector<double>(40000);
    std::size_t at_ = 0;
};

double SineArgument(double t) { return zeka::kTwoPi * t; }
double Sine500HzArgument(double t) { return 500.0 * zeka::kTwoPi * std::fmod(t, 1.0 / 500.0); }
double MainsArgument(double t) { return 50.0 * zeka::kTwoPi * (60.0 + t); } // one minute into the stream
double DecayArgument(double t) { return -t / 0.05; }
double Random(double) { return std::rand(); }

/// Nanoseconds of 700 calls, from the fastest of many stretches: a busy machine must
/// not make the library look good.
template <typename Call> double Measure(double (*argument)(double), Call call)
{
    Calls calls(argument);
    double best = 1e300;
    for (int round = 0; round < 60; ++round) {
        const double start = ProcessorNs();
        for (int i = 0; i < 57; ++i)
            calls.SevenHundred(call);
        best = std::min(best, (ProcessorNs() - start) / 57);
    }
    return best;
}

double Sin(double x) { return std::sin(x); }
double Exp(double x) { return std::exp(x); }

struct Measures {
    double sin_ns = Measure(SineArgument, Sin), exp_ns = Measure(DecayArgument, Exp),
           rand_ns = Measure(SineArgument, Random);
};

const Measures& InThisRun()
{
    static const Measures measures;
    return measures;
}

void Reference(benchmark::State& state, double (*argument)(double), double (*call)(double))
{
    Calls calls(argument);
    for (auto _ : state)
        calls.SevenHundred(call);
}
BENCHMARK_CAPTURE(Reference, sin, SineArgument, Sin);
BENCHMARK_CAPTURE(Reference, sin_of_500Hz, Sine500HzArgument, Sin);
BENCHMARK_CAPTURE(Reference, sin_of_mains, MainsArgument, Sin);
BENCHMARK_CAPTURE(Reference, exp, DecayArgument, Exp);
BENCHMARK_CAPTURE(Reference, rand, SineArgument, Random);

// --- the bursts

struct Signal {
    std::string name;
    int function;
    void (*modify)();
};

std::vector<double> recording;

void LoadRecording(double rate_hz)
{
    recording.resize(30000);
    for (std::size_t i = 0; i < recording.size(); ++i)
        recording[i] = std::sin(0.01 * static_cast<double>(i));
    ECGFile = g_DcRawData = recording.data();
    ECGFileSize = zeka::dc_raw_size = static_cast<std::int32_t>(recording.size());
    ECGFileFreq = rate_hz;
    ECGFileUnitMV = true;
}

void Breathe(double rate_hz)
{
    s_OneRespireS = 4.0;
    s_InhaleS = 1.5;
    s_ExhaleS = 2.5;
    s_AmpModV = 0.1;
    s_BaselineModV = 0.2;
    s_FreqModHz = rate_hz;
    s_FreqModEndT = 1.0;
}

void PaceTwice()
{
    g_PA = 5.0;
    g_PacingPulse = 1;
    g_PacingOvershootTC = 50;
    g_POA = 1.0;
}

const Signal kSignals[] = {
    {"sine_1Hz", 1, [] {}},
    {"sine_500Hz", 1, [] { g_F = 500.0; }},
    {"triangle_1Hz", 2, [] {}},
    {"triangle_500Hz", 2, [] { g_F = 500.0; }},
    {"triangle_dynamic_range", 2, [] { g_DynamicRangeTest = true; }},
    {"square_1Hz", 3, [] {}},
    {"square_500Hz", 3, [] { g_F = 500.0; }},
    {"rectangular_pulse", 4, [] {}},
    {"triangular_pulse", 5, [] {}},
    {"exponential", 6, [] {}},
    {"ecg_fixed", 7, [] {}},
    {"ecg_adjustable", 8, [] {}},
    {"ecg_paced_twice_overshoot", 8, PaceTwice},
    {"ecg_breath_drift_mains", 7,
     [] {
         Breathe(0.0);
         g_AAMIDriftTest = true;
         g_MainNoise = 1;
     }},
    {"ecg_breathing_rate_drift_mains", 8,
     [] {
         Breathe(0.1);
         g_AAMIDriftTest = true;
         g_MainNoise = 1;
     }},
    {"ecg_random_noise", 7, [] { g_MainNoise = 3; }},
    {"iec60601_2_27", 9, [] {}},
    {"iec60601_2_51", 10, [] {}},
    {"reserved", 11, [] {}},
    {"biphasic_exponential", 13, [] {}},
    {"file_500Hz", 14, [] { LoadRecording(500.0); }},
    {"file_40kHz", 14, [] { LoadRecording(40000.0); }},
    {"input_dynamic_range", 15, [] {}},
    {"iec60601_2_47", 16, [] {}},
    {"ane20000", 17, [] {}},
    {"raw_data_1kHz", 18, [] { LoadRecording(1000.0); }},
    {"sweep_sine", 1,
     [] {
         g_F = 0.67;
         s_Fd = 149.33 / 30.0 / 40000.0;
         s_FreqScanOn = g_FreqScan1 = true;
     }},
    {"sweep_ecg", 7,
     [] {
         g_F = 0.05;
         s_Fd = 0.45 / 30.0 / 40000.0;
         s_FreqScanOn = g_FreqScan3 = true;
     }},
    {"ecg_with_signal_callback", 8, [] { ZEKARegisterSignalOutputCallback([](double, double) {}); }},
};

/// Sets everything that a signal may have changed to the library's start-up values.
void Prepare(const Signal& signal)
{
    g_bECGGoing = true;
    g_MainOutput = signal.function;
    g_F = g_Amplitude = 1.0;
    g_PulseWidth = 100.0;
    g_fOutputTime = g_fOutputTimeGraph = 0.0;
    g_PA = g_POA = 0.0;
    g_PacingPulse = 0;
    g_PacingOvershootTC = 0;
    g_DynamicRangeTest = g_AAMIDriftTest = s_FreqScanOn = g_FreqScan1 = g_FreqScan3 = false;
    g_MainNoise = 0;
    s_AmpModV = s_BaselineModV = s_FreqModHz = s_FreqModPreEndT = s_FreqModEndT = 0.0;
    ZEKARegisterSignalOutputCallback(nullptr);
    if (signal.function == 16)
        (void)SetSpecialWave247(1);
    signal.modify();
    _Change();
}

void BuildBursts(benchmark::State& state, const Signal& signal, void (*build)(zeka::Burst))
{
    const Measures& measures = InThisRun();
    Prepare(signal);
    std::array<std::uint8_t, zeka::kBurstBytes> burst{};
    double best_ns = 1e300;
    for (auto _ : state) {
        if (s_FreqScanOn && g_F > 150.0)
            Prepare(signal); // restarts the sweep
        const double start = ProcessorNs();
        for (int i = 0; i < kStretch; ++i) {
            build(burst);
            benchmark::ClobberMemory();
        }
        best_ns = std::min(best_ns, ProcessorNs() - start);
    }
    const double burst_ns = best_ns / kStretch;
    state.counters["us_per_burst"] = burst_ns / 1000.0;
    state.counters["ns_per_sample"] = burst_ns / kCalls;
    state.counters["per_S"] = burst_ns / measures.sin_ns;
    state.counters["per_exp"] = burst_ns / measures.exp_ns;
    state.counters["per_rand"] = burst_ns / measures.rand_ns;
}

} // namespace

int main(int argc, char** argv)
{
    const auto add = [](const Signal& signal, const char* road, void (*build)(zeka::Burst)) {
        benchmark::RegisterBenchmark((signal.name + road).c_str(), BuildBursts, signal, build)
            ->Unit(benchmark::kMicrosecond);
    };
    for (const Signal& signal : kSignals) {
        add(signal, "/fast", zeka::BuildBurst);
        add(signal, "/plain", zeka::BuildBurstPlain);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
