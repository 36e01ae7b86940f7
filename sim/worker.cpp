// worker.cpp - one round of the instrument's thread: run the tasks of other threads, read the input, advance
// the player, send what is due, hand over what was played, wait for input or the next deadline.
#include "sim/worker.h"

#include "sim/private_dev.h"
#include "sim/usb_device.h"

#include <algorithm>
#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zeka::sim {
namespace {

constexpr std::size_t kReadBytes = 64 * 1024;
constexpr std::size_t kFloodQueueBytes = 4096; // most bytes of a flood that are queued at once
constexpr std::chrono::milliseconds kFloodTick{1};
constexpr int kFloodRequests = 8;
constexpr std::chrono::milliseconds kLookAgain{5};

} // namespace

Workpiece::Workpiece(const InstrumentConfig& config)
    : firmware(config.identity, config.control_block, config.rom_busy_polls), player(config.player)
{
    faults.Seed(config.fault_seed);
}

Worker::Worker(const InstrumentConfig& config)
    : kind_(config.medium), cooked_(config.cooked), keeps_power_(config.keeps_power),
      guard_node_(config.guard_node || !InPrivateDev()), work_(config),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!wake_.IsOpen())
        throw std::system_error(errno, std::generic_category(), "virtual instrument: eventfd");
    thread_ = std::thread([this] { Run(); });
}

Worker::~Worker()
{
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    Wake();
    thread_.join();
}

void Worker::Wake() const
{
    const std::uint64_t one = 1;
    (void)!::write(wake_.Get(), &one, sizeof one);
}

void Worker::Do(std::function<void()> task)
{
    std::exception_ptr error;
    bool done = false;
    std::unique_lock lock(mutex_);
    tasks_.push_back({&task, &error, &done});
    Wake();
    changed_.wait(lock, [&done] { return done; });
    lock.unlock();
    if (error)
        std::rethrow_exception(error);
}

void Worker::Run()
{
    for (;;) {
        {
            const std::lock_guard lock(mutex_);
            if (stop_) {
                PowerDown();
                return;
            }
            ++work_.stats.wakeups;
            RunTasks();
            Round(Clock::now());
        }
        Deliver();
        WaitForSomething();
    }
}

void Worker::RunTasks()
{
    while (!tasks_.empty()) {
        const Task task = tasks_.front();
        tasks_.pop_front();
        try {
            (*task.function)();
        } catch (...) {
            *task.error = std::current_exception();
        }
        *task.done = true;
        changed_.notify_all();
    }
}

void Worker::Round(TimePoint now)
{
    if (replug_port_ && now >= replug_at_) {
        const int port = *std::exchange(replug_port_, std::nullopt);
        try {
            PowerUp(port);
        } catch (const std::system_error&) {
            // The port is taken: the instrument stays unplugged, as State() shows.
        }
    }
    if (!medium_)
        return;
    TakeInput(now);
    if (!medium_)
        return;         // a fault has unplugged it
    now = Clock::now(); // what was read carries later times than the beginning of the round
    work_.player.Advance(now);
    Flood(now);
    if (work_.player.WantsRequest(now) && !work_.faults.Active(Fault::kStopAsking))
        SendRequest(Clock::now());
    Flush(now);
}

void Worker::Deliver()
{
    std::vector<Sample> played;
    SampleConsumer consumer;
    {
        const std::lock_guard lock(mutex_);
        played = work_.player.TakePlayed();
        consumer = work_.consumer;
        const std::size_t wanted = std::min(work_.capture_left, played.size());
        work_.captured.insert(work_.captured.end(), played.begin(),
                              played.begin() + static_cast<std::ptrdiff_t>(wanted));
        work_.capture_left -= wanted;
    }
    if (consumer && !played.empty())
        consumer(played);
    changed_.notify_all();
}

void Worker::PublishTerminal(int port)
{
    medium_ = std::make_unique<Terminal>(cooked_);
    try {
        node_.Publish(port, medium_->Path(), guard_node_);
    } catch (...) {
        medium_.reset();
        throw;
    }
}

void Worker::PowerUp(int port)
{
    PowerDown();
    if (!keeps_power_)
        work_.firmware.PowerUp();
    if (kind_ == MediumKind::kUsb)
        medium_ = UsbDevice::PlugIn(port); // the kernel makes the node
    else
        PublishTerminal(port);
    InstrumentState& state = work_.firmware.State();
    state.plugged = true;
    state.port = port;
    state.node = node_.Path();
    state.terminal = medium_->Path();
    work_.player.OutputStateWritten(state.output_on, Clock::now());
    ++work_.stats.plugs;
}

bool Worker::HasNode()
{
    InstrumentState& state = work_.firmware.State();
    if (medium_ && kind_ == MediumKind::kUsb)
        state.node = medium_->KernelNode();
    return !state.node.empty();
}

