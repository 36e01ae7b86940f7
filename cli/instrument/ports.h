// ports.h - the ACM ports of this machine, without opening them: their nodes, who may open them, and who
// holds their lock files. Reads /dev, /sys and /var/lock; writes nothing.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zeka::cli {

inline constexpr int kPorts = 128; // the port numbers in which the library searches
inline constexpr const char* kLockFolder = "/var/lock";

enum class LockState {
    kFree,
    kHeld,       // by a running process
    kStale,      // by a process that has ended; the next user replaces it
    kUnreadable, // owned by another user, or no lock file
};

struct Lock {
    LockState state = LockState::kFree;
    std::string path;
    pid_t pid = 0;       // of the holder; 0: unknown
    std::string program; // name of the holder; empty: unknown
};

struct Port {
    int number = 0;
    std::string node; // "/dev/ttyACM0"
    bool may_open = false;
    std::string by_id;   // stable name in /dev/serial/by-id; empty: none
    std::string product; // from the USB descriptor; empty: no USB device
    std::string serial;
    Lock lock;
};

std::string NodeOf(int port);
Lock LockOf(int port);

/// The group of the node, by its name where it has one; "dialout" when the node is gone.
std::string GroupOf(const std::string& node);

/// The holder in words for a message: "zeka (process 4711)".
std::string HolderText(const Lock& lock);

/// The ports that exist, in rising order.
std::vector<Port> ScanPorts();

/// One port, even when no node has that number; `node` is empty then.
Port LookAtPort(int number);

} // namespace zeka::cli
