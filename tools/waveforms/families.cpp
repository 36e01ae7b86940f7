// families.cpp - draws each family of waveforms. All but ANE20000 come from the library's accessors. ANE20000
// has none, so it is played into the virtual instrument and drawn as received.
#include "tools/waveforms/families.h"

#include "tools/bench/bench.h"
#include "tools/waveforms/canvas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>
#include <vector>
#include <zeka/zeka.h>

namespace zeka::waveforms {
namespace {

constexpr double kMargin = 52.0; // left of a panel, for its axis
constexpr double kTitle = 26.0;  // above a panel
constexpr double kBelow = 24.0;  // below a panel, for its axis

struct Signal {
    std::vector<double> millivolts;
    double rate = 0.0;

    [[nodiscard]] double Seconds() const { return static_cast<double>(millivolts.size()) / rate; }
    [[nodiscard]] Trace AsTrace() const { return {millivolts, rate}; }
    [[nodiscard]] double Low() const { return *std::ranges::min_element(millivolts); }
    [[nodiscard]] double High() const { return *std::ranges::max_element(millivolts); }
};

Signal FromMicrovolts(const int* samples, unsigned length, unsigned rate)
{
    if (samples == nullptr || length == 0)
        throw std::runtime_error("the library has no such waveform");
    constexpr double kUvPerMv = 1000.0;
    Signal signal{std::vector<double>(length), static_cast<double>(rate)};
    std::transform(samples, samples + length, signal.millivolts.begin(),
                   [](int uv) { return uv / kUvPerMv; });
    return signal;
}

/// Rounds down to the next half mV that leaves some room.
double Below(double mv) { return std::floor((mv - 0.1) * 2.0) / 2.0; }
double Above(double mv) { return std::ceil((mv + 0.1) * 2.0) / 2.0; }

struct Cell {
    std::string title;
    Signal signal;
};

/// Draws one second of each, side by side at 50 mm/s, all as high as the tallest.
void Sheet(const std::string& path, const std::string& title, const std::vector<Cell>& cells,
           std::size_t columns)
{
    constexpr double kPaperMmHigh = 60.0;
    constexpr double kHead = 40.0;
    constexpr double kGutter = 18.0;
    constexpr std::array kGains{20.0, 10.0, 5.0, 2.5}; // mm/mV, the highest that fits
    const Scale cell{50.0, 1.0, 0.0, 1.0, 0.0, kPaperMmHigh};
    const double step_x = kMargin + cell.Width() + kGutter;
    const double step_y = kTitle + cell.Height() + kBelow + kGutter / 2.0;
    const auto rows = (cells.size() + columns - 1) / columns;
    Canvas canvas(static_cast<double>(columns) * step_x + kGutter,
                  kHead + static_cast<double>(rows) * step_y);
    canvas.Text(kMargin, kHead - 14.0, title, 16.0, true);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const Signal& signal = cells[i].signal;
        const double reach = std::max(-signal.Low(), signal.High());
        const double gain = *std::ranges::find_if(kGains, [&](double mm_per_mv) {
            return 2.0 * reach * mm_per_mv < kPaperMmHigh || mm_per_mv == kGains.back();
        });
        const double half = kPaperMmHigh / 2.0 / gain;
        const double x = kMargin + static_cast<double>(i % columns) * step_x;
        const double y = kHead + kTitle + static_cast<double>(i / columns) * step_y;
        canvas.Text(x, y - 8.0, cells[i].title, 12.0, true);
        canvas.Text(x + cell.Width() - 60.0, y - 8.0, fmt::format("{:g} mm/mV", gain), 10.5);
        canvas.Panel(x, y, {50.0, gain, 0.0, 1.0, -half, half}, signal.AsTrace(),
                     {0.2, half > 2.0 ? 1.0 : 0.5});
    }
    canvas.Write(path);
}

} // namespace

void DrawIec227(const std::string& folder)
{
    struct Record {
        const char* name;
        const char* what;
        double from_s; // of the enlarged part
    };
    constexpr std::array<Record, 10> kRecords{{{"aami3a", "ventricular bigeminy", 0.0},
                                               {"aami3b", "slow alternating ventricular bigeminy", 0.0},
                                               {"aami3c", "rapid alternating ventricular bigeminy", 0.0},
                                               {"aami3d", "bidirectional systoles", 0.0},
                                               {"aami4a", "ventricular tachycardia", 27.0},
                                               {"aami4a_d", "aami4a at double amplitude", 27.0},
                                               {"aami4a_h", "aami4a at half amplitude", 27.0},
                                               {"aami4b", "ventricular tachycardia", 27.0},
                                               {"aami4b_d", "aami4b at double amplitude", 27.0},
                                               {"aami4b_h", "aami4b at half amplitude", 27.0}}};
    constexpr double kCloseS = 10.0;
    for (std::size_t i = 0; i < kRecords.size(); ++i) {
        unsigned length = 0;
        unsigned rate = 0;
        const int* samples = GetSpecialWave227Array(static_cast<int>(i), &length, &rate);
        const Signal signal = FromMicrovolts(samples, length, rate);
        const double low = Below(signal.Low());
        const double high = Above(signal.High());
        const Scale close{25.0, 10.0, kRecords[i].from_s, kRecords[i].from_s + kCloseS, low, high};
        const Scale whole{
            close.Width() / signal.Seconds() / kPixelsPerMm, 5.0, 0.0, signal.Seconds(), low, high};
        const double close_y = 20.0 + kTitle;
        const double whole_y = close_y + close.Height() + kBelow + kTitle;
        Canvas canvas(kMargin + close.Width() + 20.0, whole_y + whole.Height() + kBelow + 6.0);
        canvas.Text(kMargin, 20.0,
                    fmt::format("IEC 60601-2-27, number {}: {}, {}", i, kRecords[i].name, kRecords[i].what),
                    16.0, true);
        canvas.Text(kMargin, close_y - 8.0, "25 mm/s, 10 mm/mV", 10.5);
        canvas.Panel(kMargin, close_y, close, signal.AsTrace(), {1.0, 0.5});
        canvas.Text(kMargin, whole_y - 8.0, fmt::format("the whole waveform, {:.3f} s", signal.Seconds()),
                    10.5);
        canvas.Panel(kMargin, whole_y, whole, signal.AsTrace(), {10.0, 1.0}, false);
        canvas.Write(fmt::format("{}/iec60601-2-27-{}.png", folder, i));
    }
}

