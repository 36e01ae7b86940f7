// monitor.h (connection) - the device monitor, the notification registry and the library instance.
#pragma once

#include <string>

#include "zeka/platform.hpp"

/// Watches the open device's node from load to unload, while monitoring is on.
class CAutoMonitor {
public:
    explicit CAutoMonitor(const char* name); // starts the thread; the name is accepted and not stored
    ~CAutoMonitor();                         // ends the thread and waits for it, at most 500 ms
    CAutoMonitor(const CAutoMonitor&) = delete;
    CAutoMonitor& operator=(const CAutoMonitor&) = delete;

    void Start();          // starts the thread: at load, and in a forked process that takes the library over
    void End(unsigned ms); // asks the thread to end, and joins it when it does within ms
    void NoteEnded();      // the thread's last act
    void ForgetThread();   // for a forked process, which has no such thread
    void StartMonitor();
    void PauseMonitor();
    bool IsMonitored();

private:
    unsigned long thread_ = 0; // 0: it could not be started, or has ended
    CManualResetEvent ended_;
    CManualResetEvent monitoring_;
};

/// The working directory of the library.
class CInstance {
public:
    std::string GetWorkingDirectory();

private:
    const char* directory_ = "./";
};

extern CAutoMonitor g_AutoMonitor;
extern CInstance g_Instance;

void* MonitorDeviceThread(void*);
