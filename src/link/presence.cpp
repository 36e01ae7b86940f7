// presence.cpp (link) - checks whether the system still lists the node of the open device. This is the second
// and third line behind the hang-up of the descriptor: the monitor checks every 1.2 s, the supervisor every
// 30 s. No lock is held while the listing runs.
#include "link/serial_link.h"

#include <array>
#include <string_view>

#include "link/port.h"
#include "link/unseen_shell.h"
#include "platform/deadline.h"
#include "util/text.h"

namespace zeka {
namespace {

constexpr char kListCommand[] = "/bin/ls /dev/ttyACM* 2>/dev/null";
constexpr std::size_t kLineBytes = 512; // with its terminator; longer lines are cut into several
constexpr int kCannotRun = 126;         // shell status of a command that it cannot run (126) or find (127)

// Limits of a listing; one that takes longer counts as no check. The second one holds once the search is
// cancelled, as at the end of the library.
constexpr unsigned kListingMs = 2000;
constexpr unsigned kListingAtEndMs = 200;

/// Looks for the open device's path among the lines of a listing, which come in pieces.
class Finder {
public:
    void Take(std::string_view piece)
    {
        for (const char c : piece) {
            if (c != '\n')
                line_[length_++] = c;
            if (c == '\n' || length_ == kLineBytes - 1)
                EndLine();
        }
    }
    [[nodiscard]] bool Found()
    {
        EndLine();
        return found_;
    }

private:
    void EndLine()
    {
        line_[length_] = '\0';
        StringTrim(line_.data());
        found_ = found_ || DeviceCheckPath(line_.data());
        length_ = 0;
    }

    std::array<char, kLineBytes> line_{};
    std::size_t length_ = 0;
    bool found_ = false;
};

} // namespace

Presence CheckPresence()
{
    Finder finder;
    const Deadline end = Deadline::InMs(kListingMs);
    const Deadline early_end = Deadline::InMs(kListingAtEndMs);
    const std::optional<int> status = RunUnseenShell(
        kListCommand, end, [&finder](std::string_view piece) { finder.Take(piece); },
        [&early_end] { return SearchCancelled() && early_end.Expired(); });
    if (finder.Found())
        return Presence::kThere;
    return status && *status < kCannotRun ? Presence::kGone : Presence::kUnknown;
}

} // namespace zeka

bool DeviceIsAlive() { return zeka::CheckPresence() == zeka::Presence::kThere; }
