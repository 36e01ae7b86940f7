// renewed_in_child.h (platform) - constructs locks anew in a child of fork(). fork() copies the calling
// thread alone, so a lock that another thread holds at that moment is never released in the child. Taking all
// locks before the fork is no way out: some are held for seconds, also over callbacks of the application, and
// the forking thread may hold what such a callback waits for. So each lock registers beside its definition
// how it is constructed anew, and the child does that before fork() returns.
#pragma once

namespace zeka {

class RenewedInChild {
public:
    /// REQUIRES: constructed at load; lives until unload.
    explicit RenewedInChild(void (*renew)()) noexcept : renew_(renew), next_(first_) { first_ = this; }
    RenewedInChild(const RenewedInChild&) = delete;
    RenewedInChild& operator=(const RenewedInChild&) = delete;

    /// REQUIRES: called in the child, while it has one thread.
    static void RenewAll() noexcept
    {
        for (const RenewedInChild* one = first_; one != nullptr; one = one->next_)
            one->renew_();
    }

private:
    void (*renew_)();
    const RenewedInChild* next_;
    static inline constinit const RenewedInChild* first_ = nullptr;
};

} // namespace zeka
