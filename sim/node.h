// node.h - the name under which a host finds the instrument: /dev/ttyACM<n>, a symbolic link to its terminal.
//
// An abstract socket marks who holds a name, because it disappears with its process, however that ends. So a
// link that a killed instrument left behind is replaced, and a link of a running instrument or a real device
// never is. A guarded link is also removed at once when the process is killed, by a small watchdog process.
#pragma once

#include "sim/terminal.h"

#include <string>

namespace zeka::sim {

class Node {
public:
    Node() = default;
    /// Publishes `terminal` as /dev/ttyACM<port>. Throws std::system_error: EEXIST when the name is taken by
    /// a device or another instrument, EACCES when /dev is not writable.
    Node(int port, const std::string& terminal, bool guarded);
    ~Node() { Remove(); }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    void Publish(int port, const std::string& terminal, bool guarded);
    void Remove();

    [[nodiscard]] const std::string& Path() const { return path_; }

    /// "/dev/ttyACM<port>"
    static std::string PathOf(int port);

private:
    void StartWatchdog();

    std::string path_;
    std::string target_;
    Descriptor claim_;
    Descriptor watchdog_; // the watchdog acts when this end of its pipe closes
};

} // namespace zeka::sim
