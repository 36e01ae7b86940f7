// wfdb_writer.h - writes WFDB records: a header (.hea), signals (.dat, format 16) and annotations (.atr).
#pragma once

#include "formats/output_file.h"
#include "formats/recording_writer.h"

#include <cstdint>

namespace zeka::formats {

/// Writes signals AC and DC in format 16, and annotations. The header is written last, so a recording that
/// was interrupted has none. Times of annotations are in samples of the file.
class WfdbWriter : public RecordingWriter {
public:
    /// "x", "x.hea" and "x.dat" all name the record x.
    explicit WfdbWriter(const RecordingPlan& plan);
    void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) override;
    void Note(const Mark& mark) override;
    void End() override;

private:
    struct Channel {
        std::int16_t first = 0;
        std::uint16_t sum = 0; // of all samples, modulo 2^16
    };
    void PutSample(Channel& channel, std::int16_t counts);
    void PutAnnotation(unsigned code, std::uint64_t sample, const std::string& text);

    RecordingPlan plan_;
    std::string base_; // path without its suffix
    OutputFile data_;
    OutputFile annotations_;
    std::uint64_t count_ = 0;
    std::uint64_t annotated_ = 0; // sample of the last annotation
    Channel ac_, dc_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace zeka::formats
