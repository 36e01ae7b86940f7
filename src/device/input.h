// input.h (device) - cuts what the instrument sends into sample requests, identity replies and the replies to
// commands. Used by exchange.cpp alone, with the wire lock held. Records what is still owed (step.h) and the
// sample requests that were read while a reply was waited for.
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
    std::size_t reads_since_look = 0; // reads of requests since the last look for surplus ones
};
extern Wire wire;

/// g_nDeviceReadTimeout in ms (200 unless the application changed it). Other waits are in proportion to it.
[[nodiscard]] unsigned ReplyWaitMs();

/// Reads everything that has arrived: keeps sample requests, records the rest in the step and drops it.
void SortOutInput();

/// Reads one reply; sorts out sample requests and identity replies ahead of it. Returns how many
/// bytes of the reply itself came.
[[nodiscard]] std::size_t ReadReply(std::span<std::uint8_t> reply, const Deadline& deadline);

/// Reads on until an identity reply stands at the head of the input; sorts out and drops what is ahead of it.
/// Never reads beyond the reply, because a request may follow. False when none came by the deadline.
[[nodiscard]] bool ReadIdentityReply(std::span<std::uint8_t, identity::kReplyBytes> reply,
                                     const Deadline& deadline);

/// Takes a kept request into block; false when there is none.
[[nodiscard]] bool TakeKeptRequest(std::span<std::uint8_t, kBlockBytes> block);

/// Reads one sample request that has arrived, whatever stands ahead of it. Returns its length, 0 for none.
[[nodiscard]] std::size_t ReadRequest(std::span<std::uint8_t, kBlockBytes> block);

} // namespace zeka
