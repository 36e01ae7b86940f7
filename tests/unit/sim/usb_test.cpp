// usb_test.cpp - the instrument's USB end, asked by a host that is a few lines of this file. With the kernel
// as the host it is under test in tests/driver.
#include "sim/usb_device.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/socket.h>
#include <unistd.h>

namespace zeka::test {
namespace {

using sim::UsbDevice;
using Data = std::vector<std::uint8_t>;

std::uint32_t Word(const Data& bytes, std::size_t at)
{
    return std::accumulate(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                           bytes.begin() + static_cast<std::ptrdiff_t>(at) + 4, 0U,
                           [](std::uint32_t sum, std::uint8_t byte) { return sum << 8 | byte; });
}

class UsbHost : public testing::Test {
protected:
    static constexpr std::size_t kHeader = 48;

    /// What the device answered to one message.
    struct Answer {
        std::uint32_t command = 0;
        std::uint32_t sequence = 0;
        int status = 1;
        std::uint32_t actual = 0;
        Data data;
    };

    UsbHost()
    {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        host_ = sim::Descriptor(ends[0]);
        device.emplace(sim::Descriptor(ends[1]));
    }

    void Send(const Data& message, std::size_t piece = 1000)
    {
        for (std::size_t at = 0; at < message.size(); at += piece) {
            const std::size_t count = std::min(piece, message.size() - at);
            ASSERT_EQ(::send(host_.Get(), message.data() + at, count, 0), static_cast<ssize_t>(count));
            device->NoteEvents();
        }
    }

    static Data Header(std::initializer_list<std::uint32_t> words, const Data& setup = Data(8))
    {
        Data bytes;
        for (const std::uint32_t word : words)
            for (int shift = 24; shift >= 0; shift -= 8)
                bytes.push_back(static_cast<std::uint8_t>(word >> shift));
        bytes.resize(kHeader - setup.size());
        bytes.insert(bytes.end(), setup.begin(), setup.end());
        return bytes;
    }
    static Data Submit(std::uint32_t sequence, bool in, std::uint32_t endpoint, std::uint32_t length,
                       const Data& data = {}, const Data& setup = Data(8))
    {
        Data bytes = Header({1, sequence, 0x10001, in ? 1U : 0U, endpoint, 0, length}, setup);
        bytes.insert(bytes.end(), data.begin(), data.end());
        return bytes;
    }

    Answer Receive(bool with_data = true)
    {
        Data bytes(kHeader);
        if (::recv(host_.Get(), bytes.data(), kHeader, MSG_DONTWAIT) != static_cast<ssize_t>(kHeader))
            return {};
        Answer answer{Word(bytes, 0), Word(bytes, 4), static_cast<int>(Word(bytes, 20)), Word(bytes, 24), {}};
        answer.data.resize(with_data ? answer.actual : 0);
        if (!answer.data.empty()) {
            EXPECT_EQ(::recv(host_.Get(), answer.data.data(), answer.data.size(), MSG_DONTWAIT),
                      static_cast<ssize_t>(answer.data.size()));
        }
        return answer;
    }

