// serial_link.h (link) - the serial device: search, lock file, bounded open and close, timed reads and
// writes, presence. One open device per process. Callers serialise their exchanges (g_CriticalSection and the
// wire lock of device/). Closing is safe beside any of these calls: it wakes the threads that wait on the
// descriptor, lets them leave, and then closes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// g_szDevicePath is guarded by the port's lock. The two values of the lock file belong to the thread that
// searches or closes, one at a time: a search begins when no close is under way.
//                                             start  meaning
extern std::int64_t g_hDevice;              // -1     descriptor of the open device; peek
extern char g_szDevicePath[512];            // empty  node of the open device, set after the identity exchange
extern std::int32_t g_nLockFile;            // -1     descriptor of the held lock file
extern char g_szLockFilePath[128];          // empty  lock path last formatted
extern std::uint32_t g_nDeviceReadTimeout;  // 200 ms ReadData; peek
extern std::uint32_t g_nDeviceWriteTimeout; // 200 ms WriteData; peek

/// Takes the lock file of the port; false when a living process holds it or it cannot be made.
bool LockDeviceFile(int port);
void UnlockDeviceFile();
void UnlockDevice();
/// Opens the port if it is the instrument's; FindDevice(-1) tries all ports.
bool DoFindDevice(int port);
bool FindDevice(int port);
/// Repeats FindDevice up to `attempts` times, with 1000 ms after each failure unless the search is cancelled.
bool DeviceConnect(int port, int attempts);
void DeviceClose();
bool DeviceIsAlive();
bool DeviceIsConnected();
int DeviceCancelIO();
bool DeviceCheckPath(const char* path);
/// Returns the bytes read: len, or fewer when the time ran out, the device was closed or it hung up. -1 when
/// the time ran out and nothing came. ReadData waits g_nDeviceReadTimeout.
int ReadData(unsigned char* buf, int len);
int ReadDataEx(unsigned char* buf, int len, unsigned int timeoutMs);
/// Returns the bytes written: len, or fewer when the device hung up or failed. 0 on time-out or when it was
/// closed, even when part was written. The flag has no effect.
int WriteData(unsigned char* buf, int len, int flag);

namespace zeka {

/// Whether the calling thread has a device to talk to: one is open, not lost, and visible to this thread.
[[nodiscard]] bool DeviceUsable() noexcept;

/// Whether a hang-up of the open device has been seen.
[[nodiscard]] bool DeviceLost() noexcept;

/// While one lives, an open device is visible to the calling thread alone, because no call of the application
/// may come between the requests and replies of the search and the set-up.
class PrivateDevice {
public:
    PrivateDevice() noexcept;
    ~PrivateDevice();
    PrivateDevice(const PrivateDevice&) = delete;
    PrivateDevice& operator=(const PrivateDevice&) = delete;

private:
    bool owner_; // false when the thread has another one already
};

/// Closes the child's copy of the open device, which is the parent's. Called in a child of
/// fork() after RenewedInChild.
void ForgetDevice() noexcept;

/// Ends a search that is under way soon, and every later one at once, until AllowSearch.
void CancelSearch() noexcept;
void AllowSearch() noexcept;
[[nodiscard]] bool SearchCancelled() noexcept;

enum class Presence { kThere, kGone, kUnknown };
/// Checks whether the system still lists the node of the device. kUnknown: the check could not be made (no
/// process, no descriptor), which is no loss.
[[nodiscard]] Presence CheckPresence();

/// Waits at most ms until the device has input, is closed or hangs up; true for input only. Reads nothing.
[[nodiscard]] bool WaitForInput(unsigned ms);
/// Waits at most ms for a hang-up or a close; true for a hang-up only.
[[nodiscard]] bool WaitForHangUp(unsigned ms);
/// Number of bytes that wait to be read; 0 when closed.
[[nodiscard]] std::size_t InputWaiting();
/// Reads what has arrived into bytes, without waiting. 0 when nothing has, or when closed
/// or hung up (which is noted).
[[nodiscard]] std::size_t ReadAvailable(std::span<std::uint8_t> bytes);

} // namespace zeka
