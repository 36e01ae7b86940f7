// poll_thread.cpp (connection) - answers the instrument's requests, one burst each.
// One thread a connection. It waits for input without any lock, reads under the wire lock, and answers under
// g_CriticalSection. Between reading and taking that lock it signals g_hProcessRequestEvent, so that a setter
// that holds the lock and waits makes its change before the burst is built.
#include <array>
#include <cassert>
#include <pthread.h>
#include <utility>

#include "connection/library_thread.h"
#include "connection/supervisor.h"
#include "device/exchange.h"
#include "device/output_stage.h"
#include "device/packets.h"
#include "link/serial_link.h"
#include "platform/deadline.h"
#include "signal/frame.h"
#include "signal/state.h"
#include "stream/sample_stream.h"
#include "util/peek.h"

namespace zeka {
namespace {

constexpr int kSamplesTimesMs = 700 * 1000; // samples of a burst, times ms of a second
constexpr unsigned kPauseMs = 10;

unsigned long poll_thread = 0;       // used by the supervisor alone, and by unload after its end
unsigned read_timeout_ms = kPauseMs; // written before the thread starts
thread_local bool on_poll_thread = false;

// Length of a burst, 17 ms at 40000 samples/s. Read before the thread starts, because a setter that holds the
// lock and waits for a request must not keep the thread from reading that request.
unsigned ReadTimeoutMs()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_nSampleRate > 0 ? static_cast<unsigned>(kSamplesTimesMs / g_nSampleRate) : kPauseMs;
}

// Pauses 10 ms, less when input arrives: a full pause would answer every second request late.
void PauseUntilInput()
{
    const Deadline end = Deadline::InMs(kPauseMs);
    if (RequestKept() || WaitForInput(kPauseMs))
        return;
    SleepUntil(end); // closed or hung up: nothing will come, and this must not spin
}

bool IsSampleRequest(const std::array<std::uint8_t, kBlockBytes>& block)
{
    return block[0] == sample_request::kByte0 && block[1] == sample_request::kByte1;
}

void Answer(const std::array<std::uint8_t, kBlockBytes>& block)
{
    const AnswerDue due;
    g_hProcessRequestEvent.SetEvent(); // before the lock: a setter that holds it and waits goes first
    const CAutoCriticalSection lock(g_CriticalSection);
    if (IsSampleRequest(block)) {
        if (g_hStopPlayEvent.WaitTimeout(0) == 0)
            SetRelays(false);
        else
            _SendNextPacket();
    }
    if (!Peek(g_bECGGoing))
        MakeOwedPause(); // the end of a sweep: the instrument plays what it has been sent
    g_hProcessRequestEvent.ResetEvent();
}

} // namespace

bool OnPollThread() noexcept { return on_poll_thread; }

bool StartPollThread()
{
    assert(poll_thread == 0);
    read_timeout_ms = ReadTimeoutMs();
    poll_thread_ended.ResetEvent();
    g_hPollingEvent.SetEvent();
    if (StartLibraryThread(poll_thread, USBDataPollThread))
        return true;
    poll_thread = 0;
    g_hPollingEvent.ResetEvent();
    poll_thread_ended.SetEvent();
    return false;
}

bool EndPollThread(unsigned ms)
{
    g_hPollingEvent.ResetEvent();
    if (poll_thread_ended.WaitTimeout(ms) != 0)
        return false; // still inside a callback; the thread ends after it
    if (const unsigned long ended = std::exchange(poll_thread, 0); ended != 0)
        ::pthread_join(ended, nullptr);
    return true;
}

bool PollThreadLeftBehind()
{
    return g_hPollingEvent.WaitTimeout(0) != 0 && poll_thread_ended.WaitTimeout(0) != 0;
}

} // namespace zeka

void* USBDataPollThread(void* /*unused*/)
{
    using namespace zeka;
    on_poll_thread = true;
    // Waits for the length of a burst and the pause in one: a wait of 17 ms would end just before each
    // request, and the thread would run twice a burst.
    const unsigned wait_ms = read_timeout_ms + kPauseMs;
    std::array<std::uint8_t, kBlockBytes> block{};
    while (g_hPollingEvent.WaitTimeout(0) == 0) {
        if (!Peek(g_bECGGoing)) {
            SleepEx(kPauseMs);
            continue;
        }
        block.fill(0);
        if (ReadRequestBlock(block, wait_ms) <= 0) {
            PauseUntilInput();
            continue;
        }
        Answer(block);
    }
    poll_thread_ended.SetEvent();
    return nullptr;
}
