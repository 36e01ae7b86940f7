// Upload of one period: the golden traffic, and what a failure leaves behind.
#include "stream/playback.h"
#include "support/scripted_peer.h"
#include "zeka/zeka.h"

#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

using zeka::test::ScriptedPeer;
using Message = ScriptedPeer::Message;

/// The wire's requests after those that setting the scene took.
class Upload : public testing::Test {
protected:
    void Begin() { before_ = peer.Requests().size(); }
    [[nodiscard]] std::vector<Message> Sent() const
    {
        auto requests = peer.Requests();
        requests.erase(requests.begin(), requests.begin() + static_cast<std::ptrdiff_t>(before_));
        return requests;
    }
    static bool UploadAll(int function)
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        g_MainOutput = function;
        return WriteWaveformInfo() && WriteRawData();
    }

    ScriptedPeer peer;

private:
    std::size_t before_ = 0;
};

struct PeriodCase {
    const char* name;
    double hz;
    int rate;
    unsigned samples;
    std::size_t packets;
    unsigned hundredths;
};
void PrintTo(const PeriodCase& test, std::ostream* out) { *out << test.name; }

class GoldenUpload : public Upload, public testing::WithParamInterface<PeriodCase> {};

constexpr double kTwoPi = 6.2831853;

/// DC word and AC word of one period of a sine of 2 mV peak to peak, 100 mV DC offset: computed here from the
/// formulas.
Message SineImage(const PeriodCase& period)
{
    const auto dc = static_cast<unsigned>(0.5 + (100.0 + 1000.0) / 2000.0 * 65535.0);
    Message image;
    double time = 0.0;
    for (unsigned i = 0; i < period.samples; ++i) {
        const double phase = time - 1.0 / period.hz * std::trunc(time / (1.0 / period.hz));
        const auto ac = static_cast<int>(std::sin(period.hz * kTwoPi * phase) * 4.0 * 1600.0);
        for (const unsigned word : {dc, static_cast<unsigned>(ac)}) {
            image.push_back(static_cast<std::uint8_t>(word >> 8));
            image.push_back(static_cast<std::uint8_t>(word));
        }
        time += 1.0 / period.rate;
    }
    image.resize(period.packets * 56); // zero slots behind the last sample
    return image;
}

TEST_P(GoldenUpload, OfASineIsByteForByteWhatTheFormulasGive)
{
    const PeriodCase& period = GetParam();
    ASSERT_EQ(ZEKASetAmplitude(2.0), 0);
    ASSERT_EQ(ZEKASetFrequency(period.hz), 0);
    g_DCSetting = 100;
    Begin();
    ASSERT_TRUE(UploadAll(1));

    const auto sent = Sent();
    ASSERT_EQ(sent.size(), 1 + period.packets);
    Message info(64, 0);
    info[0] = 0xEA;
    info[1] = 0xFF;
    info[2] = 0x01;
    info[6] = static_cast<std::uint8_t>(period.samples >> 8);
    info[7] = static_cast<std::uint8_t>(period.samples);
    info[8] = static_cast<std::uint8_t>(period.hundredths >> 8);
    info[9] = static_cast<std::uint8_t>(period.hundredths);
    info[10] = 1;
    info[39] = 10; // noise 0.1 mV, pacing 2 ms at 60 per minute: the start-up values
    info[43] = 2;
    info[45] = 60;
    EXPECT_EQ(sent[0], info);

    const Message image = SineImage(period);
    for (std::size_t n = 0; n < period.packets; ++n) {
        const std::size_t index = 14 * n;
        Message packet = {0xEA,
                          0xFF,
                          0x04,
                          0,
                          0,
                          0,
                          static_cast<std::uint8_t>(index >> 8),
                          static_cast<std::uint8_t>(index)};
        packet.insert(packet.end(), image.begin() + static_cast<std::ptrdiff_t>(56 * n),
                      image.begin() + static_cast<std::ptrdiff_t>(56 * n + 56));
        ASSERT_EQ(sent[1 + n], packet) << "packet " << n;
    }
    EXPECT_NEAR(g_fOutputTime, period.samples / static_cast<double>(period.rate), 1e-9)
        << "one period further";
}

INSTANTIATE_TEST_SUITE_P(Frequencies, GoldenUpload,
                         testing::Values(PeriodCase{"Hz1", 1.0, 2000, 2000, 143, 100},
                                         PeriodCase{"Hz3", 3.0, 5000, 1666, 119, 300},
                                         PeriodCase{"Hz60", 60.0, 40000, 666, 48, 6000}),
                         [](const auto& test) { return test.param.name; });

