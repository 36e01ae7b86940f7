// soak.cpp - streams for hours to the virtual instrument, with random setters, commands, faults and
// pulled cables, and compares every byte with the sample-by-sample definition. Prints a line per
// minute, and counts at the end.
//
//     soak [hours] [--minutes n] [--seed n] [--real] [--verbose]     0.1 hours by default; --real: real time
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <vector>

#include "sim/private_dev.h"
#include "soak/shadow.h"
#include "support/fixture.h"
#include "zeka/zeka.h"

namespace zeka::soak {
namespace {

using Clock = std::chrono::steady_clock;
using sim::Fault;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr double kBurstS = 0.0175;
// A wait for a request, some exchanges that time out, a busy machine.
constexpr milliseconds kCallLimit{3000 + 10 * 500 + 2500};
constexpr milliseconds kUploadLimit{20000 + 2500};
constexpr milliseconds kReconnectLimit{15000};
constexpr milliseconds kStallLength{400};
constexpr std::size_t kMostCommands = 2000;
constexpr std::size_t kMemorySlackKb = 8192; // for pools that grow late

struct Options {
    std::chrono::duration<double> length{360.0};
    unsigned seed = 1;
    bool real_clock = false;
    bool verbose = false;
};

struct Resources {
    std::size_t memory_kb = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

Resources Now()
{
    Resources now;
    std::ifstream pages("/proc/self/statm");
    std::size_t whole = 0;
    pages >> whole >> now.memory_kb;
    now.memory_kb = now.memory_kb * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) / 1024;
    now.descriptors = test::OpenDescriptors().size();
    now.threads = test::ThreadCount();
    return now;
}

class Soak {
public:
    explicit Soak(const Options& options)
        : options_(options), random_(options.seed), instrument_(Configured(options))
    {
    }
    int Run();

private:
    struct Action {
        int weight;
        void (Soak::*act)();
        bool delays; // answers come late meanwhile and are not counted
    };

    static sim::InstrumentConfig Configured(const Options& options)
    {
        sim::InstrumentConfig config;
        config.fault_seed = options.seed;
        if (!options.real_clock)
            config.player.clock = sim::ClockMode::kFast;
        return config;
    }

    [[nodiscard]] int Below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    [[nodiscard]] double Between(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(random_);
    }
    void Complain(const std::string& complaint)
    {
        std::printf("WRONG after %.0f s: %s\n", Seconds(), complaint.c_str());
        std::fflush(stdout);
        ++complaints_;
    }
    [[nodiscard]] double Seconds() const
    {
        return std::chrono::duration<double>(Clock::now() - start_).count();
    }

    /// Times a call of the application and counts its results by name.
    template <typename Function> int Call(const char* name, milliseconds limit, Function function)
    {
        if (options_.verbose)
            std::printf("%.3f %s\n", Seconds(), name);
        const CallUnderWay under_way;
        const auto begin = Clock::now();
        const int result = function();
        const auto took = duration_cast<milliseconds>(Clock::now() - begin);
        if (took > limit)
            Complain(std::string(name) + " took " + std::to_string(took.count()) + " ms");
        slowest_ms_ = std::max<long long>(slowest_ms_, took.count());
        return result;
    }

    void Set();
    void Command();
    void Play();
    void Misbehave();
    void Pull();
    void Upload();
    void Reset();
    void Do(const Action& action);
    void Rest();
    void Look(const char* after);
    void Connect();
    void CountAnswers();
    void PrintLine();
    int PrintEnd();

