// player.cpp - checks each burst as it arrives and plays the samples by the chosen clock.
#include "sim/player.h"

#include <algorithm>
#include <utility>

namespace zeka::sim {
namespace {

constexpr std::size_t kHeaderAt = 2; // bytes 2 to 5 are the same in every packet
constexpr std::array<std::uint8_t, 4> kHeader{0x00, 0x00, 0x00, kSamplesPerPacket};
constexpr std::size_t kSequenceAt = 6;
constexpr std::size_t kSlotsAt = 8;
constexpr std::size_t kSlotBytes = 4;
constexpr std::uint64_t kFastMemorySpeed = 100; // the fast clock plays memory this many times too fast
constexpr std::chrono::milliseconds kMemoryTick{5};

double Microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

} // namespace

void Player::OutputStateWritten(bool on, TimePoint now)
{
    state_written_ = true;
    if (on == on_)
        return;
    stats_.discarded_samples += buffer_.size();
    buffer_.clear();
    packet_in_burst_ = 0;
    outstanding_ = false;
    running_ = false;
    first_burst_seen_ = false;
    stepped_ = false;
    expected_sequence_ = 0;
    on_ = on;
    on_since_ = now;
    if (on)
        StopMemory();
}

void Player::StartMemory(std::vector<Sample> period, unsigned sample_rate, unsigned fraction_permille,
                         TimePoint now)
{
    if (period.empty() || sample_rate == 0) {
        memory_.reset();
        return;
    }
    memory_ = Memory{std::move(period), sample_rate, fraction_permille, now};
}

void Player::StopMemory() { memory_.reset(); }

void Player::PowerOff()
{
    OutputStateWritten(false, {});
    state_written_ = false;
    StopMemory();
}

void Player::CheckHeader(const Frame& frame)
{
    const Bytes p = frame.View();
    if (!std::equal(kHeader.begin(), kHeader.end(), p.begin() + kHeaderAt))
        ++stats_.bad_headers;
    const std::uint16_t sequence = GetBe16(p, kSequenceAt);
    if (state_written_ && sequence == 0) {
        ++stats_.stream_starts;
        packet_in_burst_ = 0;
    } else if (sequence != expected_sequence_)
        ++stats_.sequence_gaps;
    state_written_ = false;
    expected_sequence_ = static_cast<std::uint16_t>(sequence + 1);
}

void Player::TakePacket(const Frame& frame)
{
    ++stats_.packets;
    if (!on_) {
        ++stats_.ignored_packets;
        return;
    }
    CheckHeader(frame);
    if (packet_in_burst_ == 0) {
        burst_first_byte_ = frame.first;
        if (!HasRoom())
            ++stats_.overflows; // its samples are played all the same: no signal is lost here
    }
    const Bytes p = frame.View();
    for (std::size_t k = 0; k < kSamplesPerPacket; ++k)
        buffer_.push_back(GetSample(p, kSlotsAt + k * kSlotBytes));
    std::ranges::copy(p, burst_.begin() + static_cast<std::ptrdiff_t>(packet_in_burst_ * kBlockBytes));
    if (++packet_in_burst_ == kPacketsPerBurst) {
        packet_in_burst_ = 0;
        BurstArrived(frame.last);
    }
}

void Player::BurstArrived(TimePoint last_byte)
{
    ++stats_.bursts;
    first_burst_seen_ = true;
    if (outstanding_ && burst_first_byte_ >= asked_) {
        outstanding_ = false;
        stats_.first_byte_us.push_back(Microseconds(burst_first_byte_ - asked_));
        stats_.last_byte_us.push_back(Microseconds(last_byte - asked_));
    } else
        ++stats_.unasked_bursts;
    if (keep_bursts_ > 0) {
        bursts_.push_back(burst_);
        if (bursts_.size() > keep_bursts_)
            bursts_.pop_front();
    }
    if (config_.clock == ClockMode::kFast)
        Play(buffer_.size());
    if (config_.clock == ClockMode::kReal && !running_) {
        running_ = true;
        run_start_ = last_byte;
        played_in_run_ = 0;
    }
}

void Player::Play(std::size_t samples)
{
    samples = std::min(samples, buffer_.size());
    const auto end = buffer_.begin() + static_cast<std::ptrdiff_t>(samples);
    played_.insert(played_.end(), buffer_.begin(), end);
    buffer_.erase(buffer_.begin(), end);
    stats_.played_samples += samples;
}

void Player::Advance(TimePoint now)
{
    advanced_ = now;
    AdvanceMemory(now);
    if (!running_ || now < run_start_)
        return;
    const auto due = static_cast<std::uint64_t>((now - run_start_) / kSampleTime);
    const std::uint64_t samples = std::min<std::uint64_t>(due - played_in_run_, buffer_.size());
    Play(static_cast<std::size_t>(samples));
    played_in_run_ += samples;
    if (due > played_in_run_) { // the next sample should have been out by now
        ++stats_.underruns;
        running_ = false;
    }
}

void Player::AdvanceMemory(TimePoint now)
{
    if (!memory_ || config_.clock == ClockMode::kStepped || now < memory_->start)
        return;
    constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
    const auto elapsed = static_cast<std::uint64_t>(std::chrono::nanoseconds(now - memory_->start).count());
    const std::uint64_t speed = config_.clock == ClockMode::kFast ? kFastMemorySpeed : 1;
    const std::uint64_t rate = memory_->sample_rate * speed;
    const std::uint64_t due = elapsed / kNanosecondsPerSecond * rate +
                              elapsed % kNanosecondsPerSecond * rate / kNanosecondsPerSecond;
    PlayMemory(due - memory_->played);
}

void Player::PlayMemory(std::uint64_t samples)
{
    stats_.memory_samples += samples;
    memory_->played += samples;
    for (; samples > 0; --samples) {
        if (memory_->at == memory_->length)
            memory_->BeginPeriod();
        // Where the fractions have added up to a whole sample, the last one is held once more.
        played_.push_back(memory_->period[std::min(memory_->at, memory_->period.size() - 1)]);
        ++memory_->at;
    }
}

void Player::Memory::BeginPeriod()
{
    constexpr unsigned kWholeSample = 1000;
    at = 0;
    length = period.size();
    fraction += fraction_permille;
    if (fraction >= kWholeSample) {
        fraction -= kWholeSample;
        ++length;
    }
}

void Player::Step(unsigned bursts)
{
    stepped_ = true;
    if (memory_)
        PlayMemory(bursts * kSamplesPerBurst);
    else {
        if (on_ && buffer_.size() < bursts * kSamplesPerBurst)
            ++stats_.underruns;
        Play(bursts * kSamplesPerBurst);
    }
}

bool Player::HasRoom() const
{
    return buffer_.size() + kSamplesPerBurst <= config_.depth_bursts * kSamplesPerBurst;
}

bool Player::WantsRequest(TimePoint now) const
{
    if (!on_)
        return false;
    if (outstanding_)
        return config_.clock != ClockMode::kStepped && config_.repeat_request_after.count() > 0 &&
               now - last_asked_ >= config_.repeat_request_after;
    if (first_burst_seen_)
        return HasRoom();
    return config_.clock == ClockMode::kStepped ? stepped_ : now - on_since_ >= config_.first_request_after;
}

void Player::RequestSent(TimePoint now)
{
    ++stats_.requests;
    if (outstanding_)
        ++stats_.repeated_requests;
    else if (on_) {
        outstanding_ = true;
        asked_ = now;
    }
    last_asked_ = now;
}

TimePoint Player::PlayTime(std::uint64_t sample) const
{
    return run_start_ + kSampleTime * static_cast<std::int64_t>(sample);
}

std::optional<TimePoint> Player::Deadline() const
{
    std::optional<TimePoint> next;
    const auto at = [&next](TimePoint moment) { next = next ? std::min(*next, moment) : moment; };

    if (memory_ && config_.clock != ClockMode::kStepped)
        at(advanced_ + kMemoryTick);
    if (!on_ || config_.clock == ClockMode::kStepped)
        return next;
    if (outstanding_) {
        if (config_.repeat_request_after.count() > 0)
            at(last_asked_ + config_.repeat_request_after);
    } else if (!first_burst_seen_)
        at(on_since_ + config_.first_request_after);
    if (running_) {
        const std::size_t keep = (std::max(config_.depth_bursts, 1U) - 1) * kSamplesPerBurst;
        if (!outstanding_ && buffer_.size() > keep)
            at(PlayTime(played_in_run_ + buffer_.size() - keep)); // room for a burst
        at(PlayTime(played_in_run_ + std::clamp<std::size_t>(buffer_.size(), 1, kSamplesPerBurst)));
    }
    return next;
}

std::vector<Sample> Player::TakePlayed() { return std::exchange(played_, {}); }

void Player::KeepBursts(std::size_t count)
{
    keep_bursts_ = count;
    while (bursts_.size() > count)
        bursts_.pop_front();
}

} // namespace zeka::sim
