// duel.h - the library and the model side by side: the same calls to both, then everything that came of it
// compared. The instrument's end of the wire is a socket pair that answers at once and asks for samples when
// the test says so; the library's own poll thread reads and answers. Nothing waits for real time: the
// library's sleeps are cut to a thousandth.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "model/model.h"
#include "zeka/platform.hpp"

namespace zeka::test {

/// One exported call with its arguments, for both.
struct Call {
    std::string text;
    std::function<double()> library;
    std::function<double(Model&)> model;
};

/// Done inside the nth callback of a kind, counted from now.
struct Reaction {
    char kind;
    int nth;
    Call call;
};

/// The far end: answers commands, remembers every write.
class FarEnd {
public:
    explicit FarEnd(int fd);
    ~FarEnd();
    FarEnd(const FarEnd&) = delete;
    FarEnd& operator=(const FarEnd&) = delete;

    void AskForSamples();
    void Refuse(bool on);
    /// What was written since the last time, once everything written has arrived; nothing when it does not.
    std::optional<std::vector<Message>> Take(int near);

private:
    void Serve();

    const int fd_;
    std::mutex lock_;
    std::condition_variable marked_;
    bool mark_ = false;
    Firmware firmware_;
    std::vector<Message> messages_;
    std::thread thread_;
};

class Duel {
public:
    explicit Duel(unsigned seed);
    ~Duel();
    Duel(const Duel&) = delete;
    Duel& operator=(const Duel&) = delete;

    /// From here on there is an instrument.
    void Connect();
    /// The calls; while a signal streams they fall between a request and its answer.
    void Do(const std::vector<Call>& calls);
    /// Bursts for as many requests, or until the stream ends.
    void Play(int requests);
    void Refuse(bool on);
    void React(Reaction reaction);

    /// The first difference, with everything that led to it; empty while there is none.
    [[nodiscard]] const std::string& Difference() const { return difference_; }
    [[nodiscard]] const std::vector<Message>& Sent() const
    {
        return sent_;
    } // by the library in the last step
    Model model;

private:
    void Hold() ZEKA_NO_LOCK_ANALYSIS; // takes the lock, Release gives it back
    void Release() ZEKA_NO_LOCK_ANALYSIS;
    void Compare();
    void Differ(const std::string& what);

    int near_ = -1;
    std::optional<FarEnd> far_;
    bool held_ = false;
    std::optional<Reaction> model_reaction_;
    std::vector<Message> sent_;
    std::string log_;
    std::string difference_;
};

/// Runs the duel in a process of its own, with a library as it was loaded; returns its difference.
std::string InFreshLibrary(unsigned seed, const std::function<void(Duel&)>& body);

} // namespace zeka::test
