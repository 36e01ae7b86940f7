// input.cpp (device) - see input.h.
#include "device/input.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "link/serial_link.h"
#include "platform/renewed_in_child.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace zeka {

constinit Wire wire; // no destructor, because a thread may still call while the process exits

namespace {

const RenewedInChild in_child([] { std::construct_at(&wire); });

// More requests than any buffer of an instrument sends at once; older ones are out of date.
constexpr std::size_t kMostWaitingRequests = 8;
constexpr unsigned kSortOutMs = 100; // limit for input without end

using Bytes = std::span<std::uint8_t>;

// Limit for the rest of a block that has begun, 5 to 20 ms.
Deadline RestDeadline() { return Deadline::InMs(std::clamp(ReplyWaitMs() / 10, 5u, 20u)); }

bool IsSampleRequest(std::span<const std::uint8_t> head)
{
    return head.size() >= 2 && head[0] == sample_request::kByte0 && head[1] == sample_request::kByte1;
}

bool IsIdentityReply(std::span<const std::uint8_t> head)
{
    const auto marker = head.subspan(std::min(head.size(), identity::kReplyMarkerAt));
    return marker.size() >= identity::kMarker.size() &&
           std::equal(identity::kMarker.begin(), identity::kMarker.end(), marker.begin());
}

// The information page holds the bytes of an identity reply, but not at its head. Inside an overdue page
// they are no reply to a ping.
bool IsInsideOverduePage(std::span<const std::uint8_t> head)
{
    constexpr std::size_t kReplyInPageAt = page::kDataAt - identity::kReplyMarkerAt;
    return wire.step.Overdue() == kBlockBytes - kReplyInPageAt && IsIdentityReply(head);
}

// Reads into bytes from `have` on; returns how many are there in the end.
std::size_t FillFrom(Bytes bytes, std::size_t have, const Deadline& deadline)
{
    if (have >= bytes.size())
        return have;
    const Bytes rest = bytes.subspan(have);
    const int got = ReadDataEx(rest.data(), static_cast<int>(rest.size()),
                               static_cast<unsigned>(deadline.RemainingMsCeil()));
    return have + static_cast<std::size_t>(std::max(got, 0));
}

void DropFront(Bytes bytes, std::size_t& have, std::size_t count)
{
    count = std::min(count, have);
    std::memmove(bytes.data(), bytes.data() + count, have - count);
    have -= count;
}

void KeepRequest() { wire.kept_requests = std::min(wire.kept_requests + 1, kMostWaitingRequests); }

// Reads the rest of a sample request of which `have` bytes are there, and keeps it.
void KeepRequestFrom(std::size_t have, const Deadline& deadline)
{
    std::array<std::uint8_t, kBlockBytes> rest;
    (void)FillFrom(Bytes(rest).first(kBlockBytes - have), 0, deadline);
    KeepRequest();
}

// Distance to the next place where an identity reply or a sample request may begin.
std::size_t NextCandidate(std::span<const std::uint8_t> bytes)
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

// Drops what stands at the head and is no sample request: an identity reply, bytes of the
// overdue reply, or bytes that no command asked for, up to the next place where a known block
// may begin. Returns the number dropped.
std::size_t DropStale(Bytes bytes, std::size_t& have)
{
    const auto head = bytes.first(have);
    std::size_t count = 0;
    if (IsIdentityReply(head) && !IsInsideOverduePage(head)) {
        count = std::min(have, identity::kReplyBytes);
        if (count == identity::kReplyBytes)
            wire.step.IdentityCame();
        else
            wire.step.BytesCame(count); // its end comes later and cannot be recognised
    } else {
        count = wire.step.Overdue() > 0 ? std::min(wire.step.Overdue(), have) : NextCandidate(head);
        wire.step.BytesCame(count);
    }
    DropFront(bytes, have, count);
    return count;
}

// Drops requests of an instrument that sends them faster than they are answered. Looks at every eighth read
// only, because a look costs as much as a read.
void DropSurplusRequests(std::span<std::uint8_t, kBlockBytes> block)
{
    if (++wire.reads_since_look < kMostWaitingRequests)
        return;
    wire.reads_since_look = 0;
    for (std::size_t waiting = InputWaiting() / kBlockBytes; waiting > kMostWaitingRequests; --waiting) {
        std::size_t have = FillFrom(block, 0, Deadline::InMs(0));
        if (have == 0)
            return;
        while (have > 0 && !IsSampleRequest(Bytes(block).first(have)))
            (void)DropStale(block, have);
        if (have > 0)
            (void)FillFrom(block, have, RestDeadline());
    }
}

// Whether an identity reply lies inside an information page that the former connection asked for, which is
// possible while nothing is known of what stands ahead of it. The page goes on at once behind it, with
// neither a request nor an identity reply.
bool IsFollowedByTheRestOfAPage()
{
    constexpr std::size_t kRestBytes =
        kBlockBytes - page::kDataAt - (identity::kReplyBytes - identity::kReplyMarkerAt);
    constexpr unsigned kLookMs = 1;
    const Deadline deadline = RestDeadline();
    while (InputWaiting() < kRestBytes) {
        if (deadline.Expired())
            return false;
        SleepEx(kLookMs);
    }
    std::array<std::uint8_t, kBlockBytes> rest;
    const std::size_t have = FillFrom(Bytes(rest).first(kRestBytes), 0, deadline);
    if (IsSampleRequest(Bytes(rest).first(have))) {
        KeepRequestFrom(have, deadline);
        return false;
    }
    return !IsIdentityReply(Bytes(rest).first(have));
}

} // namespace

