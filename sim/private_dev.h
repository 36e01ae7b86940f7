// private_dev.h - runs a program in a world of its own in which it may make /dev/ttyACM nodes and lock files:
// a private /dev (with the machine's nodes, without its ttyACM ones) and a private, empty /var/lock. Whatever
// else the program sees is the machine's. The world ends with its last process.
//
// Root takes a mount namespace of its own; everybody else (and a root that may not) a user namespace with it,
// in which their own user appears as root.
#pragma once

namespace zeka::sim {

/// This process runs inside a private world.
bool InPrivateDev();

/// Nobody has tried yet to run this process in a private world.
bool MayEnterPrivateDev();

enum class NoPrivateDev {
    kFail,    // say on stderr what to do and return 125
    kRealDev, // root: run the program in the machine's own /dev; others as kFail
};

/// Runs a program (argv ends with a null pointer; argv[0] is looked up in PATH unless `file` says which to
/// run) in a private world, passes signals on to it, and returns its exit status, 128 + n when signal n ended
/// it, 126 or 127 when it could not be run. May be called while other threads run. Does not nest: inside it
/// runs the program as is.
int RunInPrivateDev(char* const argv[], NoPrivateDev otherwise, const char* file = nullptr);

/// Makes sure that the rest of main() runs in a private world: returns when already inside (or when root has
/// to make do with the machine's own /dev), else runs this very program again inside and exits with its
/// status.
void EnterPrivateDev(char* const argv[]);

/// Moves this very process into a private world, for good: 0, or an errno value. EBUSY: it runs several
/// threads, which only root may take along, and of those only the calling one moves. After any other failure
/// part of the way may be done.
int MoveIntoPrivateDev();

} // namespace zeka::sim
