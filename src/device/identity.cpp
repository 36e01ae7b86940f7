// identity.cpp (device) - the exchanges by which the instrument identifies itself, and those that would
// rewrite its identity. IsTargetDevice runs on the supervisor during the search; WatchDog, also on the
// supervisor, and the writers run under g_CriticalSection. The results have a lock of their own
// (identity_store.h), because the application reads them at any time.
#include "device/identity.h"

#include <algorithm>

#include "device/exchange.h"
#include "device/identity_store.h"
#include "device/memory.h"
#include "device/packets.h"

namespace zeka {
namespace {

constexpr unsigned kPagePauseMs = 20;
constexpr unsigned kQueryPauseMs = 40;
constexpr unsigned kRewritePauseMs = 40;
constexpr unsigned kWatchDogWaitMs = 2000;
constexpr unsigned char kInformationArea = 1;

// Reads the page that is to be rewritten.
bool ReadInformationPage(Block& information)
{
    return Exchange(page::kReadBeforeWrite, information, {.pause_ms = kRewritePauseMs});
}

bool WriteInformationPage(Block& information)
{
    information[page::kDirectionAt] = kWrite;
    Block answer{};
    return Exchange(information, answer, {.pause_ms = kRewritePauseMs}) &&
           answer[page::kStatusAt] == kStatusDone;
}

} // namespace
} // namespace zeka

bool IsTargetDevice()
{
    using namespace zeka;
    ForgetLateReplies();
    std::array<std::uint8_t, identity::kReplyBytes> answer{};
    if (!PingExchange(answer))
        return false;

    MODEL_INFORMATION model{};
    std::copy_n(answer.begin() + identity::kModelCodeAt, sizeof model.ModelCode, model.ModelCode);
    model.nSerialBlock = answer[identity::kSerialBlockAt];
    model.nSerialNumber = answer[identity::kSerialNumberAt] * 256u + answer[identity::kSerialNumberAt + 1];
    StoreModel(model);
    return GetHWInfo();
}

bool GetHWInfo()
{
    using namespace zeka;
    Block information{};
    if (!Exchange(page::kReadInformation, information, {.pause_ms = kPagePauseMs}))
        return false;
    ZEKA_HW_INFORMATION hardware = LoadHardware();
    hardware.nStoredInfo0 = information[page::kStoredInfo0At];
    hardware.nStoredInfo1 = information[page::kStoredInfo1At];
    hardware.nHWSetting0 = information[page::kHwSetting0At];
    hardware.nHWSetting1 = information[page::kHwSetting1At];
    StoreInformationPage(information);
    StoreHardware(hardware);

    std::array<std::uint8_t, identity::kModuleReplyBytes> answer{};
    if (!Exchange(identity::kModuleQuery, answer, {.pause_ms = kQueryPauseMs}))
        return false;
    hardware.nQueryInfo = answer[identity::kModuleInfoAt];
    StoreHardware(hardware);
    return true;
}

bool WatchDog()
{
    std::array<std::uint8_t, zeka::identity::kReplyBytes> answer{};
    return zeka::PingExchange(answer, zeka::kWatchDogWaitMs);
}

bool SetHWInfo(int setting0, int setting1)
{
    using namespace zeka;
    Block information{};
    if (!ReadInformationPage(information))
        return false;
    SleepEx(kRewritePauseMs);
    if (!FlashErase(kInformationArea, 0))
        return false;

    information[page::kHwSetting0At] = static_cast<std::uint8_t>(setting0);
    information[page::kHwSetting1At] = static_cast<std::uint8_t>(setting1);
    const bool written = WriteInformationPage(information);
    SleepEx(kRewritePauseMs);
    if (!written)
        return false;
    ZEKA_HW_INFORMATION hardware = LoadHardware();
    hardware.nHWSetting0 = static_cast<unsigned>(setting0);
    hardware.nHWSetting1 = static_cast<unsigned>(setting1);
    StoreHardware(hardware);
    return true;
}

bool SetModelInfo(MODEL_INFORMATION* info)
{
    using namespace zeka;
    Block information{};
    if (info == nullptr || !ReadInformationPage(information))
        return false;
    if (!FlashErase(kInformationArea, 0))
        return false;

    information[page::kDataAt] = identity::kMarker[0];
    std::copy_n(info->ModelCode, sizeof info->ModelCode, information.begin() + page::kModelCodeAt);
    information[page::kSerialBlockAt] = static_cast<std::uint8_t>(info->nSerialBlock);
    PutBe16At(information, page::kSerialNumberAt, info->nSerialNumber);
    information[page::kStatusAt] = 0x00;
    if (!WriteInformationPage(information))
        return false;
    StoreModel(*info);
    return true;
}

bool ResetHwStatus()
{
    zeka::Block request{zeka::hardware::kGroup, zeka::kWrite, zeka::hardware::kReset};
    zeka::Block answer{};
    return zeka::Exchange(request, answer);
}
