// rom_store_slow_test.cpp - how long a store that is never reported done keeps the library busy, to the end.
#include "device/memory.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "platform/global_objects.h"
#include "support/scripted_peer.h"
#include "zeka/zeka.h"

namespace {

using zeka::test::ScriptedPeer;
using Message = ScriptedPeer::Message;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

const Message kAskItem1 = {0xEA, 0x00, 0x07, 0x00, 0x01, 0x00};

Message NotYet()
{
    Message reply(64, 0);
    reply[0] = 0xEA;
    return reply;
}

TEST(RomStore, ThatIsNeverReportedDoneEndsAfter80Polls)
{
    ScriptedPeer peer([](std::size_t, const Message&) { return NotYet(); });
    const auto started = Clock::now();
    EXPECT_TRUE(WriteToROM(1));
    EXPECT_GE(Clock::now() - started, seconds(16)) << "a pause behind each";
    const auto requests = peer.Requests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), kAskItem1), 80);
}

TEST(RomStore, OnAnInstrumentThatFallsSilentEndsWithin16SecondsForWhoeverWaitsForTheLock)
{
    ScriptedPeer peer([](std::size_t number, const Message&) { return number < 3 ? NotYet() : Message{}; });
    const auto started = Clock::now();
    Clock::duration waited{};
    std::thread setter;
    {
        const CAutoCriticalSection lock(g_CriticalSection); // as the upload holds it
        setter = std::thread([&] {
            EXPECT_EQ(ZEKASetInputImpedanceMode(0, 1), 0);
            waited = Clock::now() - started;
        });
        EXPECT_TRUE(WriteToROM(1));
    }
    EXPECT_GE(Clock::now() - started, seconds(15)) << "it is not given up early";
    EXPECT_LT(Clock::now() - started, milliseconds(16500));
    setter.join();
    EXPECT_LT(waited, seconds(18));
}

} // namespace
