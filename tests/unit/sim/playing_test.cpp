// playing_test.cpp - streams to the instrument: when it asks, what it counts, what it plays.
#include "twin.h"

#include <numeric>

namespace zeka::test {
namespace {

class SteppedTwin : public Twin {
protected:
    SteppedTwin() : Twin(SteppedClock(2)) {}
    void Send(std::uint16_t sequence, std::int16_t ac = 0) const
    {
        const std::uint64_t before = instrument.Stats().stream.bursts;
        ASSERT_EQ(host->Write(MakeBurst(sequence, ac)), sim::kBurstBytes);
        ASSERT_TRUE(WaitUntil([&] { return instrument.Stats().stream.bursts == before + 1; }));
    }
};

TEST_F(SteppedTwin, AsksWhileThereIsRoomAndPlaysWhatCame)
{
    SetOutput(true);
    EXPECT_EQ(instrument.Stats().stream.requests, 0u) << "the first burst comes unasked";
    instrument.StartCapture(3 * sim::kSamplesPerBurst);
    Send(0, 0);
    ASSERT_TRUE(Asked());
    Send(50, 700);
    EXPECT_FALSE(Asked(milliseconds(30))) << "the buffer is full";
    instrument.Step();
    ASSERT_TRUE(Asked());
    Send(100, 1400);
    instrument.Step(2);
    ASSERT_TRUE(Asked());

    ASSERT_TRUE(instrument.WaitCaptured(kPatience));
    const std::vector<sim::Sample> played = instrument.Captured();
    for (std::size_t i = 0; i < played.size(); ++i)
        ASSERT_EQ(played[i], (sim::Sample{32768, static_cast<std::int16_t>(i)})) << i;

    const sim::StreamStats stats = instrument.Stats().stream;
    EXPECT_EQ(stats.bursts, 3u);
    EXPECT_EQ(stats.unasked_bursts, 1u);
    EXPECT_EQ(stats.requests, 3u);
    EXPECT_EQ(stats.sequence_gaps, 0u);
    EXPECT_EQ(stats.bad_headers, 0u);
    EXPECT_EQ(stats.first_byte_us.size(), 2u);
    EXPECT_EQ(stats.underruns, 0u);
}

TEST_F(SteppedTwin, CountsGapsBadHeadersAndStarts)
{
    SetOutput(true);
    Send(0);
    Send(51); // 50 is missing
    Send(101);
    sim::Burst odd = MakeBurst(151);
    odd[5] = 13;
    host->Write(odd);
    ASSERT_TRUE(WaitUntil([&] { return instrument.Stats().stream.bursts == 4; }));
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 1u);
    EXPECT_EQ(instrument.Stats().stream.bad_headers, 1u);
    EXPECT_EQ(instrument.Stats().stream.overflows, 2u) << "there was room for two";
    EXPECT_EQ(instrument.Stats().stream.stream_starts, 1u);

