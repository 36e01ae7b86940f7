// Recording of the sent samples into the application's buffers.
#include "signal/state.h"
#include "stream/sample_stream.h"
#include "zeka/zeka.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

constexpr int kBurst = 700;
constexpr double kUntouched = 12345.0;

void SendBurst()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    _SendNextPacket(); // with no device the burst is built all the same
}

struct Buffers {
    std::vector<double> ac = std::vector<double>(3 * kBurst, kUntouched);
    std::vector<double> dc = ac;
};

TEST(RecordBuffers, FillInOrderAndAFullOneStaysAsItIs)
{
    Buffers buffers;
    ASSERT_TRUE(EnableRecordRaw(buffers.ac.data(), buffers.dc.data(), kBurst));
    SendBurst();
    EXPECT_EQ(s_RecordIndex, kBurst);
    EXPECT_EQ(std::count(buffers.ac.begin(), buffers.ac.end(), kUntouched), 2 * kBurst);
    EXPECT_EQ(std::count(buffers.dc.begin(), buffers.dc.end(), kUntouched), 2 * kBurst);
    EXPECT_EQ(buffers.ac[kBurst], kUntouched);
    SendBurst();
    EXPECT_EQ(s_RecordIndex, kBurst);
    EXPECT_EQ(buffers.ac[kBurst], kUntouched);
    EXPECT_TRUE(s_EnableRecord) << "a full buffer ends recording silently";
}

TEST(RecordBuffers, ASecondEnableChangesNothing)
{
    Buffers first;
    Buffers second;
    ASSERT_TRUE(EnableRecordRaw(first.ac.data(), first.dc.data(), 2 * kBurst));
    SendBurst();
    EXPECT_FALSE(EnableRecordRaw(second.ac.data(), second.dc.data(), 1));
    SendBurst();
    EXPECT_EQ(s_RecordIndex, 2 * kBurst);
    EXPECT_EQ(first.ac[2 * kBurst - 1], 0.0);
    EXPECT_EQ(second.ac[0], kUntouched);
}

TEST(RecordBuffers, AreForgottenWhenRecordingIsSwitchedOffAndStartAnew)
{
    Buffers buffers;
    ASSERT_TRUE(EnableRecordRaw(buffers.ac.data(), buffers.dc.data(), 3 * kBurst));
    SendBurst();
    DisableRecordRaw();
    SendBurst();
    EXPECT_EQ(buffers.ac[kBurst], kUntouched);
    EXPECT_EQ(s_AcBuffer, nullptr);
    EXPECT_EQ(s_DcBuffer, nullptr);
    EXPECT_EQ(s_RecordLength, 0);
    EXPECT_EQ(s_RecordIndex, 0);
    EXPECT_TRUE(EnableRecordRaw(buffers.ac.data() + kBurst, buffers.dc.data() + kBurst, 1));
    SendBurst();
    EXPECT_EQ(buffers.ac[kBurst], 0.0);
    EXPECT_EQ(buffers.ac[kBurst + 1], kUntouched);
}

TEST(RecordBuffers, WithoutBothOrWithoutLengthNothingIsRecorded)
{
    Buffers buffers;
    ASSERT_TRUE(EnableRecordRaw(buffers.ac.data(), nullptr, kBurst));
    SendBurst();
    DisableRecordRaw();
    ASSERT_TRUE(EnableRecordRaw(buffers.ac.data(), buffers.dc.data(), -1));
    SendBurst();
    EXPECT_EQ(std::count(buffers.ac.begin(), buffers.ac.end(), kUntouched), 3 * kBurst);
}

} // namespace
