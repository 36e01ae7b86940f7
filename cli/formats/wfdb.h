// wfdb.h (formats) - WFDB records: a header (.hea), signals (.dat, format 16 or 212) and annotations (.atr),
// from the public description of the formats.
#pragma once

#include "cli/formats/output_file.h"
#include "cli/formats/recording_file.h"
#include "cli/formats/recording_writer.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace zeka::cli {

/// Signals AC and DC in format 16, annotations beside them. The header comes last: a recording that was cut
/// off has none. Times of annotations are in samples of the file.
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
    std::string base_; // path without suffix
    OutputFile data_;
    OutputFile annotations_;
    std::uint64_t count_ = 0;
    std::uint64_t annotated_ = 0; // sample of the last annotation
    Channel ac_, dc_;
    std::vector<std::uint8_t> bytes_;
};

/// What a signal line of a header says.
struct WfdbSignal {
    std::string file;
    int format = 0;
    std::uint64_t offset = 0; // bytes in front of the samples
    double gain = 0.0;        // counts in one unit
    double baseline = 0.0;    // count at 0
    std::string unit;
    std::string name;
};

struct WfdbHeader {
    std::string record;
    double rate = 0.0;
    std::uint64_t samples = 0; // of each signal; 0: not said
    std::vector<WfdbSignal> signals;
};

/// These take any bytes and throw Failure, whose words begin with `name`, when they make no sense.
WfdbHeader ParseWfdbHeader(const std::string& text, const std::string& name);
/// The counts of all signals that share a file, one vector for each.
std::vector<std::vector<std::int16_t>> ParseWfdbSamples(const std::string& bytes, int format,
                                                        std::size_t signals, const std::string& name);
std::vector<Annotation> ParseWfdbAnnotations(const std::string& bytes, double rate, const std::string& name);

/// What is in the file of that name beside the header; throws Failure where it cannot be read.
using WfdbSource = std::function<std::string(const std::string& file)>;
/// The signals that a header describes.
std::vector<RecordedChannel> ReadWfdbSignals(const WfdbHeader& header, const WfdbSource& source,
                                             const std::string& name);

/// Header, signal files and, where there is one, the annotation file. Throws Failure.
RecordingFile ReadWfdb(const std::string& header_path);

} // namespace zeka::cli
