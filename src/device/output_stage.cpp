// output_stage.cpp (device) - reads, changes and writes back the instrument's output-stage control block, and
// sends the calibration-mode and direct-DAC commands. Everything runs under g_CriticalSection.
#include "device/output_stage.h"

#include <algorithm>
#include <span>

#include "device/exchange.h"
#include "device/packets.h"
#include "signal/frame.h"
#include "util/peek.h"

namespace zeka {
namespace {

namespace cb = control_block;

bool output_held_off ZEKA_LOCKED = false;

using ChannelGroup = std::span<std::uint8_t, cb::kChannelBytes>;

ChannelGroup GroupOf(Block& block, int channel)
{
    const std::size_t at = cb::kChannelsAt + static_cast<std::size_t>(channel) * cb::kChannelBytes;
    return std::span(block).subspan(at).first<cb::kChannelBytes>();
}

constexpr std::uint8_t Flag(bool on) { return on ? cb::kFlagOn : cb::kFlagOff; }

constexpr Block kReadRequest{};

bool ReadControlBlock(Block& block) { return Exchange(kReadRequest, block); }

// Reads the block, alters only the bytes of the setting, and writes the block back.
template <typename Change> bool ChangeControlBlock(Change&& change)
{
    Block block{};
    if (!ReadToWriteBack(kReadRequest, block))
        return false;
    block[kDirectionAt] = kWrite;
    change(block);
    Block answer{};
    return WriteBack(block, answer);
}

template <typename Change> bool ChangeChannel(int channel, Change&& change)
{
    return IsChannel(channel) &&
           ChangeControlBlock([channel, &change](Block& block) { change(GroupOf(block, channel)); });
}

// The flags exclude one another, so an instrument that shows several has no mode: -1.
int ImpedanceModeOf(ChannelGroup group)
{
    // Modes 1, 2, 3.
    constexpr std::size_t kFlagAt[] = {cb::kImpedanceAAt, cb::kImpedanceBAt, cb::kImpedanceCAt};
    constexpr int kSeveral = -1;
    int mode = 0;
    for (int number = 1; const std::size_t at : kFlagAt) {
        if (group[at] == cb::kFlagOn)
            mode = mode == 0 ? number : kSeveral;
        ++number;
    }
    return mode;
}

std::uint8_t DcSourceOf(int channel) ZEKA_NEEDS_LOCK
{
    constexpr std::int32_t kFixedOffsetMv = 300;
    if (g_bTestVariableDC[channel])
        return cb::kDcVariable;
    if (g_bRawVariableDC)
        return cb::kDcNone;
    if (g_DCSetting == kFixedOffsetMv)
        return cb::kDcPlus300;
    return g_DCSetting == -kFixedOffsetMv ? cb::kDcMinus300 : cb::kDcNone;
}

} // namespace

void HoldOutputOff() { output_held_off = g_MainOutput != ZEKA_FUNCTION_NONE; }
void ReleaseOutput() { output_held_off = false; }

} // namespace zeka

void SetRelays(bool /*unused*/)
{
    using namespace zeka;
    const bool selected = g_MainOutput != ZEKA_FUNCTION_NONE && !output_held_off;
    const auto rate = static_cast<unsigned>(g_nSampleRate);
    (void)ChangeControlBlock([selected, rate](Block& block) {
        block[cb::kOutputStateAt] = selected ? cb::kFunctionSelected : cb::kNoFunction;
        PutBe16At(block, cb::kSampleRateAt, rate);
    });
}

bool SetInputImpedanceMode(int c, int mode)
{
    using namespace zeka;
    return ChangeChannel(c, [mode](ChannelGroup group) {
        group[cb::kImpedanceAAt] = Flag(mode == 1);
        group[cb::kImpedanceBAt] = Flag(mode == 2);
        group[cb::kImpedanceCAt] = Flag(mode == 3);
    });
}

int GetInputImpedanceMode(int c)
{
    using namespace zeka;
    Block block{};
    if (!IsChannel(c) || !ReadControlBlock(block))
        return 0;
    const ChannelGroup group = GroupOf(block, c);
    if (group[cb::kImpedanceAAt] == cb::kFlagOn)
        return 1;
    // Modes 2 and 3 read back alike.
    return group[cb::kImpedanceBAt] == cb::kFlagOn || group[cb::kImpedanceCAt] == cb::kFlagOn ? 2 : 0;
}

