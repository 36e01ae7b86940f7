// output_function.cpp (signal) - selection of the function that the instrument plays, and registration of the
// callbacks. The selection runs in a SetterFrame; the callback slots are published without the lock.
#include "device/exchange.h"
#include "device/output_stage.h"
#include "signal/apply.h"
#include "signal/frame.h"
#include "signal/standard_waveforms.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace {
constexpr std::int32_t kStreamSampleRate = 40000;
constexpr unsigned kSettleMs = 100; // the output stage needs this after a switch
} // namespace

int ZEKASetOutputFunction(int function)
{
    if (function == ZEKA_FUNCTION_IEC60601_2_47)
        zeka::PreparePattern247(); // up to 3.6 million samples: before the lock, so that no burst comes late
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    g_nSampleRate = kStreamSampleRate;
    g_hStopPlayEvent.ResetEvent(); // requests are answered with samples again
    zeka::Publish(g_MainOutput, function);
    if (!zeka::Peek(g_bECGGoing))
        zeka::DropStaleInput(); // a request of an earlier stream must not be answered
    zeka::ReleaseOutput();
    SetRelays(false);
    if (function == ZEKA_FUNCTION_BIPHASIC_EXPONENTIAL)
        _Change(); // it sets frequency and width, which must not wait for the old period
    else
        _ChangeRequested();
    zeka::PauseBehindFrame(kSettleMs);
    return zeka::kOk;
}

int ZEKAGetOutputFunction() { return zeka::Peek(g_MainOutput); }

void ZEKARegisterSignalOutputCallback(ZEKA_SIGNAL_CALLBACK callback) { zeka::Publish(g_GraphCB, callback); }

void ZEKARegisterPacingOutputCallback(ZEKA_SIGNAL_CALLBACK callback)
{
    zeka::Publish(g_PacingGraphCB, callback);
}

void ZEKARegisterOutputFunctionCallback(ZEKA_FUNCTION_CALLBACK callback)
{
    zeka::Publish(g_SyncMainFuncCB, callback);
}

void ZEKARegisterFrequencyCallback(ZEKA_FREQUENCY_CALLBACK callback)
{
    const CAutoCriticalSection lock(g_CriticalSection); // not between two reports of one sweep
    zeka::Publish(g_SyncFreqCB, callback);
}

void RegisterBaselineResetCB(ZEKA_STATE_CALLBACK callback) { zeka::Publish(g_BaselineResetCB, callback); }

void RegisterSyncDCOffsetCB(ZEKA_OFFSET_CALLBACK callback) { zeka::Publish(g_SyncDCOffsetCB, callback); }