TEST_F(Upload, TheInformationPacketCarriesTheSettings)
{
    ASSERT_EQ(ZEKASetFrequency(2.0), 0);
    ASSERT_EQ(ZEKASetPulseWidth(300.0), 0);
    ASSERT_EQ(SetECG2_27_Noise(3, 0.25), 0);
    ASSERT_EQ(ZEKASetPacingAmplitude(-700.0), 0);
    ASSERT_EQ(ZEKASetPacingDuration(1.9), 0);
    ASSERT_EQ(ZEKASetPacingRate(300), 0);
    Begin();
    const CAutoCriticalSection lock(g_CriticalSection);
    g_MainOutput = 0x107;
    ASSERT_TRUE(WriteWaveformInfo());
    const Message info = Sent().at(0);
    EXPECT_EQ(info[10], 0x07) << "the low byte of the function";
    EXPECT_EQ(info[11], 0x01) << "the high byte of 300 ms";
    EXPECT_EQ(info[36] << 8 | info[37], 3);
    EXPECT_EQ(info[38] << 8 | info[39], 25);
    EXPECT_EQ(info[40] << 8 | info[41], 0x10000 - 700);
    EXPECT_EQ(info[42] << 8 | info[43], 1);
    EXPECT_EQ(info[44] << 8 | info[45], 300);
}

TEST_F(Upload, AnEcgKeepsItsAmplitudeAndOthersAreHalved)
{
    ASSERT_EQ(ZEKASetAmplitude(2.0), 0);
    ASSERT_TRUE(UploadAll(4)); // rectangular pulse: 2A = 2 mV during the first 100 ms of the second
    EXPECT_EQ(s_A, 1.0);
    EXPECT_EQ(s_PW, 0.1);
    EXPECT_EQ(g_fTimePeriod, 1.0);
    const auto first = Sent().at(1);
    EXPECT_EQ(first[10] << 8 | first[11], 12800);
    ASSERT_TRUE(UploadAll(7));
    EXPECT_EQ(s_A, 2.0);
}

TEST_F(Upload, WithoutVariableDcTheDcChannelIsThePacingChannels)
{
    g_bVariableDC = false;
    g_DCSetting = -1000; // the DC offset, when no pulse is paced
    ASSERT_TRUE(UploadAll(1));
    EXPECT_EQ(Sent().at(1)[8], 0x00);
    EXPECT_EQ(Sent().at(1)[9], 0x00);
}

TEST_F(Upload, ALengthThatIsNoWholeNumberOfPacketsIsFilledWithZeros)
{
    Message image(60, 0xAB);
    const CAutoCriticalSection lock(g_CriticalSection);
    ASSERT_TRUE(WriteWaveformRawData(image.data(), 60));
    const auto sent = Sent();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1][7], 14);
    EXPECT_EQ(Message(sent[1].begin() + 8, sent[1].begin() + 13), (Message{0xAB, 0xAB, 0xAB, 0xAB, 0x00}));
}

TEST_F(Upload, ASaveUploadsSwitchesOffAndStores)
{
    ASSERT_EQ(ZEKASetFrequency(60.0), 0);
    Begin();
    EXPECT_EQ(ZEKASaveToStandaloneMode(2), 1);
    const auto sent = Sent();
    ASSERT_EQ(sent.size(), 1u + 48 + 2 + 2);
    EXPECT_EQ(sent[0][10], 2);
    EXPECT_EQ(sent[49], Message(64, 0));
    EXPECT_EQ(Message(sent[50].begin(), sent[50].begin() + 5), (Message{0xEA, 0xFF, 0x00, 0x00, 0x00}));
    EXPECT_EQ(sent[50].size(), 64u);
    EXPECT_EQ(sent[51], (Message{0xEA, 0xFF, 0x07, 0x00, 0x01}));
    EXPECT_EQ(sent[52], (Message{0xEA, 0x00, 0x07, 0x00, 0x01, 0x00}));
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
}

TEST_F(Upload, ASaveThatStaysBusyReturnsOneAndSendsNothing)
{
    g_bECGGoing = true;
    EXPECT_EQ(ZEKASaveToStandaloneMode(2), 1);
    EXPECT_TRUE(Sent().empty());
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
}

TEST_F(Upload, TheDefaultWaveformIsAnEcgOf2MillivoltsAt1Hz)
{
    ASSERT_EQ(ZEKASetFrequency(60.0), 0);
    EXPECT_EQ(ZEKASaveDefaultWaveform(), 1);
    EXPECT_EQ(ZEKAGetFrequency(), 1.0);
    EXPECT_EQ(ZEKAGetAmplitude(), 2.0);
    const auto sent = Sent();
    const auto is_info = [](const Message& request) { return request[0] == 0xEA && request[2] == 0x01; };
    const auto info = std::find_if(sent.begin(), sent.end(), is_info);
    ASSERT_NE(info, sent.end());
    EXPECT_EQ((*info)[10], 7);
    EXPECT_EQ(sent.back()[2], 0x07) << "stored";
}

TEST(UploadWithoutADevice, ReportsIt)
{
    EXPECT_EQ(ZEKASaveToStandaloneMode(7), 0);
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
    EXPECT_EQ(ZEKASaveDefaultWaveform(), 1) << "whatever became of the save";
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
