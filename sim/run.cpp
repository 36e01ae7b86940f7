// run.cpp - starts a program beside a virtual instrument, waits for it and for the signals that end
// it, and takes the measurements.
#include "sim/run.h"

#include "sim/private_dev.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <set>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace zeka::sim {
namespace {

constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

/// Blocks the signals that end or concern the run, so that they can be waited
/// for; the destructor restores them.
class BlockedSignals {
public:
    BlockedSignals()
    {
        ::sigemptyset(&set_);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD})
            ::sigaddset(&set_, signal);
        ::pthread_sigmask(SIG_BLOCK, &set_, &before_);
    }
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    siginfo_t Wait() const
    {
        siginfo_t info{};
        while (::sigwaitinfo(&set_, &info) < 0) {
        }
        return info;
    }
    void RestoreIn() const { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t set_{};
    sigset_t before_{};
};

/// Keeps the last seconds that were played.
class Recorder {
public:
    explicit Recorder(double seconds)
        : limit_(static_cast<std::size_t>(seconds * static_cast<double>(kSampleRate)))
    {
    }
    void Take(std::span<const Sample> samples)
    {
        const std::lock_guard lock(mutex_);
        kept_.insert(kept_.end(), samples.begin(), samples.end());
        if (kept_.size() > limit_)
            kept_.erase(kept_.begin(), kept_.end() - static_cast<std::ptrdiff_t>(limit_));
    }
    [[nodiscard]] std::vector<Sample> Kept() const
    {
        const std::lock_guard lock(mutex_);
        return {kept_.begin(), kept_.end()};
    }

private:
    std::size_t limit_;
    mutable std::mutex mutex_;
    std::deque<Sample> kept_;
};

std::vector<char*> Pointers(const std::vector<std::string>& words)
{
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str())); // execvp does not write
    pointers.push_back(nullptr);
    return pointers;
}

int RunProgram(const SimOptions& options, const BlockedSignals& signals)
{
    const std::vector<char*> argv = Pointers(options.program);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0)
        return kCannotRun;
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(kCannotRun);
        signals.RestoreIn();
        if (options.program_to_stderr)
            ::dup2(STDERR_FILENO, STDOUT_FILENO);
        ::execvp(argv[0], argv.data());
        const int error = errno;
        std::fprintf(stderr, "%s: %s\n", argv[0], std::strerror(error));
        ::_exit(error == ENOENT ? kNotFound : kCannotRun);
    }
    for (;;) {
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child)
            return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        const siginfo_t info = signals.Wait();
        // A signal from the terminal reaches the program directly.
        if (info.si_signo != SIGCHLD && info.si_code != SI_KERNEL)
            ::kill(child, info.si_signo);
    }
}

void WaitForEnd(const BlockedSignals& signals)
{
    while (signals.Wait().si_signo == SIGCHLD) {
    }
}

void SayWhere(const SimOptions& options, const InstrumentState& state)
{
    if (options.quiet)
        return;
    std::fprintf(stderr, "virtual instrument at %s (terminal %s)\n", state.node.c_str(),
                 state.terminal.c_str());
    if (options.program.empty() && InPrivateDev())
        std::fprintf(stderr,
                     "only visible in a private /dev; run programs there with\n"
                     "  nsenter --preserve-credentials -U -m -t %d PROGRAM\n",
                     static_cast<int>(::getpid()));
}

SimEnd EndOf(const SimOptions& options, const Instrument& instrument, std::span<const Sample> played,
             int status)
{
    SimEnd end;
    end.stats = instrument.Stats();
    std::set<Fault> counted;
    for (const FaultRule& rule : options.faults)
        if (counted.insert(rule.fault).second)
            end.faults.emplace_back(rule.fault, instrument.FaultsFired(rule.fault));
    if (!played.empty())
        end.measured = Measure(played, {.attenuation = options.attenuation});
    end.status = status;
    return end;
}

