// stream_test.cpp - a signal on its way to the instrument's outputs, and calls that meet it there.
#include <array>
#include <cmath>
#include <thread>

#include "support/signal_storm.h"
#include "system/connected.h"

namespace {

using zeka::sim::Fault;
using zeka::test::Connected;
using zeka::test::milliseconds;

class Stream : public Connected {
protected:
    Stream() : Connected(zeka::test::PatientInstrument()) {}
};

class FastStream : public Connected {
protected:
    FastStream() : Connected(FastAndPatient()) {}

private:
    static zeka::sim::InstrumentConfig FastAndPatient()
    {
        auto config = zeka::test::PatientInstrument();
        config.player.clock = zeka::sim::ClockMode::kFast;
        return config;
    }
};

TEST_F(Stream, CarriesTheSineOfItsFormulaFromTheFirstSampleOn)
{
    ASSERT_EQ(ZEKASetAmplitude(2.0), 0);
    ASSERT_EQ(ZEKASetFrequency(10.0), 0);
    instrument.StartCapture(20000);
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(instrument.WaitCaptured(zeka::test::kPatience));
    const auto samples = instrument.Captured();
    double clock = 0.0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = clock - 0.1 * std::trunc(clock / 0.1);
        ASSERT_EQ(samples[i].ac, static_cast<std::int16_t>(6400.0 * std::sin(10.0 * 6.2831853 * t))) << i;
        ASSERT_EQ(samples[i].dc, 0x8000) << i;
        clock += 1.0 / 40000;
    }
    const auto stats = instrument.Stats().stream;
    EXPECT_EQ(stats.sequence_gaps, 0u);
    EXPECT_EQ(stats.bad_headers, 0u);
    ASSERT_EQ(ZEKASetOutputFunction(0), 0);
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_TRUE(instrument.WaitFor([&] { return !instrument.State().output_on; }, zeka::test::kPatience));
    // The request under way at the stop was answered with the output state, not with samples.
    EXPECT_EQ(instrument.Stats().stream.ignored_packets, 0u);
}

TEST_F(Stream, GoesOnWithoutAGapWhileSettersAndExchangesRunBesideIt)
{
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(3));
    std::array<std::thread, 3> callers{
        std::thread([] {
            for (int i = 0; i < 20; ++i)
                EXPECT_EQ(ZEKASetAmplitude(1.0 + i * 0.1), 0);
        }),
        std::thread([] {
            for (int i = 0; i < 10; ++i)
                EXPECT_EQ(ZEKASetInputImpedanceMode(i % 4, i % 4), 0);
        }),
        std::thread([] { // waits for no request: its exchange meets the poll thread's reading
            for (int i = 0; i < 10; ++i)
                EXPECT_EQ(ZEKASetOutputDac(i, i), 1);
        }),
    };
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_TRUE(Streams(100));
    const auto stats = instrument.Stats();
    EXPECT_EQ(stats.stream.sequence_gaps, 0u);
    EXPECT_EQ(stats.stream.repeated_requests, 0u); // no request was lost
    EXPECT_EQ(stats.unknown_bytes, 0u);
}

TEST_F(Stream, IsNotStarvedByAnApplicationThatNeverStopsSetting)
{
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(3));
    std::atomic<bool> stop{false};
    std::array<std::thread, 2> callers;
    for (std::thread& caller : callers)
        caller = std::thread([&stop] {
            while (!stop)
                EXPECT_EQ(ZEKASetInputImpedanceMode(0, 1), 0); // a few milliseconds each, with the lock
        });
    EXPECT_TRUE(Streams(60));
    stop = true;
    for (std::thread& caller : callers)
        caller.join();
    const auto stats = instrument.Stats().stream;
    EXPECT_LT(zeka::sim::Percentile(stats.last_byte_us, 50.0), 100e3); // on an idle machine some ms
    EXPECT_EQ(stats.repeated_requests, 0u);
    EXPECT_EQ(stats.sequence_gaps, 0u);
}

TEST_F(Stream, ARequestAheadOfTheStartCommandsReplyIsAnswered)
{
    for (int round = 0; round < 5; ++round) {
        instrument.Inject({.fault = Fault::kRequestAhead, .limit = 2, .group = 0x00});
        instrument.ResetStats();
        ASSERT_EQ(ZEKASetOutputFunction(1), 0);
        ASSERT_TRUE(Streams(5));
        ASSERT_EQ(ZEKASetOutputFunction(0), 0);
        EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
        EXPECT_EQ(instrument.FaultsFired(Fault::kRequestAhead), 2 * (round + 1));
    }
}

