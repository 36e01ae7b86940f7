// frame.h (signal) - the frame of every exported setter: takes the lock, waits for the instrument's request
// while a signal streams, checks that a device is there. Open to every room.
#pragma once

#include "platform/deadline.h"
#include "platform/global_objects.h"

namespace zeka {

// Results of the setters. Families with results of their own (1/0, counts) declare them in their files.
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
    kReady,    // a device is open, and the instrument waits for its answer or nothing streams
    kBusy,     // a signal streams and no request came
    kNoDevice, // none is open, or it is not yet visible to the calling thread
};

/// The request wait alone: while a signal streams, waits at most kRequestWaitMs until the poll thread has
/// read a request. Ends at once when the connection is lost. Two setters call it before
/// they take the lock, the supervisor without it.
[[nodiscard]] FrameState WaitForRequest();

/// Whether a setter has just found that the instrument sends no requests; the
/// supervisor need not wait again then.
[[nodiscard]] bool StallJustSeen() noexcept;
/// For a new connection, because a stall was the former connection's.
void ForgetStall() noexcept;

/// While one lives, an answer to the instrument is due. The poll thread makes one before it takes the
/// lock, because setters in quick succession would otherwise take the lock again and again, and the
/// instrument would run out of samples.
class AnswerDue {
public:
    AnswerDue() noexcept;
    ~AnswerDue();
    AnswerDue(const AnswerDue&) = delete;
    AnswerDue& operator=(const AnswerDue&) = delete;
};

/// Requests the pause that the output stage needs after a switch. Called inside a frame. The calling
/// thread makes the pause behind its outermost frame, without the lock, so that the instrument is
/// answered meanwhile. Inside an answer the pause is left out while the stream goes on, because it
/// would only delay the poll thread.
void PauseBehindFrame(unsigned ms) noexcept;

/// Makes the owed pause at once, also with the lock held. For an answer that ended its stream: no request is
/// left to be answered, and the next command must not cut off what the instrument still plays.
void MakeOwedPause();

/// Makes the owed pause when the outermost frame has closed.
class OwedPause {
public:
    OwedPause() noexcept = default;
    ~OwedPause();
    OwedPause(const OwedPause&) = delete;
    OwedPause& operator=(const OwedPause&) = delete;
};

/// Opens an exported setter: takes g_CriticalSection, then waits for the request, then checks for the device.
/// Releases the lock on every way out.
class ZEKA_SCOPED_LOCK SetterFrame {
public:
    SetterFrame() ZEKA_ACQUIRES(g_CriticalSection);
    ~SetterFrame() ZEKA_RELEASES() = default;
    SetterFrame(const SetterFrame&) = delete;
    SetterFrame& operator=(const SetterFrame&) = delete;

    [[nodiscard]] FrameState State() const noexcept { return state_; }
    [[nodiscard]] bool Ready() const noexcept { return state_ == FrameState::kReady; }

private:
    // The deadline counts from before the lock, so that setters in a queue do not add up their waits.
    explicit SetterFrame(const Deadline& deadline) ZEKA_ACQUIRES(g_CriticalSection);

    OwedPause pause_;           // declared before the lock: makes the pause after the lock is released
    CAutoCriticalSection lock_; // taken before the wait
    FrameState state_;
};

/// While one lives, the request wait of the same thread is skipped. For the supervisor's tear-down, which
/// talks to an instrument that may send no requests any more while no poll thread reads; for callbacks of a
/// stream's first burst, which run before the instrument plays; for setters within an answer.
class WithoutRequestWait {
public:
    WithoutRequestWait() noexcept;
    ~WithoutRequestWait();
    WithoutRequestWait(const WithoutRequestWait&) = delete;
    WithoutRequestWait& operator=(const WithoutRequestWait&) = delete;
};

} // namespace zeka
