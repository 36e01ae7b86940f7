// recordings_test.cpp - recordings and uploaded periods over the wire: the instrument plays what went in.
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "sim/measure.h"
#include "system/connected.h"

namespace {

using zeka::sim::Command;
using zeka::sim::Fault;
using zeka::sim::Sample;
using zeka::test::Connected;
using zeka::test::kPatience;

constexpr int kRate = 1000;
constexpr std::size_t kHeld = 40; // samples of the stream for one of the recording

/// One second of a recording: a slow wave with a sharp edge, in steps that three decimals hold.
std::vector<double> Wave(double offset)
{
    std::vector<double> values;
    for (int i = 0; i < kRate; ++i)
        values.push_back(offset + (i < 500 ? i : i - 1000) / 500.0);
    return values;
}

std::int16_t AcWord(double millivolts) { return static_cast<std::int16_t>(millivolts * 6400.0); }

/// A text file beside the test, removed with it.
class Dumped {
public:
    explicit Dumped(std::vector<double> values)
    {
        static int number = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("zeka-recording-" + std::to_string(::getpid()) + "-" + std::to_string(++number));
        EXPECT_EQ(OutputRaw(kRate, static_cast<unsigned>(values.size()), values.data(), "II",
                            path_.wstring().c_str()),
                  0);
    }
    ~Dumped() { std::filesystem::remove(path_); }
    Dumped(const Dumped&) = delete;
    Dumped& operator=(const Dumped&) = delete;
    [[nodiscard]] std::string Path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

class Recording : public Connected {
protected:
    Recording() : Connected(zeka::test::FastClock()) {}

    std::vector<Sample> Play(int function, std::size_t samples)
    {
        instrument.StartCapture(samples);
        EXPECT_EQ(ZEKASetOutputFunction(function), 0);
        EXPECT_TRUE(instrument.WaitCaptured(kPatience));
        EXPECT_EQ(ZEKASetOutputFunction(0), 0);
        return instrument.Captured();
    }
};

TEST_F(Recording, DumpedLoadedPlayedAndRecordedIsWhatItWas)
{
    const std::vector<double> wave = Wave(0.25);
    const Dumped file(wave);
    ASSERT_EQ(LoadECGtxt(file.Path().c_str(), 0), kRate);
    constexpr std::size_t kTwoPasses = 2 * kRate * kHeld;
    std::vector<double> ac(kTwoPasses, -1.0);
    std::vector<double> dc(kTwoPasses, -1.0);
    ASSERT_TRUE(EnableRecordRaw(ac.data(), dc.data(), static_cast<int>(kTwoPasses)));
    const auto played = Play(14, kTwoPasses);
    DisableRecordRaw();
    ASSERT_EQ(played.size(), kTwoPasses);
    for (std::size_t i = kHeld / 2; i < kTwoPasses; i += kHeld) // in the middle of every sample
        ASSERT_NEAR(played[i].ac, AcWord(wave[i / kHeld % kRate]), 1) << i;
    for (std::size_t i = 0; i < kTwoPasses; ++i) {
        ASSERT_EQ(static_cast<std::int16_t>(ac[i]), played[i].ac) << i;
        ASSERT_EQ(dc[i], 0.0) << i;
    }
}

TEST_F(Recording, RawDataComesBackOnBothChannels)
{
    std::vector<double> ac = Wave(0.0);
    std::vector<double> dc = Wave(-300.0);
    RAW_WAVEFORM_DATA data{kRate, kRate, ac.data(), dc.data()};
    ASSERT_EQ(ZEKALoadRawData(&data), kRate);
    const auto played = Play(18, kRate * kHeld);
    for (std::size_t i = kHeld / 2; i < played.size(); i += kHeld) {
        ASSERT_NEAR(played[i].ac, AcWord(ac[i / kHeld]), 1) << i;
        ASSERT_NEAR(played[i].dc, (dc[i / kHeld] + 1000.0) / 2000.0 * 65535.0, 1.0) << i;
    }
}

TEST_F(Recording, PlayedOnceEndsTheStream)
{
    const Dumped file(Wave(0.0));
    ASSERT_EQ(LoadECGtxt(file.Path().c_str(), 0), kRate);
    ZEKAEnableLoop(false);
    ASSERT_EQ(ZEKASetOutputFunction(14), 0);
    EXPECT_TRUE(zeka::test::WaitUntil([] { return !ZEKAIsPlaying(); }));
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
}

class RecordingAtItsPace : public Connected {
protected:
    RecordingAtItsPace() : Connected(zeka::test::PatientInstrument()) {}
};

TEST_F(RecordingAtItsPace, MayBeReplacedWhileItPlays)
{
    const Dumped low(std::vector<double>(300, -1.0));
    const Dumped high(std::vector<double>(2000, 2.0));
    ASSERT_EQ(LoadECGtxt(low.Path().c_str(), 0), 300);
    ASSERT_EQ(ZEKASetOutputFunction(14), 0);
    ASSERT_TRUE(Streams(3));
    instrument.StartCapture(40000);
    std::thread loader([&] {
        for (int i = 0; i < 40; ++i) {
            EXPECT_EQ(LoadECGtxt(high.Path().c_str(), 0), 2000);
            EXPECT_EQ(LoadECGtxt(low.Path().c_str(), 0), 300);
        }
    });
    loader.join();
    ASSERT_TRUE(instrument.WaitCaptured(kPatience));
    for (const Sample& sample : instrument.Captured())
        ASSERT_TRUE(sample.ac == AcWord(-1.0) || sample.ac == AcWord(2.0)) << sample.ac;
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
    EXPECT_EQ(instrument.Stats().stream.repeated_requests, 0u);
}

class MemoryPlayback : public Connected {
protected:
    MemoryPlayback() : Connected(zeka::test::PatientInstrument()) {}