    std::optional<UsbDevice> device;

private:
    sim::Descriptor host_;
};

TEST_F(UsbHost, IsToldAnAcmDeviceInPiecesOfAnySize)
{
    Send(Submit(1, true, 0, 255, {}, {0x80, 6, 0, 2, 0, 0, 255, 0}), 7); // GET_DESCRIPTOR, configuration
    const Data told = Receive().data;
    ASSERT_EQ(told.size(), 67U);
    EXPECT_EQ(told[2] | told[3] << 8, 67);
    std::vector<int> endpoints;
    std::size_t end = 0;
    for (; end + 1 < told.size() && told[end] > 0; end += told[end])
        if (told[end + 1] == 5)
            endpoints.push_back(told[end + 2]);
    EXPECT_EQ(end, told.size()); // the lengths add up
    EXPECT_EQ(endpoints, (std::vector<int>{0x82, 0x01, 0x81}));
    Send(Submit(2, true, 0, 9, {}, {0x80, 6, 0, 2, 0, 0, 9, 0}));
    EXPECT_EQ(Receive().data, Data(told.begin(), told.begin() + 9));
    Send(Submit(3, true, 0, 2, {}, {0xC0, 0x77, 0, 0, 0, 0, 2, 0}));
    EXPECT_EQ(Receive().status, -EPIPE); // a request of some vendor's
}

TEST_F(UsbHost, ItsBytesWaitUntilTheyAreReadAndItsReadsUntilThereAreBytes)
{
    const Data ping{0x55, 0, 0};
    Send(Submit(5, false, 1, 3, ping));
    EXPECT_EQ(Receive(false).command, 0U); // not taken: the host's write is not over
    Data taken;
    EXPECT_EQ(device->Read(taken, 1024), 3U);
    EXPECT_EQ(taken, ping);
    const Answer written = Receive(false);
    EXPECT_EQ(std::pair(written.sequence, written.actual), std::pair(5U, 3U));

    EXPECT_EQ(device->Write(Data(64)), 0U); // nobody listens
    Send(Submit(6, true, 1, 128));
    Send(Submit(7, true, 1, 10));
    EXPECT_EQ(device->Write(Data(64, 0xAB)), 64U);
    EXPECT_EQ(Receive().data, Data(64, 0xAB)); // ends the transfer, though there was room for more
    EXPECT_EQ(device->Write(Data(64)), 10U);
    EXPECT_EQ(device->Write(Data(64)), 0U);
}

TEST_F(UsbHost, TakesATransferBackOrFindsItDone)
{
    Send(Submit(8, true, 1, 128));
    Send(Header({2, 9, 0x10001, 0, 1, 8}));
    const Answer taken_back = Receive(false);
    EXPECT_EQ(taken_back.command, 4U);
    EXPECT_EQ(taken_back.sequence, 9U);
    EXPECT_EQ(taken_back.status, -ECONNRESET);
    EXPECT_EQ(device->Write(Data(64)), 0U);
    Send(Header({2, 10, 0x10001, 0, 1, 8}));
    EXPECT_EQ(Receive(false).status, 0);
}

TEST_F(UsbHost, GetsNoLineSettingsThroughToADeafDevice)
{
    const Data line_state{0x21, 0x22, 3, 0, 0, 0, 0, 0};
    device->SetDeaf(true);
    Send(Submit(11, false, 0, 0, {}, line_state));
    EXPECT_EQ(Receive().command, 0U);
    Send(Submit(12, true, 0, 18, {}, {0x80, 6, 0, 1, 0, 0, 18, 0}));
    EXPECT_EQ(Receive().data.size(), 18U); // who it is it says all the same
    device->SetDeaf(false);
    Send(Submit(13, false, 0, 0, {}, line_state));
    EXPECT_EQ(Receive().status, 0);
}

TEST_F(UsbHost, SeesEveryTransferFailWhenTheCableIsPulled)
{
    Send(Submit(14, true, 1, 128));
    Send(Submit(15, false, 1, 3, {1, 2, 3}));
    Send(Submit(16, true, 2, 16));
    device->Remove(sim::Removal::kPull);
    for (int transfer = 0; transfer < 3; ++transfer)
        EXPECT_EQ(Receive(false).status, -EPROTO);
    Send(Submit(17, true, 0, 18, {}, {0x80, 6, 0, 1, 0, 0, 18, 0}));
    EXPECT_EQ(Receive(false).status, -EPROTO);
    std::vector<pollfd> set;
    device->AddTo(set, false, false);
    EXPECT_EQ(set.size(), 1U); // the hub still talks to it
    Send(Header({77, 18, 0x10001}));
    set.clear();
    device->AddTo(set, false, false);
    EXPECT_TRUE(set.empty()); // what it says can no longer be told apart
}

} // namespace
} // namespace zeka::test
