// identity_store.cpp (device) - the records of the last identity exchange and the lock that keeps them whole.
#include "device/identity_store.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <mutex>

#include "platform/renewed_in_child.h"

#include "device/identity.h"

constinit MODEL_INFORMATION g_ModelInfo = {};
constinit ZEKA_HW_INFORMATION g_ModuleHWInfo = {};
constinit std::uint8_t s_DeviceHWInfo[64] = {};

namespace zeka {
namespace {

constinit std::mutex store_lock; // a leaf: nothing is locked inside
const RenewedInChild in_child([] { std::construct_at(&store_lock); });

} // namespace

void StoreModel(const MODEL_INFORMATION& model)
{
    const std::scoped_lock hold(store_lock);
    g_ModelInfo = model;
}

void StoreHardware(const ZEKA_HW_INFORMATION& hardware)
{
    const std::scoped_lock hold(store_lock);
    g_ModuleHWInfo = hardware;
}

void StoreInformationPage(const Block& information)
{
    const std::scoped_lock hold(store_lock);
    std::copy(information.begin(), information.end(), s_DeviceHWInfo);
}

MODEL_INFORMATION LoadModel()
{
    const std::scoped_lock hold(store_lock);
    return g_ModelInfo;
}

ZEKA_HW_INFORMATION LoadHardware()
{
    const std::scoped_lock hold(store_lock);
    return g_ModuleHWInfo;
}

} // namespace zeka