    /// One sample of an uploaded sine of 2 mV peak to peak.
    static std::int16_t Sine(double hz, double time)
    {
        const double t = time - 1.0 / hz * std::trunc(time / (1.0 / hz));
        return static_cast<std::int16_t>(std::sin(hz * 6.2831853 * t) * 6400.0);
    }
};

TEST_F(MemoryPlayback, AnUploadedPeriodIsPlayedAsItWasComputed)
{
    ASSERT_EQ(ZEKASetAmplitude(2.0), 0);
    double clock = 0.0; // each upload advances it by one period; the next upload begins there
    for (const double hz : {3.0, 60.0, 1.0}) {
        // An uploaded function stays selected, and a setter would stream it.
        ASSERT_EQ(ZEKASetOutputFunction(0), 0);
        ASSERT_EQ(ZEKASetFrequency(hz), 0);
        const double step = 1.0 / GetSampleRateByFrequency(hz);
        const auto samples = static_cast<std::size_t>(GetPixelNumberByFrequency(hz));
        instrument.StartCapture(samples);
        ASSERT_EQ(ZEKAOutputSignal(1), 0);
        ASSERT_TRUE(instrument.WaitCaptured(kPatience));
        EXPECT_TRUE(instrument.State().memory_playing);
        for (const Sample& sample : instrument.Captured()) {
            ASSERT_NEAR(sample.ac, Sine(hz, clock), 1) << hz << " Hz at " << clock;
            ASSERT_EQ(sample.dc, 0x8000);
            clock += step;
        }
        ASSERT_EQ(ZEKAOutputSignal(0), 0);
        EXPECT_TRUE(instrument.WaitFor([&] { return !instrument.State().memory_playing; }, kPatience));
    }
}

TEST_F(MemoryPlayback, ASaveStoresTheImageAndReturnsWhenItIsStored)
{
    EXPECT_EQ(ZEKASaveDefaultWaveform(), 1);
    const auto state = instrument.State();
    EXPECT_EQ(state.rom_stores.at(1), 1u);
    ASSERT_TRUE(state.rom_waveform.has_value());
    EXPECT_EQ(state.rom_waveform->function, 7u);
    EXPECT_EQ(state.rom_waveform->samples, 2000u);
    EXPECT_EQ(state.rom_waveform->frequency_hz, 1.0);
    EXPECT_EQ(state.rom_image.size(), 8008u);
    EXPECT_FALSE(state.memory_playing);
}

TEST_F(MemoryPlayback, AWrongAcknowledgementLeavesNothingPlaying)
{
    instrument.Inject({.fault = Fault::kWrongAck, .limit = 1, .command = Command::kWaveformData});
    EXPECT_EQ(ZEKAOutputSignal(1), 0);
    EXPECT_FALSE(instrument.State().memory_playing);
    EXPECT_EQ(ZEKAOutputSignal(1), 0);
    EXPECT_TRUE(instrument.State().memory_playing);
}

TEST_F(MemoryPlayback, BesideARunningStreamNoRequestIsLost)
{
    ASSERT_EQ(ZEKASetFrequency(60.0), 0);
    ASSERT_EQ(ZEKASetOutputFunction(3), 0);
    ASSERT_TRUE(Streams(3));
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(ZEKAOutputSignal(0), 0);
        EXPECT_TRUE(Streams(instrument.Stats().stream.bursts + 2));
    }
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
    EXPECT_EQ(instrument.Stats().stream.repeated_requests, 0u);
    EXPECT_EQ(instrument.Stats().unknown_bytes, 0u);
}

} // namespace
