// instrument.cpp - see instrument.h: hands every call on to the instrument's thread, or reads under its
// mutex.
#include "sim/instrument.h"

#include "sim/vhci.h"
#include "sim/worker.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace zeka::sim {
namespace {

constexpr std::chrono::milliseconds kLookAgain{5};
constexpr std::chrono::seconds kNodeWait{10};

} // namespace

double Percentile(std::vector<double> values, double percent)
{
    if (values.empty())
        return std::numeric_limits<double>::quiet_NaN();
    std::ranges::sort(values);
    const double rank = std::ceil(percent / 100.0 * static_cast<double>(values.size()));
    const auto index = static_cast<std::size_t>(std::clamp(rank, 1.0, static_cast<double>(values.size())));
    return values[index - 1];
}

Instrument::Instrument(const InstrumentConfig& config)
    : config_(config), worker_(std::make_unique<Worker>(config_))
{
}

Instrument::~Instrument() = default;

void Instrument::Plug(int port)
{
    worker_->Do([this, port] { worker_->PowerUp(port); });
    (void)WaitFor([this] { return worker_->Locked([this] { return worker_->HasNode(); }); }, kNodeWait);
}

void Instrument::Unplug(Removal how)
{
    const int port = State().port;
    worker_->Do([this, how] { worker_->PowerDown(how); });
    if (config_.medium == MediumKind::kUsb) // the kernel takes some milliseconds
        (void)WaitFor([port] { return vhci::NodeOf(port).empty(); }, kNodeWait);
}

void Instrument::Replug(int port)
{
    Unplug();
    Plug(port);
}

void Instrument::Replug()
{
    const int port = State().port;
    Replug(port >= 0 ? port : config_.port);
}

int Instrument::Inject(const FaultRule& rule)
{
    const int id = worker_->Locked([&] { return worker_->faults_.Add(rule); });
    worker_->Wake();
    return id;
}

void Instrument::Clear(int fault_id)
{
    worker_->Locked([&] { worker_->faults_.Remove(fault_id); });
    worker_->Wake();
}

void Instrument::ClearFaults()
{
    worker_->Locked([&] { worker_->faults_.Clear(); });
    worker_->Wake();
}

int Instrument::FaultsFired(Fault fault) const
{
    return worker_->Locked([&] { return worker_->faults_.Fired(fault); });
}

void Instrument::Step(unsigned bursts)
{
    worker_->Do([this, bursts] { worker_->player_.Step(bursts); });
}

void Instrument::SendRequest()
{
    worker_->Do([this] { worker_->SendRequest(Clock::now()); });
}

void Instrument::SendBytes(Bytes bytes)
{
    worker_->Do([this, bytes] { worker_->Queue(bytes, Clock::now()); });
}

InstrumentState Instrument::State() const
{
    return worker_->Locked([&] { return worker_->firmware_.State(); });
}

InstrumentStats Instrument::Stats() const
{
    return worker_->Locked([&] {
        InstrumentStats stats = worker_->stats_;
        stats.stream = worker_->player_.Stats();
        stats.unknown_bytes = worker_->framer_.UnknownBytes();
        stats.truncated_commands = worker_->framer_.TruncatedCommands();
        return stats;
    });
}

std::vector<CommandRecord> Instrument::Commands() const
{
    return worker_->Locked(
        [&] { return std::vector<CommandRecord>(worker_->commands_.begin(), worker_->commands_.end()); });
}

void Instrument::ClearCommands()
{
    worker_->Locked([&] { worker_->commands_.clear(); });
}

void Instrument::ResetStats()
{
    worker_->Locked([&] {
        worker_->stats_ = {};
        worker_->player_.ResetStats();
        worker_->framer_.ResetCounts();
    });
}

void Instrument::SetConsumer(Consumer consumer)
{
    worker_->Do(
        [&] { worker_->consumer_ = std::move(consumer); }); // after this the former one no longer runs
}

void Instrument::StartCapture(std::size_t samples)
{
    worker_->Locked([&] { worker_->StartCapture(samples); });
}

std::vector<Sample> Instrument::Captured() const
{
    return worker_->Locked([&] { return worker_->captured_; });
}

bool Instrument::WaitCaptured(std::chrono::milliseconds timeout) const
{
    return WaitFor([this] { return worker_->Locked([&] { return worker_->capture_left_ == 0; }); }, timeout);
}

std::vector<Sample> Instrument::Capture(std::size_t samples, std::chrono::milliseconds timeout)
{
    StartCapture(samples);
    (void)WaitCaptured(timeout);
    return Captured();
}

void Instrument::KeepBursts(std::size_t count)
{
    worker_->Locked([&] { worker_->player_.KeepBursts(count); });
}

std::vector<Burst> Instrument::Bursts() const
{
    return worker_->Locked([&] { return worker_->player_.Bursts(); });
}

bool Instrument::WaitFor(const std::function<bool()>& predicate, std::chrono::milliseconds timeout) const
{
    // The predicate may look at other things than the instrument, so it is also asked every few milliseconds.
    const TimePoint deadline = Clock::now() + timeout;
    for (;;) {
        if (predicate())
            return true;
        if (Clock::now() >= deadline)
            return false;
        std::unique_lock lock(worker_->mutex_);
        worker_->changed_.wait_until(lock, std::min(deadline, Clock::now() + kLookAgain));
    }
}

} // namespace zeka::sim
