// unload_test.cpp - exit() and dlclose() at any moment: no crash, no hang, and the lock file is gone.
// The programs under test are children of this one; they load the shared object by dlopen, as a plug-in host
// does.
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "support/fixture.h"
#include "zeka/zeka.h"

// The leak check stops every thread of the process, and fails in a child that was forked from a process with
// threads, as all the programs under test here are. Other tests look for leaks.
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

} // namespace
