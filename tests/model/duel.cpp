// duel.cpp - see duel.h.
#include "model/duel.h"

#include <algorithm>
#include <bit>
#include <cmath>
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
#include "signal/tables/tables.h"
#include "tests/support/socket_pair.h"
#include "zeka/zeka.h"

// The library's pauses, between commands and of its idle poll thread.
extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* until, timespec* left)
{
    constexpr long kNs = 1000000000;
    timespec now{};
    ::clock_gettime(clock, &now);
    const long ns = (flags & TIMER_ABSTIME) != 0
                        ? (until->tv_sec - now.tv_sec) * kNs + until->tv_nsec - now.tv_nsec
                        : until->tv_sec * kNs + until->tv_nsec;
    const timespec cut{0, std::clamp(ns / 1000, 0l, kNs / 1000)};
    ::syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &cut, left);
    return 0;
}

namespace zeka::test {
namespace {

constexpr unsigned kPatienceMs = 20000;
constexpr std::uint8_t kMark = 0x77; // a message of one byte that the library never writes

// What the library's callbacks were told. They run on the poll thread or inside a call, both under the lock.
std::vector<Event> library_events;
std::optional<Reaction> library_reaction;

std::optional<Call> Due(std::optional<Reaction>& reaction, char kind)
{
    if (!reaction || reaction->kind != kind || --reaction->nth > 0)
        return std::nullopt;
    const Call call = reaction->call;
    reaction.reset();
    return call;
}

void Told(char kind, double a, double b = 0.0)
{
    library_events.push_back({kind, a, b});
    if (const auto call = Due(library_reaction, kind))
        library_events.push_back({'r', call->library(), 0.0});
}

bool Same(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }
bool operator==(const Event& a, const Event& b)
{
    return a.kind == b.kind && Same(a.a, b.a) && Same(a.b, b.b);
}

std::string Text(const Message& m)
{
    if (m.size() > 64)
        return "burst";
    std::ostringstream text;
    for (const int byte : m)
        text << std::hex << (byte < 16 ? "0" : "") << byte << ' ';
    return text.str();
}

std::string Text(const Event& e)
{
    std::ostringstream text;
    text.precision(17);
    text << e.kind << '(' << e.a << ", " << e.b << ')';
    return text.str();
}

/// The first sample at which two bursts part.
std::string BurstDifference(const Message& library, const Message& model)
{
    const auto at = static_cast<std::size_t>(
        std::mismatch(library.begin(), library.end(), model.begin()).first - library.begin());
    const std::size_t slot = at % 64 < 8 ? at / 64 * 64 : at - at % 4;
    std::ostringstream text;
    text << "burst: byte " << at << ", sample " << at / 64 * 14 + (at % 64 < 8 ? 0 : (at % 64 - 8) / 4)
         << ": library " << std::hex;
    for (std::size_t n = 0; n < 4; ++n)
        text << int{library[slot + n]} << ' ';
    text << ", model ";
    for (std::size_t n = 0; n < 4; ++n)
        text << int{model[slot + n]} << ' ';
    return text.str();
}

template <typename T, typename Show>
std::string ListDifference(const char* what, const std::vector<T>& library, const std::vector<T>& model,
                           Show show)
{
    for (std::size_t n = 0; n < std::max(library.size(), model.size()); ++n)
        if (n >= library.size() || n >= model.size() || !(library[n] == model[n]))
            return std::string(what) + " " + std::to_string(n) + " of " + std::to_string(library.size()) +
                   " and " + std::to_string(model.size()) + ": library " +
                   (n < library.size() ? show(library[n]) : "none") + ", model " +
                   (n < model.size() ? show(model[n]) : "none");
    return {};
}

} // namespace

void RegisterWithLibrary(char kind, bool on)
{
    switch (kind) {
    case 'g':
        return ::ZEKARegisterSignalOutputCallback(on ? +[](double t, double v) { Told('g', t, v); }
                                                     : nullptr);
    case 'p':
        return ::ZEKARegisterPacingOutputCallback(on ? +[](double t, double v) { Told('p', t, v); }
                                                     : nullptr);
    case 'm':
        return ::ZEKARegisterOutputFunctionCallback(on ? +[](int f) { Told('m', f); } : nullptr);
    case 'f':
        return ::ZEKARegisterFrequencyCallback(on ? +[](double f) { Told('f', f); } : nullptr);
    case 'b':
        return ::RegisterBaselineResetCB(on ? +[](int state) { Told('b', state); } : nullptr);
    default:
        return ::RegisterSyncDCOffsetCB(on ? +[](int mv) { Told('d', mv); } : nullptr);
    }
}

// --- the far end

FarEnd::FarEnd(int fd) : fd_(fd), thread_([this] { Serve(); }) {}

FarEnd::~FarEnd()
{
    ::shutdown(fd_, SHUT_RDWR);
    thread_.join();
    ::close(fd_);
}

void FarEnd::AskForSamples()
{
    const Message request = [] {
        Message m(64);
        m[0] = 0x01;
        m[1] = 0x55;
        return m;
    }();
    (void)::send(fd_, request.data(), request.size(), MSG_NOSIGNAL);
}

void FarEnd::Refuse(bool on)
{
    const std::scoped_lock hold(lock_);
    firmware_.Refuse(on);
}

void FarEnd::Serve()
{
    Message buffer(8192);
    for (;;) {
        const ssize_t size = ::recv(fd_, buffer.data(), buffer.size(), 0);
        if (size <= 0)
            return;
        const std::scoped_lock hold(lock_);
        if (size == 1 && buffer[0] == kMark) {
            mark_ = true;
            marked_.notify_all();
            continue;
        }
        messages_.emplace_back(buffer.begin(), buffer.begin() + size);
        const Message reply = firmware_.Answer(messages_.back());
        if (!reply.empty())
            (void)::send(fd_, reply.data(), reply.size(), MSG_NOSIGNAL);
    }
}

std::optional<std::vector<Message>> FarEnd::Take(int near)
{
    (void)::send(near, &kMark, 1, MSG_NOSIGNAL);
    std::unique_lock hold(lock_);
    if (!marked_.wait_for(hold, std::chrono::milliseconds(kPatienceMs), [&] { return mark_; }))
        return std::nullopt;
    mark_ = false;
    return std::exchange(messages_, {});
}

// --- the duel

Duel::Duel(unsigned seed) : model(seed)
{
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
}

void Duel::Connect()
{
    log_ += "connect\n";
    const SocketPair ends = MakeSocketPair(SOCK_SEQPACKET);
    near_ = ends.near;
    far_.emplace(ends.far);
    OpenPort(near_);
    model.device = true;
    if (!StartPollThread())
        Differ("no poll thread");
}

// A request has been read and waits for its answer; the answer waits for the lock.
void Duel::Hold()
{
    g_CriticalSection.Lock();
    held_ = true;
    far_->AskForSamples();
    if (g_hProcessRequestEvent.WaitTimeout(kPatienceMs) != 0)
        Differ("no request was read");
}

void Duel::Release()
{
    held_ = false;
    g_CriticalSection.Unlock();
    for (int look = 0; g_hProcessRequestEvent.WaitTimeout(0) == 0 && look < 10000000; ++look)
        ::sched_yield();
    model.AnswerRequest();
}

void Duel::Do(const std::vector<Call>& calls)
{
    for (const Call& call : calls) {
        if (!difference_.empty())
            return;
        log_ += call.text + (held_ ? " [same request]\n" : "\n");
        if (model.going && !held_)
            Hold();
        model.sends.clear();
        const double theirs = call.library();
        const double ours = call.model(model);
        if (!Same(theirs, ours))
            Differ("result: library " + std::to_string(theirs) + ", model " + std::to_string(ours));
    }
    if (held_)
        Release();
    Compare();
}

void Duel::Play(int requests)
{
    log_ += "play " + std::to_string(requests) + "\n";
    for (int n = 0; n < requests && model.going && difference_.empty(); ++n) {
        Hold();
        Release();
        Compare();
    }
}

void Duel::Refuse(bool on)
{
    if (far_)
        far_->Refuse(on);
    model.firmware.Refuse(on);
    log_ += on ? "the instrument refuses\n" : "the instrument confirms\n";
}

void Duel::React(Reaction reaction)
{
    log_ += "in callback " + std::string(1, reaction.kind) + " number " + std::to_string(reaction.nth) +
            ": " + reaction.call.text + "\n";
    library_reaction = model_reaction_ = std::move(reaction);
}

void Duel::Differ(const std::string& what)
{
    if (difference_.empty())
        difference_ = log_ + "=> " + what;
}

void Duel::Compare()
{
    sent_.clear();
    if (far_) {
        auto taken = far_->Take(near_);
        if (!taken)
            return Differ("the wire is blocked");
        sent_ = std::move(*taken);
    }
    for (std::size_t n = 0; n < std::min(sent_.size(), model.sent.size()); ++n)
        if (sent_[n] != model.sent[n] && sent_[n].size() == 3200 && model.sent[n].size() == 3200)
            return Differ(BurstDifference(sent_[n], model.sent[n]));
    for (const std::string& what :
         {ListDifference("write", sent_, model.sent, [](const Message& m) { return Text(m); }),
          ListDifference("callback", library_events, model.events, [](const Event& e) { return Text(e); })})
        if (!what.empty())
            return Differ(what);
    model.sent.clear();
    library_events.clear();
    model.events.clear();
    const auto ours = model.Values();
    for (const auto& [name, theirs] : LibraryValues())
        if (!Same(theirs, ours.at(name)))
            return Differ(name + ": library " + std::to_string(theirs) + ", model " +
                          std::to_string(ours.at(name)));
    if (const std::string what = RecordingDifference(model); !what.empty())
        Differ(what);
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
            found = duel.Difference();
        }
        found += '\n';
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
