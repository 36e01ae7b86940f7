// Upload of one period: what a failure leaves behind.
#include "support/scripted_peer.h"
#include "zeka/zeka.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace {

using zeka::test::ScriptedPeer;
using Message = ScriptedPeer::Message;

TEST(Upload, ASaveThatStaysBusyReturnsOneAndSendsNothing)
{
    const ScriptedPeer peer;
    g_bECGGoing = true;
    EXPECT_EQ(ZEKASaveToStandaloneMode(2), 1);
    EXPECT_TRUE(peer.Requests().empty());
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
}

/// A save in which one exchange goes wrong: it ends there, and the next one works.
struct FaultCase {
    const char* name;
    std::size_t at; // number of the request, 0 is the information packet
    std::size_t reply_size;
    std::size_t wrong_byte; // 64: none
    int function_after;
};
void PrintTo(const FaultCase& test, std::ostream* out) { *out << test.name; }

class FailedSave : public testing::TestWithParam<FaultCase> {};

TEST_P(FailedSave, EndsAtTheExchangeThatFailed)
{
    const FaultCase& fault = GetParam();
    ScriptedPeer peer([&](std::size_t number, const Message& request) {
        if (request[0] == 0x55) // the ping that brings both sides into step again
            return Message{0, 0, 0, 0, 'Z', 'Z', 'E', 0, 0, 0, 0, 0};
        Message reply = ScriptedPeer::Acknowledge(request);
        if (number == fault.at) {
            reply.resize(fault.reply_size);
            if (fault.wrong_byte < reply.size())
                reply[fault.wrong_byte] ^= 0x80;
        }
        return reply;
    });
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        g_F = 500.0; // 80 samples: 6 packets
    }
    EXPECT_EQ(ZEKASaveToStandaloneMode(3), 0);
    EXPECT_EQ(peer.Requests().size(), fault.at + 1);
    EXPECT_EQ(ZEKAGetOutputFunction(), fault.function_after);
    EXPECT_EQ(ZEKASaveToStandaloneMode(3), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, FailedSave,
    testing::Values(FaultCase{"InformationUnanswered", 0, 0, 64, 3},
                    FaultCase{"InformationShort", 0, 63, 64, 3}, FaultCase{"DataUnanswered", 4, 0, 64, 3},
                    FaultCase{"DataShort", 6, 40, 64, 3}, FaultCase{"StatusNotDone", 1, 64, 3, 3},
                    FaultCase{"FirstByte", 2, 64, 0, 3}, FaultCase{"LastByte", 6, 64, 63, 3},
                    FaultCase{"ControlBlockUnanswered", 7, 0, 64, 0}, FaultCase{"RecordShort", 8, 10, 64, 0},
                    FaultCase{"StoreUnanswered", 9, 0, 64, 0}),
    [](const auto& test) { return test.param.name; });

} // namespace
