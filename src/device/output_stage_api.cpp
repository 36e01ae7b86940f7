// output_stage_api.cpp (device) - the exported calls of the output stage: the setter frame around
// output_stage.h.
#include "device/output_stage.h"
#include "signal/frame.h"

namespace zeka {
namespace {
constexpr int kHighestImpedanceMode = 3;
constexpr int kCannotAsk = 1; // result of the signal-ground getter when the instrument cannot be read
} // namespace
} // namespace zeka

int ZEKASetOutputLead(int channel, OutputLead lead)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    if (!zeka::IsChannel(channel))
        return zeka::kOutOfRange;
    SetRelays(true);
    // An unconfirmed change has the same code as a channel out of range.
    return SetOutputLead(channel, lead) ? zeka::kOk : zeka::kOutOfRange;
}

int ZEKASetInputImpedanceMode(int channel, int mode)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    if (!zeka::IsChannel(channel) || mode < 0 || mode > zeka::kHighestImpedanceMode)
        return zeka::kOutOfRange;
    (void)SetInputImpedanceMode(channel, mode);
    return zeka::kOk;
}

int ZEKAGetInputImpedanceMode(int channel)
{
    const zeka::SetterFrame frame;
    if (frame.State() == zeka::FrameState::kBusy)
        return zeka::kNoAnswer;
    if (!zeka::IsChannel(channel))
        return zeka::kOutOfRange;
    return GetInputImpedanceMode(channel); // 0 with no device: the exchange fails
}

int ZEKASetSignalGroundToGNDGround(int channel, bool on)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    if (!zeka::IsChannel(channel))
        return zeka::kOutOfRange;
    (void)SetSignalGroundToGNDGround(channel, on);
    return zeka::kOk;
}

int ZEKAGetSignalGroundToGNDGround(int channel)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kCannotAsk;
    if (!zeka::IsChannel(channel))
        return zeka::kOutOfRange;
    return GetSignalGroundToGNDGround(channel) ? 1 : 0;
}

int ZEKAGetOutputStage(ZEKA_OUTPUT_STAGE* stage)
{
    static_assert(sizeof(ZEKA_OUTPUT_STAGE) == 68,
                  "the header names this size; a longer record is filled as far as it goes");
    if (stage == nullptr || stage->size < sizeof(ZEKA_OUTPUT_STAGE))
        return zeka::kOutOfRange;
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    return ReadOutputStage(*stage) ? zeka::kOk : zeka::kNoAnswer;
}

int SetAllOutputState(unsigned int /*state*/)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    SetRelays(true);
    return zeka::kOk;
}
