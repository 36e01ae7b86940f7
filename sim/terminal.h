// terminal.h - the instrument's end of a pseudo-terminal. Used by the instrument's thread alone.
//
// No descriptor of the host's end is kept here, so that closing the terminal is a hang-up for the
// host, as with a pulled cable. While no host has the terminal open, poll(2) reports a hang-up on our
// end without pause. Therefore our end leaves the poll set (HostGone) until inotify reports that a
// host has opened the other end.
#pragma once

#include "sim/medium.h"

namespace zeka::sim {

/// Owns a file descriptor of the instrument. A forked child does not get a copy, because a copy would keep
/// the terminal from hanging up and the port from becoming free.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd);
    Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { Reset(); }

    [[nodiscard]] int Get() const { return fd_; }
    [[nodiscard]] bool IsOpen() const { return fd_ >= 0; }
    void Reset();

private:
    int Release();

    int fd_ = -1;
};

class Terminal final : public Medium {
public:
    /// Makes the pair. `cooked` leaves the host's end in canonical mode with echo, as a driver
    /// would. Throws std::system_error.
    explicit Terminal(bool cooked);

    /// The path of the host's end.
    [[nodiscard]] std::string Path() const override { return path_; }

    /// Appends the descriptors to poll. Without `reading` our end stays out of the set, because a hang-up
    /// that no read takes would be reported without end. A caller that waits for room to write without
    /// reading checks again after a while.
    void AddTo(std::vector<pollfd>& set, bool reading, bool writing) const override;

    /// Notes whether a host has opened the terminal since the last call.
    void NoteEvents() override;
    std::size_t Read(std::vector<std::uint8_t>& into, std::size_t limit) override;
    std::size_t Write(Bytes bytes) override;

    /// Whether no host has the terminal open, as far as has been noticed.
    [[nodiscard]] bool HostGone() const { return host_gone_; }
    [[nodiscard]] bool MustLookAgain() const override { return host_gone_ && !opens_.IsOpen(); }

private:
    Descriptor master_;
    Descriptor opens_; // inotify on the host's end
    std::string path_;
    bool host_gone_ = false;
};

} // namespace zeka::sim
