// injector.h - fails a chosen call into the C library. The library of interposers is linked ahead of the C
// library and also works with LD_PRELOAD; it strikes only on threads that run the code under test, never on
// those of the test or of the virtual instrument.
#pragma once

#include <span>

namespace zeka::faults {

/// Families of calls: one name stands for its variants too (open for open64 and openat, read for pread and
/// readv).
enum class Call {
    kMalloc, // operator new as well
    kOpen,
    kRead,
    kWrite,
    kPoll,
    kIoctl,
    kGetTerminal,
    kSetTerminal,
    kFlushTerminal,
    kClose,
    kControl, // fcntl
    kStat,
    kReadLink,
    kMakeFolder,
    kUnlink,
    kRename,
    kLock, // flock
    kKill,
    kCreateThread,
    kCreateTimer,
    kSetTimer,
    kEvent, // eventfd
    kPipe,
    kProcess, // popen, fork, vfork, clone, posix_spawn
    kWait,    // waitpid, pclose
    kSleep,
    kAdvise, // madvise
    kStreamOpen,
    kStreamRead, // fread, fgets
    kStreamWrite,
    kStreamSeek,
    kStreamFlush,
    kStreamClose,
};

struct CallFacts {
    Call call;
    const char* name;
    std::span<const int> errors; // errno values that the call can give; kShort: a transfer of half the bytes
};

inline constexpr int kShort = -1;

/// All of them, in the order of the enumeration.
std::span<const CallFacts> AllCalls();

struct Plan {
    Call call{};
    unsigned nth = 0; // counted from 1; 0: nothing fails, the calls are counted
    int error = 0;
    bool lasting = false; // from then on; every other time what a kernel never gives for ever
};

/// Counts from 0 and fails as planned, until Disarm.
void Arm(const Plan& plan);
void Disarm();

/// How often the call was made while it was armed, and how often one failed.
unsigned Counted(Call call);
unsigned Fired();

/// While one lives, the calls of this thread are those of the code under test. The library's own threads are
/// known by where their body stands, and threads that the code under test starts are its own.
class UnderTest {
public:
    UnderTest();
    ~UnderTest();
    UnderTest(const UnderTest&) = delete;
    UnderTest& operator=(const UnderTest&) = delete;

private:
    bool former_;
};

/// In the environment of a program: the library's thread that is started when it is loaded cannot be started.
inline constexpr char kNoThreadAtLoad[] = "ZEKA_FAULTS_NO_THREAD_AT_LOAD";

} // namespace zeka::faults
