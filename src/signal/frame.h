// frame.h (signal) - the frame every exported setter is built in: the lock, the wait for the instrument's
// request while a signal streams, the look whether a device is there. Open to every room.
#pragma once

#include "platform/deadline.h"
#include "platform/global_objects.h"

namespace zeka {

// Results of the setters. Families with results of their own (1/0, counts) say so where they stand.
inline constexpr int kOk = 0;
inline constexpr int kNoAnswer = -1; // no device open, or it sent no request for kRequestWaitMs
inline constexpr int kOutOfRange = -2;

/// A setter waits this long for the instrument's next request while a signal streams.
inline constexpr unsigned kRequestWaitMs = 3000;

/// A closed interval; NaN lies outside every interval.
struct Interval {
    double low, high;
    [[nodiscard]] constexpr bool Contains(double x) const noexcept { return x >= low && x <= high; }
};

[[nodiscard]] constexpr bool IsChannel(int channel) noexcept { return channel >= 0 && channel < 4; }

enum class FrameState {
    kReady,    // lock held, the instrument waits for its answer (or nothing streams), a device is open
    kBusy,     // a signal streams and no request came
    kNoDevice, // nothing is open, or the calling thread may not see it yet
};

/// The request wait alone: while a signal streams, waits at most kRequestWaitMs until the poll thread has
/// read a request. Ends at once when the connection is lost. Outside the lock it serves the two setters that
/// wait first.
[[nodiscard]] FrameState WaitForRequest();

/// Whether a setter has just found that no request came for kRequestWaitMs; the supervisor need not wait
/// again.
[[nodiscard]] bool StallJustSeen() noexcept;
/// For a new connection: the instrument is not held to what the one before did.
void ForgetStall() noexcept;

/// While one lives, an answer to the instrument is due: the poll thread makes one before it takes the lock.
/// Setters that come in quick succession would otherwise take the lock again and again, and the instrument
/// would run dry.
class AnswerDue {
public:
    AnswerDue() noexcept;
    ~AnswerDue();
    AnswerDue(const AnswerDue&) = delete;
    AnswerDue& operator=(const AnswerDue&) = delete;
};

/// The pause that the output stage needs after a switch. Called inside a frame; made behind the calling
/// thread's outermost one, without the lock, so that the instrument is answered meanwhile. Inside an answer
/// it is left out while the stream goes on: nobody waits for the poll thread to return from it.
void PauseBehindFrame(unsigned ms) noexcept;

/// Makes the pause that is owed at once, also with the lock held: for an answer that ended its stream. No
/// request is left to be answered, and the next command must not cut off what the instrument still plays.
void MakeOwedPause();

/// Makes the pause that is owed when the outermost frame has closed.
class OwedPause {
public:
    OwedPause() noexcept = default;
    ~OwedPause();
    OwedPause(const OwedPause&) = delete;
    OwedPause& operator=(const OwedPause&) = delete;
};

/// Opens an exported setter: takes g_CriticalSection, then waits for the request, then looks for the device.
/// The lock is released on every way out.
class ZEKA_SCOPED_LOCK SetterFrame {
public:
    SetterFrame() ZEKA_ACQUIRES(g_CriticalSection);
    ~SetterFrame() ZEKA_RELEASES() = default;
    SetterFrame(const SetterFrame&) = delete;
    SetterFrame& operator=(const SetterFrame&) = delete;

    [[nodiscard]] FrameState State() const noexcept { return state_; }
    [[nodiscard]] bool Ready() const noexcept { return state_ == FrameState::kReady; }

private:
    // The time runs from before the lock: setters that queue behind one another do not add up their waits.
    explicit SetterFrame(const Deadline& deadline) ZEKA_ACQUIRES(g_CriticalSection);

    OwedPause pause_;           // before the lock: made when that has been released
    CAutoCriticalSection lock_; // taken before the wait, released behind it
    FrameState state_;
};

/// While one lives, the request wait of the same thread is skipped: the supervisor's tear-down talks to an
/// instrument that may have stopped asking, and no poll thread reads any more; callbacks of a stream's first
/// burst are raised before the instrument has anything to ask for.
class WithoutRequestWait {
public:
    WithoutRequestWait() noexcept;
    ~WithoutRequestWait();
    WithoutRequestWait(const WithoutRequestWait&) = delete;
    WithoutRequestWait& operator=(const WithoutRequestWait&) = delete;
};

} // namespace zeka
