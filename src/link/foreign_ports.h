// foreign_ports.h (link) - which ports the search leaves alone: those whose USB ids say that they are another device,
// and for a while those that did not answer. A port is opened and asked by every search otherwise, about once a second,
// which another device's program or firmware may not like.
#pragma once

#include <array>
#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>

#include "platform/deadline.h"

namespace zeka {

/// One plug-in of a device: a node that went and came back is another one.
struct NodeId {
    dev_t file_system = 0;
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t changed_ns = 0;
    bool operator==(const NodeId&) const = default;
};

/// Nothing when there is no such node.
[[nodiscard]] std::optional<NodeId> IdentifyNode(const char* path);

/// The ports that a search has asked in vain. The first three times a port is asked as often as the search comes by;
/// then it is left alone for 2, 4, 8 and from then on 10 s each time, so that an instrument that was busy or mute is
/// still found soon. One that has answered before is asked every time; so is whatever is plugged in anew.
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
    std::string vendor, product; // four small hexadecimal digits, as the kernel writes them; empty: not known
};

/// Whether the node of this port is that of a USB device with other ids. False whenever that is not certain: ids not
/// given, no such entry under `sysfs` ("/sys"), or a node that is not the one of that entry.
[[nodiscard]] bool IsAnotherUsbDevice(const std::string& sysfs, int port, const NodeId& node,
                                      const UsbIds& ours);

} // namespace zeka
