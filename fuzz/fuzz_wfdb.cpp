// fuzz_wfdb.cpp - WFDB records as 'zeka file' reads them. An input is a header, a NUL, and the content of
// every file beside it, signals and annotations alike.
#include "formats/file_error.h"
#include "formats/wfdb_reader.h"
#include "fuzz/memory_file.h"

#include <set>

namespace {

using namespace zeka::formats;

void RequireWhole(const WfdbHeader& header, const std::vector<RecordedChannel>& channels, std::size_t bytes)
{
    std::set<std::string> files;
    for (const WfdbSignal& signal : header.signals)
        files.insert(signal.file);
    std::size_t values = 0;
    for (const RecordedChannel& channel : channels) {
        ZEKA_REQUIRE(channel.rate > 0.0 && std::isfinite(channel.rate));
        for (const double value : channel.values)
            ZEKA_REQUIRE(std::isfinite(value));
        values += channel.values.size();
    }
    // Three bytes hold at most two values, and no file is read twice.
    ZEKA_REQUIRE(values <= files.size() * (bytes / 3 * 2 + 1));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(input.find('\0'), size);
    const std::string beside = input.substr(std::min(end + 1, size));
    try {
        const WfdbHeader header = ParseWfdbHeader(input.substr(0, end), "header");
        for (const Annotation& annotation : ParseWfdbAnnotations(beside, header.rate, "annotations"))
            ZEKA_REQUIRE(std::isfinite(annotation.seconds));
        const auto channels = ReadWfdbSignals(
            header, [&](const std::string&) { return beside; }, "header");
        RequireWhole(header, channels, beside.size());
    } catch (const FileError& failure) {
        ZEKA_REQUIRE(std::string(failure.what()).find('\n') == std::string::npos);
    }
    return 0;
}
