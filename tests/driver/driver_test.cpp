// driver_test.cpp - the library against the instrument behind the kernel's real CDC-ACM driver: every harm in
// every phase of a connection, a hundred removals, steps of the clock, a stopped process. Runs in the
// emulated machine that scripts/test-driver boots; elsewhere the tests are skipped.
//
// A line "figures: ..." on standard output appears beside the test's name in the results.
#include "sim/vhci.h"
#include "system/connected.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using zeka::sim::Command;
using zeka::sim::Fault;
using zeka::sim::FaultRule;
using zeka::sim::Removal;
using zeka::test::Clock;
using zeka::test::Listener;
using zeka::test::milliseconds;
using zeka::test::Since;
using zeka::test::WaitUntil;

constexpr milliseconds kLossSeenWithin{900}; // 100 ms is the promise; the emulator's scheduling is coarse
constexpr milliseconds kBackWithin{45000};   // a supervisor that is not woken checks every 30 s
constexpr milliseconds kHarmLasts{2500};
constexpr const char* kNode = "/dev/ttyACM0";
constexpr const char* kLock = "/var/lock/kestrava.ACM0.lock";

class Driver : public testing::Test {
protected:
    void SetUp() override
    {
        if (zeka::sim::DefaultMedium() != zeka::sim::MediumKind::kUsb)
            GTEST_SKIP() << "needs the machine that scripts/test-driver boots";
        at_first_ = Held();
        with_waker_ = {at_first_.first, at_first_.second + 1};
        instrument.Plug(0);
        ASSERT_EQ(instrument.State().node, kNode);
    }
    void TearDown() override
    {
        ZEKAFree();
        EXPECT_FALSE(std::filesystem::exists(kLock));
        instrument.Unplug();
        EXPECT_TRUE(
            WaitUntil([this] { return Held() == at_first_ || Held() == with_waker_; }, milliseconds{3000}))
            << Held().first << " threads, " << Held().second << " descriptors; at first " << at_first_.first
            << ", " << at_first_.second;
    }

    static std::pair<std::size_t, std::size_t> Held()
    {
        return {zeka::test::ThreadCount(), zeka::test::OpenDescriptors().size()};
    }
    void Connect()
    {
        const std::size_t heard = Listener::Get().Heard().size();
        ASSERT_TRUE(ZEKAInit(Listener::Hear));
        ASSERT_TRUE(Listener::Get().WaitForCount(heard + 1));
        ASSERT_TRUE(ZEKAIsConnected());
    }
    void Stream(std::uint64_t bursts = 20)
    {
        ASSERT_EQ(ZEKASetOutputFunction(1), 0);
        ASSERT_TRUE(MoreBursts(bursts));
    }
    bool MoreBursts(std::uint64_t more)
    {
        const std::uint64_t wanted = instrument.Stats().stream.bursts + more;
        return instrument.WaitFor([&] { return instrument.Stats().stream.bursts >= wanted; },
                                  zeka::test::kPatience);
    }
    /// Waits until exchanges succeed again and a stream runs without a gap. Returns
    /// the time to the first success.
    milliseconds WorksAgain()
    {
        const auto start = Clock::now();
        EXPECT_TRUE(WaitUntil(
            [] {
                return ZEKAIsConnected() && ZEKASetOutputFunction(0) == 0 &&
                       ZEKASetCalibrationMode(false) == 1;
            },
            kBackWithin));
        const milliseconds took = Since(start);
        EXPECT_EQ(instrument.State().node, kNode);
        instrument.ResetStats();
        Stream();
        EXPECT_EQ(ZEKASetAmplitude(1.5), 0);
        EXPECT_TRUE(MoreBursts(5));
        const auto stats = instrument.Stats();
        EXPECT_EQ(stats.stream.sequence_gaps, 0u);
        EXPECT_EQ(stats.stream.bad_headers, 0u);
        EXPECT_EQ(stats.unknown_bytes, 0u);
        return took;
    }

