// frame.cpp (signal) - the wait for the instrument's request, which ends at its deadline or with a loss.
// Called by every setter, on any thread, under g_CriticalSection or just before it is taken.
#include "signal/frame.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

#include "link/serial_link.h"
#include "platform/cancellation.h"
#include "platform/deadline.h"
#include "platform/renewed_in_child.h"
#include "signal/state.h"
#include "util/peek.h"

namespace zeka {
namespace {

// The wait itself checks the device this often: a loss signals the event too, but the poll thread may take
// that signal away in the same moment.
constexpr int kLookMs = 50;

thread_local int without_request_wait = 0;

thread_local unsigned owed_pause_ms = 0;

// One setter may hold up an answer, to make its change before it; the next one lets the answer pass.
constexpr std::chrono::milliseconds kAnswerPatience{3};
constexpr unsigned kLetPassMs = 100; // bounded: a slow callback must not stop the setters
constexpr unsigned kLetPassLookMs = 1;

constexpr std::chrono::milliseconds kStallIsNews{1000};

// A setter whose time has passed in the queue still waits this long (many bursts), because the thread
// that held the lock also held up the instrument's answer. A missing request is a stall only after kStallMs.
constexpr unsigned kLeastWaitMs = 500;
constexpr std::chrono::milliseconds kStallMs{2000};

constinit std::atomic<std::int64_t> stall_seen{0}; // steady clock, ns; 0 = never, or a request came since
constinit std::atomic<std::int64_t> answer_due_since{0}; // steady clock, ns; 0 = none is due

const RenewedInChild in_child([] {
    stall_seen = 0;
    answer_due_since = 0; // the parent's poll thread gives that answer
});

std::int64_t NowNs()
{
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds{1};
}

bool AnswerIsOverdue()
{
    const std::int64_t since = answer_due_since.load(std::memory_order_relaxed);
    return since != 0 && NowNs() - since > std::chrono::nanoseconds{kAnswerPatience}.count();
}

// The lock is not fair: a thread that has just released it would get it again before the poll thread wakes.
CSimpleCriticalSection& AfterOverdueAnswer()
{
    const Deadline deadline = Deadline::InMs(kLetPassMs);
    if (!HoldsCriticalSection())
        owed_pause_ms = 0; // left over from a frame inside a call that took the lock alone
    // A thread that holds the lock must not wait: it is the one that keeps the answer waiting.
    while (!HoldsCriticalSection() && without_request_wait == 0 && AnswerIsOverdue() && !deadline.Expired())
        SleepEx(kLetPassLookMs);
    return g_CriticalSection;
}

// Whether the instrument's next request has been read; false on time-out and on a loss.
bool RequestCame(const Deadline& deadline)
{
    while (DeviceUsable()) {
        const auto slice = static_cast<unsigned>(std::min(deadline.RemainingMsCeil(), kLookMs));
        if (g_hProcessRequestEvent.WaitTimeout(slice) == 0)
            return true;
        if (deadline.Expired())
            return false;
    }
    return false;
}

// No least wait behind a setter that has just found a stall: the queue must not add up its waits.
Deadline WithLeastWait(const Deadline& deadline)
{
    const Deadline least = Deadline::InMs(kLeastWaitMs);
    return StallJustSeen() || deadline.At() > least.At() ? deadline : least;
}

FrameState WaitForRequestUntil(const Deadline& deadline)
{
    if (!DeviceUsable())
        return FrameState::kNoDevice;
    if (!Peek(g_bECGGoing) || without_request_wait > 0)
        return FrameState::kReady;
    const std::int64_t began = NowNs();
    const bool came = RequestCame(WithLeastWait(deadline));
    if (!DeviceUsable())
        return FrameState::kNoDevice;
    if (came)
        return FrameState::kReady;
    const std::int64_t now = NowNs();
    if (stall_seen != 0 || now - began >= std::chrono::nanoseconds{kStallMs}.count())
        stall_seen = now;
    g_hReconnectEvent.SetEvent(); // the supervisor checks whether the instrument is still there
    return FrameState::kBusy;
}

} // namespace

FrameState WaitForRequest() { return WaitForRequestUntil(Deadline::InMs(kRequestWaitMs)); }

bool StallJustSeen() noexcept
{
    const std::int64_t seen = stall_seen;
    return seen != 0 && NowNs() - seen < std::chrono::nanoseconds{kStallIsNews}.count();
}

void ForgetStall() noexcept { stall_seen = 0; }

void PauseBehindFrame(unsigned ms) noexcept { owed_pause_ms = std::max(owed_pause_ms, ms); }

void MakeOwedPause()
{
    if (owed_pause_ms > 0)
        SleepEx(std::exchange(owed_pause_ms, 0u));
}

OwedPause::~OwedPause()
{
    const NoCancel in_a_destructor;
    if (!HoldsCriticalSection())
        MakeOwedPause();
}

SetterFrame::SetterFrame() : SetterFrame(Deadline::InMs(kRequestWaitMs)) {}

SetterFrame::SetterFrame(const Deadline& deadline)
    : lock_(AfterOverdueAnswer()), state_(WaitForRequestUntil(deadline))
{
}

AnswerDue::AnswerDue() noexcept
{
    answer_due_since = NowNs();
    stall_seen = 0;
}

AnswerDue::~AnswerDue()
{
    answer_due_since = 0;
    owed_pause_ms = 0;
}

WithoutRequestWait::WithoutRequestWait() noexcept { ++without_request_wait; }
WithoutRequestWait::~WithoutRequestWait() { --without_request_wait; }

} // namespace zeka
