// main.cpp - zeka_accuracy: plays every output function into the virtual instrument, measures
// what arrived there and prints docs/accuracy.md. Exits with 1 when a figure is not at its limit,
// with 2 when it could not measure.
//     zeka_accuracy > docs/accuracy.md
//     zeka_accuracy --quick              every chapter in part, within seconds
#include "sim/private_dev.h"
#include "tools/accuracy/sections.h"

#include <cstdio>
#include <cstring>
#include <exception>

namespace {

using namespace zeka::accuracy;

constexpr const char* kIntroduction =
    R"(# Accuracy

Every figure on this page was measured on what the virtual instrument received over its terminal: 16-bit words, 40000 a
second, as they would reach the converters of a real instrument. None is taken from the library's own arrays. The page is
the output of a program in this tree; after `scripts/build` run it again with

<!-- run by: .ci/run, accuracy -->

    build/tools/zeka_accuracy > docs/accuracy.md     # about two minutes

and for a look at every chapter

    build/tools/zeka_accuracy --quick

It exits with 1 when a figure is not at its limit. What the page shows is that the library sends what was asked for. It
says nothing about the analogue outputs of a real instrument.

How to read the tables: "off by" is measured less asked, "limit" how far off a figure may be because of the words and the
sample rate alone, "set by" which of them it is, "at it" whether the figure is no farther off than that.

| what sets the limit | size | why |
|---|---:|---|
| AC count | 1/6400 mV = 0.156 uV | the AC word is the voltage times 6400, cut towards zero: off by less than one |
| DC count | 2000/65535 mV = 30.5 uV | the DC word is rounded: a level is off by at most half of one |
| sample | 1/40000 s = 0.025 ms | an edge stands on the first sample behind its mark |
| top between samples | stated in the limit | a peak that falls between two samples is not sent |
| slope | count divided by slope | on a slope an instant is known to one count |
)";

constexpr int kMissed = 1;
constexpr int kFailed = 2;

int Run(Extent extent)
{
    Report report;
    Bench bench;
    PeriodicFunctions(bench, report, extent);
    Distortion(bench, report, extent);
    Sweeps(bench, report, extent);
    EcgFunctions(bench, report, extent);
    RrIntervals(bench, report, extent);
    PacingPulses(bench, report, extent);
    StandardWaveforms(bench, report, extent);
    Recordings(bench, report, extent);
    TestModes(bench, report, extent);
    Consequences(bench, report, extent);
    std::printf("%s\nThis run: %zu figures, %zu of them not at their limit.\n\n%s%s", kIntroduction,
                report.Figures(), report.Misses().size(), report.Contents().c_str(),
                report.Markdown().c_str());
    for (const std::string& miss : report.Misses())
        std::fprintf(stderr, "not at its limit: %s\n", miss.c_str());
    return report.Misses().empty() ? 0 : kMissed;
}

} // namespace

int main(int argc, char** argv)
{
    Extent extent = Extent::kFull;
    if (argc == 2 && std::strcmp(argv[1], "--quick") == 0) {
        extent = Extent::kQuick;
    } else if (argc != 1) {
        std::fprintf(stderr, "usage: zeka_accuracy [--quick]\n");
        return kFailed;
    }
    zeka::sim::EnterPrivateDev(argv);
    try {
        return Run(extent);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zeka_accuracy: %s\n", error.what());
        return kFailed;
    }
}