    zeka::sim::Instrument instrument;

private:
    std::pair<std::size_t, std::size_t> at_first_;
    std::pair<std::size_t, std::size_t> with_waker_; // the library's own waking descriptor is opened once
};

// ------------------------------------------------------------------------------------------- harms and phases

enum class Harm { kPull, kUnplug, kCut, kHold, kMute, kDeaf, kForeign, kChatter, kSplit, kDelay };
enum class Phase { kSearch, kIdentity, kSetUp, kIdle, kExchange, kStart, kStreaming, kUpload, kStore, kFree };

struct Case {
    Harm harm;
    Phase phase;
};

struct PhaseRow {
    Phase phase;
    const char* name;
    std::optional<Command> begins; // by this command of the host; empty: the harm is there at once
    milliseconds at_most;          // for the call that makes the phase
};

// An exchange that is not answered takes up to 0.5 s, and may wait for the supervisor's ping of 2 s.
constexpr std::array kPhases{
    PhaseRow{Phase::kSearch, "Search", {}, milliseconds{100}},
    PhaseRow{Phase::kIdentity, "Identity", Command::kPing, milliseconds{100}},
    PhaseRow{Phase::kSetUp, "SetUp", Command::kControlRead, milliseconds{100}},
    PhaseRow{Phase::kIdle, "Idle", {}, milliseconds{0}},
    PhaseRow{Phase::kExchange, "Exchange", Command::kCalibration, milliseconds{2700}},
    PhaseRow{Phase::kStart, "Start", Command::kControlRead, milliseconds{4000}},
    PhaseRow{Phase::kStreaming, "Streaming", {}, milliseconds{6000}},
    PhaseRow{Phase::kUpload, "Upload", Command::kWaveformData, milliseconds{30000}}, // up to 150 exchanges
    PhaseRow{Phase::kStore, "Store", Command::kRomStore, milliseconds{20000}},
    // Without the bound of close() it would be 10 s.
    PhaseRow{Phase::kFree, "Free", Command::kControlRead, milliseconds{6000}},
};

struct HarmRow {
    Harm harm;
    const char* name;
    std::optional<Removal> removal;
    std::vector<FaultRule> rules;
};

const std::vector<HarmRow>& Harms()
{
    static const std::vector<HarmRow> rows{
        {Harm::kPull, "Pull", Removal::kPull, {}},
        {Harm::kUnplug, "Unplug", Removal::kUnplug, {}},
        {Harm::kCut, "Cut", Removal::kCut, {}},
        {Harm::kHold, "Hold", {}, {{.fault = Fault::kStopReading}}},
        {Harm::kMute, "Mute", {}, {{.fault = Fault::kNoReply}, {.fault = Fault::kStopAsking}}},
        {Harm::kDeaf, "Deaf", {}, {{.fault = Fault::kDeaf}}},
        {Harm::kForeign, "Foreign", {}, {{.fault = Fault::kWrongMarker}, {.fault = Fault::kStopAsking}}},
        {Harm::kChatter, "Chatter", {}, {{.fault = Fault::kFlood, .value = 1}}},
        {Harm::kSplit, "Split", {}, {{.fault = Fault::kSingleBytes, .value = 300}}},
        {Harm::kDelay, "Delay", {}, {{.fault = Fault::kLateReply, .value = 120}}},
    };
    return rows;
}

const HarmRow& RowOf(Harm harm) { return Harms().at(static_cast<std::size_t>(harm)); }
const PhaseRow& RowOf(Phase phase) { return kPhases.at(static_cast<std::size_t>(phase)); }

/// Leaves out a harm that affects nothing in the phase, or does the same as in another one.
bool MakesSense(Harm harm, Phase phase)
{
    switch (harm) {
    case Harm::kDeaf: // affects only opening and closing
        return phase != Phase::kExchange && phase != Phase::kStart && phase != Phase::kUpload &&
               phase != Phase::kStore;
    case Harm::kSplit:
    case Harm::kDelay: // of replies, of which there are none
    case Harm::kForeign:
        return phase != Phase::kIdle;
    default:
        return true;
    }
}

