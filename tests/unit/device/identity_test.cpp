// identity_test.cpp - who the instrument is, what tells it from another device, and what cannot be rewritten.
#include "device/identity.h"

#include <cstring>
#include <gtest/gtest.h>

#include "link/serial_link.h"
#include "support/fixture.h"
#include "zeka/zeka.h"

namespace {

using zeka::sim::Command;
using zeka::sim::Fault;

class Identity : public zeka::test::InstrumentTest {
protected:
    void TearDown() override
    {
        DeviceClose();
        InstrumentTest::TearDown();
    }
};

TEST_F(Identity, IsReadOnceAtTheSearchAndHiddenWhenNoDeviceIsOpen)
{
    ASSERT_TRUE(DoFindDevice(0));
    MODEL_INFORMATION model{};
    ASSERT_EQ(ZEKAGetDeviceInformation(&model), 1);
    EXPECT_EQ(std::memcmp(model.ModelCode, "ZE\x02\x3A", 4), 0);
    EXPECT_EQ(model.nSerialBlock, 21u);
    EXPECT_EQ(model.nSerialNumber, 345u);
    ZEKA_HW_INFORMATION hardware{};
    ASSERT_EQ(ZEKAGetHWInformation(&hardware), 1);
    EXPECT_EQ(hardware.nHWSetting0, 0x11u);
    EXPECT_EQ(hardware.nHWSetting1, 0x12u);
    EXPECT_EQ(hardware.nStoredInfo1, 0x14u);
    EXPECT_STREQ(ZEKAGetSerialNumber(), "ZZE023A-210345");

    DeviceClose();
    std::memset(&hardware, 0x5A, sizeof hardware);
    const ZEKA_HW_INFORMATION untouched = hardware;
    EXPECT_EQ(ZEKAGetHWInformation(&hardware), 0);
    EXPECT_EQ(std::memcmp(&hardware, &untouched, sizeof hardware), 0);
    EXPECT_STREQ(ZEKAGetSerialNumber(), "Z");
    EXPECT_EQ(ZEKASetHWInformation(1, 2), 0);
    EXPECT_EQ(ZEKASetDeviceInformation(&model), 1);
    EXPECT_EQ(ZEKAGetVersion(), 0x01000502u);
}

TEST_F(Identity, AWrongMarkerOrMissingHardwareInformationRejectsThePort)
{
    instrument.Inject({.fault = Fault::kWrongMarker, .limit = 1});
    EXPECT_FALSE(DoFindDevice(0));
    EXPECT_FALSE(DeviceIsConnected());
    instrument.Inject({.fault = Fault::kNoReply, .limit = 1, .group = 0xAA});
    EXPECT_FALSE(DoFindDevice(0));
    EXPECT_TRUE(DoFindDevice(0));
}

TEST_F(Identity, APageThatTheFormerSearchAskedForIsNotTakenForTheReplyToThePing)
{
    // It holds the bytes of that reply in its middle. Byte by byte, because one that has come whole is easily told.
    instrument.Inject({.fault = Fault::kLateReply, .value = 300, .limit = 1, .group = 0x12});
    instrument.Inject({.fault = Fault::kSingleBytes, .value = 200, .limit = 1, .group = 0x12});
    EXPECT_FALSE(DoFindDevice(0));
    instrument.ClearCommands();
    EXPECT_TRUE(DoFindDevice(0));
    EXPECT_EQ(instrument.Commands().size(), 3u) << "ping, page, module query";
    ZEKA_HW_INFORMATION hardware{};
    ASSERT_EQ(ZEKAGetHWInformation(&hardware), 1);
    EXPECT_EQ(hardware.nHWSetting0, 0x11u);
}

TEST_F(Identity, RewritingFailsAfterThePageWasReadAndChangesNothing)
{
    ASSERT_TRUE(DoFindDevice(0));
    instrument.ClearCommands();
    const auto now = [] { return std::chrono::steady_clock::now(); };
    const auto start = now();
    EXPECT_EQ(ZEKASetHWInformation(1, 2), 0);
    EXPECT_GE(now() - start, zeka::test::milliseconds{80}); // 40 ms ahead of the reply, 40 ms behind it
    MODEL_INFORMATION other{{'Z', 'X', 0, 0}, 1, 2};
    const auto second = now();
    EXPECT_EQ(ZEKASetDeviceInformation(&other), 0);
    EXPECT_GE(now() - second, zeka::test::milliseconds{40});
    const auto commands = instrument.Commands();
    ASSERT_EQ(commands.size(), 2u);
    for (const auto& command : commands) {
        ASSERT_EQ(command.bytes.size(), 64u);
        EXPECT_EQ(command.bytes[3], 0x00); // read, not written
        EXPECT_EQ(command.bytes[7], 0x0C);
    }
    EXPECT_STREQ(ZEKAGetSerialNumber(), "ZZE023A-210345");
}

} // namespace
