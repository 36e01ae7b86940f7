// sections.h - the chapters of the report. Each plays what it measures and switches the output off.
#pragma once

#include "tools/bench/bench.h"
#include "tools/bench/figures.h"

namespace zeka::accuracy {

enum class Extent {
    kQuick, // every chapter in part, within seconds
    kFull,
};

void PeriodicFunctions(Bench& bench, Report& report, Extent extent);
void EcgFunctions(Bench& bench, Report& report, Extent extent);
void RrIntervals(Bench& bench, Report& report, Extent extent);
void PacingPulses(Bench& bench, Report& report, Extent extent);
void Distortion(Bench& bench, Report& report, Extent extent);
void Sweeps(Bench& bench, Report& report, Extent extent);
void StandardWaveforms(Bench& bench, Report& report, Extent extent);
void Recordings(Bench& bench, Report& report, Extent extent);
void TestModes(Bench& bench, Report& report, Extent extent);
void Consequences(Bench& bench, Report& report, Extent extent);

} // namespace zeka::accuracy
