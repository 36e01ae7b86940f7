// output_file.h (formats) - a file that is written from front to end; a failure of any kind is told in one
// line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeka::cli {

class OutputFile {
public:
    /// Empty path: stdout. Throws Failure.
    explicit OutputFile(const std::string& path);

    void Write(std::string_view text);
    void Write(std::span<const std::uint8_t> bytes);
    /// Writes at a place near the file's beginning, then goes on at its end.
    void Patch(long at, std::string_view text);
    /// Everything has arrived. Throws Failure.
    void Close();

private:
    [[noreturn]] void Fail() const;

    struct Closer {
        void operator()(std::FILE* file) const
        {
            if (file != stdout)
                (void)std::fclose(file);
        }
    };
    std::string path_;
    std::vector<char> buffer_; // outlives the file
    std::unique_ptr<std::FILE, Closer> file_;
};

/// Low byte first.
inline void PutLe16(std::vector<std::uint8_t>& bytes, std::uint16_t word)
{
    bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(word >> 8));
}

/// The nearest whole count, within +-32767; not a number gives 0.
std::int16_t Counts(double mv, double counts_per_mv);

} // namespace zeka::cli
