// injector.h - makes a chosen call of the C library fail. The library of interposers is linked before the C
// library and also works with LD_PRELOAD. It affects only threads that run the code under test, never those
// of the test or of the virtual instrument.
#pragma once

#include <span>

namespace zeka::faults {

/// Families of calls. A name stands for its variants, too (open for open64 and
/// openat, read for pread and readv).
enum class Call {
    kMalloc, // and operator new
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
    /// errno values that the call can report; kShort: a transfer of half the bytes.
    std::span<const int> errors;
};

inline constexpr int kShort = -1;

/// All calls, in the order of the enumeration.
std::span<const CallFacts> AllCalls();

struct Plan {
    Call call{};
    unsigned nth = 0; // counted from 1; 0: nothing fails, the calls are only counted
    int error = 0;
    /// From the nth call on all fail; every second one for errors that a kernel never reports for ever.
    bool lasting = false;
};

/// Restarts the counts and fails calls by the plan, until Disarm.
void Arm(const Plan& plan);
void Disarm();

/// How often the call was made while armed, and how often one failed.
unsigned Counted(Call call);
unsigned Fired();

/// While one lives, the calls of this thread count as those of the code under test. The library's own threads
/// are recognised by the address of their function; threads that the code under test starts belong to it.
class UnderTest {
public:
    UnderTest();
    ~UnderTest();
    UnderTest(const UnderTest&) = delete;
    UnderTest& operator=(const UnderTest&) = delete;

private:
    bool former_;
};

/// An environment variable for a program: the thread that the library starts
/// when it is loaded fails to start.
inline constexpr char kNoThreadAtLoad[] = "ZEKA_FAULTS_NO_THREAD_AT_LOAD";

} // namespace zeka::faults
