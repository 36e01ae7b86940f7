// bench.cpp - zeka bench: how well this machine serves an instrument. The virtual instrument
// measures the answer time on its real clock, from its request to the last byte of the burst. The
// speed of the whole path - synthesis, port, virtual instrument - is measured on its fast clock,
// where the next request follows at once.
#include "cli/commands/commands.h"

#include "cli/playing/stream.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"
#include "cli/signal/signal_options.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <thread>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr double kUsPerMs = 1e3;
constexpr double kUsPerS = 1e6;
constexpr double kBurstMs = duration<double, std::milli>(sim::kBurstTime).count();

struct BenchOptions {
    double seconds = 2.0; // of each signal, on each of the two clocks
};

/// A signal that is measured; they range from the cheapest to the most expensive.
struct Candidate {
    std::string name;
    SignalOptions signal;
};

struct Finding {
    std::vector<double> answer_us;
    std::uint64_t underruns = 0;
    double samples_per_second = 0.0;

    [[nodiscard]] double AnswerMs(double percent) const
    {
        return sim::Percentile(answer_us, percent) / kUsPerMs;
    }
    [[nodiscard]] double BurstUs() const
    {
        return static_cast<double>(sim::kSamplesPerBurst) / samples_per_second * kUsPerS;
    }
    [[nodiscard]] double TimesRealTime() const
    {
        return samples_per_second / static_cast<double>(sim::kSampleRate);
    }
    /// One burst in a hundred may be late, because the instrument has some buffered.
    [[nodiscard]] bool InTime() const { return underruns == 0 && AnswerMs(99.0) < kBurstMs; }
};

std::vector<Candidate> Candidates()
{
    std::vector<Candidate> all(5);
    all[0].name = "sine";
    all[0].signal.function = "sine";
    all[1].name = "iec-2-27";
    all[1].signal.function = "iec-2-27:aami3a";
    all[2].name = "ecg, paced";
    all[2].signal.function = "ecg";
    all[2].signal.values[Id::kPacing] = 5.0; // mV
    all[3].name = "ecg, hum and drift";
    all[3].signal.function = "ecg-custom";
    all[3].signal.noise = "50";
    all[3].signal.drift_mv = 4.0;
    all[4].name = "ecg, breathing";
    all[4].signal.function = "ecg-custom";
    all[4].signal.noise = "random";
    all[4].signal.breathing = {
        .breaths = 15, .baseline_percent = 20, .amplitude_percent = 10, .rate_percent = 5};
    return all;
}

/// Plays for so many seconds of real time.
void PlayFor(double seconds, const Session& session)
{
    const auto end = steady_clock::now() + duration<double>(seconds);
    while (steady_clock::now() < end) {
        (void)InterruptedWithin(
            std::min(std::chrono::ceil<milliseconds>(end - steady_clock::now()), milliseconds(50)));
        EndIfInterrupted(OutputWas::kNeverOn); // no real instrument was connected
        Session::EndIfLost();
    }
    if (session.Virtual()->Stats().stream.bursts == 0)
        throw Failure(Exit::kTimeOut,
                      "the virtual instrument got no burst; end other programs and run this again");
}

void Start(Candidate& candidate, const Session& session)
{
    ZEKAReset();
    const Selection selection = CheckSignal(candidate.signal);
    ApplySignal(candidate.signal, selection);
    session.Virtual()->ResetStats();
    StartSignal(candidate.signal, selection);
}

void Stop() { Require(ZEKASetOutputFunction(0), "stop"); }

void MeasureAnswers(Candidate& candidate, double seconds, const Session& session, Finding& finding)
{
    Start(candidate, session);
    PlayFor(seconds, session);
    const sim::StreamStats stats = session.Virtual()->Stats().stream;
    Stop();
    finding.answer_us = stats.last_byte_us;
    finding.underruns = stats.underruns;
}

void MeasureSpeed(Candidate& candidate, double seconds, const Session& session, Finding& finding)
{
    Start(candidate, session); // includes 100 ms of sleep, in which the caches warm up
    const std::uint64_t samples_before = session.Virtual()->Stats().stream.played_samples;
    const auto start = steady_clock::now();
    PlayFor(seconds, session);
    const std::uint64_t samples = session.Virtual()->Stats().stream.played_samples - samples_before;
    const double elapsed = duration<double>(steady_clock::now() - start).count();
    Stop();
    finding.samples_per_second = static_cast<double>(samples) / elapsed;
}

