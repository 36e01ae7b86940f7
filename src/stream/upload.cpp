// upload.cpp (stream) - sends one period of the selected function, computed and scaled as in the stream,
// into the instrument's memory: for playback without the host, or stored for the instrument's standalone
// mode. All under g_CriticalSection. An upload leaves the signal clock one period ahead and the working
// values set for the function.
#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

#include "device/exchange.h"
#include "device/memory.h"
#include "device/output_stage.h"
#include "signal/ecg.h"
#include "signal/frame.h"
#include "signal/functions.h"
#include "signal/generator.h"
#include "signal/numeric.h"
#include "signal/pacing.h"
#include "signal/standard_waveforms.h"
#include "stream/playback.h"
#include "stream/scaling.h"
#include "util/bytes.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

using Packet = std::array<std::uint8_t, kBlockBytes>;

/// Describes what is played. The instrument answers with 64 bytes, which are not examined.
namespace info_packet {
constexpr std::array<std::uint8_t, 3> kHead{0xEA, 0xFF, 0x01};
constexpr std::size_t kSamplesAt = 6;
constexpr std::size_t kFrequencyAt = 8; // 0.01 Hz
constexpr std::size_t kFunctionAt = 10;
constexpr std::size_t kPulseWidthAt = 11; // high byte of the width in ms; the low byte is not sent
constexpr std::size_t kNoiseAt = 36;
constexpr std::size_t kNoiseAmplitudeAt = 38;  // 0.01 mV
constexpr std::size_t kPacingAmplitudeAt = 40; // mV
constexpr std::size_t kPacingDurationAt = 42;  // ms
constexpr std::size_t kPacingRateAt = 44;      // per min
constexpr double kHundredth = 0.01;
} // namespace info_packet

/// 14 samples. The instrument answers with the same 64 bytes, but for the status byte.
namespace data_packet {
constexpr std::array<std::uint8_t, 3> kHead{0xEA, 0xFF, 0x04};
constexpr std::size_t kStatusAt = 3;
constexpr std::size_t kIndexAt = 6;
constexpr std::size_t kSlotsAt = 8;
constexpr std::size_t kSlotBytes = 4; // DC word, then AC word
constexpr std::size_t kSamples = 14;
constexpr std::size_t kSlotsBytes = kSamples * kSlotBytes;
static_assert(kSlotsAt + kSlotsBytes == kBlockBytes);
} // namespace data_packet

constexpr std::size_t kOutputOnAt = 4;   // in the output-control record
constexpr int kStandaloneItem = 1;       // of the instrument's ROM
constexpr int kMaxPeriodSamples = 65535; // the index of a data packet has 16 bits

// Results of the standalone save; not those of the other setters.
constexpr int kSaved = 1;
constexpr int kSaveBusy = 1; // callers cannot distinguish it from a committed save
constexpr int kNotSaved = 0;

constexpr int kDefaultFunction = ZEKA_FUNCTION_FIXED_ECG;
constexpr double kDefaultHz = 1.0;
constexpr double kDefaultMillivolts = 2.0;

/// The low 16 bits of a number truncated toward zero; 0 for NaN and numbers that are too large.
std::uint16_t Low16(double value) noexcept
{
    constexpr double kBound = 9.0e15; // every double this small truncates into 64 bits
    if (!(std::fabs(value) < kBound))
        return 0;
    return static_cast<std::uint16_t>(static_cast<std::int64_t>(value) & 0xFFFF);
}

std::uint16_t Low16(std::int64_t value) noexcept { return static_cast<std::uint16_t>(value & 0xFFFF); }

/// Writes the word, high byte first, at a place of the packet that is checked at compile time.
template <std::size_t kAt> void PutWord(Packet& packet, std::uint16_t word) noexcept
{
    static_assert(kAt + 2 <= kBlockBytes);
    PutBe16(std::span<std::uint8_t, 2>{packet.data() + kAt, 2}, word);
}

