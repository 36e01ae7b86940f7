// list.cpp - zeka list: lists the ports on which an instrument may be, without opening them. With --probe it
// reads the identity on those that no process holds.
#include "cli/commands/commands.h"

#include "cli/instrument/ports.h"
#include "cli/instrument/session.h"
#include "cli/shell/options.h"

#include <fmt/format.h>
#include <memory>
#include <optional>
#include <utility>

namespace zeka::cli {
namespace {

struct Entry {
    Port port;
    std::optional<Identity> instrument; // as far as it was probed
};

std::string LockText(const Lock& lock)
{
    switch (lock.state) {
    case LockState::kFree:
        return "free";
    case LockState::kHeld:
        return "held by " + HolderText(lock);
    case LockState::kStale:
        return fmt::format("free (lock of process {}, which is gone)", lock.pid);
    case LockState::kUnreadable:
        return "held by " + HolderText(lock);
    }
    return {};
}

const char* StateName(LockState state)
{
    switch (state) {
    case LockState::kFree:
        return "free";
    case LockState::kHeld:
        return "held";
    case LockState::kStale:
        return "stale";
    case LockState::kUnreadable:
        break;
    }
    return "unreadable";
}

/// Connects briefly; returns nothing when no instrument answers on the port.
std::optional<Identity> Probe(const Port& port, Context& context)
{
    constexpr double kProbeS = 1.5;
    if (!port.may_open || (port.lock.state != LockState::kFree && port.lock.state != LockState::kStale))
        return std::nullopt;
    ConnectOptions options;
    options.port = port.number;
    options.wait_s = kProbeS;
    Context silent;
    silent.argv = context.argv;
    silent.console.quiet = true;
    try {
        return Session(options, silent).Who();
    } catch (const Failure& failure) {
        if (failure.Code() == Exit::kInterrupted)
            throw;
        context.console.Detail(failure.what());
        return std::nullopt;
    }
}

std::string TextOf(const Entry& entry)
{
    const Port& port = entry.port;
    std::string text = fmt::format("{:<14} {}", port.node, LockText(port.lock));
    if (!port.may_open)
        text += ", no permission to open it";
    if (!port.product.empty() || !port.serial.empty())
        text += fmt::format(", USB {} {}", port.product, port.serial);
    if (entry.instrument)
        text += fmt::format(", instrument {}, model {}", entry.instrument->serial, entry.instrument->model);
    text += '\n';
    if (!port.by_id.empty())
        text += fmt::format("{:<14} {}\n", "", port.by_id);
    return text;
}

JsonValue JsonOf(const Entry& entry)
{
    const Port& port = entry.port;
    JsonValue object{{"port", port.number},     {"node", port.node},     {"by_id", port.by_id},
                     {"product", port.product}, {"serial", port.serial}, {"may_open", port.may_open}};
    object["lock"] = {
        {"state", StateName(port.lock.state)}, {"pid", port.lock.pid}, {"program", port.lock.program}};
    object["instrument"] = entry.instrument ? ToJson(*entry.instrument) : JsonValue(nullptr);
    return object;
}

Exit List(bool probe, Context& context)
{
    std::vector<Entry> entries;
    for (Port& port : ScanPorts()) {
        std::optional<Identity> instrument = probe ? Probe(port, context) : std::nullopt;
        entries.push_back({std::move(port), std::move(instrument)});
    }
    if (context.console.json) {
        JsonValue ports = JsonValue::Array();
        for (const Entry& entry : entries)
            ports.Append(JsonOf(entry));
        context.console.Result("list", {{"ports", ports}});
    } else {
        std::string text;
        for (const Entry& entry : entries)
            text += TextOf(entry);
        context.console.Result(text);
    }
    if (!entries.empty())
        return Exit::kDone;
    context.console.Note("no /dev/ttyACM node is there; plug the instrument in, or try a command with --sim");
    return Exit::kCheckFailed;
}

} // namespace

void AddList(const Command& app, Context& context)
{
    auto probe = std::make_shared<bool>(false);
    const Command command = app.AddCommand("list", "the ports on which an instrument may be");
    command.Footer("Nothing is opened, unless --probe is given. Ends with 1 when there is no port.");
    command
        .AddFlag("--probe", *probe,
                 "ask the free ones who they are; this sets lead 0 and impedance mode 0 on all channels")
        .Group("Instrument");
    AddCommonOptions(command, context);
    command.OnUse([probe, &context] { context.job = [probe, &context] { return List(*probe, context); }; });
}

} // namespace zeka::cli
