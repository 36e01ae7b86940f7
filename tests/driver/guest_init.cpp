// guest_init.cpp - the first process of the emulated machine: loads the USB drivers, runs one test after the
// other, each in a process of its own, and reports the results on the second serial line. Linked statically;
// make_image.py puts it, the programs and the plan into the machine's memory.
//
// The plan, /driver/plan, has one test per line: the program and the test's name. A line of the results
// begins with "ok" or "FAIL"; the output of a failed test follows it, indented; the last line is "end".
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit{300}; // for one test, in the time of the emulated machine
constexpr std::size_t kShownBytes = 6000;   // of the output of a failed test
constexpr const char* kOutput = "/tmp/output";
constexpr const char* kLockFolder = "/var/lock";

std::FILE* results = nullptr;

void Mount(const char* type, const char* at)
{
    (void)::mkdir(at, 0755);
    if (::mount(type, at, type, 0, nullptr) != 0)
        std::perror(at);
}

void OpenResults()
{
    const int line = ::open("/dev/ttyS1", O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw{};
    if (line >= 0 && ::tcgetattr(line, &raw) == 0) {
        cfmakeraw(&raw);
        cfsetspeed(&raw, B115200);
        (void)::tcsetattr(line, TCSANOW, &raw);
    }
    results = line >= 0 ? ::fdopen(line, "w") : nullptr;
    if (results == nullptr)
        results = stderr;
}

void LoadDrivers()
{
    for (const char* name : {"usb-common", "usbcore", "usbip-core", "vhci-hcd", "cdc-acm"}) {
        const std::string file = std::string("/modules/") + name + ".ko";
        const int module = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (module < 0 || ::syscall(SYS_finit_module, module, "", 0) != 0)
            std::fprintf(results, "FAIL %s: %s\n", file.c_str(), std::strerror(errno));
        ::close(module);
    }
}

void SetChildSignal(int how)
{
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    (void)::sigprocmask(how, &ends, nullptr);
}

[[noreturn]] void RunTest(const std::string& program, const std::string& name)
{
    SetChildSignal(SIG_UNBLOCK);
    const int output = ::open(kOutput, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    ::setsid();
    const std::string filter = "--gtest_filter=" + name;
    std::array<const char*, 3> arguments{program.c_str(), filter.c_str(), nullptr};
    ::execv(program.c_str(), const_cast<char* const*>(arguments.data()));
    std::perror(program.c_str());
    ::_exit(127);
}

/// Returns the status of wait(2), or -1 when the test was ended because it took too
/// long. REQUIRES: SIGCHLD is blocked.
int WaitFor(pid_t child)
{
    const Clock::time_point deadline = Clock::now() + kLimit;
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        const auto left = std::chrono::duration_cast<std::chrono::seconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            ::kill(-child, SIGKILL);
            ::waitpid(child, &status, 0);
            return -1;
        }
        const timespec timeout{left.count(), 0};
        (void)::sigtimedwait(&ends, nullptr, &timeout);
    }
    while (::waitpid(-1, nullptr, WNOHANG) > 0) { // processes that the test left behind
    }
    return status;
}

std::string Contents(const std::string& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Removes a lock file that outlived its process and returns its name; empty when there is none.
std::string LeftBehind()
{
    std::string left;
    DIR* folder = ::opendir(kLockFolder);
    while (const dirent* entry = folder != nullptr ? ::readdir(folder) : nullptr)
        if (entry->d_name[0] != '.') {
            left += std::string(" ") + entry->d_name;
            ::unlink((std::string(kLockFolder) + "/" + entry->d_name).c_str());
        }
    if (folder != nullptr)
        ::closedir(folder);
    return left;
}

std::string Figures(const std::string& output)
{
    constexpr std::string_view kMark = "figures: ";
    std::string figures;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(kMark))
            figures += (figures.empty() ? "" : "; ") + line.substr(kMark.size());
    return figures;
}

std::string Verdict(int status, const std::string& output)
{
    if (status == -1)
        return "took longer than its limit";
    if (WIFSIGNALED(status))
        return std::string("ended by signal ") + std::to_string(WTERMSIG(status));
    if (output.find("[  SKIPPED ]") != std::string::npos)
        return "was skipped";
    if (WEXITSTATUS(status) != 0 || output.find("[  PASSED  ] 1 test") == std::string::npos)
        return "failed";
    const std::string left = LeftBehind();
    return left.empty() ? std::string() : "left behind:" + left;
}

void Report(const std::string& name, Clock::duration took, int status)
{
    const std::string output = Contents(kOutput);
    const std::string complaint = Verdict(status, output);
    const double seconds = std::chrono::duration<double>(took).count();
    std::fprintf(results, "%s %7.2f s  %s  %s\n", complaint.empty() ? "ok  " : "FAIL", seconds, name.c_str(),
                 complaint.empty() ? Figures(output).c_str() : complaint.c_str());
    if (!complaint.empty()) {
        (void)LeftBehind();
        std::istringstream lines(
            output.substr(output.size() > kShownBytes ? output.size() - kShownBytes : 0));
        for (std::string line; std::getline(lines, line);)
            std::fprintf(results, "        %s\n", line.c_str());
    }
    std::fflush(results);
}

} // namespace

int main()
{
    Mount("proc", "/proc");
    Mount("sysfs", "/sys");
    Mount("devtmpfs", "/dev");
    Mount("tmpfs", "/tmp");
    Mount("tmpfs", kLockFolder);
    ::setenv("PATH", "/bin:/usr/bin", 1);
    ::setenv("ZEKA_SIM_MEDIUM", "usb", 1);
    OpenResults();
    LoadDrivers();
    SetChildSignal(SIG_BLOCK);
    std::ifstream plan("/driver/plan");
    for (std::string program, name; plan >> program >> name;) {
        const Clock::time_point start = Clock::now();
        const pid_t child = ::fork();
        if (child == 0)
            RunTest(program, name);
        const int status = WaitFor(child);
        Report(name, Clock::now() - start, status);
    }
    std::fputs("end\n", results);
    std::fflush(results);
    ::tcdrain(::fileno(results));
    ::reboot(RB_AUTOBOOT); // ends the emulator, which runs with -no-reboot
}
