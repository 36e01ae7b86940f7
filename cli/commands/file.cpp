// file.cpp - zeka file: plays a recording of any format that is read here. It is passed to the library as
// samples in memory; the output says how they were changed.
#include "cli/commands/commands.h"

#include "cli/playing/follow.h"
#include "cli/playing/stream.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"
#include "cli/signal/signal_options.h"
#include "formats/readers.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <optional>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr int kRawData = 18;
constexpr double kLowestRate = 100.0; // the lowest that the library accepts
constexpr double kHighestRate = 40000.0;
constexpr double kMostRepeats = 6000.0; // of a value, so that a short file does not take all memory
constexpr double kAcLimitMv = 5.0;
constexpr double kDcLimitMv = 1000.0;

struct FileOptions {
    ConnectOptions connect;
    std::string path;
    std::string channel;
    std::string dc_channel;
    double gain = 1.0;
    bool once = false;
    std::optional<double> seconds;
};

/// The samples that are passed to the library.
struct Playback {
    double file_rate = 0.0;
    int repeats = 1; // of each value, where the rate of the file is too low
    std::vector<double> ac_mv, dc_mv;
    std::size_t limited = 0; // AC values beyond the instrument's range
    std::string channel;
    std::string resampling;

    [[nodiscard]] double Rate() const { return file_rate * repeats; }
    [[nodiscard]] double Seconds() const { return static_cast<double>(ac_mv.size()) / Rate(); }
};

const formats::RecordedChannel& Voltage(const formats::Recording& recording, const std::string& name)
{
    const formats::RecordedChannel& channel = formats::FindChannel(recording, name);
    if (channel.values.empty())
        throw Failure(Exit::kCheckFailed,
                      fmt::format("channel \"{}\" is empty; choose another with --channel", channel.name));
    if (!channel.voltage)
        throw Failure(Exit::kUsage,
                      fmt::format("channel \"{}\" is in \"{}\", no voltage; choose another with --channel",
                                  channel.name, channel.unit));
    return channel;
}

/// The requested channel, else the first one in mV.
const formats::RecordedChannel& Chosen(const formats::Recording& recording, const FileOptions& options)
{
    if (!options.channel.empty())
        return Voltage(recording, options.channel);
    const auto found = std::ranges::find_if(recording.channels, [](const formats::RecordedChannel& channel) {
        return channel.voltage && !channel.values.empty();
    });
    if (found == recording.channels.end())
        throw Failure(Exit::kCheckFailed,
                      fmt::format("{}: no channel of it is a voltage; give another recording", options.path));
    return *found;
}

int RepeatsAt(double rate)
{
    if (!(rate <= kHighestRate))
        throw Failure(Exit::kUsage,
                      fmt::format("{} samples/s are too many; the instrument plays {}", rate, kHighestRate));
    const double repeats = rate < kLowestRate ? std::ceil(kLowestRate / rate) : 1.0;
    if (repeats > kMostRepeats)
        throw Failure(Exit::kUsage, fmt::format("{} samples/s are too few; one in {} s is the least", rate,
                                                kMostRepeats / kLowestRate));
    return static_cast<int>(repeats);
}

std::string ResamplingText(const Playback& playback)
{
    if (playback.Rate() == kHighestRate)
        return "none";
    return fmt::format("{:g} samples/s, each held until the next, at the instrument's {:g}/s",
                       playback.file_rate, kHighestRate);
}

Playback Prepare(const formats::Recording& recording, const FileOptions& options)
{
    const formats::RecordedChannel& ac = Chosen(recording, options);
    Playback playback;
    playback.channel = ac.name;
    playback.file_rate = ac.rate;
    playback.repeats = RepeatsAt(ac.rate);
    const auto repeats = static_cast<std::size_t>(playback.repeats);
    if (ac.values.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) / repeats)
        throw Failure(Exit::kUsage,
                      fmt::format("{} samples are too many; cut the recording", ac.values.size()));
    playback.resampling = ResamplingText(playback);
    playback.ac_mv.reserve(ac.values.size() * repeats);
    for (const double value : ac.values) {
        const double mv = value * options.gain;
        playback.limited += std::abs(mv) > kAcLimitMv ? 1 : 0;
        playback.ac_mv.insert(playback.ac_mv.end(), repeats, std::clamp(mv, -kAcLimitMv, kAcLimitMv));
    }
    playback.dc_mv.assign(playback.ac_mv.size(), 0.0);
    if (options.dc_channel.empty())
        return playback;
    const formats::RecordedChannel& dc = Voltage(recording, options.dc_channel);
    if (dc.rate != ac.rate)
        throw Failure(Exit::kUsage,
                      fmt::format("\"{}\" has {:g} samples/s and \"{}\" {:g}; both must have as many",
                                  dc.name, dc.rate, ac.name, ac.rate));
    for (std::size_t i = 0; i < playback.dc_mv.size() && i / repeats < dc.values.size(); ++i)
        playback.dc_mv[i] = std::clamp(dc.values[i / repeats], -kDcLimitMv, kDcLimitMv);
    return playback;
}

