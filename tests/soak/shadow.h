// shadow.h - what should go out, beside what does: every burst that the library builds is built once more sample by sample,
// in a process that was forked from the very state, and every burst that it has sent is looked for at the instrument.
#pragma once

#include <cstdint>
#include <string>

#include "sim/instrument.h"

namespace zeka::soak {

struct ShadowCounts {
    std::uint64_t bursts = 0;   // built and compared
    std::uint64_t arrivals = 0; // found at the instrument, byte for byte
    std::uint64_t cut_off = 0;  // not taken whole by the port: a fault, a pulled cable
    std::uint64_t forks = 0;
};

/// Bursts that arrive are looked for at this instrument.
void WatchBursts(sim::Instrument& instrument);

/// While the cable is out, or the instrument takes nothing.
void BurstsMayBeLost(bool lost);

/// Around every call of the application: a burst that is built meanwhile, and the next one, may be other than those before.
class CallUnderWay {
public:
    CallUnderWay();
    ~CallUnderWay();
    CallUnderWay(const CallUnderWay&) = delete;
    CallUnderWay& operator=(const CallUnderWay&) = delete;
};

ShadowCounts Counts();

/// The first thing that was not as it should be; empty: nothing.
std::string Difference();

/// Ends the forked process.
void EndShadow();

} // namespace zeka::soak
