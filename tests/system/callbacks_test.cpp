// callbacks_test.cpp - ends the library inside a callback, for every callback and every call that raises it:
// nothing may wait there for a thread that needs the lock.
#include <filesystem>

#include "signal/state.h"
#include "system/connected.h"
#include "util/peek.h"

namespace {

using zeka::test::Clock;
using zeka::test::milliseconds;
using zeka::test::Since;

std::atomic<bool> entered{false};
std::atomic<bool> left{false};
std::atomic<int> took_ms{0};
void (*inside)() = nullptr;

void RunOnce()
{
    if (entered.exchange(true))
        return;
    const auto start = Clock::now();
    inside();
    took_ms = static_cast<int>(Since(start).count());
    left = true;
}

void OnSignal()
{
    ZEKARegisterSignalOutputCallback([](double, double) { RunOnce(); });
}
void OnPacing()
{
    ZEKARegisterSignalOutputCallback([](double, double) {}); // a pulse is drawn beside the signal
    ZEKARegisterPacingOutputCallback([](double, double) { RunOnce(); });
}
void OnFunction()
{
    ZEKARegisterOutputFunctionCallback([](int) { RunOnce(); });
}
void OnFrequency()
{
    ZEKARegisterFrequencyCallback([](double) { RunOnce(); });
}
void OnBaseline()
{
    RegisterBaselineResetCB([](int) { RunOnce(); });
}
void OnDcStep()
{
    RegisterSyncDCOffsetCB([](int) { RunOnce(); });
}

void Free() { ZEKAFree(); }

struct Raised {
    const char* name;
    void (*register_it)();
    void (*raise)();
    int function = 0; // selected before, as after a loss: the call starts the stream
};

class FreeInACallback : public zeka::test::InstrumentTest, public testing::WithParamInterface<Raised> {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        ASSERT_EQ(ZEKAConnect(0, 20000), 1);
        zeka::Publish(g_MainOutput, GetParam().function);
    }
    void Run(void (*what)())
    {
        inside = what;
        GetParam().register_it();
        GetParam().raise();
        ASSERT_TRUE(zeka::test::WaitUntil([] { return left.load(); }));
        EXPECT_LT(took_ms, 5000);
    }
    void TearDown() override
    {
        ZEKAFree();
        InstrumentTest::TearDown();
    }
};

TEST_P(FreeInACallback, ReturnsAndTheEndFollows)
{
    Run(Free);
    EXPECT_TRUE(zeka::test::WaitUntil(
        [] { return !ZEKAIsConnected() && !std::filesystem::exists("/var/lock/kestrava.ACM0.lock"); }));
    EXPECT_EQ(ZEKAConnect(0, 20000), 1);
}

constexpr int kSine = 1, kDcStairs = 15;

INSTANTIATE_TEST_SUITE_P(
    Callbacks, FreeInACallback,
    testing::Values(Raised{"PacingPulse", OnPacing,
                           [] { (void)(ZEKASetPacingAmplitude(5.0) + ZEKASetOutputFunction(kSine)); }},
                    Raised{"DcStep", OnDcStep, [] { (void)ZEKASetOutputFunction(kDcStairs); }},
                    Raised{"FunctionOfTheSineSweep", OnFunction,
                           [] { (void)ZEKASetFrequencyScan(true, 10, 10.0, 20.0); }},
                    Raised{"FunctionOfTheEcgSweep", OnFunction, [] { (void)SetFreqScanECG(true); }},
                    Raised{"FunctionWhenTheEcgSweepEnds", OnFunction, [] { (void)SetFreqScanECG(false); }},
                    Raised{"FrequencyOfTheEcgSweep", OnFrequency, [] { (void)SetFreqScanECG(true); }},
                    Raised{"BaselineState", OnBaseline, [] { (void)SetBaselineResetTest(1); }},
                    Raised{"BaselineFrequency", OnFrequency, [] { (void)SetBaselineResetTest(2); }},
                    Raised{"SignalOfTheBaselineTest", OnSignal, [] { (void)SetBaselineResetTest(1); }},
                    Raised{"SignalByNoise", OnSignal, [] { (void)SetECG2_27_Noise(1, 1.0); }, kSine},
                    Raised{"SignalByDrift", OnSignal, [] { (void)SetECG2_27_AAMIDriftTest(true); }, kSine},
                    Raised{"SignalByWave227", OnSignal, [] { (void)SetSpecialWave227(1); }, kSine},
                    Raised{"SignalByWave251", OnSignal, [] { (void)SetSpecialWave251(1); }, kSine},
                    Raised{"SignalByPattern247", OnSignal, [] { (void)SetSpecialWave247(1); }, kSine},
                    Raised{"SignalByTheLeadOfAne20000", OnSignal, [] { (void)SetANE20000Lead(1); }, kSine}),
    [](const auto& row) { return row.param.name; });

class StartInACallback : public FreeInACallback {};

TEST_P(StartInACallback, WaitsForNoThreadThatNeedsTheLock)
{
    Run([] {
        ZEKAFree();
        EXPECT_FALSE(ZEKAInit(nullptr)); // the former connection ends after the callback
        EXPECT_EQ(ZEKAConnect(0, 10000), 0);
    });
    EXPECT_TRUE(zeka::test::WaitUntil([] { return ZEKAConnect(0, 10000) == 1; }));
}

TEST_P(StartInACallback, OfARunningConnectionEndsItAsOutsideButAtOnce)
{
    Run([] { EXPECT_EQ(ZEKAConnect(0, 10000), 0); });
    EXPECT_TRUE(zeka::test::WaitUntil([] { return !ZEKAIsConnected(); }));
}

INSTANTIATE_TEST_SUITE_P(
    Callbacks, StartInACallback,
    testing::Values(Raised{"Baseline", OnBaseline, [] { (void)SetBaselineResetTest(1); }},
                    Raised{"FirstBurst", OnSignal, [] { (void)ZEKASetOutputFunction(kSine); }}),
    [](const auto& row) { return row.param.name; });

} // namespace