/// The working values of the generator for the selected function, without the caps of the apply step.
void PrepareGenerator() ZEKA_NEEDS_LOCK
{
    assert(g_nSampleRate > 0);
    const int function = Peek(g_MainOutput);
    const double amplitude = Peek(g_Amplitude);
    s_A = KindOf(function) == Kind::kEcg ? amplitude : amplitude / 2.0;
    g_fTimePeriod = 1.0 / Peek(g_F);
    s_PW = g_PulseWidth / 1000.0;
    _CheckECGTime();
}

/// Sends one data packet; true when the answer equals the packet, with the status byte set.
bool SendAcknowledged(Packet& packet)
{
    Packet reply;
    if (!Exchange(packet, reply))
        return false;
    packet[data_packet::kStatusAt] = kStatusDone;
    return reply == packet;
}

/// Ends an upload that is to be stored: switches the output off, with the settings of the waveform.
bool SwitchOutputOff() ZEKA_NEEDS_LOCK
{
    assert(HoldsCriticalSection());
    _DEVICE_CONTROL_SETTING record{};
    if (!GetDeviceControlSetting(&record))
        return false;
    record.bytes[kOutputOnAt] = 0;
    Packet reply;
    return Exchange(record.bytes, reply);
}

} // namespace
} // namespace zeka

bool GenWaveform(int* count, double** ac, double** dc)
{
    assert(count != nullptr && ac != nullptr && dc != nullptr);
    const double frequency = ZEKAGetFrequency();
    const int samples = std::clamp(GetPixelNumberByFrequency(frequency), 0, zeka::kMaxPeriodSamples);
    const auto size = static_cast<std::size_t>(samples);
    std::unique_ptr<double[]> ac_values{new (std::nothrow) double[size]};
    std::unique_ptr<double[]> dc_codes{new (std::nothrow) double[size]{}};
    if (ac_values == nullptr || dc_codes == nullptr)
        return false;

    zeka::PrepareGenerator();
    const double dt = 1.0 / GetSampleRateByFrequency(frequency);
    const std::uint16_t dc_code =
        g_nDcDACValue >= 0 ? zeka::Low16(std::int64_t{g_nDcDACValue}) : ECG_DC_VoltageToDAC(g_DCSetting);
    for (std::size_t i = 0; i < size; ++i) {
        ac_values[i] = _GetMainFunctionVoltage(zeka::TimeInPeriod(g_fOutputTime, g_fTimePeriod));
        dc_codes[i] = dc_code;
        g_fOutputTime += dt;
    }
    *count = samples;
    *ac = ac_values.release();
    *dc = dc_codes.release();
    return true;
}

bool WriteRawData()
{
    using namespace zeka::data_packet;
    int count = 0;
    double* ac = nullptr;
    double* dc = nullptr;
    if (!GenWaveform(&count, &ac, &dc))
        return false;
    const std::unique_ptr<double[]> ac_values{ac};
    const std::unique_ptr<double[]> dc_codes{dc}; // not used: the upload converts voltages to DC words

    const auto samples = static_cast<std::size_t>(count);
    const std::size_t length = (samples * kSlotBytes + kSlotsBytes - 1) / kSlotsBytes * kSlotsBytes;
    const std::unique_ptr<std::uint8_t[]> image{new (std::nothrow) std::uint8_t[length]{}};
    if (image == nullptr)
        return false;
    for (std::size_t i = 0; i < samples; ++i) {
        double not_used = 0.0; // overshoot on the AC channel: not part of an uploaded period
        const double dc_millivolts = g_bVariableDC ? g_DCSetting : _GetPacingV5(not_used);
        const std::span slot{image.get() + i * kSlotBytes, kSlotBytes};
        const double ac_counts = ac_values[i] * zeka::kAcGain * (zeka::kAcScale / GetAttenuation());
        zeka::PutBe16(slot.first<2>(), ECG_DC_VoltageToDAC(dc_millivolts));
        zeka::PutBe16(slot.last<2>(), static_cast<std::uint16_t>(zeka::AcWord(ac_counts)));
    }
    return WriteWaveformRawData(image.get(), static_cast<unsigned>(length));
}

