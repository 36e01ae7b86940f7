// pulled_cable.cpp - plays through a pulled cable: whenever the instrument is back, the signal is set up
// anew.
//     pulled_cable [CONNECTIONS]     ends when the instrument has been connected so often, without a number
//     never
//
// A new connection starts with nothing playing, so what it should play is kept here, not in the instrument.
// The listener runs on the library's supervisor thread and may call every function but ZEKAFree and
// ZEKAConnect; here it only hands the news to the main thread.
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <zeka/zeka.h>

namespace {

std::mutex mutex;
std::condition_variable changed;
int connections = 0; // guarded by mutex, as the next one
bool connected = false;

void OnConnection(bool now)
{
    const std::lock_guard lock(mutex);
    connected = now;
    connections += now ? 1 : 0;
    changed.notify_all();
}

/// The whole set-up. False when the instrument went again meanwhile: its loss is told like every other.
bool Play()
{
    return ZEKASetAmplitude(2.0) == 0 && ZEKASetFrequency(1.0) == 0 && ZEKASetOutputFunction(7) == 0;
}

void Say(const char* what)
{
    std::printf("%s\n", what);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    const int enough = argc > 1 ? std::atoi(argv[1]) : 0;
    if (!ZEKAInit(OnConnection)) { // looks for the instrument from now on, after a loss again
        std::fprintf(stderr, "cannot start a thread\n");
        return 1;
    }
    Say("waiting for an instrument");
    for (int seen = 0;;) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return connections > seen; });
        seen = connections;
        lock.unlock(); // the setters wait for the instrument, the listener must not wait for them
        Say(Play() ? "playing" : "gone before it played");
        if (seen == enough)
            break;
        lock.lock();
        changed.wait(lock, [&] { return !connected || connections > seen; });
        lock.unlock();
        Say("the cable was pulled");
    }
    SleepEx(500);
    ZEKAFree();
    return 0;
}
