// plain_writers.h - the formats of one plain text or number after the other.
#pragma once

#include "formats/output_file.h"
#include "formats/recording_writer.h"

namespace zeka::formats {

/// A line for each value: time in s, AC and DC in mV.
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

/// A JSON object a line: what it is, then each value and, up to some seconds behind it, each mark.
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

/// AC, DC, AC, DC, ... in mV, each a float of 32 bits, low byte first.
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
