// medium.h - what carries the instrument's bytes to a host and back: a pseudo-terminal (terminal.h) or the
// device end of a USB connection into the kernel (usb_device.h). Used by the instrument's thread alone.
// Destroying a medium is pulling the cable.
#pragma once

#include "sim/wire.h"

#include <poll.h>
#include <string>
#include <vector>

namespace zeka::sim {

enum class MediumKind {
    kTerminal, // a pseudo-terminal under the name of an ACM node
    kUsb,      // a CDC-ACM device on the kernel's virtual USB hub (vhci_hcd); needs root
};

/// kUsb where ZEKA_SIM_MEDIUM is "usb", else kTerminal.
MediumKind DefaultMedium();

/// How the cable is removed. On a pseudo-terminal all three are the same.
enum class Removal {
    kUnplug, // the hub removes the device at once
    kPull,   // as on a real bus: every transfer fails, and the hub notices some milliseconds later
    kCut,    // the connection to the hub breaks
};

class Medium {
public:
    Medium() = default;
    virtual ~Medium() = default;
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;

    /// The medium's own name, for people to read; empty where it has none.
    [[nodiscard]] virtual std::string Path() const = 0;
    /// The node that the kernel made for it; empty while there is none, or where the kernel makes none.
    [[nodiscard]] virtual std::string KernelNode() const { return {}; }

    /// Appends the descriptors to poll. Without `reading` the host's bytes are not waited for.
    virtual void AddTo(std::vector<pollfd>& set, bool reading, bool writing) const = 0;
    /// To be called after every wait, before reading.
    virtual void NoteEvents() = 0;
    /// Appends what has arrived, at most `limit` bytes. Returns their number.
    virtual std::size_t Read(std::vector<std::uint8_t>& into, std::size_t limit) = 0;
    /// Returns the number of bytes taken; 0 when there is no room.
    virtual std::size_t Write(Bytes bytes) = 0;
    /// Whether nothing reports that a host opens the medium, so that the caller must check again soon.
    [[nodiscard]] virtual bool MustLookAgain() const { return false; }

    /// Leaves requests for line settings unanswered, where the medium has such.
    virtual void SetDeaf(bool) {}
    /// Removes the cable in this manner. REQUIRES: only the destructor is called afterwards.
    virtual void Remove(Removal) {}
};

} // namespace zeka::sim
