// answer.cpp - handles a command on the instrument's thread: carries it out, applies faults to the reply,
// queues it. REQUIRES: Worker::mutex_ held.
#include "sim/worker.h"

#include <algorithm>

namespace zeka::sim {
namespace {

constexpr std::size_t kKeptCommands = 200'000;
constexpr std::size_t kGarbageBytes = 5;
constexpr std::size_t kMarkerAt = 4; // in the reply to the ping
constexpr std::size_t kPageStatusAt = 4;
constexpr std::size_t kStatusAt = 3;
constexpr std::chrono::milliseconds kBacklogReplyTime{3}; // from a command to its reply, after a stall

std::vector<Sample> Period(const InstrumentState& state)
{
    constexpr std::size_t kSlotBytes = 4;
    const std::size_t uploaded = state.image.size() / kSlotBytes;
    const std::size_t told = state.waveform ? state.waveform->samples : uploaded;
    std::vector<Sample> period(std::min(uploaded, told)); // without what pads the last packet
    for (std::size_t i = 0; i < period.size(); ++i)
        period[i] = GetSample(state.image, i * kSlotBytes);
    return period;
}

} // namespace

void Worker::UnplugByFault(const FaultRule& rule)
{
    PowerDown(rule.removal);
    if (rule.replug_port) {
        replug_port_ = rule.replug_port;
        replug_at_ = Clock::now() + rule.replug_after;
    }
}

void Worker::TakeFrames(TimePoint now)
{
    while (const std::optional<Frame> frame = work_.framer.Next(now)) {
        burst_bytes_ = frame->command == Command::kSamples ? burst_bytes_ + frame->size : 0;
        const std::size_t passed = burst_bytes_ > 0 ? burst_bytes_ : frame->size;
        if (UnplugWhileReceiving(frame->command, frame->View(), passed))
            return;
        if (burst_bytes_ == kBurstBytes) {
            burst_bytes_ = 0;
            work_.faults.BurstArrived();
        }
        if (frame->command == Command::kSamples)
            work_.player.TakePacket(*frame);
        else
            Answer(*frame, now);
    }
    const Bytes rest = work_.framer.Pending();
    if (!rest.empty())
        (void)UnplugWhileReceiving(work_.framer.PendingCommand(), rest, burst_bytes_ + rest.size());
}

// `passed`: bytes of this exchange so far. A rule that needs more bytes than the command has goes on
// counting in its reply; see QueueReply.
bool Worker::UnplugWhileReceiving(std::optional<Command> command, Bytes so_far, std::size_t passed)
{
    const std::optional<FaultRule> rule = work_.faults.Find(Fault::kUnplugAtByte, command, so_far[0]);
    if (!rule || passed < static_cast<std::size_t>(std::max(rule->value, 0)))
        return false;
    (void)work_.faults.Take(Fault::kUnplugAtByte, command.value_or(Command::kPing), so_far[0]);
    UnplugByFault(*rule);
    return true;
}

void Worker::Answer(const Frame& frame, TimePoint now)
{
    ++work_.stats.commands;
    work_.faults.CommandArrived(frame.command);
    if (frame.command == Command::kRomStatus)
        work_.firmware.SetRomNeverDone(
            work_.faults.Take(Fault::kRomNeverDone, frame.command, frame.bytes[0]).has_value());
    const Reply reply = work_.firmware.Handle(frame);
    CommandRecord record{
        frame.command, {frame.View().begin(), frame.View().end()}, {}, frame.first, frame.last};
    if (!work_.faults.Take(Fault::kNoReply, frame.command, frame.bytes[0]))
        record.reply = Distort(frame, reply);
    if (!record.reply.empty())
        QueueReply(frame, record.reply, now);
    work_.commands.push_back(std::move(record));
    if (work_.commands.size() > kKeptCommands)
        work_.commands.pop_front();
    ApplyEffects(frame, now);
}

void Worker::ApplyEffects(const Frame& frame, TimePoint now)
{
    const InstrumentState& state = work_.firmware.State();
    switch (frame.command) {
    case Command::kControlWrite:
        work_.player.OutputStateWritten(state.output_on, now);
        if (state.output_on)
            work_.firmware.State().memory_playing = false;
        break;
    case Command::kOutputStart:
        work_.player.StartMemory(Period(state), state.output_record->sample_rate,
                                 state.output_record->fraction_permille, now);
        break;
    case Command::kOutputStop:
    case Command::kOutputRecordOff:
        work_.player.StopMemory();
        break;
    default:
        break;
    }
}

std::vector<std::uint8_t> Worker::Distort(const Frame& frame, const Reply& reply)
{
    std::vector<std::uint8_t> bytes(reply.bytes.begin(),
                                    reply.bytes.begin() + static_cast<std::ptrdiff_t>(reply.size));
    const auto take = [&](Fault fault) { return work_.faults.Take(fault, frame.command, frame.bytes[0]); };
    const std::size_t status_at = frame.bytes[0] == 0x12 ? kPageStatusAt : kStatusAt;

    if (const auto rule = take(Fault::kWrongStatus))
        bytes[status_at] = static_cast<std::uint8_t>(rule->value);
    if (take(Fault::kWrongMarker)) {
        std::uint8_t& marker = bytes[frame.command == Command::kPing ? kMarkerAt : 0];
        marker = static_cast<std::uint8_t>(~marker);
    }
    if (take(Fault::kWrongAck))
        bytes.back() = static_cast<std::uint8_t>(~bytes.back());
    if (const auto rule = take(Fault::kShortReply))
        bytes.resize(rule->value > 0 ? std::min(bytes.size(), static_cast<std::size_t>(rule->value))
                                     : bytes.size() / 2);
    if (const auto rule = take(Fault::kGarbage)) {
        const auto count = rule->value > 0 ? static_cast<std::size_t>(rule->value) : kGarbageBytes;
        for (std::size_t i = 0; i < count; ++i)
            bytes.insert(bytes.begin(), static_cast<std::uint8_t>(0xA0 + i % 16));
    }
    return bytes;
}

// Returns the earliest time at which a reply may be sent. A stall holds up its own reply.
// What the host writes meanwhile is read afterwards and answered one by one, so that the
// replies do not arrive in one piece.
TimePoint Worker::HeldUpByStall(const Frame& frame, TimePoint now)
{
    if (const auto rule = work_.faults.Take(Fault::kStall, frame.command, frame.bytes[0])) {
        stalled_until_ = now + std::chrono::milliseconds(rule->value);
        backlog_reply_at_ = stalled_until_;
    }
    if (backlog_reply_at_ == TimePoint{})
        return now; // no stall so far
    return backlog_reply_at_ = std::max(backlog_reply_at_, now) + kBacklogReplyTime;
}

void Worker::QueueReply(const Frame& frame, const std::vector<std::uint8_t>& reply, TimePoint now)
{
    const auto take = [&](Fault fault) { return work_.faults.Take(fault, frame.command, frame.bytes[0]); };
    if (take(Fault::kRequestAhead))
        SendRequest(now);
    if (const auto rule = work_.faults.Find(Fault::kUnplugAtByte, frame.command, frame.bytes[0])) {
        const std::size_t sent = static_cast<std::size_t>(rule->value) - frame.size;
        if (sent <= reply.size()) {
            (void)take(Fault::kUnplugAtByte);
            unplug_ = PendingUnplug{*rule, sent};
        }
    }
    TimePoint due = HeldUpByStall(frame, now);
    if (const auto rule = take(Fault::kLateReply))
        due += std::chrono::milliseconds(rule->value);
    if (const auto rule = take(Fault::kSingleBytes)) {
        for (const std::uint8_t& byte : reply) {
            Queue(Bytes(&byte, 1), due);
            due += std::chrono::microseconds(rule->value);
        }
    } else
        Queue(reply, due);
}

} // namespace zeka::sim
