// control_block.cpp - see control_block.h.
#include "cli/instrument/control_block.h"

#include "cli/shell/failure.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <span>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace zeka::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Bytes = std::span<const std::uint8_t>;

// The block.
constexpr std::size_t kGroupAt = 0;
constexpr std::uint8_t kGroup = 0x00;
constexpr std::size_t kDirectionAt = 1;
constexpr std::uint8_t kRead = 0x00;
constexpr std::size_t kChannelsAt = 32;
constexpr std::size_t kChannelBytes = 8;
static_assert(kChannelsAt + kOutputChannels * kChannelBytes == kControlBlockBytes);

// Within a channel.
constexpr std::array<std::size_t, 3> kImpedanceAt{0, 1, 4}; // modes 1, 2 and 3
constexpr std::size_t kDcSourceAt = 2;
constexpr std::size_t kLeadAt = 3;
constexpr std::size_t kSignalGroundAt = 5;
constexpr std::uint8_t kOn = 0xFF;
constexpr std::uint8_t kOff = 0x00;

constexpr std::uint8_t kDcNone = 0x00;
constexpr std::uint8_t kDcPlus300 = 0x01;
constexpr std::uint8_t kDcMinus300 = 0x02;
constexpr std::uint8_t kDcVariable = 0x10;

// Other things of 64 bytes that may stand ahead of it: a request for samples, and replies that were given up.
constexpr std::uint8_t kSampleRequest = 0x01;
constexpr std::uint8_t kPage = 0x12;
constexpr std::uint8_t kHardware = 0xCC;
constexpr std::uint8_t kWaveform = 0xEA;

Bytes ChannelGroup(Bytes block, std::size_t channel)
{
    return block.subspan(kChannelsAt + channel * kChannelBytes, kChannelBytes);
}

bool IsFlag(std::uint8_t byte) { return byte == kOn || byte == kOff; }

/// Leads and impedances are flags for certain: connecting has just written them.
bool LooksLikeBlock(Bytes block)
{
    if (block[kGroupAt] != kGroup || block[kDirectionAt] != kRead)
        return false;
    for (std::size_t channel = 0; channel < kOutputChannels; ++channel) {
        const Bytes group = ChannelGroup(block, channel);
        if (!IsFlag(group[kLeadAt]) ||
            !std::ranges::all_of(kImpedanceAt, [group](std::size_t at) { return IsFlag(group[at]); }))
            return false;
    }
    return true;
}

bool IsOtherBlock(std::uint8_t first)
{
    return first == kSampleRequest || first == kPage || first == kHardware || first == kWaveform;
}

/// What came, until the block stands in front of it: other blocks go as a whole, and the bytes of a broken
/// one singly.
class Input {
public:
    void Take(Bytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    [[nodiscard]] std::optional<ControlBlock> Block()
    {
        while (bytes_.size() >= kControlBlockBytes) {
            if (LooksLikeBlock(Bytes(bytes_).first(kControlBlockBytes))) {
                ControlBlock block{};
                std::copy_n(bytes_.begin(), kControlBlockBytes, block.begin());
                return block;
            }
            const std::size_t other = IsOtherBlock(bytes_.front()) ? kControlBlockBytes : 1;
            bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(other));
        }
        return std::nullopt;
    }

private:
    std::vector<std::uint8_t> bytes_;
};