bool SetSignalGroundToGNDGround(int c, bool on)
{
    using namespace zeka;
    return ChangeChannel(c, [on](ChannelGroup group) { group[cb::kSignalGroundAt] = Flag(on); });
}

bool GetSignalGroundToGNDGround(int c)
{
    using namespace zeka;
    Block block{};
    return IsChannel(c) && ReadControlBlock(block) && GroupOf(block, c)[cb::kSignalGroundAt] == cb::kFlagOn;
}

bool ReadOutputStage(ZEKA_OUTPUT_STAGE& stage)
{
    using namespace zeka;
    Block block{};
    if (!ReadControlBlock(block))
        return false;
    for (int channel = 0; IsChannel(channel); ++channel) {
        const ChannelGroup group = GroupOf(block, channel);
        stage.lead[channel] = group[cb::kLeadAt] == cb::kFlagOn ? 0 : 1;
        stage.impedanceMode[channel] = ImpedanceModeOf(group);
        stage.signalGround[channel] = group[cb::kSignalGroundAt] == cb::kFlagOn ? 1 : 0;
        stage.dcSource[channel] = group[cb::kDcSourceAt];
    }
    return true;
}

bool SetOutputLead(int c, OutputLead lead)
{
    using namespace zeka;
    return ChangeChannel(c, [lead](ChannelGroup group) { group[cb::kLeadAt] = Flag(lead == 0); });
}

bool SetDcOffset(int c)
{
    using namespace zeka;
    if (!IsChannel(c))
        return false;
    const std::uint8_t source = DcSourceOf(c);
    return ChangeChannel(c, [source](ChannelGroup group) { group[cb::kDcSourceAt] = source; });
}

bool SetCalibrationMode(bool on)
{
    using namespace zeka;
    Block request{hardware::kGroup, kWrite, hardware::kCalibrationMode};
    request[hardware::kCalibrationOnAt] = on ? 0x01 : 0x00;
    Block answer{};
    return Exchange(request, answer);
}

bool SetOutputDac(int first, int second)
{
    using namespace zeka;
    Block request{hardware::kGroup, kWrite, hardware::kDirectDac};
    PutBe16At(request, hardware::kFirstDacAt, static_cast<unsigned>(first));
    PutBe16At(request, hardware::kSecondDacAt, static_cast<unsigned>(second));
    Block answer{};
    return Exchange(request, answer);
}

bool GetDeviceControlSetting(_DEVICE_CONTROL_SETTING* out)
{
    using namespace zeka;
    Block block{};
    if (out == nullptr || !ReadToWriteBack(kReadRequest, block)) // the channels' groups go back in the record
        return false;

    // Samples per period, split into whole samples, which the instrument knows, and
    // thousandths. Both are truncated.
    const double hz = ZEKAGetFrequency();
    const int rate = GetSampleRateByFrequency(hz);
    const double per_period = rate / hz;
    constexpr double kMostWhole = 2147483647.0;
    const double whole =
        per_period > -kMostWhole && per_period < kMostWhole ? static_cast<int>(per_period) : per_period;
    const double thousandths = (per_period - whole) * 1000.0;
    const bool countable = thousandths > -kMostWhole && thousandths < kMostWhole; // not for 0 Hz or NaN

    std::ranges::fill(out->bytes, std::uint8_t{0});
    const std::span<std::uint8_t> record(out->bytes);
    record[0] = output_control::kGroup;
    record[kDirectionAt] = kWrite;
    record[output_control::kOutputOnAt] = 0x01;
    PutBe16At(record, output_control::kSampleRateAt, static_cast<unsigned>(rate));
    PutBe16At(record, output_control::kFractionAt,
              countable ? static_cast<unsigned>(static_cast<int>(thousandths)) : 0u);
    record[output_control::kFormatAt] = output_control::kFormat;
    std::copy(block.begin() + cb::kChannelsAt, block.end(), record.begin() + cb::kChannelsAt);
    return true;
}
