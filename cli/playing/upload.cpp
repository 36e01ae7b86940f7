// upload.cpp - computes how a period fits into memory, uploads it, and examines what the
// virtual instrument plays of it.
#include "cli/playing/upload.h"

#include "cli/playing/watched_call.h"
#include "cli/shell/options.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr int kLastUploaded = 8;              // output functions from 1 to this one have a period to upload
constexpr std::uint64_t kBlockBytes = 64;     // requests and replies of an upload
constexpr std::size_t kSamplesPerPacket = 14; // the last packet is filled up
constexpr double kStoreLimitS = 16.0;         // the library waits so long for the confirmation of a store
constexpr double kPermille = 0.001;           // of a sample: the step of a period's length
constexpr double kFrequencyStepHz = 0.01;     // of the description that is sent with a period
constexpr double kNoiseStepMv = 0.01;         // likewise
constexpr std::uint64_t kInfoPackets = 1;     // for the description of the period
constexpr std::uint64_t kStartExchanges = 2;  // to read the control block and to start the output

/// These shape a signal over more than one period, or are made while it streams.
constexpr std::array kNotInMemory{"--once",
                                  "--second-pulse",
                                  "--overshoot",
                                  "--overshoot-time",
                                  "--drift",
                                  "--drift-frequency",
                                  "--dynamic-range",
                                  "--dynamic-range-frequency",
                                  "--breaths",
                                  "--breath-ratio",
                                  "--apnea",
                                  "--breath-baseline",
                                  "--breath-amplitude",
                                  "--breath-rate",
                                  "--resp-rate",
                                  "--resp-variation",
                                  "--resp-ratio",
                                  "--resp-baseline",
                                  "--resp-apnea"};

std::string UploadedNames()
{
    std::vector<std::string> names;
    for (const OutputFunction& function : OutputFunctions())
        if (function.number <= kLastUploaded)
            names.emplace_back(function.name);
    return fmt::format("{}", fmt::join(names, ", "));
}

void RefuseOption(bool given, const char* option)
{
    if (given)
        throw Failure(Exit::kUsage,
                      fmt::format("{} is no part of one period in the instrument's memory; leave it out, or "
                                  "stream the signal with 'zeka play'",
                                  option));
}

void RequireWhole(const SignalOptions& options, Id id)
{
    if (options.values.Has(id) && options.values.Asked(id) != std::trunc(options.values.Asked(id)))
        throw Failure(Exit::kUsage,
                      fmt::format("{} {}: the instrument's memory takes whole {} alone; round it",
                                  ParameterOf(id).option, options.values.Asked(id), ParameterOf(id).unit));
}

std::string UploadLine(const CallOutcome& so_far, const UploadPlan& plan)
{
    if (!so_far.traffic)
        return fmt::format("uploading {} packets  {:.1f} s", plan.packets, so_far.seconds);
    const std::uint64_t blocks = so_far.traffic->sent / kBlockBytes;
    const std::uint64_t packets =
        std::min<std::uint64_t>(blocks - std::min(blocks, kInfoPackets), plan.packets);
    const std::string bar = Console::Bar(static_cast<double>(packets), static_cast<double>(plan.packets));
    if (packets < plan.packets)
        return fmt::format("{} packet {} of {}", bar, packets, plan.packets);
    return fmt::format("{} uploaded, waiting for the instrument  {:.1f} s", bar, so_far.seconds);
}

constexpr const char* kMend = "unplug it and plug it in again, then run this again";

/// Throws unless every packet was acknowledged and the start of the output was answered.
Confirmed CheckTraffic(const std::optional<Traffic>& traffic, const UploadPlan& plan)
{
    if (!traffic)
        return Confirmed::kNotTold;
    const std::uint64_t all = (kInfoPackets + plan.packets + kStartExchanges) * kBlockBytes;
    if (traffic->sent >= all && traffic->got >= all)
        return Confirmed::kYes;
    const std::uint64_t blocks = traffic->sent / kBlockBytes;
    const std::uint64_t acknowledged = blocks - std::min(blocks, kInfoPackets + 1);
    if (acknowledged < plan.packets && blocks <= kInfoPackets + plan.packets)
        throw Failure(Exit::kTimeOut,
                      fmt::format("the instrument acknowledged {} of the {} packets of the upload; {}",
                                  acknowledged, plan.packets, kMend));
    throw Failure(
        Exit::kTimeOut,
        fmt::format("the instrument took the upload, but did not confirm that it plays it; {}", kMend));
}

/// The signal that the virtual instrument plays from its memory: without noise and pacing pulses of its own.
SignalOptions WithoutPacing(SignalOptions options)
{
    for (const Id id : {Id::kPacing, Id::kPacingWidth, Id::kPacingRate})
        options.values[id].reset();
    return options;
}

void AddTold(const SignalOptions& options, const sim::WaveformInfo& told, std::vector<Row>& rows)
{
    rows.push_back(
        {"told: frequency", "Hz", options.values.Asked(Id::kFrequency), told.frequency_hz, kFrequencyStepHz});
    if (options.noise != "off")
        rows.push_back({"told: noise", "mV", options.noise_mv.value_or(GetECG2_27_NoiseAmp()),
                        told.noise_amplitude, kNoiseStepMv});
    if (!options.values.Has(Id::kPacing))
        return;
    rows.push_back({"told: pacing height", "mV", options.values.Asked(Id::kPacing),
                    static_cast<double>(told.pacing_amplitude_mv), 0.0});
    rows.push_back({"told: pacing width", "ms", options.values.Asked(Id::kPacingWidth),
                    static_cast<double>(told.pacing_duration_ms), 0.0});
    rows.push_back({"told: pacing rate", "per minute", options.values.Asked(Id::kPacingRate),
                    static_cast<double>(told.pacing_rate), 0.0});
}

