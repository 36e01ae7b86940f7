// identity.h (device) - the exchanges by which the instrument identifies itself (identity ping, information
// page, module query), and the records that they fill (identity_store.cpp).
#pragma once

#include <cstdint>

#include "link/identity_probe.h"
#include "zeka/zeka.h"

extern MODEL_INFORMATION g_ModelInfo; // as of the last identity exchange; kept after the device is closed
extern ZEKA_HW_INFORMATION g_ModuleHWInfo; // likewise
extern std::uint8_t s_DeviceHWInfo[64];    // the information page last read

/// Reads the information page and the module query into g_ModuleHWInfo; false when one is not answered.
bool GetHWInfo();
/// Whether the instrument answers an identity ping within 2000 ms; stores nothing.
bool WatchDog();
bool SetHWInfo(int setting0, int setting1);
bool SetModelInfo(MODEL_INFORMATION* info);
bool ResetHwStatus();