TEST_F(Stream, SettersInsideACallbackWorkAndASlowCallbackDelaysOnlyItsStream)
{
    static std::atomic<int> calls{0};
    static std::atomic<int> worst{0};
    ZEKARegisterSignalOutputCallback([](double, double) {
        if (calls++ == 100)
            std::this_thread::sleep_for(milliseconds{300});
        if (calls % 50 == 0) {
            const int result = ZEKASetAmplitude(1.5);
            if (result != 0)
                worst = result;
        }
    });
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(40));
    EXPECT_EQ(worst, 0);
    EXPECT_GT(calls, 700);
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
    ZEKARegisterSignalOutputCallback(nullptr);
}

TEST_F(Stream, SurvivesAStormOfSignals)
{
    const zeka::test::SignalStorm storm;
    ASSERT_TRUE(storm.Running());
    EXPECT_EQ(ZEKASetOutputFunction(1), 0);
    EXPECT_TRUE(Streams(30));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(ZEKASetFrequency(1.0 + i), 0);
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
}

TEST_F(FastStream, AFloodOfRequestsIsAnsweredInOrder)
{
    instrument.Inject({.fault = Fault::kFlood});
    ASSERT_EQ(ZEKASetOutputFunction(2), 0);
    ASSERT_TRUE(Streams(300));
    EXPECT_EQ(ZEKASetAmplitude(2.0), 0);
    instrument.ClearFaults();
    EXPECT_EQ(ZEKASetOutputFunction(0), 0);
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
}

TEST_F(Stream, AnInstrumentThatTakesNothingStopsNoCall)
{
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(3));
    const int fault = instrument.Inject({.fault = Fault::kStopReading});
    std::this_thread::sleep_for(milliseconds{500});
    const auto start = zeka::test::Clock::now();
    (void)ZEKASetAmplitude(2.0);
    (void)ZEKASetOutputLead(0, 1);
    EXPECT_LT(zeka::test::Since(start), milliseconds{12000});
    instrument.Clear(fault);
}

TEST_F(Stream, SettersInsideTheFirstBurstWaitForNoRequest)
{
    instrument.Inject({.fault = Fault::kStopAsking}); // no request comes before it has something to play
    static std::atomic<int> refused{0};
    for (int (*const start)() :
         {+[] { return ZEKASetOutputFunction(1); }, +[] { return SetFreqScanECG(true); }}) {
        refused = 0;
        ZEKARegisterSignalOutputCallback([](double, double) {
            if (refused < 2)
                refused += ZEKASetAmplitude(1.5) != 0;
        });
        const auto begin = zeka::test::Clock::now();
        EXPECT_EQ(start(), 0);
        EXPECT_EQ(refused, 0);
        EXPECT_LT(zeka::test::Since(begin), milliseconds{2500});
        ZEKARegisterSignalOutputCallback(nullptr);
        ZEKAFree();
        ASSERT_EQ(ZEKAConnect(-1, 10000), 1);
    }
}

TEST_F(FastStream, ThatASettingStartsAfterAPlaybackHasEndedAnswersItsFirstRequest)
{
    SetStandardWaveformLoop(false);
    for (int (*const start)() :
         {+[] { return SetBaselineResetTest(1); }, +[] { return SetFreqScanECG(true); },
          +[] { return ZEKASetDynamicRangeTest(true, true, 1.0, 40.0); }}) {
        ASSERT_EQ(ZEKASetOutputFunction(17), 0); // one second
        ASSERT_TRUE(zeka::test::WaitUntil([] { return !ZEKAIsPlaying(); }));
        instrument.ResetStats();
        ASSERT_EQ(start(), 0);
        EXPECT_TRUE(Streams(10));
        EXPECT_EQ(instrument.Stats().stream.repeated_requests, 0u);
        ASSERT_EQ(SetBaselineResetTest(0), 0);
        ASSERT_EQ(ZEKASetOutputFunction(0), 0);
    }
}

TEST_F(FastStream, GoesOnWhileTheSweepThatStartedItLetsTheOutputSettle)
{
    const auto begin = zeka::test::Clock::now();
    ASSERT_EQ(ZEKASetFrequencyScan(true, 180, 1.0, 2.0), 0);
    const auto bursts = instrument.Stats().stream.bursts;
    EXPECT_GE(zeka::test::Since(begin), milliseconds{100});
    EXPECT_GE(bursts, 4u); // of hundreds; with the lock held there would be the first one alone
    EXPECT_EQ(ZEKASetFrequencyScan(true, 9, 1.0, 2.0), -4);
    // The end of the sweep, on the poll thread, keeps no caller from the lock either.
    auto shortest = milliseconds::max();
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(ZEKASetFrequencyScan(true, 180, 2.0, 1.0), 0);
        ASSERT_TRUE(zeka::test::WaitUntil([] { return !ZEKAIsPlaying(); }));
        const auto end = zeka::test::Clock::now();
        EXPECT_FALSE(ZEKAGetFrequencyScan());
        shortest = std::min(shortest, zeka::test::Since(end));
        ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    }
    EXPECT_LT(shortest, milliseconds{60});
}

} // namespace
