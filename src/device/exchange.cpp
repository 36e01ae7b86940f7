// exchange.cpp (device) - the one command exchange and what keeps its replies apart from everything else on
// the wire. The instrument answers in order and marks nothing: a 64-byte block is a sample request (0x01
// 0x55), or the reply to the oldest command that has not been answered. So a reply that comes after its
// command timed out must be waited out before the next command goes, and a sample request that stands ahead
// of a reply is kept for the poll thread. The wire lock is held from before a request's first byte to after
// its reply's last one; the poll thread takes it for each read. It lies inside g_CriticalSection and outside
// of the port's lock.
#include "device/exchange.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

#include "device/packets.h"
#include "platform/deadline.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

// More than any buffer asks for at once: older requests are history.
constexpr std::size_t kMostWaitingRequests = 8;

// Waits beside the reply's own, in proportion to it (200 ms unless the application said otherwise).
unsigned ReplyWaitMs() { return Peek(g_nDeviceReadTimeout); }
// Behind a command that timed out, before the next one.
unsigned LateReplyWaitMs() { return ReplyWaitMs() / 2; }
// For the ping that brings a shifted link back into step.
unsigned BarrierWaitMs() { return ReplyWaitMs(); }
// For the rest of a block that has begun.
unsigned RestWaitMs() { return std::clamp(ReplyWaitMs() / 10, 5u, 20u); }
constexpr unsigned kSortOutMs = 100; // for input that keeps coming

struct Wire {
    std::mutex lock;
    std::size_t kept_requests = 0;    // sample requests that an exchange read ahead of its reply
    std::size_t reads_since_look = 0; // of requests, since their number was last looked at
    std::size_t owed = 0;             // bytes of replies that did not come in time and may still come
};
constinit Wire wire; // trivially destroyed: a late caller at process exit finds it whole

thread_local bool give_up_after_silence = false;
thread_local bool met_silence = false;

using Bytes = std::span<std::uint8_t>;

bool IsSampleRequest(std::span<const std::uint8_t> head)
{
    return head.size() >= 2 && head[0] == sample_request::kByte0 && head[1] == sample_request::kByte1;
}

