// setting.h (signal) - what the exported setters and getters have in common: frame, refusal, range, store and
// apply step, in this order. A setting that needs nothing else is a row of its file's table.
#pragma once

#include <cassert>
#include <limits>
#include <type_traits>

#include "link/serial_link.h"
#include "signal/frame.h"
#include "util/peek.h"

namespace zeka {

/// Opens a setter that exchanges nothing while a function streams: takes the lock without the request wait.
class ZEKA_SCOPED_LOCK LockFrame {
public:
    LockFrame() ZEKA_ACQUIRES(g_CriticalSection) : lock_(g_CriticalSection), ready_(DeviceUsable()) {}
    ~LockFrame() ZEKA_RELEASES() = default;
    LockFrame(const LockFrame&) = delete;
    LockFrame& operator=(const LockFrame&) = delete;

    [[nodiscard]] bool Ready() const noexcept { return ready_; }

private:
    CAutoCriticalSection lock_; // first member: taken before the device is checked, released last
    bool ready_;
};

/// Why a setter stores nothing; kOk when it may. A missing device outranks a value out of range.
template <typename Frame> [[nodiscard]] int Refusal(const Frame& frame, bool in_range = true) noexcept
{
    if (!frame.Ready())
        return kNoAnswer;
    return in_range ? kOk : kOutOfRange;
}

/// A setting whose setter checks a range, stores the value and applies it.
template <typename T> struct Setting {
    T* value;
    Interval accepted;
    void (*apply)(); // _Change: with the next sample; _ChangeRequested: at the end of the running period
};

inline constexpr Interval kAnyNumber{-std::numeric_limits<double>::infinity(),
                                     std::numeric_limits<double>::infinity()};

template <typename Frame = SetterFrame, typename T>
int Set(const Setting<T>& setting, std::type_identity_t<T> value)
{
    assert(setting.value != nullptr && setting.apply != nullptr);
    const Frame frame;
    assert(HoldsCriticalSection());
    if (const int refusal = Refusal(frame, setting.accepted.Contains(value)); refusal != kOk)
        return refusal;
    Publish(*setting.value, value);
    setting.apply();
    return kOk;
}

/// A getter that waits for the setter that is under way.
template <typename T> [[nodiscard]] T GetLocked(const T* value)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return Peek(*value);
}

} // namespace zeka
