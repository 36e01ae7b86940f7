// cancel_test.cpp - pthread_cancel of a thread of the application inside a call: the process lives, the
// lock is free, the next call works. Each call meets a cancellation that is pending when it begins, and
// one that comes while it waits.
#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "system/connected.h"
#include "zeka/platform.hpp"

namespace {

using zeka::sim::Fault;
using zeka::test::Connected;
using zeka::test::milliseconds;

constexpr unsigned kLongMs = 60000;

CAutoResetEvent auto_event{false};
CManualResetEvent manual_event{false};
const std::string recording = "/tmp/zeka_cancel_test." + std::to_string(::getpid());

struct Call {
    const char* name;
    void (*run)();
    std::optional<Fault> fault = {};
    bool streaming = false;
    int comes_after_ms = 150;
    bool cuts_a_start = false;
};

class Cancelled : public Connected, public testing::WithParamInterface<Call> {
protected:
    static inline std::atomic<bool> inside{false};
    static inline std::atomic<bool> requested{false};
    static inline bool pending_first = false;

    static void* Body(void*)
    {
        ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        inside = true;
        while (pending_first && !requested)
            std::this_thread::yield();
        ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        GetParam().run();
        for (;;)
            ::pause(); // a cancellation that was put off takes effect here
    }

    static void CancelOne(bool pending)
    {
        inside = requested = false;
        pending_first = pending;
        unsigned long thread = 0;
        ASSERT_EQ(CreateThread(&thread, Body, nullptr), 1);
        ASSERT_TRUE(zeka::test::WaitUntil([] { return inside.load(); }));
        if (!pending)
            std::this_thread::sleep_for(milliseconds{GetParam().comes_after_ms});
        ASSERT_EQ(::pthread_cancel(thread), 0);
        requested = true;
        timespec limit{};
        ::clock_gettime(CLOCK_REALTIME, &limit);
        limit.tv_sec += 40;
        void* result = nullptr;
        ASSERT_EQ(::pthread_timedjoin_np(thread, &result, &limit), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
    }
};

TEST_P(Cancelled, LeavesTheLockFreeAndTheNextCallWorks)
{
    std::ofstream(recording) << "0.5\n0.25\n";
    for (const bool pending : {true, false}) {
        if (GetParam().streaming) {
            ASSERT_EQ(ZEKASetOutputFunction(1), 0);
            ASSERT_TRUE(Streams(instrument.Stats().stream.bursts + 5));
        }
        if (GetParam().fault)
            instrument.Inject({.fault = *GetParam().fault});
        ASSERT_NO_FATAL_FAILURE(CancelOne(pending));
        EXPECT_FALSE(ZEKAGetFrequencyScan());                     // takes the lock
        EXPECT_FALSE(GetParam().cuts_a_start && ZEKAIsPlaying()); // the instrument would never send a request
        instrument.ClearFaults();
        ZEKARegisterSignalOutputCallback(nullptr);
        const auto plays = [this] {
            const auto before = instrument.Stats().stream.bursts;
            return ZEKASetOutputFunction(1) == 0 &&
                   instrument.WaitFor([&] { return instrument.Stats().stream.bursts > before + 5; },
                                      milliseconds{1000});
        };
        // Connects anew where the call was losing or ending the connection.
        EXPECT_TRUE(zeka::test::WaitUntil(
            [&] { return (ZEKAIsConnected() || ZEKAConnect(0, 20000) == 1) && plays(); }));
        EXPECT_EQ(ZEKASetAmplitude(2.0), 0);
        EXPECT_EQ(ZEKASetOutputFunction(0), 0);
        EXPECT_EQ(ZEKAGetInputImpedanceMode(0), 0);
    }
    std::filesystem::remove(recording);
}

void StartWithSlowCallbacks()
{
    ZEKARegisterSignalOutputCallback([](double, double) { ::usleep(20000); });
    (void)ZEKASetOutputFunction(1);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, Cancelled,
    testing::Values(
        Call{"Sleep", [] { SleepEx(kLongMs); }}, Call{"AutoEvent", [] { auto_event.Wait(); }},
        Call{"ManualEvent", [] { manual_event.Wait(); }},
        Call{"OneObject", [] { (void)WaitForSingleObject(&auto_event, kLongMs); }},
        Call{"SeveralObjects",
             [] {
                 std::array<CEvent*, 2> events{&auto_event, &manual_event};
                 (void)WaitForMultipleObjects(2, events.data(), 0, kLongMs);
             }},
        Call{"SetterThatWaitsForARequest", [] { (void)ZEKASetAmplitude(1.5); }, Fault::kStopAsking, true},
        Call{"GetterThatWaitsForAReply", [] { (void)ZEKAGetInputImpedanceMode(0); }, Fault::kNoReply},
        Call{"CommandThatWaitsForAReply", [] { (void)ZEKASetCalibrationMode(true); }, Fault::kNoReply, false,
             30},
        Call{"FunctionThatSettles", [] { (void)ZEKASetOutputFunction(1); }, {}, false, 50},
        Call{"Reset", [] { ZEKAReset(); }, {}, true, 50},
        Call{"Upload", [] { (void)ZEKASaveToStandaloneMode(1); }},
        Call{"TimeOutsThatWaitForThePort", [] { SetDeviceTimeoutSetting(2000, 2000); }},
        Call{"Free", [] { ZEKAFree(); }, Fault::kStopAsking, true},
        Call{"Connect",
             [] {
                 ZEKAFree();
                 (void)ZEKAConnect(99, kLongMs);
             },
             {},
             false,
             1500},
        Call{"Loader", [] { (void)LoadECGtxtSingle(recording.c_str()); }},
        Call{"Dump",
             [] {
                 std::array<double, 2> values{};
                 (void)DumpRawData(values.data(), 2, L"/dev/null");
             }},
        Call{"CallbackOfTheFirstBurst", StartWithSlowCallbacks, {}, false, 150, true}),
    [](const auto& row) { return row.param.name; });

} // namespace
