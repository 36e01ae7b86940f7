// critical_section.cpp - the recursive lock and its scoped holder.
// Recursive because exported functions call one another while they hold it: the setter of the pacing
// amplitude calls the exported one that switches variable DC on. Handed over in order of arrival, because a
// thread that releases and takes an ordinary mutex in a loop gets it again and again and starves the others.
// Of the mutexes of the C library only the one with priority inheritance is handed over.
#include <cassert>

#include "platform/cancellation.h"
#include "platform/global_objects.h"

namespace zeka {
namespace {

/// How the calling thread holds g_CriticalSection.
struct Holding {
    int times = 0;                            // taken and not yet released
    int cancel_state = PTHREAD_CANCEL_ENABLE; // the thread's own, kept while it holds the lock
};
constinit thread_local Holding holding;

} // namespace

bool HoldsCriticalSection() noexcept { return holding.times > 0; }

CancelStateOfOwner::CancelStateOfOwner() noexcept
{
    if (holding.times > 0)
        ::pthread_setcancelstate(holding.cancel_state, nullptr);
}

CancelStateOfOwner::~CancelStateOfOwner()
{
    if (holding.times > 0)
        ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &holding.cancel_state);
}

} // namespace zeka

CSimpleCriticalSection::CSimpleCriticalSection()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
    if (pthread_mutex_init(&mutex_, &attributes) != 0) { // a kernel without priority inheritance
        pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_NONE);
        pthread_mutex_init(&mutex_, &attributes);
    }
    pthread_mutexattr_destroy(&attributes);
}

// The analysis takes the effect of Lock and Unlock from their declarations, because it cannot follow a
// pthread mutex. For a section that the application made they only lock and unlock the mutex.
void CSimpleCriticalSection::Lock() ZEKA_NO_LOCK_ANALYSIS
{
    if (this != &g_CriticalSection) {
        pthread_mutex_lock(&mutex_);
        return;
    }
    int cancel_state = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
    pthread_mutex_lock(&mutex_);
    if (zeka::holding.times++ == 0)
        zeka::holding.cancel_state = cancel_state;
}

void CSimpleCriticalSection::Unlock() ZEKA_NO_LOCK_ANALYSIS
{
    if (this != &g_CriticalSection) {
        pthread_mutex_unlock(&mutex_);
        return;
    }
    assert(zeka::holding.times > 0);
    const bool last = --zeka::holding.times == 0;
    pthread_mutex_unlock(&mutex_);
    if (last)
        pthread_setcancelstate(zeka::holding.cancel_state, nullptr);
}

CAutoCriticalSection::CAutoCriticalSection(CSimpleCriticalSection& section) : section_(section)
{
    section_.Lock();
}
CAutoCriticalSection::~CAutoCriticalSection() { section_.Unlock(); }
