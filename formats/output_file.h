// output_file.h - a file that is written from front to end. Every failure to write throws FileError.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeka::formats {

class OutputFile {
public:
    /// Empty path: stdout. Throws FileError.
    explicit OutputFile(const std::string& path);

    void Write(std::string_view text);
    void Write(std::span<const std::uint8_t> bytes);
    /// Writes at a place near the file's beginning, then goes on at its end.
    void Patch(long at, std::string_view text);
    /// Everything has arrived. Throws FileError.
    void Close();

private:
    [[noreturn]] void Fail() const; // by errno

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

/// Writes a whole file at once. Throws FileError.
void WriteFile(const std::string& path, std::string_view text);

} // namespace zeka::formats
