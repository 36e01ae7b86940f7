// notify.h (signal) - calls an application's callback from the slot in which it was registered.
#pragma once

#include "platform/cancellation.h"
#include "util/peek.h"

namespace zeka {

/// Calls the callback when there is one. Reads the slot once, because the application may clear it at any
/// moment. The callback may be cancelled and may end its thread, as any code of the application.
template <typename... Parameters, typename... Arguments>
void Notify(void (*const& slot)(Parameters...), Arguments... arguments)
{
    if (void (*const callback)(Parameters...) = Peek(slot)) {
        const CancelStateOfOwner while_it_runs;
        callback(arguments...);
    }
}

} // namespace zeka
