// writers.cpp - chooses the writer of a format, and the format by a file's name.
#include "formats/writers.h"

#include "formats/edf_writer.h"
#include "formats/file_error.h"
#include "formats/plain_writers.h"
#include "formats/wfdb_writer.h"

#include <string_view>

namespace zeka::formats {

std::unique_ptr<RecordingWriter> OpenRecording(Format format, const RecordingPlan& plan)
{
    if (plan.path.empty() && (format == Format::kEdf || format == Format::kWfdb))
        throw FileError(Trouble::kRequest, std::string(NameOf(format)) + " cannot go to stdout; name a file");
    switch (format) {
    case Format::kEdf:
        return std::make_unique<EdfWriter>(plan);
    case Format::kWfdb:
        return std::make_unique<WfdbWriter>(plan);
    case Format::kFloat:
        return std::make_unique<FloatWriter>(plan);
    case Format::kJsonLines:
        return std::make_unique<JsonLinesWriter>(plan);
    case Format::kCsv:
        break;
    }
    return std::make_unique<CsvWriter>(plan);
}

Format FormatOfName(const std::string& path)
{
    const auto ends = [&path](std::string_view suffix) { return path.ends_with(suffix); };
    if (ends(".edf") || ends(".EDF"))
        return Format::kEdf;
    if (ends(".hea") || ends(".dat"))
        return Format::kWfdb;
    if (ends(".jsonl"))
        return Format::kJsonLines;
    return ends(".f32") ? Format::kFloat : Format::kCsv;
}

const char* NameOf(Format format)
{
    switch (format) {
    case Format::kEdf:
        return "edf";
    case Format::kWfdb:
        return "wfdb";
    case Format::kFloat:
        return "float";
    case Format::kJsonLines:
        return "jsonl";
    case Format::kCsv:
        break;
    }
    return "csv";
}

} // namespace zeka::formats
