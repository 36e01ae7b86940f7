// memory.cpp (device) - see memory.h. The ROM commands run inside the standalone upload, under
// g_CriticalSection.
#include "device/memory.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "device/exchange.h"
#include "link/serial_link.h"
#include "platform/deadline.h"

namespace zeka {
namespace {

// EEPROM, as its callers address it. The manufacturing record at its full length reaches over the calibration
// words.
constexpr unsigned char kEepromArea = 17;
constexpr unsigned kMfgInfoAt = 0;
constexpr int kMfgInfoBytes = 64;
constexpr unsigned kCalibrationAt = 32;
constexpr unsigned kCalibrationWords = 4;
constexpr unsigned kWordBytes = 2;

constexpr unsigned char kMfgFlashArea = 17;

namespace rom {
constexpr std::size_t kItemAt = 4;
constexpr std::array<std::uint8_t, 6> kStatusRequest{0xEA, 0x00, 0x07, 0x00, 0x00, 0x00};
constexpr std::array<std::uint8_t, 5> kStoreRequest{0xEA, 0xFF, 0x07, 0x00, 0x00};
constexpr std::size_t kGroupAt = 0;
constexpr std::size_t kDoneAt = 3;
constexpr std::size_t kStatusAt = 5;
constexpr int kMaxPolls = 80;
constexpr unsigned kPollPauseMs = 200;
} // namespace rom

template <std::size_t kSize>
std::array<std::uint8_t, kSize> ForItem(std::array<std::uint8_t, kSize> request, int item) noexcept
{
    request[rom::kItemAt] = static_cast<std::uint8_t>(item & 0xFF);
    return request;
}

/// The pause between two polls. False, and at once, when the instrument is lost: it will never report.
bool PauseBetweenPolls()
{
    const Deadline end = Deadline::InMs(rom::kPollPauseMs);
    if (WaitForHangUp(rom::kPollPauseMs) || !DeviceUsable())
        return false;
    SleepUntil(end);
    return true;
}

} // namespace
} // namespace zeka

bool FlashErase(unsigned char, unsigned int) { return false; }
int DoReadEEPROM(unsigned int, unsigned char, unsigned short*, unsigned long) { return 0; }
int DoWriteEEPROM(unsigned int, unsigned char, unsigned short*, unsigned long) { return 0; }
int DoReadEEPROM(unsigned int, unsigned char, unsigned char*, unsigned long) { return 0; }
int DoWriteEEPROM(unsigned int, unsigned char, unsigned char*, unsigned long) { return 0; }
int DoWriteEEPROM(unsigned int, unsigned short*) { return 0; }
int SetDcOffsetCalibration(unsigned char, int) { return 0; }

int ReadDCVariableCalibrationData(unsigned short* words)
{
    return DoReadEEPROM(zeka::kCalibrationAt, zeka::kEepromArea, words, zeka::kCalibrationWords);
}

int WriteDCVariableCalibrationData(int index, unsigned short value)
{
    const unsigned address = zeka::kCalibrationAt + static_cast<unsigned>(index) * zeka::kWordBytes;
    std::array<unsigned char, zeka::kWordBytes> bytes{
        static_cast<unsigned char>(value >> 8),
        static_cast<unsigned char>(value & 0xFF),
    };
    return DoWriteEEPROM(address, zeka::kEepromArea, bytes.data(), bytes.size());
}

int ReadECGMfgInfo(unsigned char* buffer, int length)
{
    const auto bytes = static_cast<unsigned long>(std::clamp(length, 0, zeka::kMfgInfoBytes));
    return DoReadEEPROM(zeka::kMfgInfoAt, zeka::kEepromArea, buffer, bytes);
}

bool WriteECGMfgInfo(unsigned char* buffer, int length)
{
    if (!FlashErase(zeka::kMfgFlashArea, 0))
        return false;
    const auto bytes = static_cast<unsigned long>(std::clamp(length, 0, zeka::kMfgInfoBytes));
    return DoWriteEEPROM(zeka::kMfgInfoAt, zeka::kEepromArea, buffer, bytes) != 0;
}

bool DoReadFromROM(int item, unsigned char* status)
{
    std::array<std::uint8_t, zeka::kBlockBytes> reply;
    if (!zeka::Exchange(zeka::ForItem(zeka::rom::kStatusRequest, item), reply))
        return false;
    if (status != nullptr)
        *status = reply[zeka::rom::kStatusAt];
    return reply[zeka::rom::kGroupAt] == zeka::rom::kStatusRequest[zeka::rom::kGroupAt] &&
           reply[zeka::rom::kDoneAt] == zeka::kStatusDone;
}

bool WriteToROM(int item)
{
    std::array<std::uint8_t, zeka::kBlockBytes> reply;
    if (!zeka::Exchange(zeka::ForItem(zeka::rom::kStoreRequest, item), reply))
        return false;
    unsigned char status = 0;
    for (int poll = 0; poll < zeka::rom::kMaxPolls; ++poll)
        if (DoReadFromROM(item, &status) || !zeka::PauseBetweenPolls())
            break;
    return true; // the instrument took the request; one that never reports the end is not told apart
}
