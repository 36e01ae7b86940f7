// memory_file.h - an input as a file in memory, because the loaders take paths. Also what every load must
// leave behind, whatever the file was.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "files/recordings.h"
#include "zeka/zeka.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace zeka::fuzz {

/// Ends the run and prints the claim that does not hold.
inline void Require(bool holds, const char* claim)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", claim);
    std::abort();
}
#define ZEKA_REQUIRE(claim) ::zeka::fuzz::Require((claim), #claim)

/// One file in memory, with new content for every input.
class MemoryFile {
public:
    MemoryFile() : fd_(::memfd_create("input", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {}
    void Put(const std::uint8_t* data, std::size_t size) const
    {
        const bool written =
            ::ftruncate(fd_, 0) == 0 && ::pwrite(fd_, data, size, 0) == static_cast<ssize_t>(size);
        ZEKA_REQUIRE(written);
    }
    [[nodiscard]] const char* Path() const { return path_.c_str(); }
    [[nodiscard]] std::wstring WidePath() const { return {path_.begin(), path_.end()}; }

private:
    int fd_;
    std::string path_;
};

/// Checks what a load with this result leaves behind: samples that can be streamed, or none.
inline void RequirePlayable(int result)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    ZEKA_REQUIRE(std::isfinite(ECGFileFreq));
    ZEKA_REQUIRE(result < 0 || ECGFileSize == result);
    ZEKA_REQUIRE(result < 0 || ECGFile != nullptr);
    ZEKA_REQUIRE(result < 0 || ECGFileUnitMV);
    for (int i = 0; i < ECGFileSize && ECGFile != nullptr; ++i)
        ZEKA_REQUIRE(std::fabs(ECGFile[i]) <= kFileLimitMv);
}

/// Removes the recording, so that the result depends on this input alone.
inline void Forget()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    (void)ExchangeRecording(nullptr, 0);
    ECGFileFreq = 0.0;
}

} // namespace zeka::fuzz
