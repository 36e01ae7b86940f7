// input_file.cpp (files) - opens and reads recordings. The loaders call it without any lock.
#include "files/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "files/paths.h"

namespace zeka {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::int64_t kOrdinaryLine = 4; // characters: a digit, a point, a digit, the line feed

/// Repeats read_some until the buffer is full, the file ends or reading fails.
template <typename ReadSome>
std::size_t ReadFully(char* buffer, std::size_t bytes, ReadSome read_some) noexcept
{
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t got = read_some(buffer + done, bytes - done, done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

} // namespace

InputFile::InputFile(const char* utf8_path) noexcept
{
    struct stat about {};
    if (!IsAcceptedPath(utf8_path) || ::stat(utf8_path, &about) != 0 || !S_ISREG(about.st_mode))
        return; // checked before it is opened, because opening a device affects it

    // Non-blocking, because the name may have become a FIFO since the check; no effect on regular files.
    ScopedFd file{::open(utf8_path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    if (!file.IsOpen() || ::fstat(file.Get(), &about) != 0 || !S_ISREG(about.st_mode))
        return;
    size_ = about.st_size;
    fd_ = std::move(file);
}

std::size_t InputFile::Read(void* buffer, std::size_t bytes) noexcept
{
    return ReadFully(static_cast<char*>(buffer), bytes,
                     [this](char* to, std::size_t most, std::size_t) { return ::read(fd_.Get(), to, most); });
}

std::size_t InputFile::ReadAt(std::int64_t position, void* buffer, std::size_t bytes) const noexcept
{
    return ReadFully(static_cast<char*>(buffer), bytes,
                     [this, position](char* to, std::size_t most, std::size_t done) {
                         return ::pread(fd_.Get(), to, most, position + static_cast<std::int64_t>(done));
                     });
}

PieceReader::PieceReader(InputFile& file) noexcept
    : file_(file), block_(new (std::nothrow) char[kBlockSize]), at_end_(block_ == nullptr)
{
    if (Window().starts_with(kByteOrderMark))
        Advance(kByteOrderMark.size());
}

void PieceReader::Refill() noexcept
{
    const auto kept = static_cast<std::size_t>(end_ - at_);
    if (kept > 0)
        std::memmove(block_.get(), at_, kept);
    const std::size_t got = file_.Read(block_.get() + kept, kBlockSize - kept);
    read_ += static_cast<std::int64_t>(got);
    at_end_ = got < kBlockSize - kept;
    at_ = block_.get();
    end_ = at_ + kept + got;
}

bool PieceReader::Next(std::string_view& text) noexcept
{
    const std::string_view window = Window();
    if (window.empty())
        return false;
    const std::string_view piece = FirstPiece(window);
    Advance(piece.size());
    text = TextOf(piece);
    return true;
}

std::int64_t PieceReader::PiecesAhead(std::int64_t wanted) const noexcept
{
    const std::int64_t position = read_ - (end_ - at_);
    const std::int64_t bytes = std::max<std::int64_t>(file_.Size() - position, end_ - at_);
    if (wanted <= bytes / kOrdinaryLine)
        return bytes / kOrdinaryLine;
    return CountPieces(position, position + bytes);
}

std::int64_t PieceReader::CountPieces(std::int64_t from, std::int64_t to) const noexcept
{
    const std::unique_ptr<char[]> block{new (std::nothrow) char[kBlockSize]};
    if (block == nullptr)
        return 0;
    std::int64_t feeds = 0;
    for (std::int64_t position = from; position < to;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(to - position, kBlockSize));
        const std::size_t got = file_.ReadAt(position, block.get(), wanted);
        if (got == 0)
            break;
        feeds += std::count(block.get(), block.get() + got, '\n');
        position += static_cast<std::int64_t>(got);
    }
    constexpr auto kPiece = static_cast<std::int64_t>(kMaxPiece);
    return feeds + (to - from) / kPiece + 1; // every piece ends with a line feed, is full, or is the last one
}

} // namespace zeka
