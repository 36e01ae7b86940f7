// edf_writer.h - recordings as EDF+.
//
// EDFlib's own writer keeps all annotations in memory and rounds their times to 0.1 ms, which is four
// samples. This one writes them with the samples that they belong to, exact to the sample.
#pragma once

#include "formats/output_file.h"
#include "formats/recording_writer.h"

#include <deque>

namespace zeka::formats {

/// Writes two signals, AC and DC, and annotations. A last data record that is not full
/// is filled with its last value.
class EdfWriter : public RecordingWriter {
public:
    explicit EdfWriter(const RecordingPlan& plan);
    void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) override;
    void Note(const Mark& mark) override;
    void End() override;

private:
    /// A fixed length of time; it waits for the marks that belong to it.
    struct DataRecord {
        std::vector<std::uint8_t> ac, dc;
        std::string annotations;
    };

    void WriteHeader(const RecordingPlan& plan);
    void BeginRecord();
    void WriteOldest();
    [[nodiscard]] std::string TimeKeeping(std::uint64_t record) const;

    OutputFile file_;
    int rate_;
    std::size_t record_values_; // of each signal in a data record
    double record_s_;
    std::size_t annotation_bytes_; // in a data record
    std::size_t waiting_limit_;    // data records that wait for marks
    std::deque<DataRecord> waiting_;
    std::uint64_t written_ = 0; // data records
};

} // namespace zeka::formats