    Options options_;
    std::mt19937 random_;
    sim::Instrument instrument_;
    Clock::time_point start_ = Clock::now();
    std::uint64_t setters_ = 0, refused_ = 0, commands_ = 0, plugs_ = 0, uploads_ = 0, streams_ = 0;
    std::map<std::string, unsigned> faults_;
    double worst_answer_ms_ = 0.0;
    long long slowest_ms_ = 0;
    unsigned complaints_ = 0;
    Resources settled_; // measured half-way, connected
};

void Soak::Set()
{
    const double fraction = Between(0.0, 1.0);
    const auto scaled = [fraction](double low, double high) { return low + fraction * (high - low); };
    const bool on = Below(2) == 0;
    const int which = Below(24);
    const int result = Call("a setter", kCallLimit, [&]() -> int {
        switch (which) {
        case 0:
            return ZEKASetAmplitude(scaled(0.05, 10.0));
        case 1:
            return ZEKASetFrequency(scaled(0.05, 100.0));
        case 2:
            return ZEKASetPulseWidth(scaled(2.0, 200.0));
        case 3:
            return ZEKASetQRSDuration(scaled(20.0, 200.0));
        case 4:
            return ZEKASetTWave(scaled(0.0, 1.0));
        case 5:
            return ZEKASetPWave(scaled(0.0, 0.5));
        case 6:
            return ZEKASetSTDeviation(scaled(-0.5, 0.5));
        case 7:
            return ZEKASetPRInterval(scaled(120.0, 200.0));
        case 8:
            return ZEKASetQTInterval(scaled(300.0, 400.0));
        case 9:
            return ZEKASetDCOffset(Below(4), static_cast<int>(scaled(-300.0, 300.0)));
        case 10:
            return ZEKASetDCOffsetVariableMode(Below(4), on);
        case 11:
            return ZEKASetPacingAmplitude(on ? scaled(-20.0, 20.0) : 0.0);
        case 12:
            return ZEKASetPacingDuration(scaled(0.1, 2.0));
        case 13:
            return ZEKASetPacingRate(static_cast<unsigned>(scaled(30.0, 300.0)));
        case 14:
            return ZEKASetOvershootAmplitude(scaled(0.0, 2.0));
        case 15:
            return ZEKASetPacingPulseMode(Below(4));
        case 16:
            return SetRespiration(1000, 20, 1, 1000, on ? 10 : 0);
        case 17:
            return EnableRespiration(on);
        case 18:
            return SetECG2_27_Noise(Below(3), scaled(0.0, 1.0));
        case 19:
            return SetSpecialWave227(Below(10));
        case 20:
            return SetANE20000Lead(Below(4));
        case 21:
            return ZEKASetFrequencyScan(on, 2, 1.0, scaled(10.0, 40.0));
        case 22:
            return ZEKASetDynamicRangeTest(on, Below(2) == 0, scaled(1.0, 5.0), scaled(1.0, 20.0));
        default:
            return SetBaselineResetTest(Below(3));
        }
    });
    ++setters_;
    refused_ += result != 0 ? 1 : 0;
}

void Soak::Command()
{
    const int channel = Below(4);
    const int which = Below(4);
    const int value = Below(2);
    (void)Call("a command", kCallLimit, [&] {
        switch (which) {
        case 0:
            return ZEKASetOutputLead(channel, value);
        case 1:
            return ZEKASetInputImpedanceMode(channel, value);
        case 2:
            return ZEKASetSignalGroundToGNDGround(channel, value != 0);
        default:
            return ZEKAGetInputImpedanceMode(channel);
        }
    });
    ++commands_;
}

void Soak::Play()
{
    constexpr std::array kFunctions{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 15, 16, 17, 1, 7, 0};
    const int function = kFunctions.at(static_cast<std::size_t>(Below(static_cast<int>(kFunctions.size()))));
    streams_ += function != 0 ? 1 : 0;
    (void)Call("ZEKASetOutputFunction", kCallLimit, [&] { return ZEKASetOutputFunction(function); });
}

void Soak::Misbehave()
{
    // The faults of a line with checksums: replies that are late, in pieces or missing, but never wrong.
    constexpr std::array kFaults{Fault::kNoReply,     Fault::kShortReply,   Fault::kLateReply,
                                 Fault::kSingleBytes, Fault::kRequestAhead, Fault::kStall,
                                 Fault::kStopReading, Fault::kStopAsking};
    const Fault fault = kFaults.at(static_cast<std::size_t>(Below(static_cast<int>(kFaults.size()))));
    sim::FaultRule rule{.fault = fault, .limit = 1 + Below(2)};
    if (fault == Fault::kLateReply || fault == Fault::kStall)
        rule.value = 50 + Below(1100);
    if (fault == Fault::kSingleBytes)
        rule.value = 100;
    ++faults_[sim::NameOf(fault)];
    BurstsMayBeLost(fault == Fault::kStopReading);
    if (options_.verbose)
        std::printf("%.3f fault %s\n", Seconds(), sim::NameOf(fault));
    const int id = instrument_.Inject(rule);
    Command();
    Set();
    if (Lasts(fault))
        std::this_thread::sleep_for(kStallLength);
    if (fault == Fault::kLateReply || fault == Fault::kStall)
        std::this_thread::sleep_for(milliseconds{rule.value}); // until the fault is over
    instrument_.Clear(id);
    Command(); // brings both sides back in step
    BurstsMayBeLost(false);
    Look(sim::NameOf(fault));
}

/// Checks that the settings in the instrument are intact, whatever went wrong.
void Soak::Look(const char* after)
{
    constexpr unsigned kRate = 40000;
    const auto state = instrument_.State();
    if (state.output_on && state.sample_rate != kRate)
        Complain(std::string("behind ") + after + " the instrument's sample rate is " +
                 std::to_string(state.sample_rate));
}

void Soak::Pull()
{
    BurstsMayBeLost(true);
    instrument_.Unplug();
    ++plugs_;
    if (!test::WaitUntil([] { return !ZEKAIsConnected(); }, kReconnectLimit))
        Complain("a pulled cable is not noticed");
    std::this_thread::sleep_for(milliseconds{Below(50)});
    instrument_.Replug();
    if (!test::WaitUntil([] { return ZEKAIsConnected(); }, kReconnectLimit))
        Complain("an instrument that is plugged in again is not found");
    BurstsMayBeLost(false);
    Play();
}

void Soak::Upload()
{
    ++uploads_;
    (void)Call("ZEKAOutputSignal", kUploadLimit, [this] { return ZEKAOutputSignal(1 + Below(8)); });
    (void)Call("ZEKAOutputSignal(0)", kCallLimit, [] { return ZEKAOutputSignal(0); });
    Play();
}

void Soak::Reset()
{
    (void)Call("ZEKAReset", kUploadLimit, [] {
        ZEKAReset();
        return 0;
    });
    Play();
}

void Soak::Do(const Action& action)
{
    if (action.delays)
        CountAnswers();
    (this->*action.act)();
    if (action.delays)
        instrument_.ResetStats();
}

void Soak::Rest() { std::this_thread::sleep_for(milliseconds{20 + Below(150)}); }

/// Connects. After faults the library may have given the instrument up; it finds it again by itself.
void Soak::Connect()
{
    if (ZEKAIsConnected())
        return;
    if (!test::WaitUntil([] { return ZEKAIsConnected(); }, kReconnectLimit)) {
        Complain("the connection does not come back");
        std::this_thread::sleep_for(milliseconds{1000});
        return;
    }
    Play();
}

void Soak::CountAnswers()
{
    for (const double us : instrument_.Stats().stream.last_byte_us)
        worst_answer_ms_ = std::max(worst_answer_ms_, us / 1000.0);
    instrument_.ResetStats(); // these lists grow with each command
    if (instrument_.Commands().size() > kMostCommands)
        instrument_.ClearCommands(); // likewise; some stay for whoever has to find out
}

void Soak::PrintLine()
{
    CountAnswers();
    const ShadowCounts bursts = Counts();
    const Resources now = Now();
    std::printf("%5.0f s: %.3f h of signal, %llu bursts, %llu found again, %llu setters, %llu commands, %llu "
                "plugs, worst "
                "answer %.1f ms, %zu kB, %zu descriptors, %zu threads\n",
                Seconds(), static_cast<double>(bursts.bursts) * kBurstS / 3600.0,
                static_cast<unsigned long long>(bursts.bursts),
                static_cast<unsigned long long>(bursts.arrivals), static_cast<unsigned long long>(setters_),
                static_cast<unsigned long long>(commands_), static_cast<unsigned long long>(plugs_),
                worst_answer_ms_, now.memory_kb, now.descriptors, now.threads);
    std::fflush(stdout);
}

int Soak::PrintEnd()
{
    const ShadowCounts bursts = Counts();
    const Resources now = Now();
    if (const std::string difference = Difference(); !difference.empty())
        Complain(difference);
    std::printf(
        "%.3f h of signal: %llu bursts compared byte for byte, %llu found again at the instrument, %llu cut "
        "off by a "
        "fault, %llu processes forked\n",
        static_cast<double>(bursts.bursts) * kBurstS / 3600.0, static_cast<unsigned long long>(bursts.bursts),
        static_cast<unsigned long long>(bursts.arrivals), static_cast<unsigned long long>(bursts.cut_off),
        static_cast<unsigned long long>(bursts.forks));
    std::printf("%llu streams, %llu setters (%llu refused), %llu commands, %llu uploads, %llu plugs; the "
                "longest call %lld "
                "ms, the worst answer %.1f ms\n",
                static_cast<unsigned long long>(streams_), static_cast<unsigned long long>(setters_),
                static_cast<unsigned long long>(refused_), static_cast<unsigned long long>(commands_),
                static_cast<unsigned long long>(uploads_), static_cast<unsigned long long>(plugs_),
                slowest_ms_, worst_answer_ms_);
    std::printf("faults:");
    for (const auto& [name, count] : faults_)
        std::printf(" %s %u", name.c_str(), count);
    std::printf("\nmemory %zu to %zu kB, descriptors %zu to %zu, threads %zu to %zu\n", settled_.memory_kb,
                now.memory_kb, settled_.descriptors, now.descriptors, settled_.threads, now.threads);
    if (settled_.threads != 0 && (now.memory_kb > settled_.memory_kb + kMemorySlackKb ||
                                  now.descriptors > settled_.descriptors || now.threads > settled_.threads))
        Complain("memory, descriptors or threads grow");
    if (bursts.arrivals * 4 < bursts.bursts)
        Complain("too few bursts could be looked for at the instrument");
    std::printf("%s\n", complaints_ == 0 ? "all as it should be" : "NOT as it should be");
    return complaints_ == 0 ? 0 : 1;
}

int Soak::Run()
{
    std::printf("seed %u, %s clock, %.2f h\n", options_.seed, options_.real_clock ? "real" : "fast",
                options_.length.count() / 3600.0);
    instrument_.Plug();
    WatchBursts(instrument_);
    if (Call("ZEKAInit", kReconnectLimit, [] { return ZEKAInit(nullptr) ? 0 : 1; }) != 0)
        return 1;
    Connect();
    for (int pattern = 0; pattern < 5; ++pattern)
        (void)getIEC47RawArray(pattern); // computed at their first use, 30 MB, which is no growth
    Play();

    constexpr std::array kActions{
        Action{40, &Soak::Set, false},     Action{10, &Soak::Command, false}, Action{6, &Soak::Play, false},
        Action{5, &Soak::Misbehave, true}, Action{1, &Soak::Pull, true},      Action{1, &Soak::Upload, true},
        Action{1, &Soak::Reset, true},
    };
    int all = 0;
    for (const Action& action : kActions)
        all += action.weight;
    auto next_line = Clock::now() + std::chrono::minutes{1};
    while (Clock::now() - start_ < options_.length && Difference().empty()) {
        int at = Below(all);
        for (const Action& action : kActions)
            if ((at -= action.weight) < 0) {
                Do(action);
                break;
            }
        Connect();
        Rest();
        if (settled_.threads == 0 && Clock::now() - start_ > options_.length / 2) {
            Connect();
            settled_ = Now();
        }
        if (Clock::now() >= next_line) {
            next_line += std::chrono::minutes{1};
            PrintLine();
        }
    }
    Connect();
    CountAnswers();
    const int result = PrintEnd();
    ZEKAFree();
    EndShadow();
    instrument_.Unplug();
    return result;
}

Options Parse(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (option == "--real")
            options.real_clock = true;
        else if (option == "--verbose")
            options.verbose = true;
        else if (option == "--seed" && i + 1 < argc)
            options.seed = static_cast<unsigned>(std::atoi(argv[++i]));
        else if (option == "--minutes" && i + 1 < argc)
            options.length = std::chrono::duration<double>(std::atof(argv[++i]) * 60.0);
        else if (std::atof(argv[i]) > 0.0)
            options.length = std::chrono::duration<double>(std::atof(argv[i]) * 3600.0);
        else {
            std::fprintf(stderr, "soak [hours] [--minutes n] [--seed n] [--real] [--verbose]\n");
            std::exit(2);
        }
    }
    return options;
}

} // namespace
} // namespace zeka::soak

int main(int argc, char** argv)
{
    zeka::sim::EnterPrivateDev(argv);
    return zeka::soak::Soak(zeka::soak::Parse(argc, argv)).Run();
}
