// output_file.cpp - writes through a buffer of 1 MiB, so that a recording at 40000 values per
// second needs few system calls.
#include "formats/output_file.h"

#include "formats/file_error.h"

namespace zeka::formats {
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
    if (path_.empty())
        RefuseByErrno("cannot write the result", "look where stdout goes");
    RefuseByErrno("cannot write " + path_, "name another file");
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

void WriteFile(const std::string& path, std::string_view text)
{
    OutputFile file(path);
    file.Write(text);
    file.Close();
}

} // namespace zeka::formats
