// bench_link.cpp - the library's time from a request of the instrument to its answer, and its
// processor time, beside the floor: a bare loop in the same run that reads 64 bytes and writes
// a prepared block of 3200 bytes.
//
// Both use the same virtual instrument over a pseudo-terminal and alternate, so that they run under the same
// conditions. There are two rhythms: one request per 17.5 ms, as from an instrument that plays, and back to
// back, where the next request follows as soon as a burst has arrived. The first rhythm is measured once more
// with processors that are kept from sleeping, because on an idle machine most of the time is that of waking
// a processor (some 40 us on a virtual machine). Times run from just before the request is written until the
// first and the last byte of its burst have been read at the far end. Processor time is that of the process
// without the instrument's thread. `cpu` includes its children: the library lists /dev every 1.2 s, which is
// the greater part of its cost beyond the floor. `own_cpu` leaves them out.
//
//   request to last byte, median          aim: at most 1.5 times the floor's
//   answers later than 5 ms               aim: at most the floor's share plus one per cent
//   processor time while streaming        aim: at most 2 times the floor's
//
// Last, `zeka play` as a program of its own: processor time per second of signal, resident memory.
//
// Usage: bench_link [seconds for each turn]
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "sim/instrument.h"
#include "sim/private_dev.h"
#include "zeka/zeka.h"

namespace {

using zeka::sim::Block;
using zeka::sim::Burst;
using zeka::sim::ClockMode;
using zeka::sim::Instrument;

constexpr int kTurns = 3;
constexpr double kLateUs = 5000.0;
constexpr std::chrono::milliseconds kSettle{500}; // the instrument fills its buffer, then keeps its rhythm

double turn_seconds = 10.0;

double Seconds(const timespec& time)
{
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}
double Seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

double ReadClock(clockid_t clock)
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return Seconds(now);
}

double ChildrensSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

/// The instrument, and the processor time of its thread.
class FarEnd {
public:
    explicit FarEnd(ClockMode clock) : instrument_(Configuration(clock))
    {
        instrument_.SetConsumer([this](auto) {
            clockid_t own{};
            if (thread_clock_ == 0 && ::pthread_getcpuclockid(::pthread_self(), &own) == 0)
                thread_clock_ = own;
        });
        instrument_.Plug(0);
    }
    Instrument& Get() { return instrument_; }

    /// Processor time of this process's threads without the instrument's.
    [[nodiscard]] double OthersSeconds() const
    {
        return ReadClock(CLOCK_PROCESS_CPUTIME_ID) - ReadClock(thread_clock_);
    }

private:
    static zeka::sim::InstrumentConfig Configuration(ClockMode clock)
    {
        zeka::sim::InstrumentConfig configuration;
        configuration.player.clock = clock;
        return configuration;
    }

    std::atomic<clockid_t> thread_clock_{0};
    Instrument instrument_;
};

/// Measured values of one of the two; several turns add up.
struct Figures {
    std::vector<double> first_us, last_us;
    double own_s = 0.0, children_s = 0.0;
    std::uint64_t bursts = 0, gaps = 0;

    [[nodiscard]] double Last(double percent) const { return zeka::sim::Percentile(last_us, percent); }
    [[nodiscard]] double First(double percent) const { return zeka::sim::Percentile(first_us, percent); }
    [[nodiscard]] double LatePercent() const
    {
        const auto late = std::ranges::count_if(last_us, [](double us) { return us > kLateUs; });
        return 100.0 * static_cast<double>(late) /
               static_cast<double>(std::max<std::size_t>(1, last_us.size()));
    }
    [[nodiscard]] double OwnUsPerBurst() const { return 1e6 * own_s / static_cast<double>(bursts); }
    [[nodiscard]] double UsPerBurst() const
    {
        return 1e6 * (own_s + children_s) / static_cast<double>(bursts);
    }
};

void MeasureFor(FarEnd& far_end, Figures& figures)
{
    std::this_thread::sleep_for(kSettle);
    far_end.Get().ResetStats();
    const double own = far_end.OthersSeconds();
    const double children = ChildrensSeconds();
    std::this_thread::sleep_for(std::chrono::duration<double>(turn_seconds));
    const auto stats = far_end.Get().Stats().stream;
    figures.own_s += far_end.OthersSeconds() - own;
    figures.children_s += ChildrensSeconds() - children;
    figures.bursts += stats.bursts;
    figures.gaps += stats.sequence_gaps;
    figures.first_us.insert(figures.first_us.end(), stats.first_byte_us.begin(), stats.first_byte_us.end());
    figures.last_us.insert(figures.last_us.end(), stats.last_byte_us.begin(), stats.last_byte_us.end());
}

