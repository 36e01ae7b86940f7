// duel.cpp - see duel.h.
#include "model/duel.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <sched.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <utility>

#include "connection/supervisor.h"
#include "link/port.h"
#include "link/serial_link.h"
#include "model/calls.h"
#include "platform/global_objects.h"
#include "signal/frame.h"
#include "signal/tables/tables.h"
#include "tests/support/socket_pair.h"
#include "zeka/zeka.h"

// Replaces the C library's function: cuts the library's pauses, between commands and of its idle poll thread.
extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* until, timespec* left)
{
    constexpr long kNs = 1000000000;
    timespec now{};
    if ((flags & TIMER_ABSTIME) != 0)
        ::clock_gettime(clock, &now);
    const long ns = (until->tv_sec - now.tv_sec) * kNs + until->tv_nsec - now.tv_nsec;
    const timespec cut{0, std::clamp(ns / 1000, 0l, kNs / 1000)};
    ::syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &cut, left);
    return 0;
}

namespace zeka::test {
namespace {

constexpr unsigned kPatienceMs = 20000;
constexpr std::uint8_t kMark = 0x77; // a message of one byte, which the library never writes

Duel* the_duel = nullptr; // of this process; the library's callbacks have no argument for it

std::optional<Call> Due(std::optional<Reaction>& reaction, char kind)
{
    if (!reaction || reaction->kind != kind || --reaction->nth > 0)
        return std::nullopt;
    return std::exchange(reaction, std::nullopt)->call;
}

bool Same(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }
bool Same(const Event& a, const Event& b) { return a.kind == b.kind && Same(a.a, b.a) && Same(a.b, b.b); }
bool Same(const Message& a, const Message& b) { return a == b; }

std::string Text(const Event& e, const Event&)
{
    std::ostringstream text;
    text.precision(17);
    text << e.kind << '(' << e.a << ", " << e.b << ')';
    return text.str();
}

/// A command in full; of a burst the slot in which it first differs from the other.
std::string Text(const Message& m, const Message& other)
{
    std::ostringstream text;
    std::size_t from = 0, count = m.size();
    if (m.size() > 64 && m.size() == other.size()) {
        const auto at = std::mismatch(m.begin(), m.end(), other.begin()).first - m.begin();
        from = static_cast<std::size_t>(at) / 4 * 4;
        count = 4;
        text << "burst, packet " << from / 64 << " from byte " << from % 64 << ": ";
    }
    for (std::size_t n = from; n < from + count; ++n)
        text << std::hex << (m[n] < 16 ? "0" : "") << int{m[n]} << ' ';
    return text.str();
}

template <typename T>
std::string ListDifference(const char* what, const std::vector<T>& library, const std::vector<T>& model)
{
    const auto show = [](const std::vector<T>& all, std::size_t n, const std::vector<T>& others) {
        return n >= all.size() ? "none" : Text(all[n], n < others.size() ? others[n] : T{});
    };
    for (std::size_t n = 0; n < std::max(library.size(), model.size()); ++n)
        if (n >= library.size() || n >= model.size() || !Same(library[n], model[n]))
            return std::string(what) + " " + std::to_string(n) + " of " + std::to_string(library.size()) +
                   " and " + std::to_string(model.size()) + ":\nlibrary " + show(library, n, model) +
                   "\nmodel   " + show(model, n, library);
    return {};
}

} // namespace

void ToldByLibrary(char kind, double a, double b) { the_duel->Told(kind, a, b); }

void RegisterWithLibrary(char kind, bool on)
{
    const auto signal = [on](auto told) { return on ? +told : nullptr; };
    switch (kind) {
    case 'g':
        return ::ZEKARegisterSignalOutputCallback(
            signal([](double t, double v) { ToldByLibrary('g', t, v); }));
    case 'p':
        return ::ZEKARegisterPacingOutputCallback(
            signal([](double t, double v) { ToldByLibrary('p', t, v); }));
    case 'm':
        return ::ZEKARegisterOutputFunctionCallback(
            signal([](int function) { ToldByLibrary('m', function, 0); }));
    case 'f':
        return ::ZEKARegisterFrequencyCallback(signal([](double hz) { ToldByLibrary('f', hz, 0); }));
    case 'b':
        return ::RegisterBaselineResetCB(signal([](int state) { ToldByLibrary('b', state, 0); }));
    default:
        return ::RegisterSyncDCOffsetCB(signal([](int mv) { ToldByLibrary('d', mv, 0); }));
    }
}

Duel::Duel(unsigned seed) : model(seed)
{
    the_duel = this;
    std::srand(seed);
    model.ane20000 = ANE20000;
    model.in_callback = [this](char kind) {
        if (const auto call = Due(model_reaction_, kind)) {
            const double result = call->model(model);
            model.events.push_back({'r', result, 0.0});
        }
    };
}

Duel::~Duel()
{
    if (near_ < 0)
        return;
    (void)EndPollThread(kPatienceMs);
    DeviceClose();
    ::shutdown(far_, SHUT_RDWR);
    far_end_.join();
    ::close(far_);
}

void Duel::Connect()
{
    log_ += "connect\n";
    const SocketPair ends = MakeSocketPair(SOCK_SEQPACKET);
    near_ = ends.near;
    far_ = ends.far;
    far_end_ = std::thread([this] { ServeFarEnd(); });
    // A far end that waits for a processor must not count as silent.
    SetDeviceTimeoutSetting(kPatienceMs, kPatienceMs);
    OpenPort(near_);
    model.device = true;
    if (!StartPollThread())
        Differ("no poll thread");
}

void Duel::ServeFarEnd()
{
    Message buffer(8192);
    for (;;) {
        const ssize_t size = ::recv(far_, buffer.data(), buffer.size(), 0);
        if (size <= 0)
            return;
        if (size == 1 && buffer[0] == kMark) {
            ++marks_;
            marks_.notify_all();
            continue;
        }
        const std::scoped_lock hold(lock_);
        messages_.emplace_back(buffer.begin(), buffer.begin() + size);
        const Message reply = firmware_.Answer(messages_.back());
        if (!reply.empty())
            (void)::send(far_, reply.data(), reply.size(), MSG_NOSIGNAL);
    }
}

std::vector<Message> Duel::TakeMessages()
{
    if (near_ < 0)
        return {};
    const int before = marks_;
    (void)::send(near_, &kMark, 1, MSG_NOSIGNAL); // after everything that the library wrote
    marks_.wait(before);
    const std::scoped_lock hold(lock_);
    return std::exchange(messages_, {});
}

// Invariant on return: the poll thread has read the request and waits for the lock, which this thread holds.
void Duel::Ask()
{
    if (asked_.exchange(true))
        return;
    constexpr std::array<std::uint8_t, 64> kRequest{0x01, 0x55};
    (void)::send(far_, kRequest.data(), kRequest.size(), MSG_NOSIGNAL);
    if (g_hProcessRequestEvent.WaitTimeout(kPatienceMs) != 0)
        Differ("no request was read");
}

void Duel::FinishAnswer()
{
    while (asked_ && g_hProcessRequestEvent.WaitTimeout(0) == 0)
        ::sched_yield();
    if (asked_.exchange(false))
        model.AnswerRequest();
}

void Duel::Do(const std::vector<Call>& calls)
{
    g_CriticalSection.Lock();
    for (const Call& call : calls) {
        log_ += call.text + (asked_ ? " [same request]\n" : "\n");
        if (model.going)
            Ask();
        model.sends.clear();
        // The answer waits until the calls are done, so they need not wait for another request.
        const WithoutRequestWait the_request_is_here;
        const double theirs = call.library();
        const double ours = call.model(model);
        call_sent_ = model.sends;
        if (!Same(theirs, ours))
            Differ("result: library " + std::to_string(theirs) + ", model " + std::to_string(ours));
    }
    g_CriticalSection.Unlock();
    FinishAnswer();
    Compare();
}

void Duel::Play(int requests)
{
    log_ += "play " + std::to_string(requests) + "\n";
    for (int n = 0; n < requests && model.going && difference_.empty(); ++n) {
        {
            const CAutoCriticalSection lock(g_CriticalSection);
            Ask();
        }
        FinishAnswer();
        if (n % 32 == 31)
            Compare();
    }
    Compare();
}

void Duel::Refuse(bool on)
{
    const std::scoped_lock hold(lock_);
    firmware_.Refuse(on);
    model.firmware.Refuse(on);
    log_ += on ? "the instrument refuses\n" : "the instrument confirms\n";
}

void Duel::React(const Reaction& reaction)
{
    log_ += std::string("in callback ") + reaction.kind + " number " + std::to_string(reaction.nth) + ": " +
            reaction.call.text + "\n";
    reaction_ = model_reaction_ = reaction;
}

// Called on the poll thread or inside a call, always under the library's lock.
void Duel::Told(char kind, double a, double b)
{
    events_.push_back({kind, a, b});
    if (const auto call = Due(reaction_, kind)) {
        if (::ZEKAIsPlaying())
            Ask(); // the stream has just begun: the instrument requests a burst as soon as it plays
        const double result = call->library();
        events_.push_back({'r', result, 0.0});
    }
}

void Duel::Differ(const std::string& what)
{
    if (difference_.empty())
        difference_ = log_ + "=> " + what;
}

void Duel::Compare()
{
    sent_ = TakeMessages();
    for (const std::string& what :
         {ListDifference("write", sent_, model.sent), ListDifference("callback", events_, model.events),
          ValueDifference(model)})
        if (!what.empty())
            return Differ(what);
    model.sent.clear();
    events_.clear();
    model.events.clear();
}

std::string InFreshLibrary(unsigned seed, const std::function<void(Duel&)>& body)
{
    int ends[2] = {};
    if (::pipe(ends) != 0)
        return "no pipe";
    const pid_t child = ::fork();
    if (child == 0) {
        std::string found;
        {
            Duel duel(seed);
            body(duel);
            found = duel.Difference() + '\n';
        }
        _exit(::write(ends[1], found.data(), found.size()) == static_cast<ssize_t>(found.size()) ? 0 : 1);
    }
    ::close(ends[1]);
    std::string found;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        found.append(buffer, static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (found.empty() || status != 0)
        return "the process ended with status " + std::to_string(status) + "\n" + found;
    found.pop_back();
    return found;
}

} // namespace zeka::test
