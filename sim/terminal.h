// terminal.h - the instrument's end of a pseudo-terminal. Used by the instrument's thread alone.
//
// No descriptor of the host's end is kept here: when the terminal closes, the host sees a hang-up, as with a
// pulled cable. While no host has the terminal open, poll(2) reports a hang-up on our end without pause; that
// is where HostGone comes in: it takes our end out of the poll set until somebody opens the host's end again
// (inotify).
#pragma once

#include "sim/medium.h"

namespace zeka::sim {

/// Owns a file descriptor of the instrument. A forked child does not get a copy: one that lives on would keep
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
    /// Makes the pair; `cooked` leaves the host's end as a driver would: canonical mode with echo. Throws
    /// std::system_error.
    explicit Terminal(bool cooked);

    /// The path of the host's end.
    [[nodiscard]] std::string Path() const override { return path_; }

    /// Appends what is to be waited for. Without `reading` our end stays out of the set: a hang-up that
    /// nobody takes by reading would be reported for ever. Who waits for room to write without reading looks
    /// again after a while.
    void AddTo(std::vector<pollfd>& set, bool reading, bool writing) const override;

    /// Has a host opened the terminal since?
    void NoteEvents() override;
    std::size_t Read(std::vector<std::uint8_t>& into, std::size_t limit) override;
    std::size_t Write(Bytes bytes) override;

    /// No host has the terminal open, as far as we have noticed.
    [[nodiscard]] bool HostGone() const { return host_gone_; }
    [[nodiscard]] bool MustLookAgain() const override { return host_gone_ && !opens_.IsOpen(); }

private:
    Descriptor master_;
    Descriptor opens_; // inotify on the host's end
    std::string path_;
    bool host_gone_ = false;
};

} // namespace zeka::sim