bool WriteWaveformRawData(unsigned char* data, unsigned int length)
{
    using namespace zeka::data_packet;
    const std::span<const std::uint8_t> image{data, length};
    for (std::size_t index = 0; index < length / kSlotBytes; index += kSamples) {
        zeka::Packet packet{};
        std::copy(kHead.begin(), kHead.end(), packet.begin());
        zeka::PutWord<kIndexAt>(packet, zeka::Low16(static_cast<std::int64_t>(index)));
        const auto rest = image.subspan(index * kSlotBytes);
        std::copy_n(rest.begin(), std::min(rest.size(), kSlotsBytes), packet.begin() + kSlotsAt);
        if (!zeka::SendAcknowledged(packet))
            return false;
    }
    return true;
}

bool WriteWaveformInfo()
{
    using namespace zeka::info_packet;
    zeka::Packet packet{};
    std::copy(kHead.begin(), kHead.end(), packet.begin());
    const double frequency = ZEKAGetFrequency();
    zeka::PutWord<kSamplesAt>(packet, zeka::Low16(std::int64_t{GetPixelNumberByFrequency(frequency)}));
    zeka::PutWord<kFrequencyAt>(packet, zeka::Low16(frequency / kHundredth));
    packet[kFunctionAt] = static_cast<std::uint8_t>(zeka::Peek(g_MainOutput) & 0xFF);
    packet[kPulseWidthAt] = static_cast<std::uint8_t>(zeka::Low16(ZEKAGetPulseWidth()) >> 8);
    zeka::PutWord<kNoiseAt>(packet, zeka::Low16(std::int64_t{GetECG2_27_NoiseFreq()}));
    zeka::PutWord<kNoiseAmplitudeAt>(packet, zeka::Low16(GetECG2_27_NoiseAmp() / kHundredth));
    zeka::PutWord<kPacingAmplitudeAt>(packet, zeka::Low16(ZEKAGetPacingAmplitude()));
    zeka::PutWord<kPacingDurationAt>(packet, zeka::Low16(ZEKAGetPacingDuration()));
    zeka::PutWord<kPacingRateAt>(packet, zeka::Low16(std::int64_t{ZEKAGetPacingRate()}));
    zeka::Packet reply;
    return zeka::Exchange(packet, reply);
}

int ZEKASaveToStandaloneMode(int function)
{
    if (function == ZEKA_FUNCTION_IEC60601_2_47)
        zeka::PreparePattern247(); // before the lock, as for streaming
    const zeka::SetterFrame frame;
    if (frame.State() == zeka::FrameState::kBusy)
        return zeka::kSaveBusy;
    if (!frame.Ready())
        return zeka::kNotSaved;
    zeka::Publish(g_MainOutput, function);
    if (!WriteWaveformInfo() || !WriteRawData())
        return zeka::kNotSaved;                      // the function stays selected
    zeka::Publish(g_MainOutput, ZEKA_FUNCTION_NONE); // no apply step: a save does not stop a running stream
    if (!zeka::SwitchOutputOff())
        return zeka::kNotSaved;
    return WriteToROM(zeka::kStandaloneItem) ? zeka::kSaved : zeka::kNotSaved;
}

int ZEKASaveDefaultWaveform()
{
    ZEKAReset();
    (void)ZEKASetFrequency(zeka::kDefaultHz);
    (void)ZEKASetAmplitude(zeka::kDefaultMillivolts);
    for (int channel = 0; channel < zeka::kChannels; ++channel) {
        (void)ZEKASetOutputLead(channel, 0);
        (void)ZEKASetInputImpedanceMode(channel, 0);
    }
    (void)ZEKASaveToStandaloneMode(zeka::kDefaultFunction);
    return zeka::kSaved; // whether or not it was stored
}
