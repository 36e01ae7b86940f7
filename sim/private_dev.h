// private_dev.h - runs a program in a private world in which it may make /dev/ttyACM nodes and lock files:
// with a /dev of its own (the machine's nodes without its ttyACM ones) and an empty /var/lock of its own.
// Everything else is the machine's. The world ends with its last process.
//
// Root uses a mount namespace; other users, and a root that may not, also a user
// namespace, in which they appear as root.
#pragma once

namespace zeka::sim {

/// Whether this process runs inside a private world.
bool InPrivateDev();

/// Whether no attempt has been made yet to run this process in a private world.
bool MayEnterPrivateDev();

enum class NoPrivateDev {
    kFail,    // print on stderr what to do and return 125
    kRealDev, // for root: run the program in the machine's own /dev; for others like kFail
};

/// Runs a program in a private world and forwards signals to it. `argv` ends with a null pointer; argv[0] is
/// looked up in PATH unless `file` names the program. Returns the program's exit status, 128 + n when signal
/// n ended it, 126 or 127 when it could not be run. May be called while other threads run. Does not nest:
/// inside a private world it runs the program as is.
int RunInPrivateDev(char* const argv[], NoPrivateDev otherwise, const char* file = nullptr);

/// Ensures that the rest of main() runs in a private world. Returns when already inside, or when root has to
/// use the machine's own /dev; else runs this program again inside and exits with its status.
void EnterPrivateDev(char* const argv[]);

/// Moves this process into a private world for good. Returns 0 or an errno value. EBUSY: the process has
/// several threads; only root may move then, and only the calling thread moves. After any other failure part
/// of the move may have been made.
int MoveIntoPrivateDev();

} // namespace zeka::sim
