// input.h (device) - what the instrument sends, cut into sample requests, identity replies and the replies to
// commands. Used by exchange.cpp alone, with the wire lock held; keeps the books on what is still owed
// (step.h) and on the sample requests that were read while something else was waited for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>

#include "device/exchange.h"
#include "device/packets.h"
#include "device/step.h"
#include "platform/deadline.h"

namespace zeka {

struct Wire {
    std::mutex lock; // inside g_CriticalSection, outside of the port's lock
    Step step;
    std::size_t kept_requests = 0;    // sample requests that an exchange read ahead of its reply
    std::size_t reads_since_look = 0; // of requests, since their number was last looked at
};
extern Wire wire;

/// Waits beside the reply's own are in proportion to it (200 ms unless the application said otherwise).
[[nodiscard]] unsigned ReplyWaitMs();

/// Takes everything that has arrived: sample requests are kept, the rest goes into the books and is dropped.
void SortOutInput();

/// Reads one reply; sample requests and identity replies that stand ahead of it are sorted out. Returns how
/// many bytes of the reply itself came.
[[nodiscard]] std::size_t ReadReply(std::span<std::uint8_t> reply, const Deadline& deadline);

/// Reads on until an identity reply stands at the head of the input, sorting out and dropping what is ahead
/// of it. Never reads beyond it: a request may follow.
[[nodiscard]] bool ReadIdentityReply(std::span<std::uint8_t, identity::kReplyBytes> reply,
                                     const Deadline& deadline);

/// Hands out a request that was kept.
[[nodiscard]] bool TakeKeptRequest(std::span<std::uint8_t, kBlockBytes> block);

/// Reads one sample request that has arrived, whatever stands ahead of it: its length, 0 for none.
[[nodiscard]] std::size_t ReadRequest(std::span<std::uint8_t, kBlockBytes> block);

} // namespace zeka
