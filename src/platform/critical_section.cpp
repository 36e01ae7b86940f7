// critical_section.cpp - the recursive lock and its scoped holder.
// Recursive because exported functions call one another while they hold it: a setter that switches variable
// DC on calls the setter an application would call. Handed over in the order of arrival: an ordinary mutex
// goes again and again to a thread that releases and takes it in a loop, and another one's call never comes
// to its turn. Of the mutexes of the C library only the one with priority inheritance is handed over.
#include "zeka/platform.hpp"

CSimpleCriticalSection::CSimpleCriticalSection()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
    if (pthread_mutex_init(&mutex_, &attributes) != 0) { // a kernel that cannot
        pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_NONE);
        pthread_mutex_init(&mutex_, &attributes);
    }
    pthread_mutexattr_destroy(&attributes);
}

// The analysis knows what the two do from their declarations; it cannot follow a pthread mutex inside them.
void CSimpleCriticalSection::Lock() ZEKA_NO_LOCK_ANALYSIS { pthread_mutex_lock(&mutex_); }
void CSimpleCriticalSection::Unlock() ZEKA_NO_LOCK_ANALYSIS { pthread_mutex_unlock(&mutex_); }

CAutoCriticalSection::CAutoCriticalSection(CSimpleCriticalSection& section) : section_(section)
{
    section_.Lock();
}
CAutoCriticalSection::~CAutoCriticalSection() { section_.Unlock(); }
