// presence.cpp (link) - does the system still list the open device's node?
// The second and third line behind the descriptor's own hang-up: asked every 1.2 s by the monitor, every 30 s
// by the supervisor. No lock is held while the listing runs.
#include "link/serial_link.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <sys/wait.h>

#include "link/port.h"
#include "util/text.h"

namespace zeka {
namespace {

constexpr char kListCommand[] = "/bin/ls /dev/ttyACM* 2>/dev/null";
constexpr int kLineBytes = 512;
constexpr int kCannotRun = 126; // the shell's exit codes for a command that it cannot run (126) or find (127)

struct Listing {
    bool started = false;
    bool any_line = false;
    bool found = false;
    int status = -1; // as pclose gives it; -1 when the application reaps children itself
};

// Until the shell runs, the child has a copy of our descriptor. A close in that moment would not be the last
// one: the child's would, and it would wait up to 30 s for output that a stalled instrument does not take,
// the port would stay open as long, and popen would wait for the child.
std::FILE* StartListing()
{
    const NoClose until_the_shell_runs;
    return until_the_shell_runs.Holds() ? ::popen(kListCommand, "re") : nullptr;
}

Listing RunListing()
{
    Listing result;
    std::FILE* const pipe = StartListing();
    if (pipe == nullptr)
        return result;
    result.started = true;
    std::array<char, kLineBytes> line{};
    while (!result.found && std::fgets(line.data(), kLineBytes, pipe) != nullptr) {
        StringTrim(line.data());
        result.any_line = true;
        result.found = DeviceCheckPath(line.data());
    }
    result.status = ::pclose(pipe);
    return result;
}

// Whether the listing can be believed when it does not name the node.
bool WasMade(const Listing& listing)
{
    if (!listing.started)
        return false;
    if (listing.status != -1)
        return WIFEXITED(listing.status) && WEXITSTATUS(listing.status) < kCannotRun;
    return listing.any_line;
}

} // namespace

Presence CheckPresence()
{
    const Listing listing = RunListing();
    if (listing.found)
        return Presence::kThere;
    return WasMade(listing) ? Presence::kGone : Presence::kUnknown;
}

} // namespace zeka

bool DeviceIsAlive() { return zeka::CheckPresence() == zeka::Presence::kThere; }
