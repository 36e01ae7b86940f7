// control_block_test.cpp - the command's own exchange with the instrument: what it makes of the block, of
// what stands ahead of it, and of an instrument that does not answer.
#include "cli/instrument/control_block.h"
#include "cli/shell/failure.h"
#include "support/fixture.h"
#include "support/signal_storm.h"
#include "support/socket_pair.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace zeka::cli {
namespace {

using std::chrono::milliseconds;
using Message = std::vector<std::uint8_t>;

constexpr milliseconds kSoon{30};

/// As connecting leaves it; channel c has DC source c.
Message Block()
{
    Message block(kControlBlockBytes, 0xA5);
    block[0] = block[1] = 0x00;
    block[2] = 0x08;
    for (std::size_t channel = 0; channel < kOutputChannels; ++channel) {
        const Message group{0x00, 0x00, static_cast<std::uint8_t>(channel), 0xFF, 0x00, 0x00};
        std::ranges::copy(group, block.begin() + 32 + static_cast<std::ptrdiff_t>(8 * channel));
    }
    return block;
}

Message Filled(std::uint8_t first, std::uint8_t second)
{
    Message block(kControlBlockBytes, 0x00);
    block[0] = first;
    block[1] = second;
    return block;
}

Message Joined(std::initializer_list<Message> parts)
{
    Message all;
    for (const Message& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

class ControlBlockExchange : public testing::Test {
protected:
    ControlBlockExchange() { (void)std::signal(SIGPIPE, SIG_IGN); } // as the command does
    ~ControlBlockExchange() override
    {
        ::close(ends.near);
        ::close(ends.far);
    }
    /// Waits for the request and answers it with these pieces; says whether the request was 64 zero bytes.
    bool Answer(const std::vector<Message>& pieces) const
    {
        Message request(kControlBlockBytes, 0xEE);
        const ssize_t count = ::recv(ends.far, request.data(), request.size(), MSG_WAITALL);
        for (const Message& piece : pieces) {
            (void)::send(ends.far, piece.data(), piece.size(), MSG_NOSIGNAL);
            std::this_thread::sleep_for(milliseconds(2)); // so that they come one by one
        }
        return count == static_cast<ssize_t>(kControlBlockBytes) && request == Message(kControlBlockBytes, 0);
    }
    ControlBlock Ask(const std::vector<Message>& pieces) const
    {
        std::jthread instrument([&] { EXPECT_TRUE(Answer(pieces)); });
        return ReadControlBlock(ends.near, "/dev/ttyACM0", test::kPatience);
    }
    [[nodiscard]] Exit FailureOf(milliseconds wait) const
    {
        try {
            (void)ReadControlBlock(ends.near, "/dev/ttyACM0", wait);
        } catch (const Failure& failure) {
            EXPECT_THAT(failure.what(),
                        testing::AllOf(testing::HasSubstr("/dev/ttyACM0"), testing::HasSubstr("; ")));
            return failure.Code();
        }
        return Exit::kDone;
    }
    const test::SocketPair ends = test::MakeSocketPair(SOCK_STREAM);
};

TEST_F(ControlBlockExchange, FindsTheBlockHoweverItComes)
{
    const Message block = Block();
    const Message request = Filled(0x01, 0x55);
    const Message late = Filled(0xCC, 0x00); // its zeros could pass for a block
    const std::vector<std::vector<Message>> ways{
        {block},
        {Message(block.begin(), block.begin() + 1), Message(block.begin() + 1, block.begin() + 40),
         Message(block.begin() + 40, block.end())},
        {request, block},
        {Joined({request, late, block})},
        {Joined({{0x5A, 0x5A, 0x45, 0x00, 0x00}, block})},
    };
    for (std::size_t way = 0; way < ways.size(); ++way) {
        const ControlBlock found = Ask(ways[way]);
        EXPECT_TRUE(std::ranges::equal(found, block)) << way;
    }
    // What was there before the question is no answer to it.
    Message stale = block;
    stale[32 + 2] = 0x10;
    (void)::send(ends.far, stale.data(), stale.size(), MSG_NOSIGNAL);
    const test::SignalStorm storm;
    EXPECT_TRUE(std::ranges::equal(Ask({block}), block));
}

TEST_F(ControlBlockExchange, EndsInTimeWhenTheInstrumentDoesNot)
{
    const std::vector<std::string> before = test::OpenDescriptors();
    {
        std::jthread instrument([&] { EXPECT_TRUE(Answer({Message(kControlBlockBytes - 1, 0x00)})); });
        EXPECT_EQ(FailureOf(kSoon), Exit::kTimeOut); // a broken reply
    }
    EXPECT_EQ(FailureOf(kSoon), Exit::kTimeOut); // silence
    const Message full(4096, 0x00);
    while (::write(ends.near, full.data(), full.size()) > 0) {
    }
    EXPECT_EQ(FailureOf(kSoon), Exit::kTimeOut); // it takes nothing
    (void)::shutdown(ends.far, SHUT_RDWR);
    EXPECT_EQ(FailureOf(test::kPatience), Exit::kLost);
    EXPECT_EQ(test::OpenDescriptors(), before);
    try {
        (void)ReadControlBlock(-1, "/dev/ttyACM0", kSoon); // the library has closed it
        ADD_FAILURE() << "there was no port";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Code(), Exit::kLost);
    }
}

TEST(ControlBlockContents, TellEveryChannelApart)
{
    Message bytes = Block();
    const auto channel = [&bytes](std::size_t number) {
        return bytes.begin() + 32 + static_cast<std::ptrdiff_t>(8 * number);
    };
    channel(1)[0] = 0xFF; // mode 1
    channel(2)[1] = 0xFF; // mode 2
    channel(2)[3] = 0x00; // another lead
    channel(3)[4] = 0xFF; // mode 3
    channel(0)[5] = 0xFF; // ground
    channel(3)[2] = 0x10;
    ControlBlock block{};
    std::ranges::copy(bytes, block.begin());
    const auto channels = ChannelsOf(block);
    for (std::size_t number = 0; number < kOutputChannels; ++number) {
        EXPECT_EQ(channels[number].impedance, static_cast<int>(number));
        EXPECT_EQ(channels[number].lead_0, number != 2);
        EXPECT_EQ(channels[number].signal_ground, number == 0);
    }
    const std::array<const char*, kOutputChannels> sources{"none", "+300 mV", "-300 mV", "variable"};
    for (std::size_t number = 0; number < kOutputChannels; ++number)
        EXPECT_EQ(DcSourceText(channels[number].dc_source), sources[number]);
    EXPECT_EQ(DcSourceText(0x2A), "unknown (0x2A)");
    block[32] = block[33] = 0xFF;
    EXPECT_FALSE(ChannelsOf(block)[0].impedance);
}

} // namespace
} // namespace zeka::cli
