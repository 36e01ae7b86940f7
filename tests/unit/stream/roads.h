// roads.h - runs the same signal down the plain road and the fast one and holds bytes and state against each
// other. The library's state is process-wide, so each road has a process of its own: a forked child takes the
// plain one.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "signal/apply.h"
#include "stream/burst.h"

namespace zeka::test {

/// What a burst leaves behind, as bits: a double that differs in its last place differs.
struct TraceOfBurst {
    std::array<std::uint8_t, kBurstBytes> bytes;
    std::array<double, 10> numbers;
    std::array<std::int32_t, 10> integers;
};

inline TraceOfBurst Trace(const std::array<std::uint8_t, kBurstBytes>& burst, int calls)
{
    TraceOfBurst trace{};
    trace.bytes = burst;
    trace.numbers = {
        g_fOutputTime, g_fOutputTimeGraph,    g_fTimePeriod,         g_F, g_Amplitude, s_FreqModPreEndT,
        s_FreqModEndT, s_InputDynamicRangeDC, s_InputDynamicRangeAC, s_A};
    trace.integers = {
        uiCounter,    g_nSequenceCheck,    s_ppc,         s_PacingPulseRaised, s_PacingIndicationNeeded,
        g_MainOutput, s_ChangeOnNextCycle, s_RecordIndex, g_bECGGoing,         calls};
    return trace;
}

inline int callbacks_heard = 0; // counted by callbacks that a signal registers

/// Prepares, then builds bursts, with step(n) before each, and hands every trace on; false ends it.
template <typename Prepare, typename Step, typename Take>
void RunRoad(void (*build)(Burst), int bursts, Prepare prepare, Step step, Take take)
{
    std::srand(1);
    g_bECGGoing = true;
    callbacks_heard = 0;
    prepare();
    _Change();
    for (int n = 0; n < bursts; ++n) {
        step(n);
        std::array<std::uint8_t, kBurstBytes> burst{};
        build(burst);
        if (!take(Trace(burst, callbacks_heard)))
            return;
    }
}

inline bool ReadWhole(int fd, void* to, std::size_t count)
{
    auto* at = static_cast<char*>(to);
    while (count > 0) {
        const ssize_t got = ::read(fd, at, count);
        if (got <= 0)
            return false;
        at += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

inline bool WriteWhole(int fd, const void* from, std::size_t count)
{
    const auto* at = static_cast<const char*>(from);
    while (count > 0) {
        const ssize_t put = ::write(fd, at, count);
        if (put <= 0)
            return false;
        at += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}

/// Empty when both roads agree in every byte and every bit of state; else where they first part.
template <typename Prepare, typename Step>
std::string DifferenceOfRoads(int bursts, Prepare prepare, Step step)
{
    int ends[2] = {};
    if (::pipe(ends) != 0)
        return "no pipe";
    const pid_t child = ::fork();
    if (child < 0)
        return "no process";
    if (child == 0) {
        ::close(ends[0]);
        bool taken = true;
        RunRoad(BuildBurstPlain, bursts, prepare, step,
                [&](const TraceOfBurst& trace) { return taken = WriteWhole(ends[1], &trace, sizeof trace); });
        const int next_random = std::rand(); // the same number of values was drawn
        ::_exit(taken && WriteWhole(ends[1], &next_random, sizeof next_random) ? 0 : 1);
    }
    ::close(ends[1]);
    std::string difference;
    int n = 0;
    RunRoad(BuildBurst, bursts, prepare, step, [&](const TraceOfBurst& fast) {
        TraceOfBurst plain;
        if (!ReadWhole(ends[0], &plain, sizeof plain))
            difference = "the plain road ended early";
        else if (std::memcmp(&plain.bytes, &fast.bytes, sizeof plain.bytes) != 0)
            difference = "bytes";
        for (std::size_t i = 0; i < plain.numbers.size() && difference.empty(); ++i)
            if (std::memcmp(&plain.numbers[i], &fast.numbers[i], sizeof(double)) != 0)
                difference = "number " + std::to_string(i) + " is " + std::to_string(fast.numbers[i]);
        for (std::size_t i = 0; i < plain.integers.size() && difference.empty(); ++i)
            if (plain.integers[i] != fast.integers[i])
                difference = "integer " + std::to_string(i) + " is " + std::to_string(fast.integers[i]);
        if (!difference.empty())
            difference = "burst " + std::to_string(n) + ": " + difference;
        ++n;
        return difference.empty();
    });
    int next_random = -1;
    if (difference.empty() &&
        (!ReadWhole(ends[0], &next_random, sizeof next_random) || next_random != std::rand()))
        difference = "a different number of random values";
    ::close(ends[0]); // lets a child that still writes end
    int status = 0;
    ::waitpid(child, &status, 0);
    return difference;
}

} // namespace zeka::test
