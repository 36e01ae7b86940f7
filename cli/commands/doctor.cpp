// doctor.cpp - zeka doctor: finds what prevents a connection and names the command that fixes it.
// Opens no port and changes nothing.
#include "cli/commands/commands.h"

#include "cli/instrument/ports.h"
#include "cli/shell/context.h"
#include "cli/shell/options.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <unistd.h>

namespace zeka::cli {
namespace {

namespace fs = std::filesystem;

/// This file says at its beginning how to install it: access for the user at the machine, no ModemManager.
constexpr const char* kUdevRules = "the udev rules 70-zeka.rules";

enum class Verdict { kGood, kHint, kBad };

struct Finding {
    Verdict verdict;
    std::string thing;
    std::string state;
    std::string remedy; // empty when there is nothing to fix
};

std::string FirstLine(const fs::path& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

bool IsNumber(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

std::vector<std::string> Processes()
{
    std::vector<std::string> processes;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator("/proc", none))
        if (const std::string name = entry.path().filename(); IsNumber(name))
            processes.push_back(name);
    return processes;
}

/// The first process that has the node open, as far as this user may see; empty when there is none.
std::string UserOf(const std::string& node)
{
    std::error_code error;
    const fs::path device = fs::canonical(node, error);
    for (const std::string& process : Processes()) {
        for (const auto& entry : fs::directory_iterator("/proc/" + process + "/fd", error)) {
            const fs::path target = fs::read_symlink(entry.path(), error);
            if (!error && target == device)
                return fmt::format("{} (process {})", FirstLine("/proc/" + process + "/comm"), process);
        }
    }
    return {};
}

void LookAtPermission(const Port& port, std::vector<Finding>& findings)
{
    if (port.may_open)
        findings.push_back({Verdict::kGood, port.node, "may be opened", {}});
    else
        findings.push_back({Verdict::kBad, port.node, "may not be opened by this user",
                            fmt::format("sudo usermod -aG {} $USER, then log out and in again; or set up {}",
                                        GroupOf(port.node), kUdevRules)});
}

void LookAtLock(const Port& port, std::vector<Finding>& findings)
{
    switch (port.lock.state) {
    case LockState::kFree:
        findings.push_back({Verdict::kGood, port.node, "is locked by nobody", {}});
        break;
    case LockState::kHeld:
        findings.push_back({Verdict::kBad, port.node, "is held by " + HolderText(port.lock),
                            fmt::format("end that program: kill {}", port.lock.pid)});
        break;
    case LockState::kStale:
        findings.push_back(
            {Verdict::kGood,
             port.node,
             fmt::format("has the lock of process {}, which is gone; it will be taken over", port.lock.pid),
             {}});
        break;
    case LockState::kUnreadable:
        findings.push_back(
            {Verdict::kBad, port.node, fmt::format("has a lock that cannot be read: {}", port.lock.path),
             fmt::format("if no program of another user drives the instrument: sudo rm {}", port.lock.path)});
        break;
    }
}

void LookAtUser(const Port& port, std::vector<Finding>& findings)
{
    const std::string user = port.lock.state == LockState::kHeld ? std::string() : UserOf(port.node);
    if (!user.empty())
        findings.push_back({Verdict::kBad, port.node, "is open in " + user, "end that program"});
}

void LookAtPower(const Port& port, std::vector<Finding>& findings)
{
    std::error_code none;
    const fs::path interface =
        fs::canonical(fmt::format("/sys/class/tty/ttyACM{}/device", port.number), none);
    if (none)
        return;
    const fs::path control = interface.parent_path() / "power/control";
    if (FirstLine(control) == "auto")
        findings.push_back({Verdict::kHint, port.node, "may be put to sleep by the kernel (USB autosuspend)",
                            fmt::format("echo on | sudo tee {}", control.string())});
}

void LookAtLockFolder(std::vector<Finding>& findings)
{
    if (::access(kLockFolder, W_OK | X_OK) == 0)
        findings.push_back({Verdict::kGood, kLockFolder, "takes lock files", {}});
    else
        findings.push_back({Verdict::kBad, kLockFolder,
                            "takes no lock files of this user, so every port looks held",
                            fmt::format("sudo chmod 1777 {}/", kLockFolder)});
}

void LookAtModemManager(std::vector<Finding>& findings)
{
    for (const std::string& process : Processes())
        if (FirstLine("/proc/" + process + "/comm") == "ModemManager") {
            findings.push_back({Verdict::kHint, "ModemManager",
                                "runs, and talks to every new port for some seconds",
                                fmt::format("wait that long after plugging in, or sudo systemctl stop "
                                            "ModemManager; for good: set up {}",
                                            kUdevRules)});
            return;
        }
}

std::vector<Finding> Look()
{
    std::vector<Finding> findings;
    const std::vector<Port> ports = ScanPorts();
    if (ports.empty())
        findings.push_back(
            {Verdict::kBad, "/dev/ttyACM*", "there is no such node",
             "plug the instrument in; if it is: sudo modprobe cdc_acm, and look at 'sudo dmesg'"});
    for (const Port& port : ports) {
        LookAtPermission(port, findings);
        LookAtLock(port, findings);
        LookAtUser(port, findings);
        LookAtPower(port, findings);
    }
    LookAtLockFolder(findings);
    LookAtModemManager(findings);
    return findings;
}

const char* NameOf(Verdict verdict)
{
    return verdict == Verdict::kGood ? "ok" : verdict == Verdict::kHint ? "hint" : "bad";
}

Exit Doctor(Context& context)
{
    const std::vector<Finding> findings = Look();
    std::string text;
    JsonValue list = JsonValue::Array();
    for (const Finding& finding : findings) {
        const std::string verdict = fmt::format("{:<5}", NameOf(finding.verdict));
        text += fmt::format("{} {} {}\n",
                            finding.verdict == Verdict::kBad    ? context.console.Bad(verdict)
                            : finding.verdict == Verdict::kGood ? context.console.Good(verdict)
                                                                : verdict,
                            finding.thing, finding.state);
        if (!finding.remedy.empty())
            text += fmt::format("      {}\n", finding.remedy);
        list.Append({{"verdict", NameOf(finding.verdict)},
                     {"thing", finding.thing},
                     {"state", finding.state},
                     {"remedy", finding.remedy}});
    }
    if (context.console.json)
        context.console.Result("doctor", {{"findings", list}});
    else
        context.console.Result(text);
    const bool bad =
        std::ranges::any_of(findings, [](const Finding& f) { return f.verdict == Verdict::kBad; });
    return bad ? Exit::kCheckFailed : Exit::kDone;
}

} // namespace

void AddDoctor(const Command& app, Context& context)
{
    const Command command =
        app.AddCommand("doctor", "what keeps the instrument from being found, and what mends it");
    command.Footer("Opens no port and changes nothing. Ends with 1 when something has to be mended.");
    AddCommonOptions(command, context);
    command.OnUse([&context] { context.job = [&context] { return Doctor(context); }; });
}

} // namespace zeka::cli
