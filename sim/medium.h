// medium.h - what carries the instrument's bytes to a host and back: a pseudo-terminal (terminal.h) or the
// device end of a USB connection into the kernel (usb_device.h). Used by the instrument's thread alone. A
// medium that is destroyed is a pulled cable.
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

/// How the cable goes. On a pseudo-terminal all three are the same.
enum class Removal {
    kUnplug, // the hub takes the device away at once
    kPull,   // as on a real bus: every transfer fails, and some milliseconds later the hub notices
    kCut,    // the connection to the hub breaks
};

class Medium {
public:
    Medium() = default;
    virtual ~Medium() = default;
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;

    /// A name of its own, for people; empty where it has none.
    [[nodiscard]] virtual std::string Path() const = 0;
    /// The node that the kernel has made for it; empty while there is none, or where the kernel makes none.
    [[nodiscard]] virtual std::string KernelNode() const { return {}; }

    /// Appends what is to be waited for. Without `reading` nothing is said of the host's bytes.
    virtual void AddTo(std::vector<pollfd>& set, bool reading, bool writing) const = 0;
    /// To be called after every wait, before reading.
    virtual void NoteEvents() = 0;
    /// Appends what has arrived; at most `limit` bytes. How many those were.
    virtual std::size_t Read(std::vector<std::uint8_t>& into, std::size_t limit) = 0;
    /// How many bytes were taken; 0 when there is no room.
    virtual std::size_t Write(Bytes bytes) = 0;
    /// Nothing tells when a host comes: look again soon.
    [[nodiscard]] virtual bool MustLookAgain() const { return false; }

    /// The requests for line settings stay unanswered, where there are such.
    virtual void SetDeaf(bool) {}
    /// The cable goes, in this manner; only destruction may follow.
    virtual void Remove(Removal) {}
};

} // namespace zeka::sim