unsigned ReplyWaitMs() { return Peek(g_nDeviceReadTimeout); }

void SortOutInput()
{
    std::array<std::uint8_t, kBlockBytes> block;
    std::size_t have = 0;
    const Deadline end = Deadline::InMs(kSortOutMs);
    while ((have > 0 || InputWaiting() > 0) && !end.Expired()) {
        have = FillFrom(Bytes(block).first(std::min(block.size(), have + InputWaiting())), have,
                        Deadline::InMs(0));
        if (have < identity::kReplyBytes) // too little to tell what it is
            have = FillFrom(Bytes(block).first(identity::kReplyBytes), have, RestDeadline());
        if (have == 0)
            return; // closed or hung up
        if (IsSampleRequest(Bytes(block).first(have)) && !IsIdentityReply(Bytes(block).first(have))) {
            KeepRequestFrom(have, RestDeadline());
            have = 0;
        } else {
            (void)DropStale(block, have);
        }
    }
    if (have > 0)
        wire.step.BytesCame(have); // input without end
}

std::size_t ReadReply(std::span<std::uint8_t> reply, const Deadline& deadline)
{
    std::size_t have = 0;
    for (;;) {
        have = FillFrom(reply, have, deadline);
        const auto head = reply.first(have);
        if (IsSampleRequest(head)) {
            KeepRequestFrom(have, deadline);
            have = 0;
        } else if (IsIdentityReply(head) && have >= identity::kReplyBytes) {
            DropFront(reply, have, identity::kReplyBytes);
            wire.step.IdentityCame();
        } else {
            return have;
        }
        if (deadline.Expired())
            return have;
    }
}

bool ReadIdentityReply(std::span<std::uint8_t, identity::kReplyBytes> reply, const Deadline& deadline)
{
    std::size_t have = 0;
    std::size_t dropped = 0; // bytes since the last block that was recognised
    for (;;) {
        have = FillFrom(reply, have, deadline);
        if (have < reply.size()) {
            if (have > 0)
                wire.step.BytesCame(have);
            return false;
        }
        if (IsIdentityReply(reply) && !IsInsideOverduePage(reply)) {
            const bool at_page_data = dropped == page::kDataAt - identity::kReplyMarkerAt;
            if (!(wire.step.IsUnknown() && at_page_data && IsFollowedByTheRestOfAPage())) {
                wire.step.IdentityCame();
                return true;
            }
            have = dropped = 0;
        } else if (IsSampleRequest(reply)) {
            KeepRequestFrom(reply.size(), deadline);
            have = dropped = 0;
        } else {
            dropped += DropStale(reply, have);
        }
        if (deadline.Expired())
            return false; // input without end
    }
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

std::size_t ReadRequest(std::span<std::uint8_t, kBlockBytes> block)
{
    DropSurplusRequests(block);
    std::size_t have = ReadAvailable(block);
    const Deadline end = Deadline::InMs(kSortOutMs);
    while (have > 0) {
        have = FillFrom(block, have, RestDeadline());
        if (IsSampleRequest(Bytes(block).first(have)))
            return have;
        (void)DropStale(block, have); // the request behind it must not stay shifted for ever
        if (end.Expired())
            break;
    }
    if (have > 0)
        wire.step.BytesCame(have);
    return 0;
}

} // namespace zeka
