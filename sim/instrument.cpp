// instrument.cpp - passes every call to the instrument's thread, or reads under its mutex.
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
    (void)WaitFor([this] { return worker_->Locked([this](Workpiece&) { return worker_->HasNode(); }); },
                  kNodeWait);
}

void Instrument::Unplug(Removal how)
{
    const int port = State().port;
    worker_->Do([this, how] { worker_->PowerDown(how); });
    if (config_.medium == MediumKind::kUsb) // the kernel takes some milliseconds to remove the node
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
    const int id = worker_->Locked([&](Workpiece& work) { return work.faults.Add(rule); });
    worker_->Wake();
    return id;
}

void Instrument::Clear(int fault_id)
{
    worker_->Locked([&](Workpiece& work) { work.faults.Remove(fault_id); });
    worker_->Wake();
}

void Instrument::ClearFaults()
{
    worker_->Locked([&](Workpiece& work) { work.faults.Clear(); });
    worker_->Wake();
}

int Instrument::FaultsFired(Fault fault) const
{
    return worker_->Locked([&](Workpiece& work) { return work.faults.Fired(fault); });
}

void Instrument::Step(unsigned bursts)
{
    worker_->Do([this, bursts] { worker_->Work().player.Step(bursts); });
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
    return worker_->Locked([&](Workpiece& work) { return work.firmware.State(); });
}

InstrumentStats Instrument::Stats() const
{
    return worker_->Locked([&](Workpiece& work) {
        InstrumentStats stats = work.stats;
        stats.stream = work.player.Stats();
        stats.unknown_bytes = work.framer.UnknownBytes();
        stats.truncated_commands = work.framer.TruncatedCommands();
        return stats;
    });
}

std::vector<CommandRecord> Instrument::Commands() const
{
    return worker_->Locked([&](Workpiece& work) {
        return std::vector<CommandRecord>(work.commands.begin(), work.commands.end());
    });
}

void Instrument::ClearCommands()
{
    worker_->Locked([&](Workpiece& work) { work.commands.clear(); });
}

void Instrument::ResetStats()
{
    worker_->Locked([&](Workpiece& work) {
        work.stats = {};
        work.player.ResetStats();
        work.framer.ResetCounts();
    });
}

void Instrument::SetConsumer(Consumer consumer)
{
    // Do() waits for the instrument's thread, so the former consumer does not run any more on return.
    worker_->Do([&] { worker_->Work().consumer = std::move(consumer); });
}

void Instrument::StartCapture(std::size_t samples)
{
    worker_->Locked([samples](Workpiece& work) {
        work.captured.clear();
        work.captured.reserve(samples);
        work.capture_left = samples;
    });
}

std::vector<Sample> Instrument::Captured() const
{
    return worker_->Locked([&](Workpiece& work) { return work.captured; });
}

bool Instrument::WaitCaptured(std::chrono::milliseconds timeout) const
{
    return WaitFor(
        [this] { return worker_->Locked([&](Workpiece& work) { return work.capture_left == 0; }); }, timeout);
}

std::vector<Sample> Instrument::Capture(std::size_t samples, std::chrono::milliseconds timeout)
{
    StartCapture(samples);
    (void)WaitCaptured(timeout);
    return Captured();
}

void Instrument::KeepBursts(std::size_t count)
{
    worker_->Locked([&](Workpiece& work) { work.player.KeepBursts(count); });
}

std::vector<Burst> Instrument::Bursts() const
{
    return worker_->Locked([&](Workpiece& work) { return work.player.Bursts(); });
}

bool Instrument::WaitFor(const std::function<bool()>& predicate, std::chrono::milliseconds timeout) const
{
    // The predicate may depend on more than the instrument, so it is also checked every few milliseconds.
    const TimePoint deadline = Clock::now() + timeout;
    for (;;) {
        if (predicate())
            return true;
        if (Clock::now() >= deadline)
            return false;
        worker_->WaitForChange(std::min(deadline, Clock::now() + kLookAgain));
    }
}

} // namespace zeka::sim
