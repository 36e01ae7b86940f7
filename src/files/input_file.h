// input_file.h (files) - reads a recording: opens regular files only, reads bytes in blocks, and text in the
// pieces that the text formats count as lines. Uses one block of memory, whatever the file is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/cancellation.h"
#include "platform/scoped_fd.h"

namespace zeka {

// Fits the second-level cache; larger blocks read no faster.
inline constexpr std::size_t kBlockSize = 64 * 1024;

/// A regular file open for reading. Everything else counts as a file that cannot be opened: a directory
/// has no bytes, a FIFO might never deliver any, and opening a device node can affect the device (a
/// serial port raises its lines).
class InputFile {
public:
    explicit InputFile(const char* utf8_path) noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return fd_.IsOpen(); }
    /// Length in bytes when the file was opened; it may have changed since.
    [[nodiscard]] std::int64_t Size() const noexcept { return size_; }
    /// Fills the buffer as far as the file reaches and returns the bytes read; a
    /// read error counts as the end.
    [[nodiscard]] std::size_t Read(void* buffer, std::size_t bytes) noexcept;
    /// The same from the given position on; the reading position stays.
    [[nodiscard]] std::size_t ReadAt(std::int64_t position, void* buffer, std::size_t bytes) const noexcept;

private:
    NoCancel whole_; // cancellation must not leave a reader or writer of files by an exception
    ScopedFd fd_;
    std::int64_t size_ = 0;
};

/// Text in pieces: a line with its line feed, or the next 127 characters of a longer one.
class PieceReader {
public:
    static constexpr std::size_t kMaxPiece = 127;

    /// Skips a byte order mark at the start of the file.
    explicit PieceReader(InputFile& file) noexcept;
    /// False when there is no memory for the block.
    [[nodiscard]] bool IsReady() const noexcept { return block_ != nullptr; }

    /// The text ahead: at least one whole piece, less only before the end of the file; empty at the end.
    [[nodiscard]] std::string_view Window() noexcept
    {
        if (static_cast<std::size_t>(end_ - at_) < kMaxPiece && !at_end_)
            Refill();
        return {at_, static_cast<std::size_t>(end_ - at_)};
    }
    /// Whether the window reaches to the end of the file.
    [[nodiscard]] bool IsLastWindow() const noexcept { return at_end_; }
    void Advance(std::size_t characters) noexcept { at_ += characters; }

    /// The first piece of a window. REQUIRES: the window is not empty.
    [[nodiscard]] static std::string_view FirstPiece(std::string_view window) noexcept
    {
        const std::string_view most = window.substr(0, kMaxPiece);
        const void* feed = std::memchr(most.data(), '\n', most.size());
        return feed == nullptr
                   ? most
                   : most.substr(0,
                                 static_cast<std::size_t>(static_cast<const char*>(feed) - most.data()) + 1);
    }

    /// The text of a piece: ends at a NUL byte, as text does, although the piece extends to its line feed.
    [[nodiscard]] static std::string_view TextOf(std::string_view piece) noexcept
    {
        const void* nul = std::memchr(piece.data(), '\0', piece.size());
        return nul == nullptr
                   ? piece
                   : piece.substr(0, static_cast<std::size_t>(static_cast<const char*>(nul) - piece.data()));
    }

    /// Takes the next piece and gives its text, valid until the next call; false at the end of the file.
    [[nodiscard]] bool Next(std::string_view& text) noexcept;

    /// An upper bound of the pieces ahead, as far as the file reached when it was opened. Counts the lines
    /// only where `wanted` is more than the bytes at hand would make with lines of an ordinary length.
    [[nodiscard]] std::int64_t PiecesAhead(std::int64_t wanted) const noexcept;

private:
    void Refill() noexcept;
    [[nodiscard]] std::int64_t CountPieces(std::int64_t from, std::int64_t to) const noexcept;

    InputFile& file_;
    std::unique_ptr<char[]> block_;
    const char* at_ = nullptr;
    const char* end_ = nullptr;
    std::int64_t read_ = 0; // bytes of the file taken into the block so far
    bool at_end_ = false;
};

} // namespace zeka
