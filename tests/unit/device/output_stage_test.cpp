// output_stage_test.cpp - which bytes of the control block each setting changes, and the channel-state masks.
#include "device/output_stage.h"

#include <gmock/gmock.h>
#include <set>

#include "device/packets.h"
#include "link/serial_link.h"
#include "support/fixture.h"
#include "zeka/zeka.h"

namespace {

using zeka::sim::Fault;
namespace sim = zeka::sim;

class OutputStage : public zeka::test::InstrumentTest {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        ASSERT_TRUE(DoFindDevice(0));
    }
    void TearDown() override
    {
        DeviceClose();
        InstrumentTest::TearDown();
    }
    std::size_t CommandsOf(const std::function<void()>& action)
    {
        instrument.ClearCommands();
        action();
        return instrument.Commands().size();
    }
    std::uint8_t Byte(std::size_t at) { return instrument.State().control_block.at(at); }
};

TEST_F(OutputStage, AnImpedanceModeChangesThreeFlagsOfItsChannelAndKeepsEveryOtherByte)
{
    const auto before = instrument.State().control_block;
    ASSERT_EQ(ZEKASetInputImpedanceMode(2, 3), 0);
    const auto after = instrument.State().control_block;
    EXPECT_EQ(after[48], 0x00);
    EXPECT_EQ(after[49], 0x00);
    EXPECT_EQ(after[52], 0xFF);
    const std::set<std::size_t> changed{1, 48, 49, 52};
    for (std::size_t at = 0; at < after.size(); ++at)
        if (!changed.contains(at)) {
            EXPECT_EQ(after[at], before[at]) << at;
        }
    EXPECT_EQ(ZEKAGetInputImpedanceMode(2), 2); // mode 3 reads back as 2
    ASSERT_EQ(ZEKASetInputImpedanceMode(2, 1), 0);
    EXPECT_EQ(ZEKAGetInputImpedanceMode(2), 1);
}

TEST_F(OutputStage, RefusesModesAndChannelsOutsideItsRangeWithoutAByte)
{
    EXPECT_EQ(CommandsOf([] {
                  EXPECT_EQ(ZEKASetInputImpedanceMode(0, 4), -2);
                  EXPECT_EQ(ZEKASetInputImpedanceMode(0, -1), -2);
                  for (const int channel : {-1, 4, 1000000}) {
                      EXPECT_EQ(ZEKASetInputImpedanceMode(channel, 0), -2);
                      EXPECT_EQ(ZEKAGetInputImpedanceMode(channel), -2);
                      EXPECT_EQ(ZEKASetOutputLead(channel, 0), -2);
                      EXPECT_EQ(ZEKASetSignalGroundToGNDGround(channel, true), -2);
                      EXPECT_EQ(ZEKAGetSignalGroundToGNDGround(channel), -2);
                  }
              }),
              0u);
}

TEST_F(OutputStage, ALeadSendsTheOutputStateFirstAndReportsAnUnconfirmedExchange)
{
    EXPECT_EQ(CommandsOf([] { EXPECT_EQ(ZEKASetOutputLead(1, 0), 0); }), 4u);
    EXPECT_EQ(Byte(43), 0xFF);
    EXPECT_EQ(Byte(2), 0x08); // no function selected
    EXPECT_EQ(Byte(5), 0x9C); // 40000 samples/s
    EXPECT_EQ(Byte(6), 0x40);
    EXPECT_EQ(ZEKASetOutputLead(1, 5), 0);
    EXPECT_EQ(Byte(43), 0x00);
    instrument.Inject({.fault = Fault::kNoReply});
    EXPECT_EQ(ZEKASetOutputLead(1, 0), -2);
    EXPECT_EQ(ZEKASetInputImpedanceMode(1, 1), 0); // says 0 whatever happened
}

TEST_F(OutputStage, SignalGroundIsSetAndRead)
{
    EXPECT_EQ(ZEKASetSignalGroundToGNDGround(3, true), 0);
    EXPECT_EQ(Byte(32 + 24 + 5), 0xFF);
    EXPECT_EQ(ZEKAGetSignalGroundToGNDGround(3), 1);
    EXPECT_EQ(ZEKASetSignalGroundToGNDGround(3, false), 0);
    EXPECT_EQ(ZEKAGetSignalGroundToGNDGround(3), 0);
}

// Bytes as the instrument holds them: flags of several modes at once and a source without a name, too.
TEST_F(OutputStage, AllOfItIsToldInOneExchange)
{
    ASSERT_EQ(ZEKASetInputImpedanceMode(1, 2), 0);
    ASSERT_EQ(ZEKASetInputImpedanceMode(2, 3), 0);
    ASSERT_EQ(ZEKASetSignalGroundToGNDGround(3, true), 0);
    ASSERT_EQ(ZEKASetOutputLead(3, 1), 0);
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        g_bTestVariableDC[0] = true;
        ASSERT_TRUE(SetDcOffset(0));
        g_bTestVariableDC[1] = false;
        g_DCSetting = -300;
        ASSERT_TRUE(SetDcOffset(1));
    }
    ZEKA_OUTPUT_STAGE stage{};
    stage.size = sizeof stage;
    EXPECT_EQ(CommandsOf([&] { EXPECT_EQ(ZEKAGetOutputStage(&stage), 0); }), 1u);
    EXPECT_THAT(stage.lead, testing::ElementsAre(0, 0, 0, 1));
    EXPECT_THAT(stage.impedanceMode, testing::ElementsAre(0, 2, 3, 0));
    EXPECT_THAT(stage.signalGround, testing::ElementsAre(0, 0, 0, 1));
    EXPECT_THAT(stage.dcSource, testing::ElementsAre(ZEKA_DC_SOURCE_VARIABLE, ZEKA_DC_SOURCE_MINUS_300_MV,
                                                     ZEKA_DC_SOURCE_NONE, ZEKA_DC_SOURCE_NONE));
    EXPECT_EQ(stage.size, sizeof stage);
}