/// Measures all signals on one of the virtual instrument's clocks.
void Pass(bool fast, const BenchOptions& options, std::vector<Candidate>& candidates,
          std::vector<Finding>& findings, Context& context)
{
    ConnectOptions connect;
    connect.virtual_one = true;
    connect.fast = fast;
    const Session session(connect, context);
    context.console.Note(fast ? "speed of the whole road, on the fast clock"
                              : "answer time, on the real clock");
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (context.console.HasLive())
            context.console.Live(fmt::format(
                "{} {}", Console::Bar(static_cast<double>(i), static_cast<double>(candidates.size())),
                candidates[i].name));
        (fast ? MeasureSpeed : MeasureAnswers)(candidates[i], options.seconds, session, findings[i]);
    }
    context.console.EndLive();
}

std::string TextOf(const std::vector<Candidate>& candidates, const std::vector<Finding>& findings,
                   const Console& console)
{
    std::string text = fmt::format("{:<20}{:^40}{:^32}\n{:<20}{:>8}{:>8}{:>8}{:>8}{:>8}{:>12}{:>11}{:>9}\n",
                                   "", fmt::format("answer, ms of {:.1f}", kBurstMs), "whole road", "", "p50",
                                   "p90", "p99", "worst", "bursts", "samples/s", "us/burst", "x real");
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const Finding& finding = findings[i];
        text += fmt::format("{:<20}{:>8.2f}{:>8.2f}{:>8.2f}{:>8.2f}{:>8}{:>12.0f}{:>11.1f}{:>9.1f}  {}\n",
                            candidates[i].name, finding.AnswerMs(50.0), finding.AnswerMs(90.0),
                            finding.AnswerMs(99.0), finding.AnswerMs(100.0), finding.answer_us.size(),
                            finding.samples_per_second, finding.BurstUs(), finding.TimesRealTime(),
                            finding.InTime() ? console.Good("ok") : console.Bad("LATE"));
    }
    return text;
}

JsonValue JsonOf(const std::vector<Candidate>& candidates, const std::vector<Finding>& findings)
{
    JsonValue signals = JsonValue::Array();
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const Finding& finding = findings[i];
        signals.Append({{"name", candidates[i].name},
                        {"function", candidates[i].signal.function},
                        {"answer_ms",
                         {{"p50", finding.AnswerMs(50.0)},
                          {"p90", finding.AnswerMs(90.0)},
                          {"p99", finding.AnswerMs(99.0)},
                          {"worst", finding.AnswerMs(100.0)}}},
                        {"answers", finding.answer_us.size()},
                        {"underruns", finding.underruns},
                        {"samples_per_second", finding.samples_per_second},
                        {"burst_us", finding.BurstUs()},
                        {"times_real_time", finding.TimesRealTime()},
                        {"ok", finding.InTime()}});
    }
    return {
        {"burst_ms", kBurstMs}, {"processors", std::thread::hardware_concurrency()}, {"signals", signals}};
}

Exit Bench(const BenchOptions& options, Context& context)
{
    std::vector<Candidate> candidates = Candidates();
    std::vector<Finding> findings(candidates.size());
    for (const bool fast : {false, true})
        Pass(fast, options, candidates, findings, context);
    if (context.console.json)
        context.console.Result("bench", JsonOf(candidates, findings));
    else
        context.console.Result(TextOf(candidates, findings, context.console));
    return std::ranges::all_of(findings, &Finding::InTime) ? Exit::kDone : Exit::kCheckFailed;
}

} // namespace

void AddBench(const Command& app, Context& context)
{
    auto options = std::make_shared<BenchOptions>();
    const Command command = app.AddCommand("bench", "how fast this machine serves an instrument");
    command.Footer(
        "Drives the virtual instrument with five signals. Answer: from its request to the last byte of the\n"
        "burst, 17.5 ms of signal; a machine that takes longer cannot keep up. Whole road: synthesis, port "
        "and\n"
        "virtual instrument as fast as they go.\n"
        "Fails when the 99th percentile of an answer time reaches 17.5 ms, or the instrument ran dry.\n"
        "Example: zeka bench --seconds 10 --json");
    command
        .AddOption("--seconds", options->seconds, "of each signal at each clock, 2 without it [0.2 to 600 s]")
        .TypeName("s")
        .Group("Measurement")
        .Within(0.2, 600.0, "s");
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Bench(*options, context); }; });
}

} // namespace zeka::cli
