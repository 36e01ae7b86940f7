// loop.cpp - runs each scenario repeatedly: for every call the n-th one fails, with every error that it can
// report, once or from then on, until a run ends without the fault having struck. Every run is a process of
// its own; several run at a time.
//
//     faults_loop [--share 1/10] [--seed 1] [--jobs 8] [--only connection] [--call read] [--verbose]
//     faults_loop --run connection read 17 5 0 3     one run: call, n, errno, lasting, slot
//     faults_loop --full-disk                        every format, on a disk that is full after n bytes
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

#include "faults/scenario.h"
#include "sim/private_dev.h"

namespace zeka::faults {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kRunLimitS = 60; // more than the sum of a run's bounds when every step times out
constexpr unsigned kBusyMachineMs = 2500;
constexpr unsigned kEachUpTo = 24; // of frequent calls every one up to this number, then ...
constexpr double kThinner = 1.12;  // ... numbers that grow by this factor
constexpr int kFirstSlot = 0;

constexpr Scenario kScenarios[] = {
    {"connection", RunConnection}, {"files", RunFiles}, {"formats", RunFormats}};

enum ExitCode { kStruck = 0, kComplained = 1, kUsage = 2, kNotStruck = 3, kHung = 4 };

char step_under_way[128] = "start";

void TellHang(int /*signal*/)
{
    constexpr char kText[] = "hangs in ";
    Disarm(); // otherwise the message could be lost
    (void)!::write(STDOUT_FILENO, kText, sizeof kText - 1);
    (void)!::write(STDOUT_FILENO, step_under_way, std::strlen(step_under_way));
    ::_exit(kHung);
}

const Scenario* FindScenario(std::string_view name)
{
    const auto* const found =
        std::ranges::find_if(kScenarios, [&](const Scenario& scenario) { return name == scenario.name; });
    return found == std::end(kScenarios) ? nullptr : found;
}

const CallFacts* FindCall(std::string_view name)
{
    const auto found =
        std::ranges::find_if(AllCalls(), [&](const CallFacts& facts) { return name == facts.name; });
    return found == AllCalls().end() ? nullptr : &*found;
}

std::string ErrorName(int error) { return error == kShort ? "short" : ::strerrorname_np(error); }

// ---- one run

int RunOne(const Scenario& scenario, const Plan& plan, int slot)
{
    struct sigaction action {};
    action.sa_handler = TellHang;
    ::sigaction(SIGALRM, &action, nullptr);
    ::alarm(kRunLimitS);
    Report report;
    scenario.run(plan, slot, report);
    for (const std::string& complaint : report.Complaints())
        std::printf("%s; ", complaint.c_str());
    if (plan.nth == 0)
        for (const CallFacts& facts : AllCalls())
            std::printf("%s %u\n", facts.name, Counted(facts.call));
    std::fflush(stdout);
    std::snprintf(step_under_way, sizeof step_under_way, "exit");
    return !report.Good() ? kComplained : Fired() > 0 ? kStruck : kNotStruck;
}

// ---- the loop

struct Job {
    const Scenario* scenario;
    Plan plan;
    bool no_thread_at_load = false;
};

struct Running {
    Job job;
    std::FILE* output;
    Clock::time_point start;
};

struct Options {
    unsigned share_of = 1; // one run out of so many
    unsigned seed = 1;
    int jobs = 8;
    std::string scenario;
    std::string call;
    bool verbose = false;
};

struct Totals {
    unsigned runs = 0;
    unsigned struck = 0;
    unsigned failed = 0;
    std::chrono::milliseconds longest{};
};

std::string Described(const Job& job)
{
    const CallFacts& facts = AllCalls()[static_cast<std::size_t>(job.plan.call)];
    if (job.no_thread_at_load)
        return std::string(job.scenario->name) + ": no thread at load";
    return std::string(job.scenario->name) + ": " + facts.name + " number " + std::to_string(job.plan.nth) +
           " fails, " + ErrorName(job.plan.error) + (job.plan.lasting ? ", and all after it" : "");
}

pid_t Start(const Job& job, int slot, std::FILE* output)
{
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    ::dup2(::fileno(output), STDOUT_FILENO);
    ::dup2(::fileno(output), STDERR_FILENO);
    if (job.no_thread_at_load)
        ::setenv(kNoThreadAtLoad, "1", 1);
    const CallFacts& facts = AllCalls()[static_cast<std::size_t>(job.plan.call)];
    ::execl("/proc/self/exe", "faults_loop", "--run", job.scenario->name, facts.name,
            std::to_string(job.plan.nth).c_str(), std::to_string(job.plan.error).c_str(),
            job.plan.lasting ? "1" : "0", std::to_string(slot).c_str(), nullptr);
    ::_exit(kUsage);
}

/// Makes a file for a child's output, which the other children do not inherit.
std::FILE* TemporaryFile()
{
    std::FILE* const file = std::tmpfile();
    if (file == nullptr || ::fcntl(::fileno(file), F_SETFD, FD_CLOEXEC) != 0) {
        std::perror("no temporary file");
        std::exit(kUsage);
    }
    return file;
}

std::string Contents(std::FILE* file)
{
    std::string text;
    std::rewind(file);
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file))
        text += static_cast<char>(c);
    return text;
}

