// render.cpp - drives the exchange of the library's recording buffers and passes
// blocks of samples to the sinks.
#include "cli/playing/render.h"

#include "cli/playing/follow.h"
#include "cli/playing/sample_tap.h"
#include "cli/playing/signal_marks.h"
#include "cli/shell/interrupt.h"
#include "sim/measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fmt/format.h>
#include <utility>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLook{100};

/// "[#####               ] 12.0 of 60 s, 135 times as fast as it plays"
std::string LiveBar(double done_s, double whole_s, double took_s)
{
    std::string text = fmt::format("{} {:.1f} of {:g} s", Console::Bar(done_s, whole_s), done_s, whole_s);
    if (const double speed = done_s / took_s; took_s > 0.5 && speed > 2.0)
        text += fmt::format(", {:.0f} times as fast as it plays", speed);
    return text;
}

/// Converts blocks from the library's units to mV, up to the requested length, and passes them to the sinks.
class Delivery {
public:
    Delivery(std::uint64_t wanted, const SampleSink& samples, MarkFinder* finder)
        : wanted_(wanted), samples_(samples), finder_(finder)
    {
    }

    void Take(SampleBlock& block)
    {
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(block.ac_counts.size(), wanted_ - sent_));
        const std::span ac = std::span(block.ac_counts).first(count);
        const std::span dc = std::span<const double>(block.dc_mv).first(count);
        for (double& value : ac)
            value /= sim::kCountsPerMv;
        if (count == 0)
            return;
        samples_(ac, dc);
        if (finder_ != nullptr)
            finder_->Take(ac, dc);
        sent_ += count;
    }

    [[nodiscard]] bool Complete() const { return sent_ >= wanted_; }
    [[nodiscard]] std::uint64_t Count() const { return sent_; }
    [[nodiscard]] double Seconds() const { return static_cast<double>(sent_) / kSentRate; }

private:
    std::uint64_t wanted_;
    const SampleSink& samples_;
    MarkFinder* finder_;
    std::uint64_t sent_ = 0;
};

/// Delivers the signal; true when interrupted.
bool Deliver(SampleTap& tap, Delivery& delivery, double seconds, Console& console)
{
    const auto start = steady_clock::now();
    const auto look = [&] {
        if (delivery.Complete())
            return Progress::kDone;
        std::optional<SampleBlock> block = tap.Next(kLook);
        if (!block)
            return tap.Ended() ? Progress::kDone : Progress::kStill;
        delivery.Take(*block);
        tap.Return(std::move(*block));
        return Progress::kOn;
    };
    const auto live = [&] {
        return LiveBar(delivery.Seconds(), seconds,
                       std::chrono::duration<double>(steady_clock::now() - start).count());
    };
    return Follow(look, live, console);
}

/// Switches the output off however the delivery ends, because nothing may stream
/// when the buffers are destroyed.
class OutputOff {
public:
    explicit OutputOff(SampleTap& tap) : tap_(tap) {}
    ~OutputOff()
    {
        tap_.Close();
        (void)ZEKASetOutputFunction(0);
    }
    OutputOff(const OutputOff&) = delete;
    OutputOff& operator=(const OutputOff&) = delete;

private:
    SampleTap& tap_;
};

} // namespace

Sent StreamSignal(const Session& /*open*/, const SignalOptions& options, const Selection& selection,
                  double seconds, Console& console, const SignalSinks& sinks)
{
    ApplySignal(options, selection);
    const MarkSettings settings = MarkSettingsOf(options, selection);
    if (sinks.begin)
        sinks.begin(settings);
    std::optional<MarkFinder> finder;
    if (sinks.marks)
        finder.emplace(settings, sinks.marks);
    SampleTap tap(sinks.holds_stream);
    const OutputOff off(tap);
    StartSignal(options, selection);
    Delivery delivery(static_cast<std::uint64_t>(std::llround(seconds * kSentRate)), sinks.samples,
                      finder ? &*finder : nullptr);
    Sent sent;
    sent.interrupted = Deliver(tap, delivery, seconds, console);
    sent.ended_by_itself = tap.Ended();
    tap.Close();
    SwitchOutputOff();
    while (std::optional<SampleBlock> block = tap.Next(milliseconds(0)))
        delivery.Take(*block); // takes nothing beyond the requested length
    SampleBlock rest = tap.Rest();
    delivery.Take(rest);
    if (finder)
        finder->End();
    console.EndLive();
    sent.samples = delivery.Count();
    return sent;
}

Sent RenderSignal(const SignalOptions& options, const Selection& selection, double seconds, Context& context,
                  const SampleSink& samples, const MarkSink& marks)
{
    ConnectOptions connect;
    connect.virtual_one = true;
    connect.fast = true;
    const bool quiet = std::exchange(context.console.quiet, true); // the caller did not ask for an instrument
    Session session(connect, context);
    context.console.quiet = quiet;
    const Sent sent =
        StreamSignal(session, options, selection, seconds, context.console, {{}, samples, marks, true});
    EndIfInterrupted(OutputWas::kNeverOn); // no real instrument was connected
    return sent;
}

Strip RenderStrip(const SignalOptions& options, const Selection& selection, double seconds, Context& context)
{
    Strip strip;
    const auto length = static_cast<std::size_t>(std::llround(seconds * kSentRate));
    strip.ac_mv.reserve(length);
    strip.dc_mv.reserve(length);
    const auto keep = [&strip](std::span<const double> ac_mv, std::span<const double> dc_mv) {
        strip.ac_mv.insert(strip.ac_mv.end(), ac_mv.begin(), ac_mv.end());
        strip.dc_mv.insert(strip.dc_mv.end(), dc_mv.begin(), dc_mv.end());
    };
    (void)RenderSignal(options, selection, seconds, context, keep,
                       [&strip](const formats::Mark& mark) { strip.marks.push_back(mark); });
    return strip;
}

} // namespace zeka::cli