/// Sets the rate of pulses that follow the beats, because the instrument takes
/// it as a whole number of its own.
void TellPacingRate(SignalOptions& options)
{
    constexpr double kPerMinute = 60.0;
    constexpr double kRounding = 1e-6;
    const double rate = options.values.Asked(Id::kFrequency) * kPerMinute;
    const bool paced = options.values.Has(Id::kPacing) && options.values.Asked(Id::kPacing) != 0.0;
    // Outside of this range the library paces at its own rate, streamed or not.
    if (!paced || options.values.Has(Id::kPacingRate) || rate < 10.0 || rate > 360.0)
        return;
    if (std::abs(rate - std::round(rate)) > kRounding)
        throw Failure(
            Exit::kUsage,
            fmt::format("--pacing: from its memory the instrument paces at whole rates alone, not at "
                        "{:g} per minute; round --rate, or give a --pacing-rate",
                        rate));
    options.values[Id::kPacingRate] = std::round(rate);
}

} // namespace

std::string UploadPlan::Text() const { return fmt::format("{} samples at {} per second", samples, rate); }

JsonValue UploadPlan::ToJson() const { return {{"samples", samples}, {"rate", rate}, {"packets", packets}}; }

void AddUploadOptions(const Command& command, SignalOptions& options)
{
    AddSignalOptions(command, options);
    for (const char* option : kNotInMemory)
        command.Find(option).Group("");
}

Selection CheckUpload(SignalOptions& options)
{
    Selection selection = CheckSignal(options);
    if (selection.function->number > kLastUploaded)
        throw Failure(Exit::kUsage,
                      fmt::format("the instrument's memory does not take {}; choose one of {}, or stream it "
                                  "with 'zeka play'",
                                  selection.name, UploadedNames()));
    RefuseOption(options.drift_mv.has_value(), "--drift");
    RefuseOption(options.dynamic_range_mv.has_value(), "--dynamic-range");
    RefuseOption(options.breathing.breaths.has_value(), "--breaths");
    RefuseOption(options.impedance.rate.has_value(), "--resp-rate");
    RefuseOption(options.second_pulse != "none", "--second-pulse");
    RefuseOption(options.values.Has(Id::kOvershoot), "--overshoot");
    RefuseOption(options.values.Has(Id::kOvershootTime), "--overshoot-time");
    RequireWhole(options, Id::kPacing);
    RequireWhole(options, Id::kPacingWidth);
    TellPacingRate(options);
    return selection;
}

UploadPlan PlanUpload()
{
    const double hz = ZEKAGetFrequency();
    const int samples = GetPixelNumberByFrequency(hz);
    const auto count = static_cast<std::size_t>(std::max(samples, 0));
    return {samples, GetSampleRateByFrequency(hz), (count + kSamplesPerPacket - 1) / kSamplesPerPacket};
}

std::string SignalText(const Selection& selection)
{
    return fmt::format("{}, {:.6g} Hz, {:.6g} mV", selection.name, ZEKAGetFrequency(), ZEKAGetAmplitude());
}

Confirmed UploadAndPlay(const Selection& selection, const UploadPlan& plan, Console& console)
{
    const CallOutcome outcome =
        RunWatched([&] { return ZEKAOutputSignal(selection.function->number); }, console,
                   [&](const CallOutcome& so_far) { return UploadLine(so_far, plan); });
    Session::EndIfLost();
    Require(outcome.result, "upload");
    return CheckTraffic(outcome.traffic, plan);
}

void UploadAndStore(const Selection& selection, const UploadPlan& plan, Console& console)
{
    // The library keeps an ECG at 0 mV until a setting is made or a function selected; that would be stored.
    Require(ZEKASetAmplitude(ZEKAGetAmplitude()), "--amplitude");
    const CallOutcome outcome =
        RunWatched([&] { return ZEKASaveToStandaloneMode(selection.function->number); }, console,
                   [&](const CallOutcome& so_far) { return UploadLine(so_far, plan); });
    Session::EndIfLost();
    if (outcome.result != 1)
        throw Failure(Exit::kTimeOut, fmt::format("the instrument did not confirm that it took {}; {}",
                                                  selection.name, kMend));
    if (outcome.seconds >= kStoreLimitS) // the library reports this time-out as done
        throw Failure(Exit::kTimeOut,
                      fmt::format("the instrument did not confirm within {} s that {} is stored; {}",
                                  kStoreLimitS, selection.name, kMend));
}

void StopMemory(Console& console)
{
    const CallOutcome outcome = RunWatched([] { return ZEKAOutputSignal(0); }, console,
                                           [](const CallOutcome&) { return "stopping"; });
    Session::EndIfLost();
    if (outcome.result != 0 || (outcome.traffic && outcome.traffic->got < kBlockBytes))
        throw Failure(Exit::kTimeOut, "the instrument did not confirm that its output is off; unplug it");
}

std::vector<Row> CompareUpload(const SignalOptions& options, const Selection& selection,
                               const UploadPlan& plan, const sim::WaveformInfo& told,
                               PlayedSignal::Window window)
{
    const double rate = plan.rate;
    std::vector<Row> rows =
        Compare(WithoutPacing(options), selection, {std::move(window), {}, rate, kPermille / rate});
    AddTold(options, told, rows);
    return rows;
}

} // namespace zeka::cli
