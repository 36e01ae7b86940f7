// notify.h (signal) - calling an application's callback from the slot it was registered in.
#pragma once

#include "util/peek.h"

namespace zeka {

/// Calls the callback when there is one. The slot is read once: the application may clear it at any moment.
template <typename... Parameters, typename... Arguments>
void Notify(void (*const& slot)(Parameters...), Arguments... arguments)
{
    if (void (*const callback)(Parameters...) = Peek(slot))
        callback(arguments...);
}

} // namespace zeka
