// medium.cpp - see medium.h.
#include "sim/medium.h"

#include <cstdlib>
#include <string_view>

namespace zeka::sim {

MediumKind DefaultMedium()
{
    const char* wanted = std::getenv("ZEKA_SIM_MEDIUM"); // NOLINT(concurrency-mt-unsafe): set before main()
    return wanted != nullptr && std::string_view(wanted) == "usb" ? MediumKind::kUsb : MediumKind::kTerminal;
}

} // namespace zeka::sim
