// sample_tap.cpp - exchanges the library's recording buffers in its signal callback. The callback runs under
// the library's lock; the mutex here is held briefly and never around a call of the library.
#include "cli/playing/sample_tap.h"

#include "cli/shell/failure.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr std::size_t kSamplesPerCall = 10;
constexpr std::size_t kCallsPerBlock = SampleTap::kBlockSamples / kSamplesPerCall;
static_assert(SampleTap::kBlockSamples % kSamplesPerCall == 0, "a block ends where a callback comes");
constexpr std::size_t kAhead = 8; // full blocks that may wait for the reader

constinit std::atomic<SampleTap*> current{nullptr};

} // namespace

SampleTap::SampleTap(bool wait_for_reader) : wait_for_reader_(wait_for_reader), filling_(Empty())
{
    if (!EnableRecordRaw(filling_.ac_counts.data(), filling_.dc_mv.data(), static_cast<int>(kBlockSamples)))
        throw Failure(Exit::kCheckFailed, "the library does not record; run this again");
    current = this;
    ZEKARegisterSignalOutputCallback(OnSignal);
}

SampleTap::~SampleTap()
{
    Close();
    ZEKARegisterSignalOutputCallback(nullptr);
    DisableRecordRaw(); // takes the lock under which the callback runs, so no callback runs afterwards
    current = nullptr;
}

void SampleTap::OnSignal(double seconds, double)
{
    if (SampleTap* tap = current)
        tap->Hear(seconds);
}

void SampleTap::Hear(double seconds)
{
    if (seconds < 0.0) { // marks the end
        const std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    } else if (heard_++ == kCallsPerBlock) { // this call's sample is the first of the next block
        heard_ = 1;
        Exchange();
    }
}

void SampleTap::Exchange()
{
    DisableRecordRaw();
    {
        std::unique_lock lock(mutex_);
        if (!closed_)
            full_.push_back(std::move(filling_));
        changed_.notify_all();
        if (wait_for_reader_)
            changed_.wait(lock, [this] { return closed_ || full_.size() < kAhead; });
        if (closed_)
            return;
    }
    filling_ = Empty();
    (void)EnableRecordRaw(filling_.ac_counts.data(), filling_.dc_mv.data(), static_cast<int>(kBlockSamples));
}

SampleBlock SampleTap::Empty()
{
    SampleBlock block;
    {
        const std::lock_guard lock(mutex_);
        if (!empty_.empty()) {
            block = std::move(empty_.back());
            empty_.pop_back();
        }
    }
    // The number of samples is not reported; a value that no sample has marks the unused rest.
    block.ac_counts.assign(kBlockSamples, std::numeric_limits<double>::quiet_NaN());
    block.dc_mv.resize(kBlockSamples);
    return block;
}

std::optional<SampleBlock> SampleTap::Next(std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, time, [this] { return !full_.empty() || ended_; }) || full_.empty())
        return std::nullopt;
    SampleBlock block = std::move(full_.front());
    full_.pop_front();
    changed_.notify_all();
    return block;
}

void SampleTap::Return(SampleBlock block)
{
    const std::lock_guard lock(mutex_);
    empty_.push_back(std::move(block));
}

void SampleTap::Close()
{
    const std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

SampleBlock SampleTap::Rest()
{
    DisableRecordRaw();
    SampleBlock rest = std::move(filling_);
    const auto end = std::ranges::find_if(rest.ac_counts, [](double counts) { return std::isnan(counts); });
    const auto count = static_cast<std::size_t>(end - rest.ac_counts.begin());
    rest.ac_counts.resize(count);
    rest.dc_mv.resize(count);
    filling_ = {};
    return rest;
}

bool SampleTap::Ended() const
{
    const std::lock_guard lock(mutex_);
    return ended_;
}

} // namespace zeka::cli
