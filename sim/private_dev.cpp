// private_dev.cpp - enters user and mount namespaces in which /dev is this program's own. A forked child
// makes them, because a process with threads cannot enter a user namespace. Between fork and exec the child
// uses only system calls and its own stack.
#include "sim/private_dev.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zeka::sim {
namespace {

constexpr const char* kMark = "ZEKA_PRIVATE_DEV";
constexpr const char* kInside = "1";
constexpr const char* kOutside = "0"; // tried without success
constexpr int kCannotPrepare = 125;   // the usual exit codes of programs that run programs
constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

struct DevEntry {
    std::string from; // "/dev/null"
    std::string to;   // its path while the new /dev is assembled
    std::string link; // target, for symbolic links
    bool directory = false;
};

/// All that the child needs, assembled before the fork.
struct Plan {
    std::string lock;    // the real path of /var/lock
    std::string stage;   // below it: the new /dev while it is assembled
    std::string machine; // in it: the whole /dev of the machine
    std::vector<DevEntry> entries;
    std::string uid_map;
    std::string gid_map;
    bool root = false;
};

Plan MakePlan()
{
    Plan plan;
    std::array<char, PATH_MAX> real{};
    plan.lock = ::realpath("/var/lock", real.data()) != nullptr ? real.data() : "/var/lock";
    plan.stage = plan.lock + "/dev";
    plan.machine = plan.stage + "/.machine";
    plan.uid_map = "0 " + std::to_string(::geteuid()) + " 1\n";
    plan.gid_map = "0 " + std::to_string(::getegid()) + " 1\n";
    plan.root = ::geteuid() == 0;

    DIR* dev = ::opendir("/dev");
    if (dev == nullptr)
        return plan;
    while (const dirent* item = ::readdir(dev)) {
        const std::string name = item->d_name;
        struct stat info {};
        DevEntry entry{"/dev/" + name, plan.stage + "/" + name, {}, false};
        if (name == "." || name == ".." || name.starts_with("ttyACM") ||
            ::lstat(entry.from.c_str(), &info) != 0)
            continue;
        if (S_ISLNK(info.st_mode)) {
            const ssize_t length = ::readlink(entry.from.c_str(), real.data(), real.size());
            entry.link.assign(real.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
        }
        entry.directory = S_ISDIR(info.st_mode);
        if (name == "ptmx" && entry.link.empty())
            // The driver looks for "pts" beside the node, which a bound file does not have.
            entry.link = ".machine/ptmx";
        plan.entries.push_back(std::move(entry));
    }
    ::closedir(dev);
    return plan;
}

bool WriteFile(const char* path, const char* text, std::size_t length)
{
    const int fd = ::open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool written = ::write(fd, text, length) == static_cast<ssize_t>(length);
    ::close(fd);
    return written;
}

bool TakeNamespaces(const Plan& plan)
{
    if (plan.root && ::unshare(CLONE_NEWNS) == 0)
        return true;
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    ::prctl(PR_SET_DUMPABLE, 1); // a process that changed its user does not own its own /proc/self
    (void)WriteFile("/proc/self/setgroups", "deny", 4); // missing on old kernels
    return WriteFile("/proc/self/uid_map", plan.uid_map.data(), plan.uid_map.size()) &&
           WriteFile("/proc/self/gid_map", plan.gid_map.data(), plan.gid_map.size());
}

// A node that cannot be carried over is left out; only the terminals are required.
bool CarryOver(const DevEntry& entry)
{
    const char* to = entry.to.c_str();
    if (!entry.link.empty())
        return ::symlink(entry.link.c_str(), to) == 0;
    if (entry.directory)
        (void)::mkdir(to, 0755);
    else
        ::close(::open(to, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    if (::mount(entry.from.c_str(), to, nullptr, MS_BIND | MS_REC, nullptr) == 0)
        return true;
    (void)(entry.directory ? ::rmdir(to) : ::unlink(to));
    return false;
}

bool MakeWorld(const Plan& plan)
{
    constexpr unsigned long kFlags = MS_NOSUID;
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("zeka-lock", plan.lock.c_str(), "tmpfs", kFlags, "mode=1777,size=16m") != 0 ||
        ::mkdir(plan.stage.c_str(), 0755) != 0 ||
        ::mount("zeka-dev", plan.stage.c_str(), "tmpfs", kFlags, "mode=0755,size=16m") != 0)
        return false;
    (void)CarryOver({"/dev", plan.machine, {}, true});
    for (const DevEntry& entry : plan.entries)
        (void)CarryOver(entry);
    return ::mount(plan.stage.c_str(), "/dev", nullptr, MS_MOVE, nullptr) == 0 &&
           ::rmdir(plan.stage.c_str()) == 0 && ::access("/dev/ptmx", R_OK | W_OK) == 0 &&
           ::access("/dev/null", R_OK | W_OK) == 0;
}

void Run(const char* file, char* const argv[])
{
    ::execvp(file, argv);
    const int error = errno;
    std::fprintf(stderr, "%s: %s\n", file, std::strerror(error));
    ::_exit(error == ENOENT ? kNotFound : kCannotRun);
}

volatile sig_atomic_t child_pid = 0;

// Forwards a signal to the child. A signal from the terminal already reaches the whole foreground group, the
// child included; the others are sent to this process alone.
void PassOn(int signal, siginfo_t* info, void*)
{
    if (child_pid > 0 && info->si_code != SI_KERNEL)
        ::kill(static_cast<pid_t>(child_pid), signal);
}

constexpr std::array kPassedOn{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};

/// Catches the signals before the fork, so that none is lost; those that come before the child exists wait.
class SignalsForChild {
public:
    SignalsForChild()
    {
        sigset_t set;
        ::sigemptyset(&set);
        for (const int signal : kPassedOn)
            ::sigaddset(&set, signal);
        ::pthread_sigmask(SIG_BLOCK, &set, &mask_);
        struct sigaction action {};
        action.sa_sigaction = PassOn;
        // No SA_RESTART: the wait checks again by itself, and a sanitizer runs handlers only then.
        action.sa_flags = SA_SIGINFO;
        for (std::size_t i = 0; i < kPassedOn.size(); ++i)
            ::sigaction(kPassedOn[i], &action, &actions_[i]);
    }
    ~SignalsForChild()
    {
        child_pid = 0;
        Restore();
    }
    SignalsForChild(const SignalsForChild&) = delete;
    SignalsForChild& operator=(const SignalsForChild&) = delete;

    /// To be called in the child before it runs anything, and in the parent at the end.
    void Restore() const
    {
        for (std::size_t i = 0; i < kPassedOn.size(); ++i)
            ::sigaction(kPassedOn[i], &actions_[i], nullptr);
        ::pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    }

    /// Waits for the child; returns its status as a shell would report it.
    [[nodiscard]] int Wait(pid_t child) const
    {
        child_pid = child;
        ::pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

private:
    sigset_t mask_{};
    std::array<struct sigaction, kPassedOn.size()> actions_{};
};

[[noreturn]] void RunChild(const Plan& plan, char* const argv[], const char* file, pid_t parent, int report)
{
    const bool made = TakeNamespaces(plan) && MakeWorld(plan);
    const int error = made ? 0 : (errno != 0 ? errno : EPERM);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // only now, because new credentials would clear it
    if (::getppid() != parent)
        ::_exit(kCannotPrepare);
    (void)!::write(report, &error, sizeof error);
    if (error == 0)
        Run(file, argv);
    ::_exit(kCannotPrepare);
}

int Complain(int error)
{
    std::fprintf(stderr,
                 "cannot make a private /dev (%s): run as root, or allow user namespaces "
                 "(sysctl kernel.unprivileged_userns_clone=1 user.max_user_namespaces=10000)\n",
                 std::strerror(error));
    return kCannotPrepare;
}

/// Like fork(), but without fork handlers: the child must have one thread only, and
/// ThreadSanitizer's handler starts another one.
pid_t PlainFork()
{
    return static_cast<pid_t>(::syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr));
}

/// Runs the program in a private world. On failure `error` holds the reason, and nothing was run.
int TryPrivate(char* const argv[], const char* file, int& error)
{
    const Plan plan = MakePlan();
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        error = errno;
        return kCannotPrepare;
    }
    ::setenv(kMark, kInside, 1);
    const pid_t parent = ::getpid();
    const SignalsForChild signals;
    const pid_t child = PlainFork();
    if (child == 0) {
        signals.Restore();
        RunChild(plan, argv, file, parent, ends[1]);
    }
    error = child < 0 ? errno : 0;
    ::unsetenv(kMark);
    ::close(ends[1]);
    ssize_t count = 0;
    if (child > 0) {
        while ((count = ::read(ends[0], &error, sizeof error)) < 0 && errno == EINTR) {
        }
        if (count != sizeof error)
            error = 0; // killed meanwhile: the status says so
    }
    ::close(ends[0]);
    return child > 0 ? signals.Wait(child) : kCannotPrepare;
}

int RunAsIs(char* const argv[], const char* file)
{
    std::fflush(nullptr);
    const SignalsForChild signals;
    const pid_t child = ::fork();
    if (child < 0)
        return kCannotRun;
    if (child == 0) {
        signals.Restore();
        Run(file, argv);
    }
    return signals.Wait(child);
}

} // namespace

bool InPrivateDev()
{
    const char* mark = std::getenv(kMark); // NOLINT(concurrency-mt-unsafe): set before the program's main()
    return mark != nullptr && std::strcmp(mark, kInside) == 0;
}

bool MayEnterPrivateDev()
{
    return std::getenv(kMark) == nullptr; // NOLINT(concurrency-mt-unsafe)
}

int RunInPrivateDev(char* const argv[], NoPrivateDev otherwise, const char* file)
{
    if (file == nullptr)
        file = argv[0];
    if (InPrivateDev())
        return RunAsIs(argv, file);
    std::fflush(nullptr);
    int error = 0;
    const int status = TryPrivate(argv, file, error);
    if (error == 0)
        return status;
    if (otherwise == NoPrivateDev::kRealDev && ::geteuid() == 0) {
        ::setenv(kMark, kOutside, 1); // the program must not try again
        return RunAsIs(argv, file);
    }
    return Complain(error);
}

void EnterPrivateDev(char* const argv[])
{
    if (!MayEnterPrivateDev())
        return;
    std::fflush(nullptr);
    int error = 0;
    const int status = TryPrivate(argv, "/proc/self/exe", error);
    if (error == 0)
        std::exit(status);
    if (::geteuid() != 0)
        std::exit(Complain(error));
    ::setenv(kMark, kOutside, 1);
}

int MoveIntoPrivateDev()
{
    if (InPrivateDev())
        return 0;
    const Plan plan = MakePlan();
    errno = 0;
    if (!TakeNamespaces(plan))
        return errno == EINVAL ? EBUSY : errno != 0 ? errno : EPERM; // EINVAL: it has several threads
    if (!MakeWorld(plan))
        return errno != 0 ? errno : EPERM;
    ::setenv(kMark, kInside, 1);
    return 0;
}

} // namespace zeka::sim