// --- the floor

Burst PreparedBurst()
{
    Burst burst{};
    for (std::size_t at = 0; at < burst.size(); at += zeka::sim::kBlockBytes) {
        burst[at] = burst[at + 1] = 0x01;
        burst[at + 5] = zeka::sim::kSamplesPerPacket;
    }
    return burst;
}

/// False after a hang-up of the terminal.
template <std::size_t kBytes> bool ReadWhole(int fd, std::array<std::uint8_t, kBytes>& bytes)
{
    for (std::size_t have = 0; have < bytes.size();) {
        const ssize_t got = ::read(fd, bytes.data() + have, bytes.size() - have);
        if (got <= 0)
            return false;
        have += static_cast<std::size_t>(got);
    }
    return true;
}

template <std::size_t kBytes> bool WriteWhole(int fd, const std::array<std::uint8_t, kBytes>& bytes)
{
    return ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

/// Opens the node, switches the output on, and answers until the instrument is unplugged.
void BareLoop()
{
    const int fd = ::open("/dev/ttyACM0", O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw{};
    ::tcgetattr(fd, &raw);
    ::cfmakeraw(&raw);
    ::tcsetattr(fd, TCSANOW, &raw);
    Block block{};
    bool going = WriteWhole(fd, block) && ReadWhole(fd, block); // the current control block
    block[1] = zeka::sim::kDone;
    block[2] = zeka::sim::kOutputOn;
    going = going && WriteWhole(fd, block) && ReadWhole(fd, block);
    const Burst burst = PreparedBurst();
    while (going && WriteWhole(fd, burst))
        going = ReadWhole(fd, block);
    ::close(fd);
}

void MeasureFloor(ClockMode clock, Figures& figures)
{
    FarEnd far_end(clock);
    std::thread loop(BareLoop);
    MeasureFor(far_end, figures);
    far_end.Get().Unplug();
    loop.join();
}

// --- the library

void MeasureLibrary(ClockMode clock, Figures& figures)
{
    constexpr unsigned kConnectMs = 10000;
    FarEnd far_end(clock);
    if (ZEKAConnect(0, kConnectMs) != 1 || ZEKASetFrequency(1.0) != 0 || ZEKASetOutputFunction(1) != 0) {
        std::fprintf(stderr, "bench_link: the library did not start to stream\n");
        std::exit(1);
    }
    MeasureFor(far_end, figures);
    ZEKAFree();
}

// --- the machine

/// Keeps every processor from sleeping by a process that yields to any other at once. The time of these
/// processes is not counted, because they are reaped after a turn.
class Wakeful {
public:
    Wakeful()
    {
        cpu_set_t ours;
        ::sched_getaffinity(0, sizeof ours, &ours);
        for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
            if (!CPU_ISSET(processor, &ours))
                continue;
            const pid_t child = ::fork();
            if (child == 0)
                SpinOn(processor);
            if (child > 0)
                children_.push_back(child);
        }
    }
    ~Wakeful()
    {
        for (const pid_t child : children_) {
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
    }
    Wakeful(const Wakeful&) = delete;
    Wakeful& operator=(const Wakeful&) = delete;

private:
    [[noreturn]] static void SpinOn(int processor)
    {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(processor, &one);
        const sched_param lowest{};
        if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::sched_setaffinity(0, sizeof one, &one) != 0 ||
            ::sched_setscheduler(0, SCHED_IDLE, &lowest) != 0)
            ::_exit(1);
        for (volatile bool spin = true; spin;) {
        }
        ::_exit(0);
    }

    std::vector<pid_t> children_;
};

// --- the two side by side

struct Scenario {
    const char* name;
    ClockMode clock;
    bool awake; // whether the processors are kept from sleeping
    Figures floor{}, library{};
    bool measured = false;
};

std::array<Scenario, 3> scenarios{{{"one_per_17.5ms", ClockMode::kReal, false},
                                   {"one_per_17.5ms_awake", ClockMode::kReal, true},
                                   {"back_to_back", ClockMode::kFast, false}}};

const Scenario& Measured(Scenario& scenario)
{
    std::optional<Wakeful> wakeful;
    if (scenario.awake && !scenario.measured)
        wakeful.emplace();
    for (int turn = 0; turn < kTurns && !scenario.measured; ++turn) {
        MeasureFloor(scenario.clock, scenario.floor);
        MeasureLibrary(scenario.clock, scenario.library);
    }
    scenario.measured = true;
    return scenario;
}

void Report(benchmark::State& state, Scenario& scenario, Figures Scenario::*who)
{
    const Figures& figures = Measured(scenario).*who;
    for (auto _ : state)
        state.SetIterationTime(1e-6 * figures.Last(50.0));
    state.counters["first_p50_us"] = figures.First(50.0);
    state.counters["first_p99_us"] = figures.First(99.0);
    state.counters["first_p99.9_us"] = figures.First(99.9);
    state.counters["last_p50_us"] = figures.Last(50.0);
    state.counters["last_p99_us"] = figures.Last(99.0);
    state.counters["last_p99.9_us"] = figures.Last(99.9);
    state.counters["late_percent"] = figures.LatePercent();
    state.counters["cpu_us_per_burst"] = figures.UsPerBurst();
    state.counters["bursts"] = static_cast<double>(figures.bursts);
    if (who == &Scenario::library && figures.gaps != 0)
        state.SkipWithError("the stream has sequence gaps");
}

void ReportRatios(benchmark::State& state, Scenario& scenario)
{
    const Scenario& both = Measured(scenario);
    for (auto _ : state)
        state.SetIterationTime(1e-6 * (both.library.Last(50.0) - both.floor.Last(50.0)));
    state.counters["last_p50"] = both.library.Last(50.0) / both.floor.Last(50.0);
    state.counters["last_p99"] = both.library.Last(99.0) / both.floor.Last(99.0);
    state.counters["late_percent_more"] = both.library.LatePercent() - both.floor.LatePercent();
    state.counters["cpu"] = both.library.UsPerBurst() / both.floor.UsPerBurst();
    state.counters["own_cpu"] = both.library.OwnUsPerBurst() / both.floor.OwnUsPerBurst();
}

// --- the command

#ifdef ZEKA_COMMAND
/// Runs `zeka play` for so many seconds of signal; false on failure.
bool Play(int seconds, rusage& usage)
{
    const std::string length = std::to_string(seconds);
    const pid_t child = ::fork();
    if (child == 0) {
        const int nowhere = ::open("/dev/null", O_RDWR);
        ::dup2(nowhere, STDOUT_FILENO);
        ::dup2(nowhere, STDERR_FILENO);
        ::execl(ZEKA_COMMAND, "zeka", "play", "sine", "--port", "0", "--seconds", length.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    return child > 0 && ::wait4(child, &status, 0, &usage) == child && status == 0;
}

void PlayCommand(benchmark::State& state)
{
    constexpr int kShort = 2;
    constexpr int kLong = 22; // the difference of two runs leaves starting and connecting out
    FarEnd far_end(ClockMode::kReal);
    rusage brief{}, whole{};
    for (auto _ : state)
        if (!Play(kShort, brief) || !Play(kLong, whole))
            state.SkipWithError("zeka play failed");
    const auto processor = [](const rusage& usage) {
        return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    };
    state.counters["cpu_ms_per_s"] = 1e3 * (processor(whole) - processor(brief)) / (kLong - kShort);
    state.counters["resident_MiB"] = static_cast<double>(whole.ru_maxrss) / 1024.0;
}
#endif

} // namespace

int main(int argc, char** argv)
{
    zeka::sim::EnterPrivateDev(argv);
    std::signal(SIGPIPE, SIG_IGN);
    benchmark::Initialize(&argc, argv);
    if (argc > 1)
        turn_seconds = std::max(0.5, std::atof(argv[1]));
    for (Scenario& scenario : scenarios) {
        const auto add = [&scenario](const char* what, auto report) {
            benchmark::RegisterBenchmark((std::string(what) + "/" + scenario.name).c_str(), report)
                ->UseManualTime()
                ->Iterations(1)
                ->Unit(benchmark::kMicrosecond);
        };
        add("Floor", [&scenario](benchmark::State& state) { Report(state, scenario, &Scenario::floor); });
        add("Library", [&scenario](benchmark::State& state) { Report(state, scenario, &Scenario::library); });
        add("Ratio", [&scenario](benchmark::State& state) { ReportRatios(state, scenario); });
    }
#ifdef ZEKA_COMMAND
    benchmark::RegisterBenchmark("zeka_play", PlayCommand)->Iterations(1)->Unit(benchmark::kSecond);
#endif
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
