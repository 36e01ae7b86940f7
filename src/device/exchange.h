// exchange.h (device) - the one command exchange: a request written whole, one reply read whole.
// What keeps replies and sample requests apart lives here and nowhere else: the wire lock, late replies of
// commands that timed out, sample requests that arrive ahead of a reply.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "link/serial_link.h"

namespace zeka {

inline constexpr std::size_t kBlockBytes =
    64; // most requests and replies, and the instrument's sample request
inline constexpr std::uint8_t kStatusDone = 0xFF;

struct ExchangeTiming {
    unsigned pause_ms = 0;                      // between request and reply, where a command asks for it
    std::optional<unsigned> reply_wait_ms = {}; // g_nDeviceReadTimeout unless given
};

/// Writes the request and reads exactly reply.size() bytes behind it. False when the request was not written
/// whole or the reply did not come in time; the reply's content is then of no use. Also false, with nothing
/// written but pings, while an earlier reply is overdue and the instrument answers no ping. Holds the wire
/// lock throughout, so the poll thread reads nothing meanwhile; a sample request that arrives first is kept
/// for the poll thread.
[[nodiscard]] bool Exchange(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply,
                            ExchangeTiming timing = {});

/// The two exchanges of a change: what the instrument holds is read, altered, and written back. Taken for it
/// must be nothing else: false when anything that nobody asked for stands behind the reply that was read, or
/// has come by the time it is written back. REQUIRES: g_CriticalSection, from the first to the second.
[[nodiscard]] bool ReadToWriteBack(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply);
[[nodiscard]] bool WriteBack(std::span<const std::uint8_t> request, std::span<std::uint8_t> reply);

/// The identity ping: reads on until the reply's marker shows up, whatever stale bytes stand before it.
[[nodiscard]] bool PingExchange(std::span<std::uint8_t, 12> reply,
                                std::optional<unsigned> reply_wait_ms = {});

/// For the poll thread: the next sample request of up to 64 bytes from the instrument, first those that an
/// exchange kept. What else stands in the input is dropped. Returns the request's length, 0 when none came
/// within wait_ms. Never reads while an exchange is under way.
[[nodiscard]] int ReadRequestBlock(std::span<std::uint8_t, kBlockBytes> block, unsigned wait_ms);

/// Whether an exchange kept a request that the poll thread has not taken yet.
[[nodiscard]] bool RequestKept();

/// Drops everything that arrived so far, kept requests too: a stream starts with a clean slate.
void DropStaleInput();

/// A new connection owes nothing from the one before.
void ForgetLateReplies();

/// While one lives, an exchange of this thread fails at once after the first one that went unanswered: the
/// tear-down must not spend a time-out on each of its settings.
class GiveUpAfterSilence {
public:
    GiveUpAfterSilence() noexcept;
    ~GiveUpAfterSilence();
    GiveUpAfterSilence(const GiveUpAfterSilence&) = delete;
    GiveUpAfterSilence& operator=(const GiveUpAfterSilence&) = delete;
};

} // namespace zeka
