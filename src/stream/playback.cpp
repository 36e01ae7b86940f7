// playback.cpp (stream) - playback from the instrument's own memory: the start and stop commands, the sample
// rate of an uploaded period, the silent burst; and the two loop switches of the host's own stream. Every
// exchange runs under g_CriticalSection. While a signal streams, a call first waits for the instrument's
// request, so that it cannot take a request for its reply.
#include "stream/playback.h"

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "device/exchange.h"
#include "device/output_stage.h"
#include "link/serial_link.h"
#include "signal/frame.h"
#include "signal/numeric.h"
#include "stream/burst.h"
#include "stream/scaling.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

// Periodic functions, which the instrument can play on its own.
constexpr int kFirstPeriodic = ZEKA_FUNCTION_SINE;
constexpr int kLastPeriodic = ZEKA_FUNCTION_ADJUSTABLE_ECG;

constexpr double kPlaybackRangeMv = 5.0;

constexpr std::size_t kOutputOnAt = 4; // in the start record and in the stop command
constexpr std::array<std::uint8_t, 5> kStopRequest{0xEA, 0xFF, 0x00, 0x00, 0x00};
static_assert(kStopRequest[kOutputOnAt] == 0x00);

// Highest first: the first rate at which a period fits into kMaxSamplesPerPeriod is taken, the number of
// samples that the instrument is meant to store.
constexpr std::array kRates{40000, 20000, 10000, 8000, 5000, 4000, 2000, 1000, 500, 400, 200, 100, 50};
constexpr double kMaxSamplesPerPeriod = 2000.0;
constexpr int kFallbackRate = 1000; // below 0.025 Hz: more samples than the limit

constexpr std::uint16_t kSilentSequence = 0xFF00; // fixed: the stream's counter is not touched

/// Uploads the function and switches the output on. Reports no failure.
void StartPlayback(int function) ZEKA_NEEDS_LOCK
{
    assert(HoldsCriticalSection() && function >= kFirstPeriodic && function <= kLastPeriodic);
    g_hStopPlayEvent.ResetEvent(); // a stop that still waits belongs to what played before
    Publish(g_MainOutput, function);
    ReleaseOutput();
    g_fVoltageRange = kPlaybackRangeMv;
    if (WriteWaveformInfo() && WriteRawData())
        (void)OutputSignal();
}

} // namespace
} // namespace zeka

bool OutputSignal()
{
    _DEVICE_CONTROL_SETTING record{};
    if (!GetDeviceControlSetting(&record))
        return false;
    record.bytes[zeka::kOutputOnAt] = 1;
    std::array<std::uint8_t, zeka::kBlockBytes> reply;
    return zeka::Exchange(record.bytes, reply);
}

bool StopOutput()
{
    std::array<std::uint8_t, zeka::kBlockBytes> reply;
    return zeka::Exchange(zeka::kStopRequest, reply);
}

void SendStopPacket()
{
    std::array<std::uint8_t, zeka::kBurstBytes> burst{};
    const std::uint16_t zero = ECG_DC_VoltageToDAC(0.0);
    for (std::size_t packet = 0; packet < zeka::kBurstPackets; ++packet)
        zeka::PutHeader(burst, packet, zeka::kSilentSequence);
    for (std::size_t n = 0; n < zeka::kBurstSamples; ++n)
        zeka::PutSlot(burst, n, zero, 0);
    (void)WriteData(burst.data(), static_cast<int>(burst.size()), 1);
}

int ZEKAOutputSignal(int function)
{
    const zeka::SetterFrame frame;
    if (frame.State() == zeka::FrameState::kBusy)
        return zeka::kNoAnswer;
    if (function < zeka::kFirstPeriodic || function > zeka::kLastPeriodic) {
        (void)StopOutput(); // with no device nothing plays: stopped as well
        return zeka::kOk;
    }
    if (!frame.Ready())
        return zeka::kNoAnswer;
    zeka::StartPlayback(function);
    return zeka::kOk;
}

int GetSampleRateByFrequency(double hz)
{
    const double period = 1.0 / hz; // infinite at 0, where only the fallback is left
    for (const int rate : zeka::kRates)
        if (zeka::kMaxSamplesPerPeriod >= rate * period)
            return rate;
    return zeka::kFallbackRate;
}

int GetPixelNumberByFrequency(double hz)
{
    return zeka::TruncToInt(GetSampleRateByFrequency(hz) * (1.0 / hz));
}

void SetStandardWaveformLoop(bool on) { zeka::Publish(s_loopPlay, on); }

void ZEKAEnableLoop(bool on) { zeka::Publish(s_loopFile, on); }
