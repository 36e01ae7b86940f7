// shadow.cpp - see shadow.h. The linker redirects the library's calls of its burst builder and of
// its write to the two functions below. A forked process goes on building until a setter is
// called; then the next one is forked.
#include "soak/shadow.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/wait.h>
#include <unistd.h>

#include "link/serial_link.h"
#include "platform/deadline.h"
#include "platform/scoped_fd.h"
#include "stream/burst.h"
#include "util/peek.h"

using zeka::Burst;
using BurstBytes = std::array<std::uint8_t, zeka::kBurstBytes>;

// The names that the linker gives to BuildBurst and WriteData, and to their originals.
extern "C" {
void __real__ZN4zeka10BuildBurstESt4spanIhLm3200EE(Burst burst);
void __wrap__ZN4zeka10BuildBurstESt4spanIhLm3200EE(Burst burst);
int __real__Z9WriteDataPhii(unsigned char* bytes, int count, int flag);
int __wrap__Z9WriteDataPhii(unsigned char* bytes, int count, int flag);
}

namespace zeka::soak {
namespace {

constinit std::atomic<std::uint64_t> calls_begun{0};
constinit std::atomic<std::uint64_t> calls_ended{0};
constinit std::atomic<bool> may_be_lost{false};
constinit sim::Instrument* watched = nullptr;
constexpr unsigned kArrivalMs = 5000;

/// The other process. Used under g_CriticalSection, except at its end.
class Shadow {
public:
    ~Shadow() { End(); }

    /// Builds the next burst from the current state.
    [[nodiscard]] bool Build(Burst burst)
    {
        const std::uint64_t begun = calls_begun;
        const std::uint64_t ended = calls_ended;
        const bool alone = begun == ended && begun == forked_after_;
        // The apnea cycle, a sweep and an end of playback act between two bursts.
        const bool steady = alone && !g_RespirationEnabled && !s_FreqScanOn && g_MainOutput == function_;
        if (!steady || process_ <= 0) {
            End();
            forked_after_ = begun == ended ? begun : 0;
            function_ = g_MainOutput;
            if (!Fork())
                return false;
        }
        const char next = 1;
        return ::write(ask_.Get(), &next, 1) == 1 && ReadWhole(burst);
    }

    void End()
    {
        ask_.Reset();
        answer_.Reset();
        if (process_ > 0)
            while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
            }
        process_ = 0;
    }
    [[nodiscard]] std::uint64_t Forks() const { return forks_; }

private:
    bool Fork()
    {
        int asked[2];
        int answered[2];
        if (::pipe(asked) != 0)
            return false;
        ScopedFd hears(asked[0]);
        ask_.Reset(asked[1]);
        if (::pipe(answered) != 0)
            return false;
        answer_.Reset(answered[0]);
        ScopedFd says(answered[1]);
        const bool streams = Peek(g_bECGGoing);
        process_ = ::fork();
        if (process_ == 0) {
            Publish(g_bECGGoing, streams); // otherwise a child's library takes the stream for its parent's
            Serve(hears.Get(), says.Get());
        }
        ++forks_;
        return process_ > 0;
    }

    /// Keeps the two pipes only, because a copy of the instrument's end would hide a pulled cable.
    [[noreturn]] static void Serve(int hears, int says)
    {
        constexpr int kHears = 3;
        constexpr int kSays = 4;
        const int high = ::fcntl(says, F_DUPFD, kSays + 1);
        const int low = ::fcntl(hears, F_DUPFD, kSays + 1);
        ::dup2(low, kHears);
        ::dup2(high, kSays);
        ::close_range(kSays + 1, ~0U, 0);
        Publish(g_hDevice, -1); // the parent has sent already what a burst sends to the instrument
        char next = 0;
        while (::read(kHears, &next, 1) == 1) {
            BurstBytes bytes{};
            BuildBurstPlain(bytes);
            if (::write(kSays, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
                break;
        }
        ::_exit(0);
    }

    [[nodiscard]] bool ReadWhole(Burst burst) const
    {
        for (std::size_t have = 0; have < burst.size();) {
            const ssize_t got = ::read(answer_.Get(), burst.data() + have, burst.size() - have);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return false;
            have += static_cast<std::size_t>(got);
        }
        return true;
    }

    pid_t process_ = 0;
    ScopedFd ask_;
    ScopedFd answer_;
    std::uint64_t forked_after_ = 0;
    std::int32_t function_ = 0;
    std::uint64_t forks_ = 0;
};

struct Ledger {
    std::mutex lock;
    Shadow shadow;
    ShadowCounts counts;
    std::string difference;
    BurstBytes sent{};
    bool sent_whole = false;
};
Ledger ledger;

void Note(const std::string& difference)
{
    if (ledger.difference.empty())
        ledger.difference = "burst " + std::to_string(ledger.counts.bursts) + ": " + difference;
}

std::string FirstDifference(const BurstBytes& wanted, std::span<const std::uint8_t> got)
{
    for (std::size_t i = 0; i < wanted.size(); ++i)
        if (wanted[i] != got[i])
            return "byte " + std::to_string(i) + " is " + std::to_string(got[i]) + ", not " +
                   std::to_string(wanted[i]);
    return {};
}

/// The last commands and their replies, for the message about a difference.
std::string LastCommands()
{
    constexpr std::size_t kMost = 12;
    constexpr std::size_t kShown = 16;
    std::string text;
    const auto add = [&](std::span<const std::uint8_t> bytes) {
        std::array<char, 4> hex{};
        for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kShown))) {
            std::snprintf(hex.data(), hex.size(), " %02x", byte);
            text += hex.data();
        }
    };
    const std::vector<sim::CommandRecord> commands = watched->Commands();
    for (std::size_t i = commands.size() - std::min(commands.size(), kMost); i < commands.size(); ++i) {
        text += std::string("\n  ") + sim::NameOf(commands[i].command) + ":";
        add(commands[i].bytes);
        text += " ->";
        add(commands[i].reply);
    }
    return text;
}

