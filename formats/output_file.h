// output_file.h - a file that is written from beginning to end. Every failed write throws FileError.
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
    /// Opens the file; an empty path is stdout. Throws FileError.
    explicit OutputFile(const std::string& path);

    void Write(std::string_view text);
    void Write(std::span<const std::uint8_t> bytes);
    /// Writes at a position near the file's beginning, then continues at its end.
    void Patch(long at, std::string_view text);
    /// Closes the file; everything has been written then. Throws FileError.
    void Close();

private:
    [[noreturn]] void Fail() const; // with the reason of errno

    struct Closer {
        void operator()(std::FILE* file) const
        {
            if (file != stdout)
                (void)std::fclose(file);
        }
    };
    std::string path_;
    std::vector<char> buffer_; // before file_, because it must outlive it
    std::unique_ptr<std::FILE, Closer> file_;
};

/// Writes a whole file at once. Throws FileError.
void WriteFile(const std::string& path, std::string_view text);

} // namespace zeka::formats
