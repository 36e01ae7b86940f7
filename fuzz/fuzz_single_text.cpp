// fuzz_single_text.cpp - the single-channel text format, compared with a reader based on the C library.
#include "fuzz/memory_file.h"
#include "fuzz/reference_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const zeka::fuzz::MemoryFile file;
    zeka::fuzz::Forget();
    file.Put(data, size);
    const int result = LoadECGtxtSingle(file.Path());
    zeka::fuzz::RequirePlayable(result);

    const auto expected = zeka::fuzz::ReadSingle(data, size);
    ZEKA_REQUIRE(result == expected.code);
    const CAutoCriticalSection lock(g_CriticalSection);
    ZEKA_REQUIRE(result < 0 || zeka::fuzz::SameSamples(expected.samples, ECGFile));
    return 0;
}
