// connection_scenario.cpp - a connection to the virtual instrument from start to end with a
// fault, then a short one without.
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

#include "faults/scenario.h"
#include "support/fixture.h"
#include "zeka/zeka.h"

namespace zeka::faults {
namespace {

using test::milliseconds;
using test::WaitUntil;

constexpr unsigned kSetterMs = 3000 + 2 * 400; // the wait for a request, a command and its time-out
constexpr unsigned kConnectMs = 2500;
constexpr unsigned kFreeMs = 3000 + 10000;
constexpr unsigned kUploadMs = 20000;
constexpr milliseconds kSettle{6000};
constexpr int kRealTimeSignals = 30;

/// What a run must leave unchanged.
struct Surroundings {
    std::vector<std::string> descriptors = test::OpenDescriptors();
    std::size_t threads = test::ThreadCount();
    sigset_t mask = Mask();

    static sigset_t Mask()
    {
        sigset_t mask;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        return mask;
    }
};

/// Removes the numbers of sockets and pipes, which are new whenever the instrument is plugged in.
std::vector<std::string> Kinds(std::vector<std::string> descriptors)
{
    for (std::string& target : descriptors)
        if (target.starts_with("socket:") || target.starts_with("pipe:"))
            target.resize(target.find(':'));
    return descriptors;
}

/// The library keeps one descriptor that wakes its users, from the first connection to its unloading.
bool AreTheSameButForOneEvent(const std::vector<std::string>& before, const std::vector<std::string>& present)
{
    std::vector<std::string> added;
    std::ranges::set_difference(present, before, std::back_inserter(added));
    return std::ranges::includes(present, before) &&
           (added.empty() || added == std::vector<std::string>{"anon_inode:[eventfd]"});
}

std::string Joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
        all += " " + text;
    return all;
}

std::string LockFile(int port) { return "/var/lock/kestrava.ACM" + std::to_string(port) + ".lock"; }

/// Leaves the lock file of a process that has ended; the first connection must replace it.
void LeaveStaleLock(int port)
{
    constexpr std::int32_t kNobody = 0x7FFFFFF0;
    std::array<char, sizeof kNobody> record{};
    std::memcpy(record.data(), &kNobody, sizeof kNobody);
    std::ofstream(LockFile(port), std::ios::binary).write(record.data(), record.size());
}

bool NoChildIsLeft() { return ::waitpid(-1, nullptr, WNOHANG | __WALL) == -1 && errno == ECHILD; }

void Compare(const Surroundings& before, Report& report)
{
    report.Begin("the surroundings");
    const auto present = [] { return Kinds(test::OpenDescriptors()); };
    const auto wanted = Kinds(before.descriptors);
    report.Expect(WaitUntil([&] { return AreTheSameButForOneEvent(wanted, present()); }, kSettle),
                  "descriptors:" + Joined(present()) + " instead of" + Joined(wanted));
    report.Expect(WaitUntil([&] { return test::ThreadCount() <= before.threads; }, kSettle),
                  std::to_string(test::ThreadCount()) + " threads instead of " +
                      std::to_string(before.threads));
    report.Expect(WaitUntil(NoChildIsLeft, kSettle), "a child process is left");
    const sigset_t mask = Surroundings::Mask();
    for (int signal = SIGRTMAX - kRealTimeSignals; signal <= SIGRTMAX; ++signal) {
        struct sigaction action {};
        (void)::sigaction(signal, nullptr, &action);
        report.Expect(action.sa_handler == SIG_DFL, "signal " + std::to_string(signal) + " has a handler");
        report.Expect(::sigismember(&mask, signal) == ::sigismember(&before.mask, signal),
                      "the mask of signal " + std::to_string(signal) + " has changed");
    }
}

/// Plays until so many more bursts have come, or `patience` is over because the fault prevents them.
void LetPlay(const sim::Instrument& instrument, std::uint64_t more, milliseconds patience)
{
    const std::uint64_t wanted = instrument.Stats().stream.bursts + more;
    (void)instrument.WaitFor([&] { return instrument.Stats().stream.bursts >= wanted; }, patience);
}

template <typename Set, typename Get, typename Value>
void Store(Report& report, const char* name, Set set, Get get, Value value)
{
    int result = -1;
    report.Call(name, kSetterMs, [&] { result = set(value); });
    report.Expect(result == 0 || result == -1, std::string(name) + " returned " + std::to_string(result));
    report.Expect(result != 0 || get() == value, std::string(name) + " returned 0 and stored nothing");
}

/// The part with the fault: calls may fail, but within their bounds, and must not report what is untrue.
void LiveThrough(sim::Instrument& instrument, int port, Report& report)
{
    report.Call("RegisterNotifyEvent", 100, [] { RegisterNotifyEvent(1, nullptr); });
    report.Call("ZEKAConnect", kConnectMs + kFreeMs, [&] { (void)ZEKAConnect(port, kConnectMs); });
    report.Call("ZEKASetOutputFunction", kSetterMs, [] { (void)ZEKASetOutputFunction(1); });
    LetPlay(instrument, 3, milliseconds{400});

    Store(report, "ZEKASetAmplitude", ZEKASetAmplitude, ZEKAGetAmplitude, 2.5);
    Store(report, "ZEKASetFrequency", ZEKASetFrequency, ZEKAGetFrequency, 12.0);
    Store(report, "ZEKASetPacingAmplitude", ZEKASetPacingAmplitude, ZEKAGetPacingAmplitude, 5.0);
    report.Call("ZEKASetDCOffset", kSetterMs, [] { (void)ZEKASetDCOffset(1, 100); });
    int lead = -1;
    report.Call("ZEKASetOutputLead", kSetterMs, [&] { lead = ZEKASetOutputLead(2, 1); });
    report.Expect(lead >= -2 && lead <= 0, "ZEKASetOutputLead returned " + std::to_string(lead));
    report.Call("ZEKASetInputImpedanceMode", kSetterMs, [] { (void)ZEKASetInputImpedanceMode(1, 2); });
    report.Call("ZEKAReadMfgInfo", kSetterMs, [] {
        std::array<unsigned char, 32> information{};
        (void)ZEKAReadMfgInfo(information.data(), static_cast<int>(information.size()));
    });
    LetPlay(instrument, 2, milliseconds{200});

    instrument.Unplug();
    report.Begin("the loss");
    report.Expect(WaitUntil([] { return !ZEKAIsConnected(); }, milliseconds{9000}),
                  "the loss is not noticed");
    instrument.Replug();
    (void)WaitUntil([] { return ZEKAIsConnected(); }, milliseconds{2000}); // unless the fault lasts

    report.Call("ZEKAOutputSignal", kUploadMs, [] { (void)ZEKAOutputSignal(2); });
    report.Call("ZEKAOutputSignal(0)", kSetterMs, [] { (void)ZEKAOutputSignal(0); });
    report.Call("ZEKAFree", kFreeMs, [] { ZEKAFree(); });
    report.Expect(!ZEKAIsConnected() && !ZEKAIsPlaying(), "it is connected or plays behind ZEKAFree");
}

/// The part without faults: everything works again.
void LiveOn(sim::Instrument& instrument, int port, Report& report)
{
    int connected = 0;
    report.Call("ZEKAConnect again", 8000, [&] { connected = ZEKAConnect(port, 8000); });
    report.Expect(connected == 1, "the next connection fails");
    if (connected != 1)
        return;
    report.Expect(std::filesystem::exists(LockFile(port)), "the next connection takes no lock");
    instrument.ResetStats();
    report.Call("ZEKASetOutputFunction again", kSetterMs,
                [&] { report.Expect(ZEKASetOutputFunction(1) == 0, "the next stream does not start"); });
    const auto plays = [&] { return instrument.Stats().stream.bursts >= 5; };
    report.Expect(instrument.WaitFor(plays, kSettle), "the next stream does not play");
    report.Call("ZEKASetAmplitude again", kSetterMs,
                [&] { report.Expect(ZEKASetAmplitude(1.0) == 0, "the next setter fails"); });
    report.Call("ZEKASetOutputLead again", kSetterMs,
                [&] { report.Expect(ZEKASetOutputLead(0, 1) == 0, "the next command fails"); });
    report.Call("ZEKASetOutputFunction(0) again", kSetterMs,
                [&] { report.Expect(ZEKASetOutputFunction(0) == 0, "the next stop fails"); });
    report.Expect(instrument.Stats().stream.sequence_gaps == 0, "the next stream has gaps");
    report.Call("ZEKAFree again", kFreeMs, [] { ZEKAFree(); });
    report.Expect(!instrument.State().output_on, "the output stays on");
    report.Expect(!std::filesystem::exists(LockFile(port)), "the lock file stays");
}

} // namespace

void RunConnection(const Plan& plan, int slot, Report& report)
{
    sim::InstrumentConfig config;
    config.port = slot;
    sim::Instrument instrument(config);
    instrument.Plug();
    LeaveStaleLock(slot);
    const Surroundings before;
    const auto used_before = test::ProcessorTime();

    Arm(plan);
    LiveThrough(instrument, slot, report);
    Disarm();
    LiveOn(instrument, slot, report);

    const milliseconds used = std::chrono::duration_cast<milliseconds>(test::ProcessorTime() - used_before);
    report.Expect(used < milliseconds{5000},
                  "used the processor for " + std::to_string(used.count()) + " ms");
    // A loss during the fault has made a new terminal, whose descriptor is the instrument's.
    instrument.Unplug();
    instrument.Plug();
    Compare(before, report);
}

} // namespace zeka::faults