/// Counts how often a run without a fault makes each call.
std::map<std::string, unsigned> CountCalls(const Scenario& scenario)
{
    std::FILE* const output = TemporaryFile();
    const pid_t child = Start({&scenario, {}}, kFirstSlot, output);
    int status = 0;
    ::waitpid(child, &status, 0);
    std::map<std::string, unsigned> counts;
    std::rewind(output);
    char name[64];
    unsigned count = 0;
    while (std::fscanf(output, "%63s %u", name, &count) == 2)
        counts[name] = count;
    if (WEXITSTATUS(status) != kNotStruck)
        std::printf("%s without a fault: %s\n", scenario.name, Contents(output).c_str());
    std::fclose(output);
    return counts;
}

/// Runs that once found a fault. They are part of every share.
std::vector<Job> OnceFound()
{
    const Scenario* const connection = FindScenario("connection");
    const Scenario* const formats = FindScenario("formats");
    return {
        {connection, {Call::kMalloc, 1, ENOMEM, false}},
        {connection, {Call::kMalloc, 3, ENOMEM, true}},
        {connection, {Call::kStat, 3, ENOENT, false}},
        {connection, {Call::kStat, 5, EACCES, true}},
        {connection, {Call::kWrite, 58, EAGAIN, true}},
        {connection, {Call::kRead, 31, EAGAIN, true}},
        {connection, {}, true},
        {formats, {Call::kRead, 9, EIO, false}},
        {formats, {Call::kStat, 6, EACCES, false}},
    };
}

/// 1, 2, 3 ..., then in growing steps, and a little beyond `count`, because two runs never
/// make the same number of calls.
std::vector<unsigned> Numbers(unsigned count)
{
    std::vector<unsigned> numbers;
    for (double n = 1.0; n <= count * 1.05 + 1.0; n = n < kEachUpTo ? n + 1.0 : std::ceil(n * kThinner))
        numbers.push_back(static_cast<unsigned>(n));
    return numbers;
}

std::vector<Job> Plans(const Options& options)
{
    std::vector<Job> jobs;
    for (const Scenario& scenario : kScenarios) {
        if (!options.scenario.empty() && options.scenario != scenario.name)
            continue;
        std::map<std::string, unsigned> counts = CountCalls(scenario);
        for (const CallFacts& facts : AllCalls()) {
            if (!options.call.empty() && options.call != facts.name)
                continue;
            if (counts[facts.name] == 0)
                continue;
            std::printf("%s: %s is called %u times\n", scenario.name, facts.name, counts[facts.name]);
            for (const unsigned number : Numbers(counts[facts.name]))
                for (const int error : facts.errors)
                    for (const bool lasting : {false, true})
                        jobs.push_back({&scenario, {facts.call, number, error, lasting}});
        }
    }
    std::mt19937 random(options.seed);
    std::ranges::shuffle(jobs, random);
    jobs.resize((jobs.size() + options.share_of - 1) / options.share_of);
    for (const Job& job : OnceFound())
        if (options.call.empty() && (options.scenario.empty() || options.scenario == job.scenario->name))
            jobs.push_back(job);
    return jobs;
}

/// Judges an ended run. A complaint that a busy machine may have caused gives the run another try alone,
/// later; a crash or a hang does not.
void Judge(const Running& run, int status, const Options& options, Totals& totals, std::vector<Job>* again)
{
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - run.start);
    totals.longest = std::max(totals.longest, took);
    ++totals.runs;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    totals.struck += code == kStruck ? 1 : 0;
    const bool good = code == kStruck || code == kNotStruck;
    if (!good) {
        const bool another_go = again != nullptr && code == kComplained;
        if (another_go)
            again->push_back(run.job);
        else
            ++totals.failed;
        const std::string end = WIFSIGNALED(status)
                                    ? std::string("ended by SIG") + ::sigabbrev_np(WTERMSIG(status)) + " "
                                    : std::string();
        std::printf("%s %s: %s%s (%lld ms)\n", another_go ? "again:" : "FAILED", Described(run.job).c_str(),
                    end.c_str(), Contents(run.output).c_str(), static_cast<long long>(took.count()));
    } else if (options.verbose) {
        std::printf("%s: %s, %lld ms\n", Described(run.job).c_str(),
                    code == kStruck ? "struck" : "not reached", static_cast<long long>(took.count()));
    }
    std::fflush(stdout);
    std::fclose(run.output);
}

