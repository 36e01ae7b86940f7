// record_buffers.cpp (files) - recording of the sent samples into two buffers of the application. The stream
// fills them under g_CriticalSection; both calls here take it, so after DisableRecordRaw has returned no
// thread of the library touches the buffers any more.
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
