// renewed_in_child.h (platform) - what a child of fork() makes anew.
// fork() copies the calling thread alone. Whatever lock another thread holds at that moment, nobody ever releases in
// the child. Waiting for the locks before the fork is no way out: some are held for seconds, over callbacks of the
// application too, and whoever forks may hold what such a callback waits for. So each lock says here, beside its
// definition, how it is made anew, and the child does that before fork() returns.
#pragma once

namespace zeka {

class RenewedInChild {
public:
    /// At load only; lives until unload.
    explicit RenewedInChild(void (*renew)()) noexcept : renew_(renew), next_(first_) { first_ = this; }
    RenewedInChild(const RenewedInChild&) = delete;
    RenewedInChild& operator=(const RenewedInChild&) = delete;

    /// In the child, while it has one thread.
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