std::vector<Case> Cases()
{
    std::vector<Case> cases;
    for (const PhaseRow& phase : kPhases)
        for (const HarmRow& harm : Harms())
            if (MakesSense(harm.harm, phase.phase))
                cases.push_back({harm.harm, phase.phase});
    return cases;
}

class Harmed : public Driver, public testing::WithParamInterface<Case> {
protected:
    bool Removes() const { return RowOf(GetParam().harm).removal.has_value(); }

    /// Brings the connection to the beginning of the phase.
    void Prepare()
    {
        const Phase phase = GetParam().phase;
        if (phase == Phase::kSearch && Removes())
            PlugInAndOutWhileItSearches();
        if (phase == Phase::kSearch || phase == Phase::kIdentity || phase == Phase::kSetUp)
            return;
        Connect();
        if (phase == Phase::kStreaming || phase == Phase::kFree)
            Stream();
    }

    /// A search checks about once per second; the rounds meet it at different points.
    void PlugInAndOutWhileItSearches()
    {
        instrument.Unplug();
        ASSERT_TRUE(ZEKAInit(Listener::Hear));
        for (int round = 0; round < 12; ++round) {
            std::this_thread::sleep_for(milliseconds{300});
            instrument.Plug(0);
            std::this_thread::sleep_for(milliseconds{90 * round});
            instrument.Unplug(*RowOf(GetParam().harm).removal);
        }
        instrument.Plug(0);
    }

    void Harmful()
    {
        const HarmRow& harm = RowOf(GetParam().harm);
        const PhaseRow& phase = RowOf(GetParam().phase);
        for (FaultRule rule : harm.rules) {
            rule.from = phase.begins;
            instrument.Inject(rule);
        }
        if (!harm.removal)
            return;
        if (phase.begins)
            instrument.Inject({.fault = Fault::kUnplugAtByte,
                               .value = 1,
                               .limit = 1,
                               .command = phase.begins,
                               .removal = *harm.removal});
        else {
            harmed_at_ = Clock::now();
            instrument.Unplug(*harm.removal);
        }
    }

    /// Makes the call that the phase is about; returns its result.
    int Act() const
    {
        switch (GetParam().phase) {
        case Phase::kSearch:
        case Phase::kIdentity:
        case Phase::kSetUp:
            return ZEKAInit(Listener::Hear) ? 1 : 0;
        case Phase::kIdle:
            return 0;
        case Phase::kExchange:
            return ZEKASetCalibrationMode(true);
        case Phase::kStart:
            return ZEKASetOutputFunction(1);
        case Phase::kStreaming:
            return ZEKASetAmplitude(2.0);
        case Phase::kUpload:
            return ZEKAOutputSignal(1);
        case Phase::kStore:
            return ZEKASaveToStandaloneMode(1);
        case Phase::kFree:
            ZEKAFree();
            return 0;
        }
        return 0;
    }

    /// Waits until the library has noticed the loss and closed everything, then
    /// plugs the instrument in again.
    milliseconds SeeTheLoss()
    {
        EXPECT_TRUE(
            instrument.WaitFor([this] { return !instrument.State().plugged; }, zeka::test::kPatience));
        const auto start = Clock::now();
        EXPECT_TRUE(
            WaitUntil([] { return !ZEKAIsConnected() && !std::filesystem::exists(kLock); }, kLossSeenWithin));
        const milliseconds took = Since(start);
        instrument.Plug(0);
        return took;
    }

private:
    std::optional<Clock::time_point> harmed_at_; // empty when it came in the middle of a call
};

