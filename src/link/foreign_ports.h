// foreign_ports.h (link) - which ports the search leaves alone: those whose USB ids are those of another
// device, and for a while those that did not answer. Every search, about once a second, would otherwise open
// and ping them, which the program or firmware of another device may not tolerate.
#pragma once

#include <array>
#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>

#include "platform/deadline.h"

namespace zeka {

/// Identifies one plug-in of a device: a node that went and came back is a different one.
struct NodeId {
    dev_t file_system = 0;
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t changed_ns = 0;
    bool operator==(const NodeId&) const = default;
};

/// Empty when there is no such node.
[[nodiscard]] std::optional<NodeId> IdentifyNode(const char* path);

/// Remembers the ports that did not answer as the instrument. A port is tried at every search until its
/// fourth failure in a row. Then it is left alone for 2, 4, 8 and from then on 10 s each time, so that an
/// instrument that was busy or mute is still found soon. A port that has answered before, or was plugged in
/// anew, is tried at every search.
class ForeignPorts {
public:
    using Time = Deadline::Clock::time_point;

    [[nodiscard]] bool MayAsk(int port, const NodeId& node, Time now) const noexcept;
    void NoteAnswer(int port, const NodeId& node) noexcept;
    void NoteSilence(int port, const NodeId& node, Time now) noexcept;

private:
    struct Port {
        NodeId node;
        bool is_ours = false;
        unsigned failures = 0;
        Time next{};
    };
    std::array<Port, 128> ports_{};
};

struct UsbIds {
    // Four lower-case hexadecimal digits, as the kernel writes them; empty: unknown.
    std::string vendor, product;
};

/// Whether the node of this port is that of a USB device with other ids than ours. False whenever that is
/// uncertain: ids not given, no such entry under `sysfs` ("/sys"), or an entry that describes another node.
[[nodiscard]] bool IsAnotherUsbDevice(const std::string& sysfs, int port, const NodeId& node,
                                      const UsbIds& ours);

} // namespace zeka
