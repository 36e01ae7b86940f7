// replay.cpp - main() of a fuzz target without libFuzzer: runs it over every file of the named folders, which
// hold inputs that once failed, and over the empty input. A claim that does not hold ends the program.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

/// Longer than three of the blocks in which files are read, so that every kind of
/// line crosses their boundaries.
constexpr std::size_t kLongInput = 200'000;

std::vector<std::uint8_t> ReadAll(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void RunRepeated(const std::vector<std::uint8_t>& input)
{
    std::vector<std::uint8_t> repeated = input;
    while (!input.empty() && repeated.size() < kLongInput)
        repeated.insert(repeated.end(), input.begin(), input.end());
    LLVMFuzzerTestOneInput(repeated.data(), repeated.size());
}

} // namespace

int main(int argc, char** argv)
{
    LLVMFuzzerTestOneInput(nullptr, 0);
    int inputs = 0;
    for (int i = 1; i < argc; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::fprintf(stderr, "%s\n", entry.path().c_str()); // the last one printed is the one that failed
            const auto input = ReadAll(entry.path());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            RunRepeated(input);
            ++inputs;
        }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
