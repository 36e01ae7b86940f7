// mapping.cpp (platform) - see mapping.h.
#include "platform/mapping.h"

#include <dlfcn.h>

namespace zeka {

void StayMapped() noexcept
{
    static const char anchor = 0; // lies in the library
    Dl_info library{};
    if (::dladdr(&anchor, &library) != 0 && library.dli_fname != nullptr)
        (void)::dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

} // namespace zeka
