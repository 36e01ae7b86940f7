// dumps.cpp (files) - writes sample arrays to text files: one value per line with three decimals
// and a point, whatever locale is set, optionally behind the header that the multi-channel loader
// reads. No lock, no shared state.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

#include "files/input_file.h"
#include "files/paths.h"
#include "platform/cancellation.h"
#include "platform/scoped_fd.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr int kWritten = 0;
constexpr int kCannotOpen = -3;
constexpr int kWriteFailed = -6;

constexpr double kMicrovoltsPerMillivolt = 1000.0;
constexpr int kDecimals = 3;
// sign, the digits of the largest double, point, decimals
constexpr std::size_t kMaxValue = 1 + std::numeric_limits<double>::max_exponent10 + 1 + 1 + kDecimals;
constexpr mode_t kMode = 0666; // reduced by the process's mask

/// A text file being written. A failure is kept and reported at the end; nothing is written after it.
class TextFile {
public:
    explicit TextFile(const wchar_t* path) noexcept
    {
        const Utf8Path utf8_path(path);
        if (utf8_path.Get() == nullptr)
            return;
        // Non-blocking until it is known not to be a FIFO, because a dump to one without
        // a reader would never return.
        constexpr int kFlags = O_RDWR | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        ScopedFd file{::open(utf8_path.Get(), kFlags, kMode)};
        struct stat about {};
        if (!file.IsOpen() || ::fstat(file.Get(), &about) != 0)
            return;
        const bool accepted = S_ISREG(about.st_mode) || S_ISCHR(about.st_mode);
        if (!accepted || ::fcntl(file.Get(), F_SETFL, O_RDWR) != 0)
            return;
        fd_ = std::move(file);
        block_.reset(new (std::nothrow) char[kBlockSize]);
        failed_ = block_ == nullptr;
    }

    [[nodiscard]] bool IsOpen() const noexcept { return fd_.IsOpen(); }
    [[nodiscard]] bool Failed() const noexcept { return failed_; }

    void PutLine(std::string_view text) noexcept
    {
        Put(text);
        Put("\n");
    }

    void PutLine(int number) noexcept
    {
        char text[std::numeric_limits<int>::digits10 + 2];
        const auto [end, error] = std::to_chars(std::begin(text), std::end(text), number);
        PutLine(std::string_view(text, static_cast<std::size_t>(end - text)));
    }

    void PutLine(unsigned number) noexcept
    {
        char text[std::numeric_limits<unsigned>::digits10 + 1];
        const auto [end, error] = std::to_chars(std::begin(text), std::end(text), number);
        PutLine(std::string_view(text, static_cast<std::size_t>(end - text)));
    }

    void PutLine(double value) noexcept
    {
        if (kBlockSize - used_ < kMaxValue + 1)
            Flush();
        if (failed_)
            return;
        char* const to = block_.get() + used_;
        char* const end = std::to_chars(to, to + kMaxValue, value, std::chars_format::fixed, kDecimals).ptr;
        *end = '\n';
        used_ += static_cast<std::size_t>(end + 1 - to);
    }

    /// Writes the rest and closes the file, where a full disk may show first. True
    /// when every byte was written.
    [[nodiscard]] bool Finish() noexcept
    {
        Flush();
        if (::close(fd_.Release()) != 0 && errno != EINTR) // interrupted: closed even so
            failed_ = true;
        return !failed_;
    }

private:
    void Put(std::string_view text) noexcept
    {
        while (!failed_ && !text.empty()) {
            const std::size_t taken = text.copy(block_.get() + used_, kBlockSize - used_);
            used_ += taken;
            text.remove_prefix(taken);
            if (used_ == kBlockSize)
                Flush();
        }
    }

    void Flush() noexcept
    {
        for (std::size_t done = 0; !failed_ && done < used_;) {
            const ssize_t wrote = ::write(fd_.Get(), block_.get() + done, used_ - done);
            if (wrote > 0)
                done += static_cast<std::size_t>(wrote);
            else if (wrote == 0 || errno != EINTR)
                failed_ = true;
        }
        used_ = 0;
    }

    NoCancel whole_;
    ScopedFd fd_;
    std::unique_ptr<char[]> block_;
    std::size_t used_ = 0;
    bool failed_ = false;
};

template <typename Count> void PutHeader(TextFile& file, int rate, Count count, const char* name) noexcept
{
    file.PutLine(rate);
    file.PutLine(count);
    file.PutLine(1); // channels
    file.PutLine(name == nullptr ? std::string_view{} : std::string_view(name));
}

/// Writes the values at(0) .. at(count - 1); stops at the first failure.
template <typename At> int PutValues(TextFile& file, std::size_t count, At at) noexcept
{
    for (std::size_t i = 0; i < count && !file.Failed(); ++i)
        file.PutLine(at(i));
    return file.Finish() ? kWritten : kWriteFailed;
}

} // namespace
} // namespace zeka

int DumpRawData(double* values, unsigned int count, const wchar_t* path)
{
    if (values == nullptr && count > 0)
        return zeka::kWriteFailed;
    zeka::TextFile file(path);
    if (!file.IsOpen())
        return zeka::kCannotOpen;
    return zeka::PutValues(file, count, [values](std::size_t i) { return values[i]; });
}

int OutputRaw(int rate, unsigned int count, double* values, const char* name, const wchar_t* path)
{
    if (values == nullptr && count > 0)
        return zeka::kWriteFailed;
    zeka::TextFile file(path);
    if (!file.IsOpen())
        return zeka::kCannotOpen;
    zeka::PutHeader(file, rate, count, name);
    return zeka::PutValues(file, count, [values](std::size_t i) { return values[i]; });
}

int DumpStandardWaveform(int* table, int count, int rate, const char* name, const wchar_t* path)
{
    if (table == nullptr && count > 0)
        return zeka::kWriteFailed;
    zeka::TextFile file(path);
    if (!file.IsOpen())
        return zeka::kCannotOpen;
    zeka::PutHeader(file, rate, count, name);
    const auto entries = static_cast<std::size_t>(count > 0 ? count : 0);
    return zeka::PutValues(file, entries,
                           [table](std::size_t i) { return table[i] / zeka::kMicrovoltsPerMillivolt; });
}