TEST_P(Harmed, IsEnduredAndEnds)
{
    ASSERT_NO_FATAL_FAILURE(Prepare());
    const std::size_t heard = Listener::Get().Heard().size();
    Harmful();
    const auto start = Clock::now();
    const int result = Act();
    const milliseconds call = Since(start);
    EXPECT_LE(call, RowOf(GetParam().phase).at_most);
    milliseconds loss{0};
    if (Removes())
        loss = SeeTheLoss();
    else {
        std::this_thread::sleep_for(kHarmLasts);
        instrument.ClearFaults();
    }
    if (GetParam().phase == Phase::kFree) {
        EXPECT_FALSE(ZEKAIsConnected());
        // The application is not told of an end that it requested; a loss before that end is reported.
        EXPECT_LE(Listener::Get().Heard().size(), heard + (Removes() ? 1 : 0));
        ASSERT_TRUE(ZEKAInit(Listener::Hear));
    }
    const milliseconds back = WorksAgain();
    std::printf("figures: call %d in %d ms, ", result, static_cast<int>(call.count()));
    if (Removes())
        std::printf("loss seen after %d ms, ", static_cast<int>(loss.count()));
    std::printf("works again after %d ms\n", static_cast<int>(back.count()));
}

INSTANTIATE_TEST_SUITE_P(Every, Harmed, testing::ValuesIn(Cases()), [](const auto& row) {
    return std::string(RowOf(row.param.harm).name) + "In" + RowOf(row.param.phase).name;
});

// ----------------------------------------------------------------------------------------------- the rest

TEST_F(Driver, ConnectsAndStreamsWithoutAGap)
{
    const auto start = Clock::now();
    ASSERT_NO_FATAL_FAILURE(Connect());
    const milliseconds connected = Since(start);
    instrument.ResetStats();
    Stream(1000);
    const auto stats = instrument.Stats();
    EXPECT_EQ(stats.stream.sequence_gaps, 0u);
    EXPECT_EQ(stats.stream.underruns, 0u);
    EXPECT_EQ(stats.unknown_bytes, 0u);
    std::printf("figures: connected in %d ms, 1000 bursts, last byte of an answer after %.1f ms (99 of 100), "
                "%.1f (worst)\n",
                static_cast<int>(connected.count()),
                zeka::sim::Percentile(stats.stream.last_byte_us, 99.0) / 1000,
                zeka::sim::Percentile(stats.stream.last_byte_us, 100.0) / 1000);
}

TEST_F(Driver, HundredRemovalsLeakNothingAndKeepTheNumber)
{
    ASSERT_NO_FATAL_FAILURE(Connect());
    std::pair<std::size_t, std::size_t> settled;
    milliseconds worst{0};
    for (int round = 0; round < 100; ++round) {
        const std::size_t heard = Listener::Get().Heard().size();
        if (round % 3 == 1) {
            ASSERT_NO_FATAL_FAILURE(Stream(3)) << round;
        }
        const auto start = Clock::now();
        instrument.Unplug(static_cast<Removal>(round % 4 % 3));
        ASSERT_TRUE(Listener::Get().WaitForCount(heard + 1)) << round;
        worst =
            std::max(worst, std::chrono::duration_cast<milliseconds>(Listener::Get().When(heard) - start));
        if (round % 10 == 9) // long enough for a search without result
            std::this_thread::sleep_for(milliseconds{1500});
        instrument.Plug(0);
        ASSERT_EQ(instrument.State().node, kNode) << round;
        ASSERT_TRUE(Listener::Get().WaitForCount(heard + 2)) << round;
        if (round == 0) {
            std::this_thread::sleep_for(milliseconds{200}); // the poll thread starts after the announcement
            settled = Held();
        }
    }
    EXPECT_LT(worst, kLossSeenWithin);
    EXPECT_TRUE(WaitUntil([&] { return Held() == settled; }, milliseconds{3000}))
        << Held().first << " threads, " << Held().second << " descriptors";
    std::printf("figures: loss told within %d ms, %zu threads, %zu descriptors\n",
                static_cast<int>(worst.count()), settled.first, settled.second);
}

class ClockStep : public Driver, public testing::WithParamInterface<std::pair<const char*, long>> {};

