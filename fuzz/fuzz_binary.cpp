// fuzz_binary.cpp - the binary format: rate, count and length alone determine the result.
#include "fuzz/memory_file.h"

namespace {

int Expected(const std::uint8_t* data, std::size_t size)
{
    if (size < 2 || (data[0] << 8 | data[1]) < 30 || (data[0] << 8 | data[1]) > 5000)
        return -2;
    if (size < 6)
        return -3;
    const long count = static_cast<long>(data[2]) << 24 | data[3] << 16 | data[4] << 8 | data[5];
    if (count == 0 || count > 20000000)
        return -3;
    return static_cast<int>(std::min(count, static_cast<long>((size - 6) / 2)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const zeka::fuzz::MemoryFile file;
    zeka::fuzz::Forget();
    file.Put(data, size);
    const int result = LoadECGBin(file.WidePath().c_str());
    zeka::fuzz::RequirePlayable(result);
    ZEKA_REQUIRE(result == Expected(data, size));
    const CAutoCriticalSection lock(g_CriticalSection);
    for (int i = 0; i < result; ++i) {
        const std::uint8_t* const word = data + 6 + 2 * i;
        const double millivolts = static_cast<std::int16_t>(word[0] << 8 | word[1]) / 1000.0;
        ZEKA_REQUIRE(ECGFile[i] == std::clamp(millivolts, -2.5, 2.5));
    }
    return 0;
}
