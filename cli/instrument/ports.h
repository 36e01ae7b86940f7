// ports.h - the ACM ports of this machine as far as one can tell without opening them: their nodes, who may
// open them, and who holds their lock files. Reads /dev, /sys and /var/lock; writes nothing.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zeka::cli {

inline constexpr int kPorts = 128; // the numbers in which an instrument is looked for
inline constexpr const char* kLockFolder = "/var/lock";

enum class LockState {
    kFree,
    kHeld,       // by a process that lives
    kStale,      // of a process that is gone; the next user takes it over
    kUnreadable, // somebody else's, or not a lock file at all
};

struct Lock {
    LockState state = LockState::kFree;
    std::string path;
    pid_t pid = 0;       // of the holder, 0 when unknown
    std::string program; // its name, empty when unknown
};

struct Port {
    int number = 0;
    std::string node; // "/dev/ttyACM0"
    bool may_open = false;
    std::string by_id;   // stable name below /dev/serial/by-id, empty when there is none
    std::string product; // as the USB descriptor says; empty for what is no USB device
    std::string serial;
    Lock lock;
};

std::string NodeOf(int port);
Lock LockOf(int port);

/// The group that the node belongs to, by its name where it has one; "dialout" when the node is gone.
std::string GroupOf(const std::string& node);

/// Whose name the holder has for a message: "zeka (process 4711)".
std::string HolderText(const Lock& lock);

/// The ports that are there, in rising order.
std::vector<Port> ScanPorts();

/// One port, also when there is no node of that number (then `node` is empty).
Port LookAtPort(int number);

} // namespace zeka::cli
