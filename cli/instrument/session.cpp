// session.cpp - connects through the library, in a private world for the virtual instrument, and explains why
// a connection fails by what can be observed from outside.
#include "cli/instrument/session.h"

#include "cli/instrument/ports.h"
#include "cli/shell/interrupt.h"
#include "sim/private_dev.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>
#include <unistd.h>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr double kUsualWaitS = 5.0;
constexpr milliseconds kSlice{3000}; // of the wait, between two checks for Ctrl-C

std::atomic<bool> lost{false};

void OnConnection(bool connected) // on the library's thread
{
    if (!connected)
        lost = true;
}

/// The node of the port that the library has open; the node may be a symbolic link to the open file.
std::string NodeOfHandle()
{
    std::error_code gone;
    const auto device =
        std::filesystem::canonical(fmt::format("/proc/self/fd/{}", ZEKAGetDeviceHandle()), gone);
    if (gone)
        return {};
    for (const Port& port : ScanPorts())
        if (std::filesystem::canonical(port.node, gone) == device && !gone)
            return port.node;
    return device.string();
}

std::string VersionText()
{
    const unsigned version = ZEKAGetVersion(); // four numbers, one per byte
    return fmt::format("{}.{}.{}.{}", version >> 24, version >> 16 & 0xFF, version >> 8 & 0xFF,
                       version & 0xFF);
}

const char* const kUseVirtual = "or use the built-in virtual instrument with --sim";

[[noreturn]] void ThrowNothingThere(int port)
{
    if (port >= 0)
        throw Failure(Exit::kNoInstrument,
                      fmt::format("no instrument: there is no {}; plug it in and wait for it with "
                                  "--wait, {}",
                                  NodeOf(port), kUseVirtual));
    throw Failure(
        Exit::kNoInstrument,
        fmt::format("no instrument: there is no /dev/ttyACM node; plug it in and wait for it with --wait, {}",
                    kUseVirtual));
}

[[noreturn]] void ThrowNoPermission(const Port& port)
{
    throw Failure(
        Exit::kPermission,
        fmt::format("no permission to open {}; run 'sudo usermod -aG {} $USER', log out and in again",
                    port.node, GroupOf(port.node)));
}

[[noreturn]] void ThrowHeld(const Port& port)
{
    throw Failure(Exit::kHeld,
                  fmt::format("{} is held by {}; end that program, or name another port with --port",
                              port.node, HolderText(port.lock)));
}

void CheckLockFolder()
{
    if (::access(kLockFolder, W_OK | X_OK) != 0 && ::access(kLockFolder, F_OK) == 0)
        throw Failure(Exit::kPermission,
                      fmt::format("no permission to make a lock file in {}; run 'sudo chmod 1777 {}/'",
                                  kLockFolder, kLockFolder));
}

std::vector<Port> PortsInQuestion(int port)
{
    if (port < 0)
        return ScanPorts();
    Port one = LookAtPort(port);
    return one.node.empty() ? std::vector<Port>{} : std::vector<Port>{std::move(one)};
}

/// Throws the reason why there is no connection, by what can be observed from outside.
[[noreturn]] void ThrowReason(int port, double waited_s)
{
    const std::vector<Port> ports = PortsInQuestion(port);
    if (ports.empty())
        ThrowNothingThere(port);
    CheckLockFolder();
    for (const Port& one : ports)
        if (one.lock.state == LockState::kHeld || one.lock.state == LockState::kUnreadable)
            ThrowHeld(one);
    for (const Port& one : ports)
        if (!one.may_open)
            ThrowNoPermission(one);
    if (port >= 0)
        throw Failure(Exit::kTimeOut,
                      fmt::format("{} did not answer as an instrument within {} s; name another port "
                                  "with --port, or wait longer with --wait",
                                  ports.front().node, waited_s));
    std::vector<std::string> nodes;
    std::ranges::transform(ports, std::back_inserter(nodes), &Port::node);
    throw Failure(Exit::kNoInstrument,
                  fmt::format("no instrument: {} did not answer as one within {} s; look after "
                              "its cable, {}",
                              fmt::join(nodes, ", "), waited_s, kUseVirtual));
}

