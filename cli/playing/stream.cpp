// stream.cpp - counts in the library's callbacks and waits on the main thread. The callbacks run on the
// library's poll thread under its lock, so they only count.
#include "cli/playing/stream.h"

#include "cli/playing/follow.h"
#include "cli/shell/interrupt.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint64_t kCallbackDivider = 10; // the library reports every 10th sample
constexpr std::uint64_t kCallbacksPerBurst = sim::kSamplesPerBurst / kCallbackDivider;
constexpr milliseconds kLook{20};

/// What the callbacks reported since the watch began.
struct Heard {
    std::atomic<std::uint64_t> samples{0};
    std::atomic<std::uint64_t> pacing{0};
    std::atomic<double> frequency{std::numeric_limits<double>::quiet_NaN()};
    std::atomic<bool> ended{false};
    std::atomic<std::int64_t> last_burst_ns{0};
    std::atomic<std::int64_t> worst_pause_ns{0};
} heard;

std::int64_t NowNs() { return std::chrono::nanoseconds(steady_clock::now().time_since_epoch()).count(); }

void OnSignal(double seconds, double)
{
    if (seconds < 0.0) { // marks the end
        heard.ended = true;
        return;
    }
    if (heard.samples.fetch_add(1) % kCallbacksPerBurst != 0)
        return;
    const std::int64_t now = NowNs();
    const std::int64_t before = heard.last_burst_ns.exchange(now);
    if (before != 0 && now - before > heard.worst_pause_ns)
        heard.worst_pause_ns = now - before;
}

void OnPacing(double, double) { ++heard.pacing; }

void OnFrequency(double hz)
{
    if (hz < 0.0) // marks the end of a sweep
        heard.ended = true;
    else
        heard.frequency = hz;
}

void ForgetWhatWasHeard()
{
    heard.samples = 0;
    heard.pacing = 0;
    heard.frequency = std::numeric_limits<double>::quiet_NaN();
    heard.ended = false;
    heard.last_burst_ns = 0;
    heard.worst_pause_ns = 0;
}

std::string Countdown(double done, double whole)
{
    return fmt::format("{} {:.0f} s left", Console::Bar(done, whole), std::max(whole - done, 0.0));
}

std::string LiveText(const StreamSummary& now, bool virtual_one)
{
    std::string text = fmt::format("{:7.1f} s", now.seconds);
    if (now.last_frequency_hz)
        text += fmt::format("  now {:.4g} Hz", *now.last_frequency_hz);
    text += fmt::format("  {} bursts  {} {:.2f} ms", now.bursts,
                        virtual_one ? "worst answer" : "longest pause", now.worst_ms);
    if (now.pacing_pulses != 0)
        text += fmt::format("  {} pacing pulses", now.pacing_pulses);
    return text;
}

} // namespace

void PlayedSignal::Take(std::span<const sim::Sample> samples)
{
    constexpr std::size_t kKept = kKeptSeconds * static_cast<std::size_t>(sim::kSampleRate);
    const std::lock_guard lock(mutex_);
    if (kept_.size() + samples.size() > 2 * kKept)
        kept_.erase(kept_.begin(), kept_.end() - static_cast<std::ptrdiff_t>(kKept));
    kept_.insert(kept_.end(), samples.begin(), samples.end());
    count_ += samples.size();
}

PlayedSignal::Window PlayedSignal::Kept(std::uint64_t limit) const
{
    const std::lock_guard lock(mutex_);
    Window window{kept_, count_ - kept_.size()};
    const std::uint64_t beyond = count_ > limit ? count_ - limit : 0;
    window.samples.resize(kept_.size() - std::min<std::uint64_t>(beyond, kept_.size()));
    return window;
}

std::uint64_t PlayedSignal::Count() const
{
    const std::lock_guard lock(mutex_);
    return count_;
}

StreamWatch::StreamWatch(Session& session) : session_(session)
{
    ForgetWhatWasHeard();
    if (sim::Instrument* instrument = session_.Virtual()) {
        instrument->ResetStats();
        instrument->SetConsumer([this](std::span<const sim::Sample> samples) { played_.Take(samples); });
    }
    ZEKARegisterSignalOutputCallback(OnSignal);
    ZEKARegisterPacingOutputCallback(OnPacing);
    ZEKARegisterFrequencyCallback(OnFrequency);
}

StreamWatch::~StreamWatch()
{
    (void)ZEKASetOutputFunction(0);
    ZEKARegisterSignalOutputCallback(nullptr);
    ZEKARegisterPacingOutputCallback(nullptr);
    ZEKARegisterFrequencyCallback(nullptr);
    if (session_.Virtual() != nullptr)
        session_.Virtual()->SetConsumer({});
}

double StreamWatch::PlayedSeconds() const
{
    const std::uint64_t samples =
        session_.Virtual() != nullptr ? played_.Count() : heard.samples * kCallbackDivider;
    return static_cast<double>(samples) / static_cast<double>(sim::kSampleRate);
}

StreamSummary StreamWatch::Now() const
{
    constexpr double kUsPerMs = 1e3;
    constexpr double kNsPerMs = 1e6;
    constexpr std::uint64_t kCallsPerPulse = 4; // one per corner of a rectangle
    StreamSummary now;
    now.seconds = PlayedSeconds();
    now.bursts = heard.samples / kCallbacksPerBurst;
    now.worst_ms = static_cast<double>(heard.worst_pause_ns) / kNsPerMs;
    if (session_.Virtual() != nullptr) {
        const sim::StreamStats stats = session_.Virtual()->Stats().stream;
        now.bursts = stats.bursts;
        now.worst_ms = 0.0;
        for (const double us : stats.last_byte_us)
            now.worst_ms = std::max(now.worst_ms, us / kUsPerMs);
    }
    now.pacing_pulses = heard.pacing / kCallsPerPulse;
    if (const double hz = heard.frequency; !std::isnan(hz))
        now.last_frequency_hz = hz;
    return now;
}

StreamSummary StreamWatch::Run(std::optional<double> seconds, Console& console,
                               std::optional<double> will_take)
{
    std::uint64_t samples_before = 0;
    const auto look = [&] {
        if (heard.ended || (seconds && PlayedSeconds() >= *seconds))
            return Progress::kDone;
        const std::uint64_t samples = heard.samples;
        const Progress progress = samples != samples_before ? Progress::kOn : Progress::kStill;
        samples_before = samples;
        (void)InterruptedWithin(kLook);
        return progress;
    };
    const auto live = [&] {
        const std::string text = LiveText(Now(), session_.Virtual() != nullptr);
        return will_take ? Countdown(PlayedSeconds(), *will_take) + text : text;
    };
    const bool interrupted = Follow(look, live, console);
    console.EndLive();
    StreamSummary summary = Now();
    summary.ended_by_itself = heard.ended;
    summary.interrupted = interrupted;
    return summary;
}

PlayedSignal::Window StreamWatch::Played(std::optional<double> seconds) const
{
    const double limit = seconds.value_or(PlayedSeconds()) * static_cast<double>(sim::kSampleRate);
    return played_.Kept(static_cast<std::uint64_t>(std::llround(limit)));
}

} // namespace zeka::cli
