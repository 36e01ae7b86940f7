// session.h - a connection to the instrument for as long as the object lives. However the command
// ends, the destructor switches the output off and disconnects. One at a time, because the library
// has one connection per process.
#pragma once

#include "cli/instrument/connect_options.h"
#include "sim/instrument.h"

#include <memory>
#include <string>

namespace zeka::cli {

struct Identity {
    std::string serial;  // "ZZE023A-210345"
    std::string model;   // "ZE023A"
    std::string node;    // "/dev/ttyACM0"
    std::string version; // of the library: "1.0.5.2"
    bool virtual_one = false;
};

class Session {
public:
    /// Connects and reads the instrument's identity. For the virtual one it first runs the whole program
    /// again in a private world, so everything before must be free of side effects. Throws Failure.
    Session(const ConnectOptions& options, Context& context);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] const Identity& Who() const { return identity_; }

    /// Null when a real instrument is connected.
    [[nodiscard]] sim::Instrument* Virtual() const { return virtual_.get(); }

    /// Whether the connection was lost at any time, even if it is back.
    [[nodiscard]] static bool Lost();

    /// Throws Failure when the connection was lost.
    static void EndIfLost();

private:
    void PlugVirtual(const ConnectOptions& options);
    void Connect(int port, const ConnectOptions& options);

    std::unique_ptr<sim::Instrument> virtual_;
    Identity identity_;
};

JsonValue ToJson(const Identity& identity);

} // namespace zeka::cli
