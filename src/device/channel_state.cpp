// channel_state.cpp (device) - the command that enables channels and switches their leads by bit masks, and
// its two exported calls. The instrument holds the masks, so each change reads them first.
#include <array>
#include <cstdint>

#include "device/exchange.h"
#include "device/packets.h"
#include "signal/frame.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

struct ChannelMasks {
    std::uint8_t enabled;
    std::uint8_t leads;
};

using ChannelStateRequest = std::array<std::uint8_t, 6>;

template <typename Change> bool ChangeChannelState(Change&& change)
{
    constexpr ChannelStateRequest kRequest{hardware::kGroup, kRead, hardware::kChannelState};
    Block answer{};
    if (!ReadToWriteBack(kRequest, answer) || answer[kStatusAt] != kStatusDone)
        return false;
    const ChannelMasks next =
        change(ChannelMasks{answer[hardware::kEnabledMaskAt], answer[hardware::kLeadMaskAt]});
    const ChannelStateRequest request{hardware::kGroup, kWrite,    hardware::kChannelState, 0x00,
                                      next.enabled,     next.leads};
    return WriteBack(request, answer) && answer[kStatusAt] == kStatusDone;
}

constexpr std::uint8_t WithBits(std::uint8_t mask, std::uint8_t bits, bool on)
{
    return static_cast<std::uint8_t>(on ? mask | bits : mask & ~bits);
}

} // namespace
} // namespace zeka

bool SetSelectedChannelEnabled(unsigned char mask, bool on)
{
    const zeka::SetterFrame frame;
    return frame.Ready() && zeka::ChangeChannelState([mask, on](zeka::ChannelMasks now) {
               return zeka::ChannelMasks{zeka::WithBits(now.enabled, mask, on), now.leads};
           });
}

bool SetSelectedChannelLeads(unsigned char mask, OutputLead lead)
{
    const zeka::SetterFrame frame;
    return frame.Ready() && zeka::ChangeChannelState([mask, lead](zeka::ChannelMasks now) {
               return zeka::ChannelMasks{mask, zeka::WithBits(now.leads, mask, lead != 0)};
           });
}