/// Throws for a trouble that no waiting fixes, before any time is spent.
void LookFirst(int port)
{
    const std::vector<Port> ports = PortsInQuestion(port);
    if (ports.empty())
        ThrowNothingThere(port);
    const auto hopeless = [](const Port& one) { return !one.may_open || one.lock.state == LockState::kHeld; };
    if (std::ranges::all_of(ports, hopeless))
        ThrowReason(port, 0.0);
}

} // namespace

Session::Session(const ConnectOptions& options, Context& context)
{
    int port = options.port;
    if (options.virtual_one) {
        sim::EnterPrivateDev(context.argv);
        PlugVirtual(options);
        port = virtual_->State().port;
    }
    CatchInterrupts();
    try {
        Connect(port, options);
    } catch (...) {
        ZEKAFree();
        throw;
    }
    MODEL_INFORMATION model{};
    (void)ZEKAGetDeviceInformation(&model); // 0: lost again, which the next call detects
    identity_.serial = ZEKAGetSerialNumber();
    identity_.model =
        fmt::format("{}{}{:02X}{:02X}", static_cast<char>(model.ModelCode[0]),
                    static_cast<char>(model.ModelCode[1]), model.ModelCode[2], model.ModelCode[3]);
    identity_.node = virtual_ ? virtual_->State().node : NodeOfHandle();
    identity_.version = VersionText();
    identity_.virtual_one = virtual_ != nullptr;
    context.console.Note(fmt::format("found {}, model {}, at {}{}, library {}", identity_.serial,
                                     identity_.model, identity_.node, virtual_ ? " (virtual instrument)" : "",
                                     identity_.version));
}

Session::~Session()
{
    (void)ZEKASetOutputFunction(0); // a lost instrument cannot be switched off
    ZEKAFree();
}

bool Session::Lost() { return lost || !ZEKAIsConnected(); }

void Session::EndIfLost()
{
    if (Lost())
        throw Failure(Exit::kLost,
                      "the connection to the instrument was lost; look after its cable and run this again");
}

void Session::PlugVirtual(const ConnectOptions& options)
{
    sim::InstrumentConfig config;
    config.guard_node = true;
    config.player.clock = options.fast ? sim::ClockMode::kFast : sim::ClockMode::kReal;
    virtual_ = std::make_unique<sim::Instrument>(config);
    // In a private world every port is free; in the machine's own /dev, which root
    // may have to use, it may not be.
    int port = std::max(options.port, 0);
    for (;; ++port) {
        try {
            virtual_->Plug(port);
            return;
        } catch (const std::system_error& error) {
            if (error.code() != std::errc::file_exists || options.port >= 0 || port + 1 >= kPorts)
                throw Failure(Exit::kPermission,
                              fmt::format("cannot plug the virtual instrument in: {}; name another "
                                          "port with --port",
                                          error.what()));
        }
    }
}

void Session::Connect(int port, const ConnectOptions& options)
{
    if (!options.wait_s)
        LookFirst(port);
    const double wait_s = options.wait_s.value_or(kUsualWaitS);
    const auto end = steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(
                                               std::chrono::duration<double>(wait_s));
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        if (left.count() <= 0)
            ThrowReason(port, wait_s);
        if (ZEKAConnect(port, static_cast<unsigned>(std::min(left, kSlice).count())) == 1)
            break;
        EndIfInterrupted(OutputWas::kNeverOn);
    }
    (void)ZEKAInit(OnConnection); // already running; this only sets the callback
    EndIfInterrupted(OutputWas::kNeverOn);
    EndIfLost();
}

JsonValue ToJson(const Identity& identity)
{
    return {{"serial", identity.serial},
            {"model", identity.model},
            {"node", identity.node},
            {"virtual", identity.virtual_one},
            {"library", identity.version}};
}

} // namespace zeka::cli
