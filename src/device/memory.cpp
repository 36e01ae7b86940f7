// memory.cpp (device) - see memory.h. The ROM commands run inside the standalone upload, under
// g_CriticalSection.
#include "device/memory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>

#include "device/exchange.h"
#include "link/serial_link.h"
#include "platform/deadline.h"

namespace zeka {
namespace {

// Addresses in the EEPROM. The manufacturing record at its full length overlaps the calibration words.
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
constexpr unsigned kLookMs = 20; // how soon a CutRomWaitShort ends a pause
} // namespace rom

template <std::size_t kSize>
std::array<std::uint8_t, kSize> ForItem(std::array<std::uint8_t, kSize> request, int item) noexcept
{
    request[rom::kItemAt] = static_cast<std::uint8_t>(item & 0xFF);
    return request;
}

constinit std::atomic<int> in_a_hurry{0}; // number of living CutRomWaitShort objects

enum class RomStatus { kDone, kNotYet, kSilent };

RomStatus AskRom(int item, std::uint8_t& status)
{
    std::array<std::uint8_t, kBlockBytes> reply;
    if (!Exchange(ForItem(rom::kStatusRequest, item), reply))
        return RomStatus::kSilent;
    status = reply[rom::kStatusAt];
    const bool done =
        reply[rom::kGroupAt] == rom::kStatusRequest[rom::kGroupAt] && reply[rom::kDoneAt] == kStatusDone;
    return done ? RomStatus::kDone : RomStatus::kNotYet;
}

/// Waits for the next poll. False at once when there is none, because the instrument is lost and will never
/// report, or a thread waits for the lock to end the connection.
bool WaitForNextPoll(const Deadline& next)
{
    while (in_a_hurry == 0 && DeviceUsable()) {
        if (next.Expired())
            return true;
        const auto slice = std::min(static_cast<unsigned>(next.RemainingMsCeil()), rom::kLookMs);
        const Deadline look = Deadline::InMs(slice);
        if (WaitForHangUp(slice))
            return false;
        if (in_a_hurry == 0 && DeviceUsable())
            SleepUntil(look);
    }
    return false;
}

/// Polls until the item is done, at most 80 times with 200 ms after each. A poll that is not answered takes
/// longer than that pause; its time then counts instead, so that silence lasts no longer than 80 pauses.
void AwaitRom(int item)
{
    using std::chrono::milliseconds;
    constexpr milliseconds kPause{rom::kPollPauseMs};
    milliseconds left = rom::kMaxPolls * kPause;
    std::uint8_t status = 0;
    while (left >= kPause) {
        const auto began = Deadline::Clock::now();
        const RomStatus now = AskRom(item, status);
        const auto asked = Deadline::Clock::now();
        const bool silent = now == RomStatus::kSilent;
        if (now == RomStatus::kDone || !WaitForNextPoll(Deadline((silent ? began : asked) + kPause)))
            return;
        const auto took = std::chrono::ceil<milliseconds>(asked - began);
        left -= silent ? std::max(took, kPause) : kPause;
        if (silent && left < took)
            return; // another poll of this kind would last beyond the end
    }
}

} // namespace

CutRomWaitShort::CutRomWaitShort() noexcept { ++in_a_hurry; }
CutRomWaitShort::~CutRomWaitShort() { --in_a_hurry; }

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
    std::uint8_t answered = 0;
    const zeka::RomStatus now = zeka::AskRom(item, answered);
    if (now != zeka::RomStatus::kSilent && status != nullptr)
        *status = answered;
    return now == zeka::RomStatus::kDone;
}

bool WriteToROM(int item)
{
    std::array<std::uint8_t, zeka::kBlockBytes> reply;
    if (!zeka::Exchange(zeka::ForItem(zeka::rom::kStoreRequest, item), reply))
        return false;
    zeka::AwaitRom(item);
    return true; // also when the instrument answered and never reports the end
}
