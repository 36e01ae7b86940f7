// fuzz_channel_names.cpp - the header check of the multi-channel text format.
#include <cstring>
#include <vector>

#include "fuzz/memory_file.h"

namespace {

constexpr std::size_t kMostNames = 128; // a line holds no more fields than characters
constexpr std::size_t kMostName = 127;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const zeka::fuzz::MemoryFile file;
    file.Put(data, size);
    std::vector<char*> names(kMostNames, nullptr);
    const int channels = CheckECGTxtChannel(file.WidePath().c_str(), names.data());
    ZEKA_REQUIRE(channels > 0 || (channels >= -5 && channels <= -2));
    std::size_t given = 0;
    for (char* const name : names) {
        if (name == nullptr)
            break;
        ++given;
        ZEKA_REQUIRE(std::strlen(name) <= kMostName);
        ZEKA_REQUIRE(std::strchr(name, ',') == nullptr);
        std::free(name);
    }
    ZEKA_REQUIRE(channels > 0 ? given >= 1 && given <= static_cast<std::size_t>(channels) : given == 0);
    return 0;
}
