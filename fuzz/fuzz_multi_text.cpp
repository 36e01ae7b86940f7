// fuzz_multi_text.cpp - the multi-channel text format, compared with a reader based on the C library. The
// first byte of the input is the channel.
#include "fuzz/memory_file.h"
#include "fuzz/reference_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    static const zeka::fuzz::MemoryFile file;
    const int channel = static_cast<std::int8_t>(data[0]);
    zeka::fuzz::Forget();
    file.Put(data + 1, size - 1);
    const int result = LoadECGtxt(file.Path(), channel);
    zeka::fuzz::RequirePlayable(result);

    const auto expected = zeka::fuzz::ReadChannel(data + 1, size - 1, channel);
    ZEKA_REQUIRE(result == expected.code);
    const CAutoCriticalSection lock(g_CriticalSection);
    ZEKA_REQUIRE(result < 0 || zeka::fuzz::SameSamples(expected.samples, ECGFile));
    return 0;
}
