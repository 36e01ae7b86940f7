// duel.h - runs the library and the model side by side: makes the same calls to both and compares all
// results. The instrument's end of the wire is a socket pair that answers at once and requests bursts when
// the test says so; the library's own poll thread reads and answers. Nothing waits for real time, because the
// library's sleeps are cut to a thousandth.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "model/model.h"
#include "zeka/platform.hpp"

namespace zeka::test {

/// One exported call with its arguments, for the library and for the model.
struct Call {
    std::string text;
    std::function<double()> library;
    std::function<double(Model&)> model;
};

/// A call made inside the nth callback of a kind, counted from now.
struct Reaction {
    char kind;
    int nth;
    Call call;
};

class Duel {
public:
    explicit Duel(unsigned seed);
    ~Duel();
    Duel(const Duel&) = delete;
    Duel& operator=(const Duel&) = delete;

    /// Connects the instrument.
    void Connect();
    /// Makes the calls; while a signal streams they fall between a request and its answer.
    void Do(const std::vector<Call>& calls) ZEKA_NO_LOCK_ANALYSIS;
    /// Plays bursts for as many requests, or until the stream ends.
    void Play(int requests);
    /// Makes the status bytes of replies say "no" from now on, or "done" again.
    void Refuse(bool on);
    void React(const Reaction& reaction);

    /// The first difference, with everything that led to it; empty when there is none.
    [[nodiscard]] const std::string& Difference() const { return difference_; }
    void Differ(const std::string& what);
    /// The messages of the library since the last step.
    [[nodiscard]] const std::vector<Message>& Sent() const { return sent_; }
    /// The commands of the last call itself, by name.
    [[nodiscard]] const std::string& CallSent() const { return call_sent_; }
    Model model;

private:
    void ServeFarEnd();
    std::vector<Message> TakeMessages();
    void Ask();
    void FinishAnswer();
    void Compare();
    void Told(char kind, double a, double b);
    friend void ToldByLibrary(char kind, double a, double b);

    int near_ = -1, far_ = -1;
    std::thread far_end_;
    std::mutex lock_;
    Firmware firmware_;             // of the far end
    std::vector<Message> messages_; // messages that the far end has received
    std::atomic<int> marks_ = 0;
    std::atomic<bool> asked_ = false; // whether a request has been read and waits for its answer
    std::vector<Event> events_;       // of the library
    std::optional<Reaction> reaction_, model_reaction_;
    std::vector<Message> sent_;
    std::string log_, difference_, call_sent_;
};

/// Runs the duel in a process of its own, with a library in its initial state; returns the difference.
std::string InFreshLibrary(unsigned seed, const std::function<void(Duel&)>& body);

} // namespace zeka::test