TEST_P(ClockStep, DisturbsNothing)
{
    ASSERT_NO_FATAL_FAILURE(Connect());
    ASSERT_NO_FATAL_FAILURE(Stream());
    instrument.ResetStats();
    timespec now{};
    ASSERT_EQ(::clock_gettime(CLOCK_REALTIME, &now), 0);
    now.tv_sec += GetParam().second;
    ASSERT_EQ(::clock_settime(CLOCK_REALTIME, &now), 0);
    const auto start = Clock::now();
    EXPECT_EQ(ZEKASetAmplitude(2.0), 0);
    const milliseconds setter = Since(start);
    EXPECT_LT(setter, milliseconds{500});
    EXPECT_TRUE(MoreBursts(100));
    EXPECT_EQ(instrument.Stats().stream.underruns, 0u);
    EXPECT_EQ(Listener::Get().Heard().size(), 1u); // it was never lost
    instrument.Unplug();
    EXPECT_TRUE(Listener::Get().WaitForCount(2, kLossSeenWithin));
    instrument.Plug(0);
    EXPECT_TRUE(Listener::Get().WaitForCount(3, milliseconds{5000}));
    std::printf("figures: setter %d ms, 100 bursts without an underrun\n", static_cast<int>(setter.count()));
}

constexpr long kHour = 3600;
constexpr long kTenYears = 10L * 365 * 24 * kHour;
INSTANTIATE_TEST_SUITE_P(Of, ClockStep,
                         testing::Values(std::pair("AnHourOn", kHour), std::pair("AnHourBack", -kHour),
                                         std::pair("TenYearsOn", kTenYears),
                                         std::pair("TenYearsBack", -kTenYears)),
                         [](const auto& row) { return std::string(row.param.first); });

/// The library in a process of its own, which is stopped while the instrument continues.
class Stopped : public Driver, public testing::WithParamInterface<bool> {
protected:
    [[noreturn]] static void Application(bool streams, int say, int hear)
    {
        char byte = 0;
        bool well = ZEKAConnect(0, 20000) == 1 && (!streams || ZEKASetOutputFunction(1) == 0);
        // Is stopped and continued between these two.
        well = ::write(say, "!", 1) == 1 && ::read(hear, &byte, 1) == 1 && well;
        well = (streams || ZEKASetCalibrationMode(false) == 1) && well;
        well = ZEKASetOutputFunction(2) == 0 && ZEKASetAmplitude(2.0) == 0 && well;
        well = ::write(say, "!", 1) == 1 && ::read(hear, &byte, 1) == 1 && well;
        ZEKAFree();
        ::_exit(well ? 0 : 1);
    }
};

TEST_P(Stopped, ForTenSecondsGoesOnWhereItWas)
{
    const bool streams = GetParam();
    int from_child[2];
    int to_child[2];
    ASSERT_EQ(::pipe(from_child), 0);
    ASSERT_EQ(::pipe(to_child), 0);
    const pid_t child = ::fork();
    if (child == 0)
        Application(streams, from_child[1], to_child[0]);
    char byte = 0;
    ASSERT_EQ(::read(from_child[0], &byte, 1), 1);
    if (streams) {
        ASSERT_TRUE(MoreBursts(20));
    }
    ASSERT_EQ(::kill(child, SIGSTOP), 0);
    std::this_thread::sleep_for(std::chrono::seconds{10});
    instrument.ResetStats();
    ASSERT_EQ(::kill(child, SIGCONT), 0);
    const auto start = Clock::now();
    ASSERT_EQ(::write(to_child[1], "!", 1), 1);
    ASSERT_EQ(::read(from_child[0], &byte, 1), 1);
    EXPECT_TRUE(MoreBursts(50));
    std::printf("figures: streams %d ms after it went on, no sample lost\n",
                static_cast<int>(Since(start).count()));
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
    EXPECT_EQ(instrument.Stats().unknown_bytes, 0u);
    ASSERT_EQ(::write(to_child[1], "!", 1), 1);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (const int end : {from_child[0], from_child[1], to_child[0], to_child[1]})
        ::close(end);
}

INSTANTIATE_TEST_SUITE_P(While, Stopped, testing::Bool(),
                         [](const auto& row) { return row.param ? "Streaming" : "Idle"; });

} // namespace
