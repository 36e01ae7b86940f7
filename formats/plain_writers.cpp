// plain_writers.cpp - CSV and raw floats, which have no place for marks, and JSON Lines.
#include "formats/plain_writers.h"

#include "formats/counts.h"
#include "formats/json_text.h"

#include <array>
#include <bit>
#include <fmt/format.h>

namespace zeka::formats {

CsvWriter::CsvWriter(const RecordingPlan& plan) : file_(plan.path), rate_(plan.rate)
{
    file_.Write(std::string_view("time_s,ac_mv,dc_mv\n"));
}

void CsvWriter::Take(std::span<const double> ac_mv, std::span<const double> dc_mv)
{
    fmt::memory_buffer text;
    for (std::size_t i = 0; i < ac_mv.size(); ++i)
        fmt::format_to(std::back_inserter(text), "{:.6f},{:.6f},{:.4f}\n",
                       static_cast<double>(count_++) / rate_, ac_mv[i], dc_mv[i]);
    file_.Write(std::string_view(text.data(), text.size()));
}

JsonLinesWriter::JsonLinesWriter(const RecordingPlan& plan) : file_(plan.path), rate_(plan.rate)
{
    constexpr int kSchema = 1; // increased when readers could misread the lines
    const std::string head =
        fmt::format("{{\"schema\":{},\"recording\":{},\"rate\":{},\"filter\":{},\"unit\":\"mV\"}}\n", kSchema,
                    JsonText(plan.title), plan.rate, JsonText(plan.filter.empty() ? "none" : plan.filter));
    file_.Write(std::string_view(head));
}

void JsonLinesWriter::Take(std::span<const double> ac_mv, std::span<const double> dc_mv)
{
    fmt::memory_buffer text;
    for (std::size_t i = 0; i < ac_mv.size(); ++i)
        fmt::format_to(std::back_inserter(text), "{{\"time_s\":{:.6f},\"ac_mv\":{:.6f},\"dc_mv\":{:.4f}}}\n",
                       static_cast<double>(count_++) / rate_, ac_mv[i], dc_mv[i]);
    file_.Write(std::string_view(text.data(), text.size()));
}

void JsonLinesWriter::Note(const Mark& mark)
{
    constexpr double kSamplesPerSecond = 40000.0;
    constexpr std::array kNames{"r_peak", "qrs_on", "qrs_off", "pacing", "apnea_on", "apnea_off", "play"};
    std::string pulse;
    if (mark.kind == MarkKind::kPacing)
        pulse = fmt::format(",\"width_ms\":{:.3f},\"amplitude_mv\":{:.2f}", mark.width_ms, mark.amplitude_mv);
    const std::string line = fmt::format("{{\"time_s\":{:.6f},\"mark\":\"{}\"{}}}\n",
                                         static_cast<double>(mark.sample) / kSamplesPerSecond,
                                         kNames.at(static_cast<std::size_t>(mark.kind)), pulse);
    file_.Write(std::string_view(line));
}

FloatWriter::FloatWriter(const RecordingPlan& plan) : file_(plan.path) {}

void FloatWriter::Take(std::span<const double> ac_mv, std::span<const double> dc_mv)
{
    bytes_.clear();
    const auto put = [this](double value) {
        const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(value));
        PutLe16(bytes_, static_cast<std::uint16_t>(bits & 0xFFFF));
        PutLe16(bytes_, static_cast<std::uint16_t>(bits >> 16));
    };
    for (std::size_t i = 0; i < ac_mv.size(); ++i) {
        put(ac_mv[i]);
        put(dc_mv[i]);
    }
    file_.Write(bytes_);
}

} // namespace zeka::formats
