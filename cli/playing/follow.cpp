// follow.cpp - the loop in which the main thread waits while the library's threads stream.
#include "cli/playing/follow.h"

#include "cli/instrument/session.h"
#include "cli/shell/interrupt.h"

#include <chrono>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLiveEvery{200};
constexpr milliseconds kStall{3000}; // without a sample: the instrument has stopped its requests

} // namespace

bool Follow(const std::function<Progress()>& look, const std::function<std::string()>& live, Console& console)
{
    auto progress = steady_clock::now();
    auto shown = progress - kLiveEvery;
    bool interrupted = false;
    while (!interrupted) {
        const Progress step = look();
        if (step == Progress::kDone)
            break;
        const auto now = steady_clock::now();
        if (step == Progress::kOn)
            progress = now;
        Session::EndIfLost();
        if (now - progress > kStall)
            throw Failure(Exit::kTimeOut, "the instrument asks for no more samples; unplug it and plug it in "
                                          "again, then run this again");
        if (console.HasLive() && now - shown >= kLiveEvery) {
            console.Live(live());
            shown = now;
        }
        interrupted = Interrupted();
    }
    return interrupted;
}

void SwitchOutputOff()
{
    if (ZEKASetOutputFunction(0) == 0)
        return;
    Session::EndIfLost();
    throw Failure(Exit::kTimeOut, "the instrument did not confirm that its output is off; unplug it");
}

} // namespace zeka::cli
