// vhci.h - the kernel's virtual USB hub (module vhci_hcd): plugs the far end of a socket that speaks USB/IP
// into one of its ports, and says which node came of it. Root only. Called by the instrument's thread.
#pragma once

#include <string>

namespace zeka::sim::vhci {

/// Full-speed ports of the hub; beyond them lie those of another speed.
inline constexpr int kPorts = 8;

/// Hands `socket` to the kernel, which asks the device behind it for its descriptors. Waits up to 2 s for a
/// port whose former device is still going. Throws std::system_error.
void Attach(int port, int socket);

/// Takes the device away; false when there was none.
bool Detach(int port);

/// "/dev/ttyACM0" once the driver has taken the device on this port, empty before and after.
std::string NodeOf(int port);

} // namespace zeka::sim::vhci