void Load(Playback& playback)
{
    RAW_WAVEFORM_DATA data{playback.Rate(), static_cast<int>(playback.ac_mv.size()), playback.ac_mv.data(),
                           playback.dc_mv.data()};
    if (ZEKALoadRawData(&data) != data.count)
        throw Failure(Exit::kCheckFailed,
                      "the library did not take the samples; end other programs and run this again");
}

JsonValue ToJson(const FileOptions& options, const formats::Recording& recording, const Playback& playback,
                 const StreamSummary& summary, const Session& session)
{
    JsonValue result;
    result["instrument"] = ToJson(session.Who());
    result["file"] = options.path;
    result["format"] = recording.format;
    result["channels"] = recording.channels.size();
    result["annotations"] = recording.annotations.size();
    result["channel"] = playback.channel;
    result["gain"] = options.gain;
    result["rate"] = playback.file_rate;
    result["resampling"] = playback.resampling;
    result["limited_samples"] = playback.limited;
    result["recording_seconds"] = playback.Seconds();
    result["seconds"] = summary.seconds;
    result["interrupted"] = summary.interrupted;
    result["output_off"] = true; // otherwise a Failure was thrown
    return result;
}

Exit Play(FileOptions& options, Context& context)
{
    const formats::Recording recording = formats::ReadRecording(options.path);
    Playback playback = Prepare(recording, options);
    Session session(options.connect, context);
    context.console.Note(fmt::format("playing channel \"{}\" of {} ({}), {:.2f} s; {}", playback.channel,
                                     options.path, recording.format, playback.Seconds(),
                                     playback.resampling));
    if (playback.limited > 0)
        context.console.Note(
            fmt::format("{} samples lie beyond +-{} mV and are limited; a smaller --gain keeps them",
                        playback.limited, kAcLimitMv));
    Load(playback);
    ZEKAEnableLoop(!options.once);
    StreamWatch watch(session);
    Require(ZEKASetOutputFunction(kRawData), "file");
    const StreamSummary summary = watch.Run(
        options.seconds, context.console, options.once ? std::optional(playback.Seconds()) : options.seconds);
    SwitchOutputOff();
    if (context.console.json)
        context.console.Result("file", ToJson(options, recording, playback, summary, session));
    else
        context.console.Result(fmt::format("played {:.2f} s of {} in {} bursts, output off\n",
                                           summary.seconds, options.path, summary.bursts));
    if (summary.interrupted)
        EndIfInterrupted();
    return Exit::kDone;
}

} // namespace

void AddFile(const Command& app, Context& context)
{
    constexpr const char* kGroup = "Recording";
    auto options = std::make_shared<FileOptions>();
    const Command command = app.AddCommand("file", "play a recording: text, CSV, binary, WFDB or EDF+");
    command.Footer(
        "Formats, told by the name and the first bytes:\n"
        "  text    rate, number of samples, then a value in mV a line; or with the number of channels and "
        "their\n"
        "          names, and a line of values for each sample, as the library writes it\n"
        "  CSV     as 'zeka record' and 'zeka waveforms export' write it: time_s, then columns in mV\n"
        "  binary  rate (16 bits), number of samples (32), microvolts (16 each), high byte first\n"
        "  WFDB    a record's .hea, signals in format 16 or 212\n"
        "  EDF+    also EDF and BDF\n"
        "The instrument plays 40000 samples/s: each sample of the recording is held until the next one.\n"
        "Example: zeka file ecg.edf --channel AC --once --sim");
    command.AddOption("recording", options->path, "the file").Required().TypeName("RECORD");
    command
        .AddOption("--channel", options->channel,
                   "play this one, by number from 0 or by name; else the first voltage")
        .TypeName("CHANNEL")
        .Group(kGroup);
    command.AddOption("--dc-channel", options->dc_channel, "the DC channel plays this one, without it 0 mV")
        .TypeName("CHANNEL")
        .Group(kGroup);
    command.AddOption("--gain", options->gain, "multiply the AC values by this [-1000 to 1000 times]")
        .TypeName("TIMES")
        .Group(kGroup)
        .Within(-1000.0, 1000.0, "times");
    command.AddFlag("--once", options->once, "play it once and end").Group(kGroup);
    command
        .AddOption("--seconds", options->seconds, "so much of the signal, else until Ctrl-C [0.1 to 86400 s]")
        .TypeName("s")
        .Group(kGroup)
        .Within(0.1, 86400.0, "s");
    AddConnectOptions(command, options->connect);
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Play(*options, context); }; });
}

} // namespace zeka::cli
