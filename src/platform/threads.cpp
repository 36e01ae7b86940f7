// threads.cpp - threads, sleeping, closing a descriptor.
// Called by the application and by connection/, which starts the supervisor and the poll threads here.
#include <unistd.h>

#include <cerrno>
#include <climits>

#include <type_traits>

#include "platform/deadline.h"
#include "zeka/platform.hpp"

void zeka::SleepUntil(Deadline deadline)
{
    const timespec at = deadline.ToTimespec();
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr) == EINTR) {
    }
}

void SleepEx(unsigned int ms)
{
    if (ms != 0)
        zeka::SleepUntil(zeka::Deadline::InMs(ms));
}

int CloseHandle(int64_t handle)
{
    if (handle < 0 || handle > INT_MAX)
        return 0; // truncated to an int it could be another descriptor
    return ::close(static_cast<int>(handle)) == 0 ? 1 : 0;
}

int CreateThread(unsigned long* threadId, void* (*start)(void*), void* arg)
{
    // The C library stores the id before the thread runs, so the thread itself may read it.
    static_assert(std::is_same_v<pthread_t, unsigned long>);
    return pthread_create(threadId, nullptr, start, arg) == 0 ? 1 : 0;
}

// Does nothing, because joining a thread releases it. The name stays for programs
// that pair it with CreateThread.
void CloseThread(unsigned long) {}