void DrawIec251(const std::string& folder)
{
    constexpr std::array kNames{"CAL05000", "CAL10000", "CAL15000", "CAL20000", "CAL30000", "CAL50000",
                                "CAL20002", "CAL20100", "CAL20110", "CAL20160", "CAL20200", "CAL20210",
                                "CAL20260", "CAL20500", "CAL20502", "CAL40000"};
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        unsigned length = 0;
        unsigned rate = 0;
        const int* samples = GetSpecialWave251Array(static_cast<int>(i), &length, &rate);
        cells.push_back({fmt::format("{}  {}", i, kNames[i]), FromMicrovolts(samples, length, rate)});
    }
    Sheet(folder + "/iec60601-2-51-cal.png", "IEC 60601-2-51 calibration waveforms, 50 mm/s", cells, 4);
}

void DrawAne20000(const std::string& folder)
{
    constexpr std::array kLeads{"I", "II", "III", "V1", "V2", "V3", "V4", "V5", "V6"};
    constexpr std::size_t kSamplesPerMs = 40;
    constexpr double kRate = 1000.0;
    accuracy::Bench bench;
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < kLeads.size(); ++i) {
        accuracy::Must(SetANE20000Lead(static_cast<int>(i)), "SetANE20000Lead");
        const std::vector<double> played = accuracy::Ac(bench.Play(17, 1.0));
        Signal signal{{}, kRate};
        for (std::size_t n = kSamplesPerMs / 2; n < played.size();
             n += kSamplesPerMs) // the middle of each value
            signal.millivolts.push_back(played[n]);
        cells.push_back({fmt::format("{}  lead {}", i, kLeads[i]), std::move(signal)});
    }
    Sheet(folder + "/ane20000.png", "IEC 60601-2-51 ANE20000, 50 mm/s", cells, 3);
}

void DrawIec247(const std::string& folder)
{
    constexpr std::array kWhat{"triangles of 1 mV and 100 ms, 60 per minute",
                               "RR 0.8 s, swinging by 35 ms in 4 s", "RR 1.0 s, swinging by 70 ms in 10 s",
                               "RR 3.0 s, swinging by 280 ms in 30 s",
                               "RR 1.5 s, swinging by 140 ms in an hour"};
    constexpr double kStripS = 9.0;
    constexpr double kPlotWidth = 240.0;
    constexpr double kPlotGap = 90.0;
    const Scale strip{25.0, 10.0, 0.0, kStripS, -0.5, 1.5};
    const double step_y = kTitle + strip.Height() + kBelow + 10.0;
    constexpr double kHead = 40.0;
    Canvas canvas(kMargin + strip.Width() + kPlotGap + kPlotWidth + 30.0,
                  kHead + static_cast<double>(kWhat.size()) * step_y);
    canvas.Text(kMargin, kHead - 14.0, "IEC 60601-2-47 patterns, 25 mm/s, 10 mm/mV", 16.0, true);
    for (std::size_t i = 0; i < kWhat.size(); ++i) {
        unsigned length = 0;
        unsigned rate = 0;
        const double* samples = GetSpecialWave247Array(static_cast<int>(i), &length, &rate);
        if (samples == nullptr)
            throw std::runtime_error("the library has no such pattern");
        const Signal signal{{samples, samples + length}, static_cast<double>(rate)};
        const double y = kHead + kTitle + static_cast<double>(i) * step_y;
        canvas.Text(kMargin, y - 8.0, fmt::format("{}  {}", i, kWhat[i]), 12.0, true);
        canvas.Panel(kMargin, y, strip, signal.AsTrace(), {1.0, 0.5});

        // The instants at which each beat or triangle rises through half a mV.
        std::vector<double> at;
        std::vector<double> rr_ms;
        double before = -1.0;
        for (std::size_t n = 1; n < signal.millivolts.size(); ++n) {
            if (signal.millivolts[n - 1] >= 0.5 || signal.millivolts[n] < 0.5)
                continue;
            const double now = static_cast<double>(n) / signal.rate;
            if (before >= 0.0) {
                at.push_back(now);
                rr_ms.push_back((now - before) * 1000.0);
            }
            before = now;
        }
        const bool hour = signal.Seconds() > 60.0;
        double low = *std::ranges::min_element(rr_ms);
        double high = *std::ranges::max_element(rr_ms);
        const auto low_label = fmt::format("{:.0f} ms", low);
        auto high_label = fmt::format("{:.0f} ms", high);
        if (high - low < 1.0) {
            high_label.clear();
            low -= 1.0;
            high += 1.0;
        }
        const double room = 0.08 * (high - low);
        canvas.Plot({kMargin + strip.Width() + kPlotGap, y, kPlotWidth, strip.Height(), signal.Seconds(),
                     low - room, high + room, hour ? "1 h" : "60 s", "RR interval over the whole pattern",
                     low_label, high_label},
                    at, rr_ms);
    }
    canvas.Write(folder + "/iec60601-2-47.png");
}

} // namespace zeka::waveforms
