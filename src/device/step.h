// step.h (device) - whether host and instrument are in step: pure bookkeeping, no input or output, no lock of
// its own (the wire lock guards the one object).
//
// The instrument answers in order and marks nothing but the identity replies. In step means: the next reply
// to come that is no identity reply belongs to the next command. These rules keep it provable:
// - a command is written in step only, so at most one reply other than identity replies is ever overdue;
// - out of step only pings are written, so behind the overdue reply nothing but identity replies can come;
// - an identity reply that was asked for behind the overdue reply proves that this reply has passed, or never
// comes. A ping that was asked for earlier proves nothing: as many identity replies as may stand ahead of the
// overdue reply are counted off first. Every number here is an upper bound, since any reply may also be lost;
// a bound that is too high costs pings, never a wrong step.
#pragma once

#include <cstddef>

namespace zeka {

class Step {
public:
    /// A new connection: what the former one left in the instrument is not known.
    void BeginUnknown() noexcept;

    [[nodiscard]] bool IsProved() const noexcept { return proved_; }

    /// Bytes of the overdue reply that may still come.
    [[nodiscard]] std::size_t Overdue() const noexcept { return overdue_; }

    /// Nothing is known of what stands ahead of the first identity reply.
    [[nodiscard]] bool IsUnknown() const noexcept { return unknown_; }

    void PingWritten() noexcept { ++pings_; }

    /// A whole identity reply has come. In step afterwards, unless it may have been asked for too early, or was not
    /// asked for at all.
    void IdentityCame() noexcept;

    /// The reply to the command that was written last came whole: nothing older can follow it.
    void ReplyCame() noexcept { pings_ = 0; }

    /// `missing` bytes of that reply did not come in time. `begun`: some of it did, so nothing older can
    /// follow.
    void ReplyMissing(std::size_t missing, bool begun) noexcept;

    /// Bytes have come that are neither a sample request nor an identity reply, and no reply was waited for:
    /// the overdue reply's, as far as one is, or nobody's. Nobody's are a sign that the replies are shifted.
    void BytesCame(std::size_t count) noexcept;

private:
    void Lose() noexcept;

    bool proved_ = true; // of a port that was just opened by somebody who knows it
    bool unknown_ = false;
    std::size_t overdue_ = 0; // bytes
    std::size_t pings_ = 0;   // not answered so far
    std::size_t early_ = 0;   // of these, how many may be answered ahead of what the step was lost by
};

} // namespace zeka
