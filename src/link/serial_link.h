// serial_link.h (link) - the serial device: search, lock file, bounded open and close, timed bytes, presence.
// One open device per process. Callers serialise their exchanges (g_CriticalSection and the wire lock of
// device/); closing is safe beside them all: it wakes whoever waits on the descriptor, lets them leave, and
// then closes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

extern std::int64_t g_hDevice;              // -1     descriptor of the open device; peek
extern char g_szDevicePath[512];            // empty  node of the open device, set after the identity exchange
extern std::int32_t g_nLockFile;            // -1     descriptor of the held lock file
extern char g_szLockFilePath[128];          // empty  lock path last formatted
extern std::uint32_t g_nDeviceReadTimeout;  // 200 ms ReadData; peek
extern std::uint32_t g_nDeviceWriteTimeout; // 200 ms WriteData; peek

bool LockDeviceFile(int port);
void UnlockDeviceFile();
void UnlockDevice();
bool DoFindDevice(int port);
bool FindDevice(int port);
bool DeviceConnect(int port, int attempts);
void DeviceClose();
bool DeviceIsAlive();
bool DeviceIsConnected();
int DeviceCancelIO();
bool DeviceCheckPath(const char* path);
/// Bytes read: len, or fewer when the time ran out after some, -1 when nothing came, 0 when closed or hung
/// up.
int ReadData(unsigned char* buf, int len);
int ReadDataEx(unsigned char* buf, int len, unsigned int timeoutMs);
/// Bytes written; 0 on time-out (even when part was written) or when closed. The flag has no effect.
int WriteData(unsigned char* buf, int len, int flag);

namespace zeka {

/// Whether the calling thread has a device to talk to: one is open, not lost, and not being searched or set
/// up by another thread.
[[nodiscard]] bool DeviceUsable() noexcept;

/// Whether a hang-up of the open device has been seen.
[[nodiscard]] bool DeviceLost() noexcept;

/// While one lives, an open device is visible to the calling thread alone: the search and the set-up must not
/// have the application's calls between their requests and replies.
class PrivateDevice {
public:
    PrivateDevice() noexcept;
    ~PrivateDevice();
    PrivateDevice(const PrivateDevice&) = delete;
    PrivateDevice& operator=(const PrivateDevice&) = delete;

private:
    bool owner_; // false when this thread had it already
};

/// In a child of fork(), behind RenewedInChild: the open device is the parent's.
void ForgetDevice() noexcept;

/// Ends a search that is under way soon, and every later one at once, until AllowSearch.
void CancelSearch() noexcept;
void AllowSearch() noexcept;
[[nodiscard]] bool SearchCancelled() noexcept;

enum class Presence { kThere, kGone, kUnknown };
/// The presence check with its third answer: it could not be made (no process, no descriptor), which is no
/// loss.
[[nodiscard]] Presence CheckPresence();

/// Waits at most ms until the device has input, is closed or hangs up; true only for input. Reads nothing.
[[nodiscard]] bool WaitForInput(unsigned ms);
/// Waits at most ms for a hang-up or a close; true only for a hang-up.
[[nodiscard]] bool WaitForHangUp(unsigned ms);
/// Bytes that wait to be read, 0 when none or closed.
[[nodiscard]] std::size_t InputWaiting();
/// Reads what is there into bytes without waiting; 0 when nothing is, closed or hung up (which is noted).
[[nodiscard]] std::size_t ReadAvailable(std::span<std::uint8_t> bytes);

} // namespace zeka
