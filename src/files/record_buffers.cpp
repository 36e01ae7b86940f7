// record_buffers.cpp (files) - records the computed samples into two buffers of the application. The stream
// fills them under g_CriticalSection. Both calls here take it too, so no thread of the library touches the
// buffers after DisableRecordRaw has returned.
#include "signal/state.h"
#include "zeka/zeka.h"

bool EnableRecordRaw(double* ac, double* dc, int length)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (s_EnableRecord)
        return false;
    s_EnableRecord = true;
    s_AcBuffer = ac;
    s_DcBuffer = dc;
    s_RecordLength = length;
    s_RecordIndex = 0;
    return true;
}

void DisableRecordRaw()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    s_EnableRecord = false;
    s_AcBuffer = nullptr;
    s_DcBuffer = nullptr;
    s_RecordLength = 0;
    s_RecordIndex = 0;
}
