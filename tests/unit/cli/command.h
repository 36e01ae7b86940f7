// command.h - runs the zeka command with its output caught, for the tests.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zeka::test {

struct Outcome {
    int status = -1; // exit status, or 128 + signal
    std::string out;
    std::string err;

    /// stdout as one JSON value; a parse error fails the test by its exception.
    [[nodiscard]] nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

enum class Streams {
    kPipes,
    kTerminal,    // stdout and stderr are one terminal; all of it is in `out`
    kNobodyReads, // stdout is a pipe whose reader has gone
    kClosed,      // neither stdin nor stdout nor stderr is open
    kFull         // stdout is a disk without room
};

/// What the test wants to be different from its own environment.
struct Surroundings {
    Streams streams = Streams::kPipes;
    std::vector<std::string> environment = {}; // "NAME=value"; "NAME" removes it
    uid_t user = 0;                            // another one than root
};

/// A running command, in a process group of its own; killed and reaped at the end.
class Command {
public:
    explicit Command(const std::vector<std::string>& arguments, const Surroundings& surroundings = {});
    ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    [[nodiscard]] pid_t Pid() const { return pid_; }
    void Signal(int signal) const;
    /// Reads to the end of its output and waits for it; kills it when that takes longer than a test should.
    Outcome Wait();

private:
    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
};

Outcome RunZeka(const std::vector<std::string>& arguments, const Surroundings& surroundings = {});

/// The named row of what `play --sim --json` measured.
nlohmann::json Row(const nlohmann::json& result, const std::string& name);

} // namespace zeka::test
