// calibration.cpp (device) - the exported calls for manufacturing and calibration. They hold
// g_CriticalSection for their whole run and, except for ZEKAWriteDCCalibrationData, neither wait for a
// request nor check for a device first: without a device the exchange fails, and that is the result.
#include "device/memory.h"
#include "device/output_stage.h"
#include "link/serial_link.h"
#include "signal/frame.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr int kDone = 1;
constexpr int kFailed = 0;
constexpr int kBusy = 1; // ZEKAWriteDCCalibrationData alone

} // namespace
} // namespace zeka

int ZEKASetCalibrationMode(bool)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return SetCalibrationMode(true) ? zeka::kDone : zeka::kFailed; // on, whatever the argument
}

int ZEKASetOutputDac(int first, int second)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return SetOutputDac(first, second) ? zeka::kDone : zeka::kFailed;
}

int ZEKAReadMfgInfo(unsigned char* buffer, int length)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return ReadECGMfgInfo(buffer, length);
}

int ZEKAWriteMfgInfo(unsigned char* buffer, int length)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return WriteECGMfgInfo(buffer, length) ? zeka::kDone : zeka::kFailed;
}

int ZEKASetDCOffsetCalibrationData(int channel, int value)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return SetDcOffsetCalibration(static_cast<unsigned char>(channel & 0xFF), value);
}

int ZEKAWriteDCCalibrationData(int index, int value)
{
    // Unlike the setters, this one waits before it takes the lock.
    if (zeka::WaitForRequest() == zeka::FrameState::kBusy)
        return zeka::kBusy;
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return zeka::kFailed;
    return WriteDCVariableCalibrationData(index, static_cast<unsigned short>(value & 0xFFFF));
}

int ZEKASetFixedDCByDAC(int) { return 0; }

int ZEKAUpdateFwLoadFirmwareFile(void*, void*, void*, void*) { return -1; }

void ZEKAUpdateFwBurnBinFile(void*) {}
