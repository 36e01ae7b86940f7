// socket_pair.h - two connected sockets, the near one in place of the open port.
#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <sys/socket.h>

namespace zeka::test {

/// What is written at one end arrives at the other. The test closes both.
struct SocketPair {
    int near = -1; // never blocks, as the library opens its port
    int far = -1;  // blocks
};

/// type: SOCK_STREAM, or SOCK_SEQPACKET for writes that arrive as one message each.
inline SocketPair MakeSocketPair(int type)
{
    int ends[2];
    if (::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends) != 0 ||
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0)
        std::abort();
    return {ends[0], ends[1]};
}

} // namespace zeka::test