bool HasMarkerAt(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return bytes.size() >= at + identity::kMarker.size() &&
           std::equal(identity::kMarker.begin(), identity::kMarker.end(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

bool IsIdentityReply(std::span<const std::uint8_t> head)
{
    return HasMarkerAt(head, identity::kReplyMarkerAt);
}

unsigned RemainingMs(const Deadline& deadline) { return static_cast<unsigned>(deadline.RemainingMsCeil()); }

// Fills bytes from `have` on; returns how many are there in the end.
std::size_t FillFrom(Bytes bytes, std::size_t have, const Deadline& deadline)
{
    if (have >= bytes.size())
        return have;
    const Bytes rest = bytes.subspan(have);
    const int got = ReadDataEx(rest.data(), static_cast<int>(rest.size()), RemainingMs(deadline));
    return have + static_cast<std::size_t>(std::max(got, 0));
}

bool WriteWhole(std::span<const std::uint8_t> request)
{
    auto* const bytes = const_cast<std::uint8_t*>(request.data()); // WriteData only reads them
    return WriteData(bytes, static_cast<int>(request.size()), 1) == static_cast<int>(request.size());
}

void DropFront(Bytes bytes, std::size_t& have, std::size_t count)
{
    count = std::min(count, have);
    std::memmove(bytes.data(), bytes.data() + count, have - count);
    have -= count;
}

void KeepRequest() { wire.kept_requests = std::min(wire.kept_requests + 1, kMostWaitingRequests); }

// What stands at the head of the input and is not a reply anybody waits for. Returns its length, 0 when
// unknown.
std::size_t StaleLength(std::span<const std::uint8_t> head)
{
    if (IsIdentityReply(head))
        return identity::kReplyBytes;
    return std::min(wire.owed, head.size());
}

// Takes everything that has arrived: sample requests are kept, anything else is nobody's reply any more.
void SortOutInput()
{
    std::array<std::uint8_t, kBlockBytes> block;
    std::size_t have = 0;
    const Deadline end = Deadline::InMs(kSortOutMs);
    while ((have > 0 || InputWaiting() > 0) && !end.Expired()) {
        const std::size_t wanted = std::min(block.size() - have, InputWaiting());
        have = FillFrom(Bytes(block).first(have + wanted), have, Deadline::InMs(0));
        if (have == 0)
            return; // closed or hung up
        const auto head = Bytes(block).first(have);
        if (IsSampleRequest(head) && !IsIdentityReply(head)) {
            (void)FillFrom(block, have, Deadline::InMs(RestWaitMs()));
            KeepRequest();
            have = 0;
        } else {
            const std::size_t stale = StaleLength(head);
            wire.owed -= std::min(wire.owed, stale);
            DropFront(block, have, stale > 0 ? stale : have);
        }
    }
}

// Whether a whole block answers another group's request. Asked only while a reply is overdue: a late one that
// was taken for the control block would be written back to the instrument as its settings.
bool IsOfAnotherGroup(std::span<const std::uint8_t> reply, std::uint8_t group)
{
    return reply.size() == kBlockBytes && reply[0] != group;
}

// Reads one reply; sample requests and stale identity replies that stand before it are sorted out. Returns
// the bytes that arrived of the reply itself.
std::size_t ReadReply(Bytes reply, std::uint8_t group, const Deadline& deadline)
{
    std::size_t have = 0;
    for (;;) {
        have = FillFrom(reply, have, deadline);
        const auto head = reply.first(have);
        if (IsSampleRequest(head)) {
            std::array<std::uint8_t, kBlockBytes> rest;
            (void)FillFrom(Bytes(rest).first(kBlockBytes - have), 0, deadline);
            KeepRequest();
            have = 0;
        } else if (IsIdentityReply(head)) {
            DropFront(reply, have, identity::kReplyBytes);
            wire.owed -= std::min(wire.owed, identity::kReplyBytes);
        } else if (wire.owed > 0 && have == reply.size() && IsOfAnotherGroup(reply, group)) {
            wire.owed -= std::min(wire.owed, have);
            have = 0;
        } else {
            return have;
        }
        if (deadline.Expired())
            return have;
    }
}

// How far to the next place at which an identity reply or a sample request may begin.
std::size_t NextCandidate(std::span<const std::uint8_t, identity::kReplyBytes> bytes)
{
    const auto fits = [&bytes](std::size_t at, std::uint8_t expected) {
        return at >= bytes.size() || bytes[at] == expected;
    };
    std::size_t at = 1;
    for (; at < bytes.size(); ++at) {
        const std::size_t marker = at + identity::kReplyMarkerAt;
        const bool identity = fits(marker, identity::kMarker[0]) && fits(marker + 1, identity::kMarker[1]) &&
                              fits(marker + 2, identity::kMarker[2]);
        if (identity || (fits(at, sample_request::kByte0) && fits(at + 1, sample_request::kByte1)))
            break;
    }
    return at;
}

// Reads on until an identity reply stands at the head of the input, dropping what cannot be one. Never reads
// beyond it: a request may follow.
bool ReadIdentityReply(std::span<std::uint8_t, identity::kReplyBytes> reply, const Deadline& deadline)
{
    std::array<std::uint8_t, kBlockBytes> rest;
    std::size_t have = 0;
    std::size_t dropped = 0; // bytes since the last block that was recognised
    for (;;) {
        have = FillFrom(reply, have, deadline);
        if (have < reply.size())
            return false;
        if (deadline.Expired() && !IsIdentityReply(reply))
            return false; // a device that talks without end
        if (IsIdentityReply(reply)) {
            // The information page carries the same bytes at its own place; a late one is no answer to a
            // ping.
            const bool inside_page = dropped == page::kDataAt - identity::kReplyMarkerAt &&
                                     InputWaiting() >= kBlockBytes - dropped - reply.size();
            if (!inside_page)
                return true;
            (void)FillFrom(Bytes(rest).first(kBlockBytes - dropped - reply.size()), 0, deadline);
            have = dropped = 0;
        } else if (IsSampleRequest(reply)) {
            (void)FillFrom(Bytes(rest).first(kBlockBytes - reply.size()), 0, deadline);
            KeepRequest();
            have = dropped = 0;
        } else {
            const std::size_t next = NextCandidate(reply);
            DropFront(reply, have, next);
            dropped += next;
        }
    }
}

// Brings a link on which a reply is overdue back into step: waits a little for that reply; when it does not
// come, pings and reads on to the answer, behind which nothing old can stand.
void SettleLateReplies()
{
    const Deadline late = Deadline::InMs(LateReplyWaitMs());
    while (wire.owed > 0 && !late.Expired() && WaitForInput(RemainingMs(late)))
        SortOutInput();
    if (wire.owed == 0 || !DeviceUsable() || !WriteWhole(identity::kPing))
        return;
    std::array<std::uint8_t, identity::kReplyBytes> answer;
    if (ReadIdentityReply(answer, Deadline::InMs(BarrierWaitMs())))
        wire.owed = 0;
    else
        wire.owed += identity::kReplyBytes;
}

// Everything before a request's first byte.
void PrepareWire()
{
    SortOutInput();
    if (wire.owed > 0)
        SettleLateReplies();
}

Deadline ReplyDeadline(std::optional<unsigned> wait_ms)
{
    return Deadline::InMs(wait_ms.value_or(ReplyWaitMs()));
}

bool Finish(bool answered, std::size_t missing)
{
    if (answered) {
        wire.owed = 0; // what was overdue stood before this answer, or never comes
    } else {
        wire.owed += missing;
        met_silence = true;
    }
    return answered;
}

bool TakeKeptRequest(std::span<std::uint8_t, kBlockBytes> block)
{
    if (wire.kept_requests == 0)
        return false;
    --wire.kept_requests;
    std::fill(block.begin(), block.end(), std::uint8_t{0});
    block[0] = sample_request::kByte0;
    block[1] = sample_request::kByte1;
    return true;
}

// An instrument that asks faster than it is answered. Looked at now and then only: the look costs as much as
// a read.
void DropSurplusRequests(std::span<std::uint8_t, kBlockBytes> block)
{
    wire.reads_since_look = 0;
    for (std::size_t waiting = InputWaiting() / kBlockBytes; waiting > kMostWaitingRequests; --waiting)
        if (FillFrom(block, 0, Deadline::InMs(0)) == 0)
            return;
}

// A block that does not begin like a request holds a late reply at its head; the request behind it must not
// stay shifted for ever.
int Realign(std::span<std::uint8_t, kBlockBytes> block, std::size_t have)
{
    const std::size_t stale = StaleLength(Bytes(block).first(have));
    wire.owed -= std::min(wire.owed, stale);
    if (stale == 0 || stale >= have)
        return static_cast<int>(have);
    DropFront(block, have, stale);
    return static_cast<int>(FillFrom(block, have, Deadline::InMs(RestWaitMs())));
}

} // namespace

bool Exchange(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply, ExchangeTiming timing)
{
    if (give_up_after_silence && met_silence)
        return false;
    const std::scoped_lock hold(wire.lock);
    PrepareWire();
    if (!WriteWhole(request)) {
        met_silence = true; // an instrument that takes nothing in answers nothing either
        return false;
    }
    SleepEx(timing.pause_ms);
    const std::size_t have = ReadReply(reply, request[0], ReplyDeadline(timing.reply_wait_ms));
    return Finish(have == reply.size(), reply.size() - have);
}

bool PingExchange(std::span<std::uint8_t, identity::kReplyBytes> reply, std::optional<unsigned> reply_wait_ms)
{
    const std::scoped_lock hold(wire.lock);
    SortOutInput();
    if (!WriteWhole(identity::kPing))
        return false;
    const bool answered = ReadIdentityReply(reply, ReplyDeadline(reply_wait_ms));
    return Finish(answered, reply.size());
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
    if (TakeKeptRequest(block)) // an exchange was faster
        return static_cast<int>(kBlockBytes);
    if (++wire.reads_since_look >= kMostWaitingRequests)
        DropSurplusRequests(block);
    std::size_t have = ReadAvailable(block);
    if (have == 0)
        return 0; // an exchange took it, or there was a hang-up
    have = FillFrom(block, have, Deadline::InMs(RestWaitMs()));
    return IsSampleRequest(Bytes(block).first(have)) ? static_cast<int>(have) : Realign(block, have);
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
    wire.owed = 0;
    wire.kept_requests = 0;
}

GiveUpAfterSilence::GiveUpAfterSilence() noexcept
{
    give_up_after_silence = true;
    met_silence = false;
}

GiveUpAfterSilence::~GiveUpAfterSilence() { give_up_after_silence = false; }

} // namespace zeka