TEST_F(OutputStage, OfSeveralImpedancesAtOnceNoneIsNamed)
{
    DeviceClose();
    sim::InstrumentConfig config;
    config.port = 1;
    config.control_block[32 + 8 + 0] = 0xFF; // channel 1: modes 1 and 3
    config.control_block[32 + 8 + 4] = 0xFF;
    config.control_block[32 + 2] = 0x2A; // channel 0
    sim::Instrument odd(config);
    odd.Plug();
    ASSERT_TRUE(DoFindDevice(1));
    ZEKA_OUTPUT_STAGE stage{};
    stage.size = sizeof stage;
    ASSERT_EQ(ZEKAGetOutputStage(&stage), 0);
    EXPECT_EQ(stage.impedanceMode[1], -1);
    EXPECT_EQ(stage.dcSource[0], 0x2A);
}

TEST_F(OutputStage, IsRefusedOrUntouchedWhereItCannotBeTold)
{
    ZEKA_OUTPUT_STAGE stage{};
    stage.dcSource[3] = 77;
    EXPECT_EQ(CommandsOf([&] {
                  EXPECT_EQ(ZEKAGetOutputStage(nullptr), -2);
                  stage.size = sizeof stage - 1;
                  EXPECT_EQ(ZEKAGetOutputStage(&stage), -2);
              }),
              0u);
    struct {
        ZEKA_OUTPUT_STAGE known{};
        int later = 77; // of a later version
    } longer;
    longer.known.size = sizeof longer;
    EXPECT_EQ(ZEKAGetOutputStage(&longer.known), 0);
    EXPECT_EQ(longer.later, 77);
    stage.size = sizeof stage;
    instrument.Inject({.fault = Fault::kNoReply, .limit = 1});
    EXPECT_EQ(ZEKAGetOutputStage(&stage), -1);
    DeviceClose();
    EXPECT_EQ(ZEKAGetOutputStage(&stage), -1);
    EXPECT_EQ(stage.dcSource[3], 77);
}

TEST_F(OutputStage, TheDcSourceFollowsOffsetRawDataAndVariableMode)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    struct Case {
        int offset;
        bool raw, variable;
        std::uint8_t source;
    };
    for (const Case& c :
         {Case{300, false, true, 0x10}, Case{300, false, false, 0x01}, Case{-300, false, false, 0x02},
          Case{299, false, false, 0x00}, Case{300, true, false, 0x00}, Case{0, true, true, 0x10}}) {
        g_DCSetting = c.offset;
        g_bRawVariableDC = c.raw;
        g_bTestVariableDC[0] = c.variable;
        ASSERT_TRUE(SetDcOffset(0));
        EXPECT_EQ(Byte(34), c.source) << c.offset << c.raw << c.variable;
    }
}

TEST_F(OutputStage, ChannelStateMasksAreReadChangedAndWrittenBack)
{
    ASSERT_TRUE(SetSelectedChannelEnabled(0x0F, true));
    ASSERT_TRUE(SetSelectedChannelLeads(0x02, 1)); // enabled becomes exactly 0x02
    EXPECT_EQ(instrument.State().enabled_mask, 0x02);
    ASSERT_TRUE(SetSelectedChannelEnabled(0x0D, true));
    ASSERT_TRUE(SetSelectedChannelLeads(0x05, 1));
    EXPECT_EQ(instrument.State().enabled_mask, 0x05);
    EXPECT_EQ(instrument.State().lead_mask, 0x07);
    ASSERT_TRUE(SetSelectedChannelLeads(0x05, 0));
    EXPECT_EQ(instrument.State().lead_mask, 0x02);
    ASSERT_TRUE(SetSelectedChannelEnabled(0x01, false));
    EXPECT_EQ(instrument.State().enabled_mask, 0x04);
    instrument.Inject({.fault = Fault::kWrongStatus, .value = 0xFE, .limit = 1});
    EXPECT_FALSE(SetSelectedChannelEnabled(0x01, true));
}

TEST_F(OutputStage, TheStartRecordCarriesRateFractionAndTheChannelGroups)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    _DEVICE_CONTROL_SETTING record{};
    g_F = 60.0; // 40000/s: 666.666 samples in a period
    ASSERT_TRUE(GetDeviceControlSetting(&record));
    const std::uint8_t head[] = {0xEA, 0xFF, 0, 0, 1, 0, 0, 0, 0x9C, 0x40, 0x02, 0x9A, 0x04};
    EXPECT_TRUE(std::equal(std::begin(head), std::end(head), record.bytes));
    const auto block = instrument.State().control_block;
    EXPECT_TRUE(std::equal(block.begin() + 32, block.end(), record.bytes + 32));
    g_F = 1000.0;
    ASSERT_TRUE(GetDeviceControlSetting(&record));
    EXPECT_EQ(record.bytes[10] * 256 + record.bytes[11], 0);
}

TEST_F(OutputStage, AnswersWithoutADevice)
{
    DeviceClose();
    EXPECT_EQ(ZEKAGetInputImpedanceMode(0), 0);
    EXPECT_EQ(ZEKAGetSignalGroundToGNDGround(0), 1);
    EXPECT_EQ(ZEKASetInputImpedanceMode(0, 1), -1);
    EXPECT_EQ(ZEKASetOutputLead(0, 0), -1);
    EXPECT_EQ(SetAllOutputState(0), -1);
    EXPECT_FALSE(SetSelectedChannelEnabled(1, true));
}

} // namespace
