// output_stage.h (device) - the switches of the four output channels and the output state.
// All are called under g_CriticalSection, because a change is a read and a write-back, and no other thread
// may change the block between.
#pragma once

#include <cstdint>

#include "signal/state.h"
#include "zeka/zeka.h"

/// The 64-byte record that starts playback from the instrument's memory.
struct _DEVICE_CONTROL_SETTING {
    std::uint8_t bytes[64];
};

/// Sends whether a function is selected, and the sample rate. The argument has no effect.
void SetRelays(bool unused) ZEKA_NEEDS_LOCK;
namespace zeka {
/// HoldOutputOff makes SetRelays send "output off" until ReleaseOutput, because a lost connection leaves its
/// function selected, and nothing plays it until a stream or a playback starts.
void HoldOutputOff() ZEKA_NEEDS_LOCK;
void ReleaseOutput() ZEKA_NEEDS_LOCK;
} // namespace zeka
bool SetInputImpedanceMode(int c, int mode) ZEKA_NEEDS_LOCK;
int GetInputImpedanceMode(int c) ZEKA_NEEDS_LOCK;
bool SetSignalGroundToGNDGround(int c, bool on) ZEKA_NEEDS_LOCK;
bool GetSignalGroundToGNDGround(int c) ZEKA_NEEDS_LOCK;
/// Reads the settings of all four channels in one exchange; the caller has checked `size`. False, with
/// nothing filled, when the instrument does not answer.
bool ReadOutputStage(ZEKA_OUTPUT_STAGE& stage) ZEKA_NEEDS_LOCK;
bool SetOutputLead(int c, OutputLead lead) ZEKA_NEEDS_LOCK;
bool SetDcOffset(int c) ZEKA_NEEDS_LOCK;
bool SetCalibrationMode(bool on) ZEKA_NEEDS_LOCK;
bool SetOutputDac(int first, int second) ZEKA_NEEDS_LOCK;
bool GetDeviceControlSetting(_DEVICE_CONTROL_SETTING* out) ZEKA_NEEDS_LOCK;
