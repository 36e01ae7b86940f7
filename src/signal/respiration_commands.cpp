// respiration_commands.cpp - the respiration that the instrument produces itself: its command, its switches
// and the apnea cycle of one minute. Results here are 1 for done and 0 for not done, but for the external
// module's switch. All run under g_CriticalSection. The sample stream calls EnableApneaByTime once per burst;
// that call never waits for a request, because its burst has just answered one or starts the stream.
#include <array>
#include <cassert>
#include <cstdint>

#include "device/exchange.h"
#include "device/output_stage.h"
#include "signal/apply.h"
#include "signal/frame.h"

namespace zeka {
namespace {

namespace respiration_command { // host to instrument; bytes without a name are 0
constexpr std::size_t kBytes = 19;
constexpr std::array<std::uint8_t, 3> kHead{0xEA, 0xFF, 0x01};
constexpr std::size_t kFrequencyAt = 8;
constexpr std::size_t kVariationAt = 9;
constexpr std::size_t kRatioAt = 10;
constexpr std::size_t kBaselineAt = 11;
constexpr std::size_t kApneaAt = 12;
constexpr std::size_t kStatusAt = 3; // in the reply
constexpr unsigned kPauseMs = 5;     // the instrument passes the codes on before it answers
} // namespace respiration_command

constexpr int kOhmsPerBaselineCode = 500;
constexpr int kDone = 1;
constexpr int kNotDone = 0;
constexpr int kExternalModuleOk = 0;
constexpr int kExternalModuleFailed = 1;

/// The codes are the instrument's own; the library sends the low 8 bits of the application's values.
struct RespirationCodes {
    std::uint8_t variation, frequency, ratio, baseline;
};

/// Sends the command; true when the instrument confirmed it.
bool SendRespiration(const RespirationCodes& codes, bool apnea)
{
    namespace layout = respiration_command;
    std::array<std::uint8_t, layout::kBytes> request{layout::kHead[0], layout::kHead[1], layout::kHead[2]};
    request[layout::kFrequencyAt] = codes.frequency;
    request[layout::kVariationAt] = codes.variation;
    request[layout::kRatioAt] = codes.ratio;
    request[layout::kBaselineAt] = codes.baseline;
    request[layout::kApneaAt] = apnea ? 1 : 0;
    std::array<std::uint8_t, kBlockBytes> reply{};
    return Exchange(request, reply, {.pause_ms = layout::kPauseMs}) &&
           reply[layout::kStatusAt] == kStatusDone;
}

/// Switches the instrument's apnea, with the codes that were last sent.
int SwitchApnea(bool on) ZEKA_NEEDS_LOCK
{
    assert(HoldsCriticalSection());
    const RespirationCodes codes{g_nRespirationVariation, g_nRespirationFrequency, g_nRespirationRatio,
                                 g_nRespirationBaseline};
    if (!SendRespiration(codes, on))
        return kNotDone;
    g_bRespirationApneaEnabled = on;
    return kDone;
}

/// Clears what a later EnableRespiration(true) must not find again. Sends nothing.
void ForgetRespiration() ZEKA_NEEDS_LOCK
{
    assert(HoldsCriticalSection());
    g_nRespirationResistance = 0;
    s_BaselineModV = 0.0;
    s_AmpModV = 0.0;
    s_FreqModHz = 0.0;
    g_nRespirationApneaTime = 0;
    g_nRespirationVariation = 0;
    g_nRespirationFrequency = 0;
    g_nRespirationRatio = 0;
    g_nRespirationBaseline = 0;
}

} // namespace
} // namespace zeka

int SetRespiration(int variation, int frequency, int ratio, int baseline, int apneaSeconds)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNotDone;
    const zeka::RespirationCodes codes{static_cast<std::uint8_t>(variation),
                                       static_cast<std::uint8_t>(frequency), static_cast<std::uint8_t>(ratio),
                                       static_cast<std::uint8_t>(baseline)};
    if (!zeka::SendRespiration(codes, false))
        return zeka::kNotDone;

    g_nRespirationVariation = codes.variation;
    g_nRespirationFrequency = codes.frequency;
    g_nRespirationRatio = codes.ratio;
    g_nRespirationBaseline = codes.baseline;
    // From the whole argument, not its low 8 bits; a value that is not in the table attenuates nothing.
    g_nRespirationResistance =
        static_cast<std::int32_t>((std::int64_t{baseline} + 1) * zeka::kOhmsPerBaselineCode);
    g_nRespirationApneaTime = apneaSeconds;
    return zeka::kDone;
}

int SetApnea(bool on)
{
    const zeka::SetterFrame frame;
    return frame.Ready() ? zeka::SwitchApnea(on) : zeka::kNotDone;
}

void EnableApneaByTime(int seconds)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    const bool want = seconds % 60 > std::int64_t{60} - g_nRespirationApneaTime;
    if (want == g_bRespirationApneaEnabled)
        return;
    // Changed before the command, and kept when that fails: a silent instrument must not cost
    // every later burst a time-out.
    g_bRespirationApneaEnabled = want;
    (void)zeka::SwitchApnea(want);
}

int EnableRespiration(bool on)
{
    const zeka::SetterFrame frame;
    if (frame.State() == zeka::FrameState::kBusy)
        return zeka::kNotDone;
    g_RespirationEnabled = on;
    if (!on)
        zeka::ForgetRespiration();
    if (!frame.Ready())
        return zeka::kNotDone;

    _ChangeRequested();
    SetRelays(true);
    return zeka::kDone;
}

int EnableExternalRespireModule(bool on)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kExternalModuleFailed;
    g_ExternalRespireModule = on;
    SetRelays(true);
    return zeka::kExternalModuleOk;
}
