// exchange.h (device) - the one command exchange: a command written whole, its reply read whole.
// Replies and sample requests are kept apart here and nowhere else: by the wire lock, and by rules for late
// replies of commands that timed out and for sample requests that arrive ahead of a reply.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "link/serial_link.h"

namespace zeka {

// Most commands and replies, and the sample request.
inline constexpr std::size_t kBlockBytes = 64;
inline constexpr std::uint8_t kStatusDone = 0xFF;

struct ExchangeTiming {
    unsigned pause_ms = 0;                      // between command and reply, where a command needs it
    std::optional<unsigned> reply_wait_ms = {}; // g_nDeviceReadTimeout unless given
};

/// Writes the command in `request` and reads exactly reply.size() bytes behind it. False when the command was
/// not written whole or the reply did not come in time; the content of `reply` is then of no use. Also false,
/// with nothing written but pings, while an earlier reply is owed and the instrument answers no ping. Holds
/// the wire lock throughout, so the poll thread reads nothing meanwhile. A sample request that arrives first
/// is kept for the poll thread.
[[nodiscard]] bool Exchange(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply,
                            ExchangeTiming timing = {});

/// The two exchanges of a change: the first reads what the instrument holds, the second writes it back
/// altered. Each is also false when bytes that no command asked for stand behind the reply that was
/// read or have come since, because that reply may be another command's. REQUIRES: g_CriticalSection,
/// from the first to the second.
[[nodiscard]] bool ReadToWriteBack(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply);
[[nodiscard]] bool WriteBack(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply);

/// Writes the identity ping and reads on until the marker of its reply shows up, whatever
/// stale bytes stand before it.
[[nodiscard]] bool PingExchange(std::span<std::uint8_t, 12> reply,
                                std::optional<unsigned> reply_wait_ms = {});

/// Reads the next sample request for the poll thread, first those that an exchange kept. Drops what else
/// stands in the input. Returns the length of the request (up to 64 bytes), 0 when none came within wait_ms.
/// Never reads while an exchange is under way.
[[nodiscard]] int ReadRequestBlock(std::span<std::uint8_t, kBlockBytes> block, unsigned wait_ms);

/// Whether an exchange kept a request that the poll thread has not taken yet.
[[nodiscard]] bool RequestKept();

/// Drops everything that has arrived, kept requests too, so that a stream starts without stale ones.
void DropStaleInput();

/// Called for a new connection, which owes nothing from the one before.
void ForgetLateReplies();

/// While one lives, every exchange of this thread fails at once after the first one that went unanswered,
/// because the tear-down must not spend a time-out on each of its settings.
class GiveUpAfterSilence {
public:
    GiveUpAfterSilence() noexcept;
    ~GiveUpAfterSilence();
    GiveUpAfterSilence(const GiveUpAfterSilence&) = delete;
    GiveUpAfterSilence& operator=(const GiveUpAfterSilence&) = delete;
};

} // namespace zeka
