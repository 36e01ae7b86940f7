// unload_test.cpp - exit() and dlclose() at any moment: no crash, no hang, and the lock file is
// gone. The programs under test are children of this one. They load the shared object by
// dlopen, as a plug-in host does.
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "support/fixture.h"
#include "zeka/platform.hpp"

// Turns the leak check off, because it stops every thread of the process and fails in a child that was forked
// from a process with threads, as all the programs under test are. Other tests look for leaks.
#if defined(__SANITIZE_ADDRESS__)
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() { return 1; }
#endif

namespace {

using zeka::test::milliseconds;

bool Locked() { return std::filesystem::exists("/var/lock/kestrava.ACM0.lock"); }

struct Library {
    void* handle = ::dlopen(ZEKA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    template <typename Function> Function* Get(const char* name) const
    {
        void* const symbol = handle != nullptr ? ::dlsym(handle, name) : nullptr;
        if (symbol == nullptr)
            ::_exit(90);
        return reinterpret_cast<Function*>(symbol);
    }
    void Stream() const
    {
        if (Get<decltype(ZEKAConnect)>("ZEKAConnect")(0, 20000) != 1)
            ::_exit(91);
        if (Get<decltype(ZEKASetOutputFunction)>("ZEKASetOutputFunction")(1) != 0)
            ::_exit(92);
        std::this_thread::sleep_for(milliseconds{100});
    }
};

class Unload : public zeka::test::InstrumentTest {
protected:
    // The child's exit status; 99 when it hangs.
    template <typename Body> int RunChild(Body&& body)
    {
        const pid_t child = ::fork();
        if (child == 0) {
            body();
            std::exit(0);
        }
        return StatusOf(child);
    }
    static int StatusOf(pid_t child)
    {
        int status = 0;
        if (zeka::test::WaitUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; }))
            return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
        ::kill(child, SIGKILL);
        ::waitpid(child, &status, 0);
        return 99;
    }
};

// fork() leaves this process's instrument thread behind: the children only talk to its terminal.
TEST_F(Unload, ByExitWhileStreaming)
{
    EXPECT_EQ(RunChild([] { Library{}.Stream(); }), 0);
    EXPECT_FALSE(Locked());
    EXPECT_TRUE(instrument.WaitFor([&] { return !instrument.State().output_on; }, zeka::test::kPatience));
}

TEST_F(Unload, ByDlcloseWhileStreamingAndLoadedAgain)
{
    EXPECT_EQ(RunChild([] {
                  for (int round = 0; round < 3; ++round) {
                      const Library library;
                      library.Stream();
                      if (::dlclose(library.handle) != 0 ||
                          ::dlopen(ZEKA_LIBRARY, RTLD_NOW | RTLD_NOLOAD) != nullptr)
                          ::_exit(93);
                      if (Locked() || zeka::test::ThreadCount() != 1)
                          ::_exit(94);
                  }
              }),
              0);
    EXPECT_FALSE(Locked());
}

TEST_F(Unload, ByExitFromTheSignalCallback)
{
    EXPECT_EQ(RunChild([] {
                  const Library library;
                  library.Get<decltype(ZEKARegisterSignalOutputCallback)>("ZEKARegisterSignalOutputCallback")(
                      [](double seconds, double) {
                          if (seconds > 0.05)
                              std::exit(7);
                      });
                  library.Stream();
                  std::this_thread::sleep_for(milliseconds{20000});
              }),
              7);
    EXPECT_FALSE(Locked());
}

TEST_F(Unload, ByExitDuringTheSearchAndFromTheListener)
{
    instrument.Unplug();
    EXPECT_EQ(RunChild([] { Library{}.Get<decltype(ZEKAInit)>("ZEKAInit")(nullptr); }), 0);
    instrument.Replug();
    EXPECT_EQ(RunChild([] {
                  Library{}.Get<decltype(ZEKAInit)>("ZEKAInit")([](bool) { std::exit(8); });
                  std::this_thread::sleep_for(milliseconds{20000});
              }),
              8);
    EXPECT_FALSE(Locked());
}

TEST_F(Unload, ByExitWhileAnotherThreadHangsInACallbackWithTheLock)
{
    EXPECT_EQ(RunChild([] {
                  const Library library;
                  library.Get<decltype(ZEKARegisterSignalOutputCallback)>("ZEKARegisterSignalOutputCallback")(
                      [](double seconds, double) {
                          if (seconds > 0.05)
                              std::this_thread::sleep_for(std::chrono::hours{1});
                      });
                  library.Stream();
              }),
              0);
    EXPECT_FALSE(Locked());
}