/// Runs so many jobs at a time; returns those that need another try.
std::vector<Job> RunJobs(const std::vector<Job>& jobs, int at_a_time, const Options& options, Totals& totals)
{
    std::vector<Job> again;
    std::map<pid_t, std::pair<Running, int>> running;
    std::vector<int> slots;
    for (int slot = kFirstSlot; slot < kFirstSlot + at_a_time; ++slot)
        slots.push_back(slot);
    for (auto next = jobs.begin(); next != jobs.end() || !running.empty();) {
        if (next != jobs.end() && !slots.empty()) {
            std::FILE* const output = TemporaryFile();
            const pid_t child = Start(*next, slots.back(), output);
            running.emplace(child, std::pair{Running{*next, output, Clock::now()}, slots.back()});
            slots.pop_back();
            ++next;
            continue;
        }
        int status = 0;
        const auto ended = running.find(::waitpid(-1, &status, 0));
        if (ended == running.end())
            continue;
        Judge(ended->second.first, status, options, totals, at_a_time > 1 ? &again : nullptr);
        slots.push_back(ended->second.second);
        running.erase(ended);
    }
    return again;
}

int Loop(const Options& options)
{
    const auto start = Clock::now();
    const std::vector<Job> jobs = Plans(options);
    std::printf("%zu runs, seed %u\n", jobs.size(), options.seed);
    Totals totals;
    const std::vector<Job> again = RunJobs(jobs, std::max(2, options.jobs), options, totals);
    (void)RunJobs(again, 1, options, totals);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf(
        "%u runs, %zu of them again, a fault struck in %u, %u failed; the longest took %.1f s, all %.0f s\n",
        totals.runs, again.size(), totals.struck, totals.failed,
        static_cast<double>(totals.longest.count()) / 1000.0, seconds);
    // A loop in which few faults struck proves nothing.
    return totals.failed == 0 && totals.struck * 2 > totals.runs ? kStruck : kComplained;
}

int Main(int argc, char** argv)
{
    if (argc == 8 && std::string_view(argv[1]) == "--run") {
        const Scenario* const scenario = FindScenario(argv[2]);
        const CallFacts* const facts = FindCall(argv[3]);
        if (scenario == nullptr || facts == nullptr)
            return kUsage;
        return RunOne(*scenario,
                      {facts->call, static_cast<unsigned>(std::atoi(argv[4])), std::atoi(argv[5]),
                       std::atoi(argv[6]) != 0},
                      std::atoi(argv[7]));
    }
    if (argc == 2 && std::string_view(argv[1]) == "--full-disk") {
        Report report;
        FillDisk(report);
        for (const std::string& complaint : report.Complaints())
            std::printf("%s\n", complaint.c_str());
        return report.Good() ? 0 : kComplained;
    }
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        const auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : ""; };
        if (option == "--share")
            options.share_of = static_cast<unsigned>(std::max(1, std::atoi(value() + 2)));
        else if (option == "--seed")
            options.seed = static_cast<unsigned>(std::atoi(value()));
        else if (option == "--jobs")
            options.jobs = std::max(1, std::atoi(value()));
        else if (option == "--only")
            options.scenario = value();
        else if (option == "--call")
            options.call = value();
        else if (option == "--verbose")
            options.verbose = true;
        else
            return kUsage;
    }
    return Loop(options);
}

} // namespace

void Report::Begin(const char* step) { std::snprintf(step_under_way, sizeof step_under_way, "%s", step); }

void Report::Expect(bool holds, const std::string& complaint)
{
    if (!holds)
        complaints_.push_back(complaint);
}

void Report::Call(const char* step, unsigned bound_ms, const std::function<void()>& call)
{
    Begin(step);
    const auto start = Clock::now();
    {
        const UnderTest under_test;
        call();
    }
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    Expect(took <= bound_ms + kBusyMachineMs, std::string(step) + " took " + std::to_string(took) + " ms");
}

} // namespace zeka::faults

int main(int argc, char** argv)
{
    zeka::sim::EnterPrivateDev(argv);
    return zeka::faults::Main(argc, argv);
}
