// commands_test.cpp - every command as a host sends it: where it ends, what is answered, what the instrument
// keeps.
#include "twin.h"

#include <thread>

namespace zeka::test {
namespace {

using sim::Bytes;
using sim::Command;
using testing::ElementsAre;

std::vector<std::uint8_t> Slice(const std::vector<std::uint8_t>& bytes, std::size_t from, std::size_t to)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

class TwinCommands : public Twin {
protected:
    std::vector<Command> Heard() const
    {
        std::vector<Command> heard;
        for (const sim::CommandRecord& record : instrument.Commands())
            heard.push_back(record.command);
        return heard;
    }
};

TEST_F(TwinCommands, SayWhoItIs)
{
    const auto reply = host->Exchange(kPing, 12);
    ASSERT_EQ(reply.size(), 12u);
    EXPECT_THAT(Slice(reply, 4, 12), ElementsAre('Z', 'Z', 'E', 0x02, 0x3A, 21, 345 / 256, 345 % 256));

    const std::array<std::uint8_t, 12> read{0x12, 0x55, 0xAA, 0, 0, 1, 0, 0x20};
    const auto page = host->Exchange(read, 64);
    ASSERT_EQ(page.size(), 64u);
    EXPECT_EQ(Slice(page, 16, 24), Slice(reply, 4, 12));
    EXPECT_THAT(Slice(page, 24, 28), ElementsAre(0x11, 0x12, 0x13, 0x14));

    const std::array<std::uint8_t, 2> query{0xAA, 0x03};
    EXPECT_THAT(host->Exchange(query, 5), ElementsAre(0xAA, 0x03, 0x00, 0x15, 0x00));
}

TEST_F(TwinCommands, KeepEveryByteOfTheControlBlock)
{
    auto block = host->Exchange(kControlRead, 64);
    ASSERT_EQ(block.size(), 64u);
    EXPECT_EQ(block[0], 0x00); // it goes back as the first byte of the write
    for (std::size_t i = 3; i < 64; ++i)
        block[i] = static_cast<std::uint8_t>(255 - i);
    block[1] = 0xFF;
    EXPECT_EQ(host->Exchange(block, 64).size(), 64u);

    const auto again = host->Exchange(kControlRead, 64);
    ASSERT_EQ(again.size(), 64u);
    EXPECT_EQ(Slice(again, 2, 64), Slice(block, 2, 64));
    EXPECT_EQ(again[1], 0x00);
    EXPECT_EQ(instrument.State().sample_rate, 250u * 256u + 249u);
    EXPECT_FALSE(instrument.State().output_on);
}

TEST_F(TwinCommands, WriteTheInformationPage)
{
    const sim::Block read = Packet({0x12, 0x55, 0xAA, 0, 0, 1, 0, 0x0C});
    auto page = host->Exchange(read, 64);
    ASSERT_EQ(page.size(), 64u);
    page[3] = 0xFF;
    page[23] = 7;
    const auto reply = host->Exchange(page, 64);
    ASSERT_EQ(reply.size(), 64u);
    EXPECT_EQ(reply[4], 0xFF);
    EXPECT_EQ(host->Exchange(kPing, 12).at(11), 7);
    instrument.Replug();
    host.emplace("/dev/ttyACM0");
    EXPECT_EQ(host->Exchange(kPing, 12).at(11), 7) << "outlives a power cut";
}

TEST_F(TwinCommands, SetWhatTheyName)
{
    const std::array<std::uint8_t, 6> channels{0xCC, 0xFF, 0x0D, 0x00, 0x05, 0x07};
    EXPECT_EQ(host->Exchange(channels, 64).at(3), 0xFF);
    const auto masks = host->Exchange(kChannelRead, 64);
    EXPECT_THAT(Slice(masks, 3, 6), ElementsAre(0xFF, 0x05, 0x07));

    EXPECT_EQ(host->Exchange(Packet({0xCC, 0xFF, 0x0F}), 64).size(), 64u);
    EXPECT_EQ(host->Exchange(Packet({0xCC, 0xFF, 0x06, 0x00, 0x01}), 64).size(), 64u);
    EXPECT_EQ(host->Exchange(Packet({0xCC, 0xFF, 0x07, 0x00, 0x12, 0x34, 0xAB, 0xCD}), 64).size(), 64u);
    std::array<std::uint8_t, 19> breath{0xEA, 0xFF, 0x01, 0, 0, 0, 0, 0, 20, 2, 1, 3, 1};
    EXPECT_EQ(host->Exchange(breath, 64).at(3), 0xFF);

    const sim::InstrumentState state = instrument.State();
    EXPECT_EQ(state.enabled_mask, 0x05);
    EXPECT_EQ(state.lead_mask, 0x07);
    EXPECT_EQ(state.status_resets, 1u);
    EXPECT_TRUE(state.calibration);
    EXPECT_EQ(state.dac_first, 0x1234);
    EXPECT_EQ(state.dac_second, 0xABCD);
    EXPECT_EQ(state.respiration.frequency, 20);
    EXPECT_EQ(state.respiration.variation, 2);
    EXPECT_EQ(state.respiration.ratio, 1);
    EXPECT_EQ(state.respiration.baseline, 3);
    EXPECT_TRUE(state.respiration.apnea);
}

TEST_F(TwinCommands, EndWhereTheirLengthSays)
{
    // All of them in one piece, the short ones directly before others that could be taken for their rest.
    std::vector<std::uint8_t> all;
    const auto add = [&all](Bytes bytes) { all.insert(all.end(), bytes.begin(), bytes.end()); };
    std::array<std::uint8_t, 19> breath{0xEA, 0xFF, 0x01};
    const sim::Block info = Packet({0xEA, 0xFF, 0x01, 0, 0, 0, 0x07, 0xD0});
    const sim::Block record_off = Packet({0xEA, 0xFF, 0x00, 0, 0, 0, 0, 0, 0x07, 0xD0, 0, 0, 0x04});
    add(kPing);
    add(breath);
    add(kControlRead);
    add(info);
    add(kStop);
    add(kControlRead); // its zeros could go on the record that the stop command begins like
    add(record_off);
    add(kChannelRead);
    add(kStop);
    add(breath);

    const std::vector<Command> expected{
        Command::kPing,       Command::kRespiration, Command::kControlRead,     Command::kWaveformInfo,
        Command::kOutputStop, Command::kControlRead, Command::kOutputRecordOff, Command::kChannelRead,
        Command::kOutputStop, Command::kRespiration};
    host->Write(all);
    EXPECT_EQ(host->Read(12 + 9 * 64, kPatience).size(), 12u + 9 * 64);
    EXPECT_EQ(Heard(), expected);

    instrument.ClearCommands();
    for (const std::uint8_t& byte : all) {
        host->Write(Bytes(&byte, 1));
        const std::uint64_t sent = static_cast<std::uint64_t>(&byte - all.data()) + 1 + all.size();
        ASSERT_TRUE(WaitUntil([&] { return instrument.Stats().bytes_received == sent; }));
    }
    EXPECT_EQ(host->Read(12 + 9 * 64, kPatience).size(), 12u + 9 * 64);
    EXPECT_EQ(Heard(), expected);
    EXPECT_EQ(instrument.Stats().unknown_bytes, 0u);
}

TEST_F(TwinCommands, StopsAtASilence)
{
    EXPECT_EQ(host->Exchange(kStop, 64).size(), 64u);
    EXPECT_THAT(Heard(), ElementsAre(Command::kOutputStop));
}

TEST_F(TwinCommands, SkipWhatBeginsNone)
{
    const std::array<std::uint8_t, 8> noise{0x07, 0x01, 0x55, 0x12, 0x54, 0xEA, 0x31, 0xCC};
    host->Write(noise);
    EXPECT_EQ(host->Exchange(kPing, 12).size(), 12u);
    EXPECT_EQ(instrument.Stats().unknown_bytes, noise.size());
}

TEST_F(TwinCommands, AreDroppedWhenTheirRestNeverComes)
{
    host->Write(Bytes(kControlRead).first(20));
    ASSERT_TRUE(WaitUntil([&] { return instrument.Stats().truncated_commands == 1; }));
    EXPECT_EQ(host->Exchange(kPing, 12).size(), 12u);
}

TEST_F(TwinCommands, UploadAndStore)
{
    EXPECT_EQ(host->Exchange(Packet({0xEA, 0xFF, 0x01, 0, 0, 0, 0, 20, 0x00, 0x64, 7}), 64).size(), 64u);
    for (const std::uint8_t index : {std::uint8_t{0}, std::uint8_t{14}}) {
        sim::Block data = Packet({0xEA, 0xFF, 0x04, 0, 0, 0, 0, index});
        for (std::size_t i = 8; i < 64; ++i)
            data[i] = static_cast<std::uint8_t>(index + i);
        const auto reply = host->Exchange(data, 64);
        data[3] = 0xFF;
        EXPECT_EQ(reply, std::vector(data.begin(), data.end()));
    }
    const std::array<std::uint8_t, 5> store{0xEA, 0xFF, 0x07, 0x00, 0x01};
    const std::array<std::uint8_t, 6> status{0xEA, 0x00, 0x07, 0x00, 0x01, 0x00};
    EXPECT_EQ(host->Exchange(store, 64).size(), 64u);
    EXPECT_NE(host->Exchange(status, 64).at(3), 0xFF) << "one read says not yet";
    EXPECT_EQ(host->Exchange(status, 64).at(3), 0xFF);

    const sim::InstrumentState state = instrument.State();
    ASSERT_EQ(state.image.size(), 2u * 56);
    EXPECT_EQ(state.image[56], 14 + 8);
    EXPECT_EQ(state.waveform.value().samples, 20u);
    EXPECT_DOUBLE_EQ(state.waveform.value().frequency_hz, 1.0);
    EXPECT_EQ(state.waveform.value().function, 7u);
    EXPECT_EQ(state.rom_image, state.image);
    instrument.Replug();
    EXPECT_EQ(instrument.State().rom_image, state.image);
    EXPECT_TRUE(instrument.State().image.empty());
}

} // namespace
} // namespace zeka::test