void SayFaults(const SimOptions& options, const SimEnd& end)
{
    if (options.quiet)
        return;
    for (const auto& [fault, struck] : end.faults)
        std::fprintf(stderr, "fault %s struck %d times\n", NameOf(fault), struck);
}

bool NeedsPrivateDev(const SimOptions& options)
{
    if (options.argv == nullptr || !MayEnterPrivateDev())
        return false;
    return !options.program.empty() || ::access("/dev", W_OK) != 0;
}

std::string Line(const char* format, auto... values)
{
    std::array<char, 200> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

std::string ChannelText(const char* name, const ChannelReport& channel)
{
    std::string text =
        Line("%s  min %.4f mV  max %.4f mV  peak-to-peak %.4f mV  mean %.4f mV  rms %.4f mV\n", name,
             channel.minimum, channel.maximum, channel.peak_to_peak, channel.mean, channel.rms);
    if (channel.frequency_hz)
        text +=
            Line("%s  frequency %.5f Hz over %zu periods\n", name, *channel.frequency_hz, channel.periods);
    return text;
}

} // namespace

std::string ReportText(const InstrumentStats& stats, const std::optional<Report>& measured)
{
    const StreamStats& stream = stats.stream;
    const auto count = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
    std::string text =
        Line("bursts %llu  requests %llu  sequence gaps %llu  underruns %llu  bad headers %llu\n",
             count(stream.bursts), count(stream.requests), count(stream.sequence_gaps),
             count(stream.underruns), count(stream.bad_headers));
    if (!stream.last_byte_us.empty())
        text += Line("request to last byte: p50 %.0f us  p99 %.0f us  worst %.0f us\n",
                     Percentile(stream.last_byte_us, 50), Percentile(stream.last_byte_us, 99),
                     Percentile(stream.last_byte_us, 100));
    if (!measured)
        return text;
    const Report& report = *measured;
    text += Line("measured over %.3f s\n", report.seconds);
    text += ChannelText("AC", report.ac);
    text += ChannelText("DC", report.dc);
    if (report.r_peaks_per_minute)
        text += Line("AC  R peaks %.3f per minute\n", *report.r_peaks_per_minute);
    if (report.dc.pulses_per_minute && !report.dc.pulse_width_ms.empty())
        text += Line("DC  pulses %.3f per minute, first %.3f ms wide, %.2f mV high\n",
                     *report.dc.pulses_per_minute, report.dc.pulse_width_ms.front(),
                     report.dc.pulse_height.value_or(0.0));
    return text;
}

int RunSim(const SimOptions& options)
{
    if (NeedsPrivateDev(options))
        return RunInPrivateDev(options.argv, NoPrivateDev::kRealDev, "/proc/self/exe");

    const BlockedSignals signals;
    Recorder recorder(options.report_seconds);
    InstrumentConfig config = options.instrument;
    config.guard_node = true;
    Instrument instrument(config);
    if (options.on_start)
        options.on_start();
    if (options.report_seconds > 0.0 || options.on_played)
        instrument.SetConsumer([&](std::span<const Sample> samples) {
            if (options.report_seconds > 0.0)
                recorder.Take(samples);
            if (options.on_played)
                options.on_played(instrument, samples);
        });
    for (const FaultRule& fault : options.faults)
        instrument.Inject(fault);
    instrument.Plug();
    SayWhere(options, instrument.State());
    if (options.on_plugged)
        options.on_plugged(instrument.State());

    int status = 0;
    if (options.program.empty())
        WaitForEnd(signals);
    else
        status = RunProgram(options, signals);
    instrument.Unplug();
    const SimEnd end = EndOf(options, instrument, recorder.Kept(), status);
    SayFaults(options, end);
    if (options.report)
        std::fputs(ReportText(end.stats, end.measured).c_str(), options.report_to);
    if (options.on_end)
        options.on_end(end);
    return status;
}

} // namespace zeka::sim