bool StillLoaded()
{
    void* const again = ::dlopen(ZEKA_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    return again != nullptr && ::dlclose(again) == 0;
}

TEST_F(Unload, ByDlcloseWaitsForACallbackThatTakesLongerThanTheTearDownWaits)
{
    static std::atomic<bool> inside{false};
    static std::atomic<bool> returned{false};
    EXPECT_EQ(RunChild([] {
                  const Library library;
                  library.Get<decltype(ZEKARegisterSignalOutputCallback)>("ZEKARegisterSignalOutputCallback")(
                      [](double seconds, double) {
                          if (seconds < 0.05 || inside.exchange(true))
                              return;
                          std::this_thread::sleep_for(milliseconds{7000});
                          returned = true;
                      });
                  library.Stream();
                  if (!zeka::test::WaitUntil([] { return inside.load(); }) || ::dlclose(library.handle) != 0)
                      ::_exit(93);
                  if (!returned || StillLoaded() || Locked() || zeka::test::ThreadCount() != 1)
                      ::_exit(94);
              }),
              0);
}

TEST_F(Unload, ByDlcloseBehindAFreeThatLeftAThreadKeepsTheCode)
{
    static std::atomic<bool> returned{false};
    EXPECT_EQ(RunChild([] {
                  const Library library;
                  static std::atomic<bool> inside{false};
                  library.Get<decltype(ZEKAInit)>("ZEKAInit")([](bool) {
                      inside = true;
                      std::this_thread::sleep_for(milliseconds{12000});
                      returned = true;
                  });
                  if (!zeka::test::WaitUntil([] { return inside.load(); }))
                      ::_exit(92);
                  library.Get<decltype(ZEKAFree)>("ZEKAFree")();
                  if (::dlclose(library.handle) != 0 || returned || !StillLoaded())
                      ::_exit(93);
                  // The listener returns, and the supervisor ends the connection.
                  if (!zeka::test::WaitUntil([] { return returned && !Locked(); }))
                      ::_exit(94);
              }),
              0);
}

TEST_F(Unload, ByDlcloseUnderARunningTimerAndAPendingTimerSignal)
{
    EXPECT_EQ(RunChild([] {
                  sigset_t timer_signals;
                  ::sigemptyset(&timer_signals);
                  ::sigaddset(&timer_signals, SIGRTMIN + 1);
                  for (int round = 0; round < 3; ++round) {
                      const Library library;
                      auto* const create = library.Get<decltype(CreateNewTimer)>("CreateNewTimer");
                      unsigned running = static_cast<unsigned>(SIGRTMIN);
                      unsigned pending = running + 1;
                      ::sigprocmask(SIG_BLOCK, &timer_signals, nullptr);
                      timer_t gone = create(1, pending);
                      if (create(1, running) == nullptr || gone == nullptr)
                          ::_exit(91);
                      std::this_thread::sleep_for(milliseconds{20});
                      library.Get<decltype(DeleteTimer)>("DeleteTimer")(0, gone);
                      if (::dlclose(library.handle) != 0 || StillLoaded())
                          ::_exit(93);
                      ::sigprocmask(SIG_UNBLOCK, &timer_signals, nullptr);
                      std::this_thread::sleep_for(milliseconds{20});
                  }
              }),
              0);
}

// A shell that takes eight seconds for each line.
bool SlowShellHere()
{
    static constexpr char kShell[] = "/dev/slow_shell";
    std::ofstream(kShell) << "#!/bin/bash\nsleep 8\n";
    return ::chmod(kShell, 0755) == 0 && ::unshare(CLONE_NEWNS) == 0 &&
           ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount(kShell, "/bin/sh", nullptr, MS_BIND, nullptr) == 0;
}

TEST_F(Unload, ByExitDoesNotWaitForASlowShell)
{
    const auto start = std::chrono::steady_clock::now();
    const int status = RunChild([] {
        if (!SlowShellHere())
            std::exit(77);
        Library{}.Stream();
        std::this_thread::sleep_for(milliseconds{2000}); // the monitor waits for the listing
    });
    if (status == 77)
        GTEST_SKIP() << "may not lay a shell over the machine's own";
    EXPECT_EQ(status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds{6500});
    EXPECT_FALSE(Locked());
}

TEST_F(Unload, AGlobalObjectOfAProgramMayConnectAheadOfMainAndFreeBehindIt)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl(ZEKA_GLOBAL_CONNECTOR, ZEKA_GLOBAL_CONNECTOR, nullptr);
        ::_exit(98);
    }
    EXPECT_EQ(StatusOf(child), 0);
    EXPECT_FALSE(Locked());
    EXPECT_TRUE(instrument.WaitFor([&] { return !instrument.State().output_on; }, zeka::test::kPatience));
}

} // namespace