bool HasArrived()
{
    const std::vector<sim::Burst> arrived = watched->Bursts();
    return !arrived.empty() &&
           std::memcmp(arrived.back().data(), ledger.sent.data(), ledger.sent.size()) == 0;
}

/// Looks for the last burst at the instrument, which requests a burst after it has received the one before; a
/// request out of turn may come slightly earlier.
void LookForTheLastOne(std::uint16_t sequence)
{
    if (!ledger.sent_whole || sequence == 0 || watched == nullptr)
        return;
    const Deadline patience = Deadline::InMs(kArrivalMs);
    while (!HasArrived()) {
        if (may_be_lost || DeviceLost())
            return;
        if (patience.Expired()) {
            const std::vector<sim::Burst> arrived = watched->Bursts();
            return Note(arrived.empty() ? "the one before has not arrived"
                                        : "the one before arrived otherwise: " +
                                              FirstDifference(ledger.sent, arrived.back()) + LastCommands());
        }
        SleepUntil(Deadline::InMs(1));
    }
    ++ledger.counts.arrivals;
}

} // namespace

void WatchBursts(sim::Instrument& instrument)
{
    instrument.KeepBursts(1);
    watched = &instrument;
}

void BurstsMayBeLost(bool lost) { may_be_lost = lost; }

CallUnderWay::CallUnderWay() { ++calls_begun; }
CallUnderWay::~CallUnderWay() { ++calls_ended; }

ShadowCounts Counts()
{
    const std::scoped_lock hold(ledger.lock);
    ShadowCounts counts = ledger.counts;
    counts.forks = ledger.shadow.Forks();
    return counts;
}

std::string Difference()
{
    const std::scoped_lock hold(ledger.lock);
    return ledger.difference;
}

void EndShadow()
{
    const std::scoped_lock hold(ledger.lock);
    ledger.shadow.End();
}

} // namespace zeka::soak

void __wrap__ZN4zeka10BuildBurstESt4spanIhLm3200EE(Burst burst)
{
    using namespace zeka::soak;
    const std::scoped_lock hold(ledger.lock);
    LookForTheLastOne(static_cast<std::uint16_t>(g_nSequenceCheck));
    BurstBytes plain{};
    const bool built = ledger.shadow.Build(plain);
    __real__ZN4zeka10BuildBurstESt4spanIhLm3200EE(burst);
    ++ledger.counts.bursts;
    if (!built)
        Note("no second process to compare with");
    else if (const std::string difference = FirstDifference(plain, burst); !difference.empty())
        Note(difference);
    ledger.sent_whole = false;
}

int __wrap__Z9WriteDataPhii(unsigned char* bytes, int count, int flag)
{
    using namespace zeka::soak;
    const int written = __real__Z9WriteDataPhii(bytes, count, flag);
    if (count != static_cast<int>(zeka::kBurstBytes))
        return written;
    const std::scoped_lock hold(ledger.lock);
    std::memcpy(ledger.sent.data(), bytes, ledger.sent.size());
    ledger.sent_whole = written == count;
    ledger.counts.cut_off += ledger.sent_whole ? 0 : 1;
    return written;
}
