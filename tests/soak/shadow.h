// shadow.h - checks what is sent: every burst that the library builds is built again, sample by
// sample, in a process that was forked from the same state, and every burst that it has sent is
// compared with what the instrument received.
#pragma once

#include <cstdint>
#include <string>

#include "sim/instrument.h"

namespace zeka::soak {

struct ShadowCounts {
    std::uint64_t bursts = 0;   // built and compared
    std::uint64_t arrivals = 0; // received by the instrument, byte for byte
    std::uint64_t cut_off = 0;  // not written in full, because of a fault or a pulled cable
    std::uint64_t forks = 0;
};

/// Compares with the bursts that arrive at this instrument.
void WatchBursts(sim::Instrument& instrument);

/// To be called while the instrument is unplugged or takes nothing.
void BurstsMayBeLost(bool lost);

/// Lives around every call of the application, because a burst that is built meanwhile, and the next
/// one, may differ from those before.
class CallUnderWay {
public:
    CallUnderWay();
    ~CallUnderWay();
    CallUnderWay(const CallUnderWay&) = delete;
    CallUnderWay& operator=(const CallUnderWay&) = delete;
};

ShadowCounts Counts();

/// The first deviation; empty: none.
std::string Difference();

/// Ends the forked process.
void EndShadow();

} // namespace zeka::soak