void Worker::PowerDown(Removal how)
{
    replug_port_.reset();
    unplug_.reset();
    stalled_until_ = backlog_reply_at_ = {};
    if (medium_)
        medium_->Remove(how);
    medium_.reset(); // as with the real driver, the hang-up comes first, then the node disappears
    node_.Remove();
    outgoing_.clear();
    write_blocked_ = false;
    work_.framer.Clear();
    work_.player.PowerOff();
    burst_bytes_ = 0;
    InstrumentState& state = work_.firmware.State();
    state.plugged = false;
    state.node.clear();
    state.terminal.clear();
    if (keeps_power_)
        return;
    state.output_on = false;
    state.memory_playing = false;
}

void Worker::SendRequest(TimePoint now)
{
    Queue(kSampleRequest, now, true);
    work_.player.RequestSent(now);
}

void Worker::Flood(TimePoint now)
{
    const std::optional<FaultRule> rule = work_.faults.Active(Fault::kFlood);
    if (!rule || now < next_flood_)
        return;
    next_flood_ = now + kFloodTick;
    std::size_t queued = 0;
    for (const Outgoing& chunk : outgoing_)
        queued += chunk.bytes.size();
    for (int i = rule->value > 0 ? rule->value : kFloodRequests; i > 0 && queued < kFloodQueueBytes; --i) {
        SendRequest(now);
        queued += kSampleRequest.size();
    }
}

void Worker::Queue(Bytes bytes, TimePoint due, bool is_request)
{
    outgoing_.push_back({{bytes.begin(), bytes.end()}, due, is_request});
}

void Worker::Flush(TimePoint now)
{
    write_blocked_ = false;
    while (medium_ && !outgoing_.empty() && outgoing_.front().due <= now && stalled_until_ <= now) {
        std::vector<std::uint8_t>& bytes = outgoing_.front().bytes;
        std::size_t count = bytes.size();
        if (unplug_ && !outgoing_.front().is_request)
            count = std::min(count, unplug_->sent_bytes_left);
        const std::size_t written = medium_->Write(Bytes(bytes).first(count));
        work_.stats.bytes_sent += written;
        if (unplug_ && !outgoing_.front().is_request) {
            unplug_->sent_bytes_left -= written;
            if (unplug_->sent_bytes_left == 0) {
                const FaultRule rule = unplug_->rule;
                UnplugByFault(rule);
                return;
            }
        }
        if (written < bytes.size()) {
            bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(written));
            write_blocked_ = true;
            return;
        }
        outgoing_.pop_front();
    }
}

bool Worker::Reads(TimePoint now) const
{
    return !work_.faults.Active(Fault::kStopReading) && stalled_until_ <= now;
}

void Worker::TakeInput(TimePoint now)
{
    medium_->SetDeaf(work_.faults.Active(Fault::kDeaf).has_value());
    medium_->NoteEvents();
    while (medium_ && Reads(now)) {
        input_.clear();
        const std::size_t count = medium_->Read(input_, kReadBytes);
        if (count == 0)
            break;
        work_.stats.bytes_received += count;
        now = Clock::now();
        work_.framer.Feed(input_, now);
        TakeFrames(now);
    }
    if (medium_ && stalled_until_ <= now)
        TakeFrames(now); // silence may have ended a command
}

std::optional<TimePoint> Worker::Deadline(TimePoint now) const
{
    std::optional<TimePoint> next;
    const auto at = [&next](std::optional<TimePoint> moment) {
        if (moment)
            next = next ? std::min(*next, *moment) : *moment;
    };
    if (replug_port_)
        at(replug_at_);
    if (!medium_)
        return next;
    if (!work_.faults.Active(Fault::kStopAsking) || !work_.player.WantsRequest(now))
        at(work_.player.Deadline());
    else
        at(now + kLookAgain);
    if (stalled_until_ > now)
        at(stalled_until_);
    else
        at(work_.framer.Deadline());
    if (!outgoing_.empty() && !write_blocked_)
        at(std::max(outgoing_.front().due, stalled_until_));
    if (work_.faults.Active(Fault::kFlood))
        at(std::max(next_flood_, now + kFloodTick));
    const bool blind = work_.faults.Active(Fault::kStopReading) && write_blocked_;
    if (medium_->MustLookAgain() || blind)
        at(now + kLookAgain);
    return next;
}

void Worker::WaitForSomething()
{
    poll_set_.assign(1, {wake_.Get(), POLLIN, 0});
    std::optional<TimePoint> deadline;
    {
        const std::lock_guard lock(mutex_);
        if (medium_)
            medium_->AddTo(poll_set_, Reads(Clock::now()), write_blocked_);
        deadline = Deadline(Clock::now());
    }
    timespec timeout{};
    if (deadline) {
        const std::chrono::nanoseconds left = std::max(Clock::duration::zero(), *deadline - Clock::now());
        timeout.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(left).count();
        timeout.tv_nsec = (left % std::chrono::seconds(1)).count();
    }
    (void)::ppoll(poll_set_.data(), poll_set_.size(), deadline ? &timeout : nullptr, nullptr);
    std::uint64_t count = 0;
    (void)!::read(wake_.Get(), &count, sizeof count);
}

void Worker::WaitForChange(TimePoint until) const
{
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, until);
}

} // namespace zeka::sim
