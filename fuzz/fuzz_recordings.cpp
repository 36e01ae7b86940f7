// fuzz_recordings.cpp - recordings in one file as 'zeka file' reads them, recognised by their first bytes:
// EDF and BDF with and without annotations, text, binary.
#include "formats/file_error.h"
#include "formats/readers.h"
#include "fuzz/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace zeka::formats;
    static const zeka::fuzz::MemoryFile file;
    file.Put(data, size);
    try {
        const Recording recording = ReadRecording(file.Path());
        std::size_t values = 0;
        for (const RecordedChannel& channel : recording.channels) {
            ZEKA_REQUIRE(channel.rate > 0.0 && std::isfinite(channel.rate));
            for (const double value : channel.values)
                ZEKA_REQUIRE(std::isfinite(value));
            values += channel.values.size();
        }
        ZEKA_REQUIRE(values <= size);
        for (const Annotation& annotation : recording.annotations)
            ZEKA_REQUIRE(std::isfinite(annotation.seconds) && annotation.duration_s >= 0.0);
    } catch (const FileError& failure) {
        ZEKA_REQUIRE(std::string(failure.what()).find('\n') == std::string::npos);
    }
    return 0;
}
