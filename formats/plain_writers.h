// plain_writers.h - the formats that are a plain sequence of texts or numbers.
#pragma once

#include "formats/output_file.h"
#include "formats/recording_writer.h"

namespace zeka::formats {

/// Writes a line for each value: time in s, AC and DC in mV.
class CsvWriter : public RecordingWriter {
public:
    explicit CsvWriter(const RecordingPlan& plan);
    void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) override;
    void Note(const Mark&) override {}
    void End() override { file_.Close(); }

private:
    OutputFile file_;
    int rate_;
    std::uint64_t count_ = 0;
};

/// Writes one JSON object per line: a header, then every value and, at most some
/// seconds behind it, every mark.
class JsonLinesWriter : public RecordingWriter {
public:
    explicit JsonLinesWriter(const RecordingPlan& plan);
    void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) override;
    void Note(const Mark& mark) override;
    void End() override { file_.Close(); }

private:
    OutputFile file_;
    int rate_;
    std::uint64_t count_ = 0;
};

/// Writes AC, DC, AC, DC, ... in mV, each a 32-bit float, low byte first.
class FloatWriter : public RecordingWriter {
public:
    explicit FloatWriter(const RecordingPlan& plan);
    void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) override;
    void Note(const Mark&) override {}
    void End() override { file_.Close(); }

private:
    OutputFile file_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace zeka::formats
