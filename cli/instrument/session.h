// session.h - a connection to the instrument for as long as the object lives. However the command ends, the
// output is switched off and the instrument let go of in the destructor. One at a time: the library below has
// one connection per process.
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
    /// Finds the instrument and notes who it is. For the virtual one the whole program is run again in a
    /// world of its own first, so everything before must be free of effects. Throws Failure.
    Session(const ConnectOptions& options, Context& context);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] const Identity& Who() const { return identity_; }

    /// Null when the real one is driven.
    [[nodiscard]] sim::Instrument* Virtual() const { return virtual_.get(); }

    /// The connection was lost at some time, even if it is back.
    [[nodiscard]] static bool Lost();

    /// Throws Failure when it was lost.
    static void EndIfLost();

private:
    void PlugVirtual(const ConnectOptions& options);
    void Connect(int port, const ConnectOptions& options);

    std::unique_ptr<sim::Instrument> virtual_;
    Identity identity_;
};

JsonValue ToJson(const Identity& identity);

} // namespace zeka::cli
