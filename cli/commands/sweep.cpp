// sweep.cpp - zeka sweep: sweeps a sine through frequencies, or the ECG through its slow heart rates, and
// measures the result with the virtual instrument.
#include "cli/commands/commands.h"

#include "cli/playing/comparison.h"
#include "cli/playing/follow.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"

#include <fmt/format.h>
#include <memory>
#include <optional>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

// The sweep of the ECG is fixed.
constexpr double kEcgFromHz = 0.05;
constexpr double kEcgToHz = 0.5;
constexpr int kEcgSeconds = 30;
constexpr double kLowestHz = 0.67;
constexpr double kHighestHz = 500.0;
constexpr int kShortestS = 10;
constexpr int kLongestS = 180;

struct SweepOptions {
    ConnectOptions connect;
    std::string what;
    std::optional<double> from_hz;
    std::optional<double> to_hz;
    std::optional<int> seconds;
    std::optional<double> amplitude_mv;
};

struct Sweep {
    bool ecg = false;
    double from_hz = 0.0;
    double to_hz = 0.0;
    int seconds = 0;
};

Sweep CheckSweep(const SweepOptions& options)
{
    if (options.what == "ecg") {
        if (options.from_hz || options.to_hz || options.seconds)
            throw Failure(Exit::kUsage,
                          "the ECG always sweeps from 0.05 to 0.5 Hz in 30 s; leave out --from, --to and "
                          "--seconds");
        return {true, kEcgFromHz, kEcgToHz, kEcgSeconds};
    }
    const Sweep sweep{false, options.from_hz.value_or(kLowestHz), options.to_hz.value_or(150.0),
                      options.seconds.value_or(30)};
    if (!(sweep.from_hz < sweep.to_hz))
        throw Failure(Exit::kUsage, "a sweep runs upwards; give a --to above --from");
    return sweep;
}

void Start(const Sweep& sweep)
{
    if (sweep.ecg)
        Require(SetFreqScanECG(true), "sweep");
    else
        Require(ZEKASetFrequencyScan(true, sweep.seconds, sweep.from_hz, sweep.to_hz), "sweep");
}

/// A sweep is linear in time, so it has as many periods as its mean frequency would have. The first and the
/// last crossing may lie a period from the ends, and the end is detected only after a burst.
std::vector<Row> CompareSweep(const Sweep& sweep, const Observation& seen)
{
    constexpr double kBurstS = 0.0175;
    constexpr double kCutS = 6.0 * kBurstS; // sent before the output went off, but not played
    std::vector<Row> rows;
    const double played_s = static_cast<double>(seen.window.first + seen.window.samples.size()) /
                            static_cast<double>(sim::kSampleRate);
    rows.push_back({"duration", "s", static_cast<double>(sweep.seconds), played_s, kCutS});
    if (!sweep.ecg && seen.window.first == 0) {
        const sim::Report report = sim::Measure(seen.window.samples);
        const double mean_hz = (sweep.from_hz + sweep.to_hz) / 2.0;
        const double lost_periods = 2.0 + kCutS * sweep.to_hz;
        rows.push_back(
            {"periods", "", mean_hz * sweep.seconds, static_cast<double>(report.ac.periods), lost_periods});
        rows.push_back({"highest", "mV", {}, report.ac.maximum, {}});
        rows.push_back({"lowest", "mV", {}, report.ac.minimum, {}});
    }
    AddStream(seen, rows);
    return rows;
}

Exit RunSweep(const SweepOptions& options, Context& context)
{
    const Sweep sweep = CheckSweep(options);
    Session session(options.connect, context);
    StreamWatch watch(session);
    if (options.amplitude_mv)
        Require(ZEKASetAmplitude(*options.amplitude_mv), "--amplitude");
    context.console.Note(fmt::format("sweeping the {} from {} to {} Hz in {} s", options.what, sweep.from_hz,
                                     sweep.to_hz, sweep.seconds));
    Start(sweep);
    const StreamSummary summary = watch.Run({}, context.console, static_cast<double>(sweep.seconds));
    SwitchOutputOff();

    std::vector<Row> rows;
    if (session.Virtual() != nullptr && !summary.interrupted)
        rows = CompareSweep(sweep, {watch.Played({}), session.Virtual()->Stats().stream});
    if (context.console.json)
        context.console.Result("sweep", {{"instrument", ToJson(session.Who())},
                                         {"seconds", summary.seconds},
                                         {"interrupted", summary.interrupted},
                                         {"output_off", true},
                                         {"measured", ToJson(rows)}});
    else
        context.console.Result(fmt::format("swept for {:.2f} s, output off\n", summary.seconds) +
                               (rows.empty() ? "" : TableOf(rows, context.console)));
    if (summary.interrupted)
        EndIfInterrupted();
    return AnyFailed(rows) ? Exit::kCheckFailed : Exit::kDone;
}

} // namespace

void AddSweep(const Command& app, Context& context)
{
    auto options = std::make_shared<SweepOptions>();
    const Command command = app.AddCommand("sweep", "run through the frequencies, linear in time");
    command.Footer("The sine sweeps from --from to --to; the ECG always from 0.05 to 0.5 Hz in 30 s.\n"
                   "Example: zeka sweep sine --from 1 --to 100 --seconds 20 --sim");
    constexpr const char* kGroup = "Sweep";
    command.AddOption("function", options->what, "sine or ecg")
        .Required()
        .TypeName("NAME")
        .OneOf({"sine", "ecg"});
    command.AddOption("--from", options->from_hz, "0.67 without it [0.67 to 500 Hz]")
        .TypeName("Hz")
        .Group(kGroup)
        .Within(kLowestHz, kHighestHz, "Hz");
    command.AddOption("--to", options->to_hz, "150 without it [0.67 to 500 Hz]")
        .TypeName("Hz")
        .Group(kGroup)
        .Within(kLowestHz, kHighestHz, "Hz");
    command.AddOption("--seconds", options->seconds, "30 without it [10 to 180 s, whole numbers]")
        .TypeName("s")
        .Group(kGroup)
        .Within(kShortestS, kLongestS, "s");
    command.AddOption("--amplitude", options->amplitude_mv, "peak to peak; ECG: the QRS scale [-10 to 10 mV]")
        .TypeName("mV")
        .Group(kGroup)
        .Within(-10.0, 10.0, "mV");
    AddConnectOptions(command, options->connect);
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return RunSweep(*options, context); }; });
}

} // namespace zeka::cli
