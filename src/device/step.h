// step.h (device) - whether host and instrument are in step. Bookkeeping only: no input or output, and no
// lock of its own (the wire lock guards the one object).
//
// The instrument answers in order and marks nothing but the identity replies. In step means that the next
// reply that is no identity reply belongs to the next command. These rules keep it provable:
// - A command is written in step only, so at most one reply other than identity replies is overdue.
// - Out of step only pings are written, so nothing but identity replies can come behind the overdue reply.
// - An identity reply whose ping was written behind the overdue reply's command proves that this reply has
//   passed or never comes. One to an earlier ping proves nothing: as many identity replies as may stand ahead
//   of the overdue reply are counted off first.
// Every number here is an upper bound, because any reply may also be lost. A bound that is too high
// costs pings, never a wrong step.
#pragma once

#include <cstddef>

namespace zeka {

class Step {
public:
    /// For a new connection: what the former one left in the instrument is not known.
    void BeginUnknown() noexcept;

    [[nodiscard]] bool IsProved() const noexcept { return proved_; }

    /// Bytes of the overdue reply that may still come.
    [[nodiscard]] std::size_t Overdue() const noexcept { return overdue_; }

    /// Whether nothing is known of what stands ahead of the first identity reply.
    [[nodiscard]] bool IsUnknown() const noexcept { return unknown_; }

    void PingWritten() noexcept { ++pings_; }

    /// Records a whole identity reply. In step afterwards, unless its ping may have been written
    /// too early or none was written.
    void IdentityCame() noexcept;

    /// Records that the reply to the last command came whole: nothing older can follow it.
    void ReplyCame() noexcept { pings_ = 0; }

    /// Records that `missing` bytes of that reply did not come in time. `begun`: some of it did,
    /// so nothing older can follow.
    void ReplyMissing(std::size_t missing, bool begun) noexcept;

    /// Records bytes that came while no reply to a command was waited for and that are neither a sample
    /// request nor an identity reply. They belong to the overdue reply as far as there is one; any others are
    /// a sign that the replies are shifted.
    void BytesCame(std::size_t count) noexcept;

private:
    void Lose() noexcept;

    bool proved_ = true; // a port opened without BeginUnknown owes nothing
    bool unknown_ = false;
    std::size_t overdue_ = 0; // bytes
    std::size_t pings_ = 0;   // not answered so far
    std::size_t early_ = 0;   // of these, those whose replies may stand ahead of what ended the step
};

} // namespace zeka
