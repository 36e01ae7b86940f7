// Playback from the instrument's own memory: what goes over the wire, and the rate of an uploaded period.
#include "stream/playback.h"

#include "support/fixture.h"
#include "support/scripted_peer.h"
#include "zeka/zeka.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace {

using zeka::test::ScriptedPeer;
using Message = ScriptedPeer::Message;

constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct RateCase {
    const char* name;
    double hz;
    int rate;
    int samples;
};
void PrintTo(const RateCase& test, std::ostream* out) { *out << test.name; }

class SampleRate : public testing::TestWithParam<RateCase> {};

TEST_P(SampleRate, FollowsTheFrequency)
{
    EXPECT_EQ(GetSampleRateByFrequency(GetParam().hz), GetParam().rate);
    EXPECT_EQ(GetPixelNumberByFrequency(GetParam().hz), GetParam().samples);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SampleRate,
    testing::Values(RateCase{"Hz500", 500.0, 40000, 80}, RateCase{"Hz60", 60.0, 40000, 666},
                    RateCase{"Hz20", 20.0, 40000, 2000}, RateCase{"JustBelow20", 19.999, 20000, 1000},
                    RateCase{"Hz10", 10.0, 20000, 2000}, RateCase{"Hz5", 5.0, 10000, 2000},
                    RateCase{"Hz4", 4.0, 8000, 2000}, RateCase{"Hz3", 3.0, 5000, 1666},
                    RateCase{"Hz2_5", 2.5, 5000, 2000}, RateCase{"Hz2", 2.0, 4000, 2000},
                    RateCase{"Hz1", 1.0, 2000, 2000}, RateCase{"Hz0_5", 0.5, 1000, 2000},
                    RateCase{"Hz0_25", 0.25, 500, 2000}, RateCase{"Hz0_2", 0.2, 400, 2000},
                    RateCase{"Hz0_1", 0.1, 200, 2000}, RateCase{"Hz0_05", 0.05, 100, 2000},
                    RateCase{"Hz0_025", 0.025, 50, 2000}, RateCase{"BelowTheTable", 0.0249, 1000, 40160},
                    RateCase{"Zero", 0.0, 1000, kIntMax}, RateCase{"Negative", -1.0, 40000, -40000},
                    RateCase{"NotANumber", kNan, 1000, 0}, RateCase{"Smallest", 5e-324, 1000, kIntMax},
                    RateCase{"Infinite", std::numeric_limits<double>::infinity(), 40000, 0}),
    [](const auto& test) { return test.param.name; });

const Message kStop = {0xEA, 0xFF, 0x00, 0x00, 0x00};

TEST(OutputSignal, AFailedUploadIsNotFollowedByAStart)
{
    ScriptedPeer peer([](std::size_t number, const Message& request) {
        Message reply = ScriptedPeer::Acknowledge(request);
        if (number == 3)
            reply[40] ^= 0x01;
        return reply;
    });
    EXPECT_EQ(ZEKAOutputSignal(1), 0);
    EXPECT_EQ(peer.Requests().size(), 4u);
    EXPECT_EQ(ZEKAGetOutputFunction(), 1) << "the function stays selected";
}

TEST(OutputSignal, StartAndStopAreJudgedByTheLengthOfTheReplyAlone)
{
    ScriptedPeer peer(
        [](std::size_t number, const Message&) { return Message(number == 1 ? 63 : 64, 0x55); });
    const CAutoCriticalSection lock(g_CriticalSection);
    EXPECT_TRUE(StopOutput());
    EXPECT_FALSE(StopOutput());
}

TEST(OutputSignal, SaysBusyWhenAStreamGetsNoRequest)
{
    ScriptedPeer peer;
    g_bECGGoing = true;
    EXPECT_EQ(ZEKAOutputSignal(3), -1);
    g_hProcessRequestEvent.SetEvent(); // the poll thread has read a request
    EXPECT_EQ(ZEKAOutputSignal(0), 0);
    EXPECT_EQ(peer.Requests(), std::vector<Message>(1, kStop));
}

TEST(SilentBurst, Is3200BytesOfZeroMillivoltsWithFixedSequenceBytes)
{
    ScriptedPeer peer([](std::size_t, const Message&) { return Message{}; });
    g_nSequenceCheck = 7;
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        SendStopPacket();
    }
    ASSERT_TRUE(zeka::test::WaitUntil([&] { return !peer.Requests().empty(); }));
    Message packet = {0x01, 0x01, 0x00, 0x00, 0x00, 0x0E, 0xFF, 0x00};
    for (int slot = 0; slot < 14; ++slot)
        packet.insert(packet.end(), {0x80, 0x00, 0x00, 0x00});
    Message burst;
    for (int n = 0; n < 50; ++n)
        burst.insert(burst.end(), packet.begin(), packet.end());
    EXPECT_EQ(peer.Requests(), std::vector<Message>{burst});
    EXPECT_EQ(g_nSequenceCheck, 7);
}

} // namespace