    instrument.Step(5);
    EXPECT_EQ(instrument.Stats().stream.underruns, 1u);
}

TEST_F(SteppedTwin, DropsWhatItHoldsWhenSwitchedOff)
{
    SetOutput(true);
    Send(0);
    ASSERT_TRUE(Asked());
    SetOutput(false);
    host->Write(MakeBurst(50));
    ASSERT_TRUE(WaitUntil([&] { return instrument.Stats().stream.ignored_packets == 50; }));
    EXPECT_EQ(instrument.Stats().stream.discarded_samples, sim::kSamplesPerBurst);
    SetOutput(true);
    Send(0);
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
    EXPECT_EQ(instrument.Stats().stream.stream_starts, 2u);
}

class FastTwin : public Twin {
protected:
    FastTwin() : Twin(FastClock()) {}
};

TEST_F(FastTwin, AsksAsSoonAsABurstIsThere)
{
    SetOutput(true);
    std::uint64_t consumed = 0;
    instrument.SetConsumer([&consumed](std::span<const sim::Sample> samples) { consumed += samples.size(); });
    instrument.KeepBursts(1);
    constexpr unsigned kBursts = 1400; // beyond the wrap of the sequence number
    for (unsigned burst = 0; burst < kBursts; ++burst) {
        if (burst > 0) {
            ASSERT_TRUE(Asked()) << burst;
        }
        ASSERT_EQ(host->Write(MakeBurst(static_cast<std::uint16_t>(burst * 50))), sim::kBurstBytes);
    }
    ASSERT_TRUE(Asked());
    instrument.SetConsumer(nullptr);
    EXPECT_EQ(consumed, kBursts * sim::kSamplesPerBurst);
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
    EXPECT_EQ(instrument.Stats().stream.bursts, kBursts);
    ASSERT_EQ(instrument.Bursts().size(), 1u);
    EXPECT_EQ(instrument.Bursts()[0], MakeBurst(static_cast<std::uint16_t>((kBursts - 1) * 50)));
}

TEST_F(FastTwin, PlaysAnUploadedPeriodWithItsFraction)
{
    // 15 samples and a half a period: every second one is a sample longer, its last sample held.
    host->Exchange(Packet({0xEA, 0xFF, 0x01, 0, 0, 0, 0, 15}), 64);
    for (std::uint8_t index = 0; index < 28; index = static_cast<std::uint8_t>(index + 14)) {
        sim::Block data = Packet({0xEA, 0xFF, 0x04, 0, 0, 0, 0, index});
        for (std::size_t k = 0; k < 14 && index + k < 15; ++k)
            data[8 + 4 * k + 3] = static_cast<std::uint8_t>(index + k + 1);
        ASSERT_EQ(host->Exchange(data, 64).size(), 64u);
    }
    instrument.StartCapture(31 * 100);
    const sim::Block start =
        Packet({0xEA, 0xFF, 0x00, 0x00, 0x01, 0, 0, 0, 0x9C, 0x40, 500 / 256, 500 % 256, 0x04});
    ASSERT_EQ(host->Exchange(start, 64).size(), 64u);
    EXPECT_TRUE(instrument.State().memory_playing);
    ASSERT_TRUE(instrument.WaitCaptured(kPatience));
    ASSERT_EQ(host->Exchange(kStop, 64).size(), 64u);
    EXPECT_FALSE(instrument.State().memory_playing);

    const std::vector<sim::Sample> played = instrument.Captured();
    for (std::size_t i = 0; i < played.size(); ++i) {
        const std::size_t in_pair = i % 31;
        const std::size_t expected = in_pair < 15 ? in_pair + 1 : std::min<std::size_t>(in_pair - 15, 14) + 1;
        ASSERT_EQ(static_cast<std::size_t>(played[i].ac), expected) << i;
    }
}

TEST_F(Twin, PlaysOnItsOwnClockAndRunsDry)
{
    SetOutput(true);
    const auto start = sim::Clock::now();
    constexpr unsigned kBursts = 20;
    for (unsigned burst = 0; burst < kBursts; ++burst) {
        if (burst > 0) {
            ASSERT_TRUE(Asked());
        }
        host->Write(MakeBurst(static_cast<std::uint16_t>(burst * 50)));
    }
    ASSERT_TRUE(WaitUntil(
        [&] { return instrument.Stats().stream.played_samples == kBursts * sim::kSamplesPerBurst; }));
    EXPECT_GE(sim::Clock::now() - start, kBursts * sim::kBurstTime);
    EXPECT_TRUE(WaitUntil([&] { return instrument.Stats().stream.underruns > 0; }));
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
}

TEST_F(Twin, RepeatsARequestThatNobodyAnswers)
{
    SetOutput(true);
    ASSERT_TRUE(Asked()) << "also without a first burst";
    ASSERT_TRUE(Asked());
    EXPECT_GE(instrument.Stats().stream.repeated_requests, 1u);
}

} // namespace
} // namespace zeka::test
