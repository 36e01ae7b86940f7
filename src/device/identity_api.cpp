// identity_api.cpp (device) - the exported identity calls. The getters of records take no g_CriticalSection
// and perform no exchange: they return what the identity exchange stored.
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

#include "device/identity.h"
#include "device/identity_store.h"
#include "link/serial_link.h"
#include "platform/renewed_in_child.h"
#include "signal/frame.h"
#include "util/peek.h"
#include "util/text.h"

namespace zeka {
namespace {

constexpr char kVersion[] = "1.0.5.2";
constexpr std::size_t kSerialTextBytes = 32;

// Results of the two writers; they are not the 0/-1/-2 of the setters.
constexpr int kDone = 1;
constexpr int kNotDone = 0;

constinit std::mutex text_lock; // guards the serial text; a leaf
const RenewedInChild in_child([] { std::construct_at(&text_lock); });

std::array<char, kSerialTextBytes> FormatSerialNumber(const MODEL_INFORMATION& model)
{
    std::array<char, kSerialTextBytes> text{};
    // An empty model code makes the second character the end of the text: "Z".
    (void)std::snprintf(text.data(), text.size(), "Z%c%c%02X%02X-%02d%04d", model.ModelCode[0],
                        model.ModelCode[1], model.ModelCode[2], model.ModelCode[3],
                        static_cast<int>(model.nSerialBlock), static_cast<int>(model.nSerialNumber));
    return text;
}

} // namespace

} // namespace zeka

int ZEKAGetDeviceInformation(MODEL_INFORMATION* info)
{
    if (info == nullptr || !zeka::DeviceUsable())
        return zeka::kNotDone;
    *info = zeka::LoadModel();
    return zeka::kDone;
}

int ZEKAGetHWInformation(void* info)
{
    if (info == nullptr || !zeka::DeviceUsable())
        return zeka::kNotDone;
    const ZEKA_HW_INFORMATION hardware = zeka::LoadHardware();
    std::memcpy(info, &hardware, sizeof hardware);
    return zeka::kDone;
}

const char* ZEKAGetSerialNumber(void)
{
    // Returned to callers, so it is written only when it changes.
    static std::array<char, zeka::kSerialTextBytes> text{};
    MODEL_INFORMATION model{};
    (void)ZEKAGetDeviceInformation(&model);
    const auto next = zeka::FormatSerialNumber(model);
    const std::scoped_lock hold(zeka::text_lock);
    if (next != text)
        text = next;
    return text.data();
}

unsigned int ZEKAGetVersion(void) { return static_cast<unsigned>(ConvertVersion(zeka::kVersion)); }

int64_t ZEKAGetDeviceHandle(void)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return zeka::DeviceUsable() ? zeka::Peek(g_hDevice) : -1;
}

int ZEKASetHWInformation(int setting0, int setting1)
{
    // Waits before it takes the lock; a connection that was lost meanwhile counts as no device.
    if (zeka::WaitForRequest() == zeka::FrameState::kBusy)
        return zeka::kDone;
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return zeka::kNotDone;
    return SetHWInfo(setting0, setting1) ? zeka::kDone : zeka::kNotDone;
}

int ZEKASetDeviceInformation(MODEL_INFORMATION* info)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kDone;
    return SetModelInfo(info) ? zeka::kDone : zeka::kNotDone;
}
