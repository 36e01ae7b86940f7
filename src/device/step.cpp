// step.cpp (device) - see step.h.
#include "device/step.h"

#include <algorithm>

namespace zeka {

void Step::BeginUnknown() noexcept
{
    *this = Step{};
    proved_ = false;
    unknown_ = true;
}

void Step::Lose() noexcept
{
    if (proved_)
        early_ = pings_;
    proved_ = false;
}

void Step::IdentityCame() noexcept
{
    if (pings_ == 0) { // no ping was written: this is something else
        Lose();
        return;
    }
    --pings_;
    if (early_ > 0) {
        --early_;
        return;
    }
    proved_ = true;
    unknown_ = false;
    overdue_ = 0;
}

void Step::ReplyMissing(std::size_t missing, bool begun) noexcept
{
    if (begun)
        pings_ = 0;
    Lose();
    overdue_ = missing;
}

void Step::BytesCame(std::size_t count) noexcept
{
    if (overdue_ == 0) {
        Lose();
        return;
    }
    overdue_ -= std::min(overdue_, count);
    if (overdue_ == 0)
        early_ = 0; // replies to earlier pings came ahead of this one
}

} // namespace zeka