/// The port under a number of our own. The library closes its descriptor when the instrument is lost, and its
/// threads may then open something else under that number; ours stays what it is.
class Exchange {
public:
    Exchange(int port, const std::string& node, milliseconds wait)
        : port_(::fcntl(port, F_DUPFD_CLOEXEC, 0)), node_(node), wait_(wait), end_(steady_clock::now() + wait)
    {
        if (port_ >= 0)
            return;
        if (errno == EBADF)
            Lost();
        throw std::system_error(errno, std::generic_category(), "duplicate of the port");
    }
    ~Exchange()
    {
        // This may be the last descriptor of the port by now: its close would wait for output that nobody
        // takes, up to 30 s.
        (void)::tcflush(port_, TCOFLUSH);
        ::close(port_);
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Drops what stands there already: it answers something else.
    void Drain()
    {
        while (!ReadSome().empty() && steady_clock::now() < end_) {
        }
    }
    void Write(Bytes bytes)
    {
        while (!bytes.empty()) {
            Wait(POLLOUT);
            const ssize_t count = ::write(port_, bytes.data(), bytes.size());
            if (count > 0)
                bytes = bytes.subspan(static_cast<std::size_t>(count));
            else if (count < 0)
                CheckError();
        }
    }
    /// What came, at least a byte.
    Bytes Read()
    {
        for (;;) {
            Wait(POLLIN);
            if (const Bytes bytes = ReadSome(); !bytes.empty())
                return bytes;
        }
    }

private:
    /// Nothing when nothing is there; the library has opened the port so that this does not wait.
    Bytes ReadSome()
    {
        ssize_t count = 0;
        while ((count = ::read(port_, piece_.data(), piece_.size())) < 0 && errno == EINTR) {
        }
        if (count < 0)
            CheckError();
        if (count == 0 && HungUp())
            Lost();
        return Bytes(piece_).first(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    /// A terminal whose VMIN is 0 reads 0 bytes also when there is merely nothing.
    [[nodiscard]] bool HungUp() const
    {
        pollfd look{port_, POLLIN, 0};
        return ::poll(&look, 1, 0) > 0 && (look.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
    }
    void Wait(short event)
    {
        for (;;) {
            const auto left = std::chrono::ceil<milliseconds>(end_ - steady_clock::now()).count();
            if (left <= 0)
                throw Failure(
                    Exit::kTimeOut,
                    fmt::format("{} did not tell within {} ms how its output stage is set; unplug it and "
                                "plug it in again, then run this again",
                                node_, wait_.count()));
            pollfd wait{port_, event, 0};
            if (::poll(&wait, 1, static_cast<int>(left)) <= 0)
                continue; // a signal, or the time is over
            if ((wait.revents & event) != 0)
                return;
            Lost(); // a hang-up behind which nothing is left to read
        }
    }
    void CheckError() const
    {
        if (errno != EINTR && errno != EAGAIN)
            Lost();
    }
    [[noreturn]] void Lost() const
    {
        throw Failure(
            Exit::kLost,
            fmt::format("the connection to {} was lost; look after its cable and run this again", node_));
    }

    int port_;
    const std::string& node_;
    milliseconds wait_;
    steady_clock::time_point end_;
    std::array<std::uint8_t, kControlBlockBytes> piece_{};
};

std::optional<int> ImpedanceOf(Bytes group)
{
    std::optional<int> mode = 0;
    for (int number = 1; const std::size_t at : kImpedanceAt) {
        if (group[at] == kOn)
            mode = mode == 0 ? std::optional(number) : std::nullopt;
        ++number;
    }
    return mode;
}

} // namespace

std::array<OutputChannel, kOutputChannels> ChannelsOf(const ControlBlock& block)
{
    std::array<OutputChannel, kOutputChannels> channels;
    for (std::size_t number = 0; number < kOutputChannels; ++number) {
        const Bytes group = ChannelGroup(block, number);
        channels[number] = {group[kLeadAt] == kOn, ImpedanceOf(group), group[kSignalGroundAt] == kOn,
                            group[kDcSourceAt]};
    }
    return channels;
}

std::string DcSourceText(std::uint8_t source)
{
    switch (source) {
    case kDcNone:
        return "none";
    case kDcPlus300:
        return "+300 mV";
    case kDcMinus300:
        return "-300 mV";
    case kDcVariable:
        return "variable";
    default:
        return fmt::format("unknown (0x{:02X})", source);
    }
}

ControlBlock ReadControlBlock(int port, const std::string& node, milliseconds wait)
{
    Exchange exchange(port, node, wait);
    exchange.Drain();
    exchange.Write(ControlBlock{}); // zeros alone: a read
    Input input;
    for (;;) {
        input.Take(exchange.Read());
        if (const std::optional<ControlBlock> block = input.Block())
            return *block;
    }
}

} // namespace zeka::cli
