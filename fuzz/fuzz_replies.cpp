// fuzz_replies.cpp - arbitrary bytes from the instrument: exchanges, pings, the identity and the poll
// thread's reads take them from a socket that already holds them all. The first bytes of the input choose the
// host's actions, the rest is what the instrument sends.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <sys/socket.h>
#include <unistd.h>

#include "device/exchange.h"
#include "device/output_stage.h"
#include "link/port.h"
#include "link/serial_link.h"
#include "platform/global_objects.h"
#include "tests/support/socket_pair.h"
#include "util/peek.h"

#define ZEKA_REQUIRE(condition)                                                                              \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            std::abort();                                                                                    \
    } while (false)

namespace {

constexpr std::size_t kSteps = 6;
constexpr std::size_t kMostInput = 2048;

bool IsSampleRequest(std::span<const std::uint8_t> block) { return block[0] == 0x01 && block[1] == 0x55; }

void RunStep(std::uint8_t step)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    zeka::GiveUpAfterSilence quick;
    std::array<std::uint8_t, 64> block{};
    std::array<std::uint8_t, 12> identity{};
    switch (step % 7) {
    case 0:
        if (zeka::Exchange(std::array<std::uint8_t, 64>{}, block))
            ZEKA_REQUIRE(!IsSampleRequest(block));
        break;
    case 1:
        if (zeka::Exchange(std::array<std::uint8_t, 2>{0xAA, 0x03}, std::span(block).first(5)))
            ZEKA_REQUIRE(!IsSampleRequest(block));
        break;
    case 2:
        if (zeka::PingExchange(identity))
            ZEKA_REQUIRE(identity[4] == 'Z' && identity[5] == 'Z' && identity[6] == 'E');
        break;
    case 3:
        ZEKA_REQUIRE(zeka::ReadRequestBlock(block, 0) <= 64);
        break;
    case 4:
        zeka::DropStaleInput();
        ZEKA_REQUIRE(!zeka::RequestKept());
        break;
    case 5:
        SetRelays(true);
        break;
    default: {
        const int mode = GetInputImpedanceMode(step % 4);
        ZEKA_REQUIRE(mode >= 0 && mode <= 2);
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size <= kSteps)
        return 0;
    const zeka::test::SocketPair ends = zeka::test::MakeSocketPair(SOCK_STREAM);
    const std::size_t input = size - kSteps < kMostInput ? size - kSteps : kMostInput;
    (void)!::write(ends.far, data + kSteps, input);
    zeka::Publish(g_nDeviceReadTimeout, 0u); // nothing more will arrive
    zeka::ForgetLateReplies();
    zeka::OpenPort(ends.near);
    for (std::size_t i = 0; i < kSteps; ++i)
        RunStep(data[i]);
    DeviceClose();
    ::close(ends.far);
    return 0;
}
