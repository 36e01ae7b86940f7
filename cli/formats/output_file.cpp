// output_file.cpp - see output_file.h.
#include "cli/formats/output_file.h"

#include "cli/failure.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fmt/format.h>

namespace zeka::cli {
namespace {
constexpr std::size_t kBufferBytes = 1 << 20;
}

OutputFile::OutputFile(const std::string& path)
    : path_(path), file_(path.empty() ? stdout : std::fopen(path.c_str(), "wbe"))
{
    if (file_ == nullptr)
        Fail();
    if (path_.empty())
        return;
    buffer_.resize(kBufferBytes);
    (void)std::setvbuf(file_.get(), buffer_.data(), _IOFBF, buffer_.size());
}

void OutputFile::Fail() const
{
    throw Failure(errno == EACCES ? Exit::kPermission : Exit::kCheckFailed,
                  path_.empty() ? fmt::format("cannot write the result: {}; look where stdout goes",
                                              std::strerror(errno))
                                : fmt::format("cannot write {}: {}; name another file with --output", path_,
                                              std::strerror(errno)));
}

void OutputFile::Write(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size())
        Fail();
}

void OutputFile::Write(std::span<const std::uint8_t> bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
        Fail();
}

void OutputFile::Patch(long at, std::string_view text)
{
    if (std::fseek(file_.get(), at, SEEK_SET) != 0)
        Fail();
    Write(text);
    if (std::fseek(file_.get(), 0, SEEK_END) != 0)
        Fail();
}

void OutputFile::Close()
{
    if (std::fflush(file_.get()) != 0)
        Fail();
    if (std::FILE* file = file_.release(); file != stdout && std::fclose(file) != 0)
        Fail();
}

std::int16_t Counts(double mv, double counts_per_mv)
{
    constexpr double kLimit = 32767.0; // -32768 means "no value" to readers of WFDB
    const double counts = mv * counts_per_mv;
    if (std::isnan(counts))
        return 0;
    return static_cast<std::int16_t>(std::lrint(std::clamp(counts, -kLimit, kLimit)));
}

} // namespace zeka::cli
