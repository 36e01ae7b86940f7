// exchange.cpp (device) - the one command exchange. It holds the wire lock from before a command's first byte
// to after its reply's last one; the poll thread takes the lock for each read. The wire lock lies inside
// g_CriticalSection and outside of the port's lock.
//
// A command is written in step only (step.h). Out of step a ping comes first; while no ping is
// answered, an exchange fails without having written its command. At the default
// g_nDeviceReadTimeout of 200 ms an exchange takes
// - 200 ms when the reply does not come, and from then on 300 ms until the instrument answers a ping again;
// - 500 ms at most, when the ping is answered and the command is not;
// - up to 200 ms more for each write, when the instrument takes nothing in;
// - 100 ms more when the input does not end.
#include "device/exchange.h"

#include <array>
#include <mutex>

#include "device/input.h"
#include "device/packets.h"
#include "link/serial_link.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

thread_local bool give_up_after_silence = false;
thread_local bool met_silence = false;

// Time for all pings that bring the wire back in step: half as long again as for a reply, because owed bytes
// come ahead of their replies.
unsigned ProofWaitMs()
{
    const unsigned wait_ms = ReplyWaitMs();
    return wait_ms + wait_ms / 2;
}

Deadline ReplyDeadline(std::optional<unsigned> wait_ms)
{
    return Deadline::InMs(wait_ms.value_or(ReplyWaitMs()));
}

bool WriteWhole(std::span<const std::uint8_t> request)
{
    auto* const bytes = const_cast<std::uint8_t*>(request.data()); // WriteData only reads them
    return WriteData(bytes, static_cast<int>(request.size()), 1) == static_cast<int>(request.size());
}

bool Ping(std::span<std::uint8_t, identity::kReplyBytes> reply, const Deadline& deadline)
{
    if (!WriteWhole(identity::kPing))
        return false;
    wire.step.PingWritten();
    return ReadIdentityReply(reply, deadline);
}

// Writes pings until the step is proved. One is not enough while earlier ones are unanswered, because the
// reply that comes may be to one of those.
bool ProveStep()
{
    std::array<std::uint8_t, identity::kReplyBytes> reply;
    const Deadline deadline = Deadline::InMs(ProofWaitMs());
    while (!wire.step.IsProved())
        if (!DeviceUsable() || !Ping(reply, deadline))
            return false;
    return true;
}

bool NothingStrayIsThere()
{
    SortOutInput();
    return wire.step.IsProved();
}

// A lost or closed port owes nothing any more.
void NoteMissing(std::size_t missing, bool begun)
{
    if (DeviceUsable())
        wire.step.ReplyMissing(missing, begun);
}

// REQUIRES: in step.
bool RunCommand(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply,
                const ExchangeTiming& timing)
{
    if (!WriteWhole(request)) {
        NoteMissing(reply.size(), false); // the driver may still deliver it
        return false;
    }
    SleepEx(timing.pause_ms);
    const std::size_t have = ReadReply(reply, ReplyDeadline(timing.reply_wait_ms));
    if (have == reply.size()) {
        wire.step.ReplyCame();
        return true;
    }
    NoteMissing(reply.size() - have, have >= identity::kReplyBytes);
    return false;
}

bool Note(bool answered)
{
    met_silence = met_silence || !answered;
    return answered;
}

bool RunInStep(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply,
               const ExchangeTiming& timing)
{
    return Note((NothingStrayIsThere() || ProveStep()) && RunCommand(request, reply, timing));
}

bool HasGivenUp() { return give_up_after_silence && met_silence; }

} // namespace

bool Exchange(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply, ExchangeTiming timing)
{
    if (HasGivenUp())
        return false;
    const std::scoped_lock hold(wire.lock);
    return RunInStep(request, reply, timing);
}

bool ReadToWriteBack(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply)
{
    if (HasGivenUp())
        return false;
    const std::scoped_lock hold(wire.lock);
    return RunInStep(request, reply, {}) && NothingStrayIsThere();
}

bool WriteBack(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply)
{
    if (HasGivenUp())
        return false;
    const std::scoped_lock hold(wire.lock);
    return NothingStrayIsThere() && Note(RunCommand(request, reply, {}));
}

bool PingExchange(std::span<std::uint8_t, identity::kReplyBytes> reply, std::optional<unsigned> reply_wait_ms)
{
    const std::scoped_lock hold(wire.lock);
    SortOutInput();
    return Note(Ping(reply, ReplyDeadline(reply_wait_ms)));
}

int ReadRequestBlock(std::span<std::uint8_t, kBlockBytes> block, unsigned wait_ms)
{
    {
        const std::scoped_lock hold(wire.lock);
        if (TakeKeptRequest(block))
            return static_cast<int>(kBlockBytes);
    }
    if (!WaitForInput(wait_ms))
        return 0;
    const std::scoped_lock hold(wire.lock);
    if (TakeKeptRequest(block)) // an exchange has read it meanwhile
        return static_cast<int>(kBlockBytes);
    return static_cast<int>(ReadRequest(block));
}

bool RequestKept()
{
    const std::scoped_lock hold(wire.lock);
    return wire.kept_requests > 0;
}

void DropStaleInput()
{
    const std::scoped_lock hold(wire.lock);
    SortOutInput();
    wire.kept_requests = 0;
}

void ForgetLateReplies()
{
    const std::scoped_lock hold(wire.lock);
    wire.step.BeginUnknown();
    wire.kept_requests = 0;
}

GiveUpAfterSilence::GiveUpAfterSilence() noexcept
{
    give_up_after_silence = true;
    met_silence = false;
}

GiveUpAfterSilence::~GiveUpAfterSilence() { give_up_after_silence = false; }

} // namespace zeka
