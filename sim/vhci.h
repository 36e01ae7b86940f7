// vhci.h - the kernel's virtual USB hub (module vhci_hcd): plugs the far end of a USB/IP socket into one of
// its ports and finds the node that the kernel makes for it. Root only. Called by the instrument's thread.
#pragma once

#include <string>

namespace zeka::sim::vhci {

/// Full-speed ports of the hub; the ports after them have another speed.
inline constexpr int kPorts = 8;

/// Hands `socket` to the kernel, which reads the descriptors of the device behind it. Waits up to 2 s for a
/// port whose former device is still being removed. Throws std::system_error.
void Attach(int port, int socket);

/// Removes the device; false when there was none.
bool Detach(int port);

/// "/dev/ttyACM0" while the driver holds the device on this port, else empty.
std::string NodeOf(int port);

} // namespace zeka::sim::vhci
