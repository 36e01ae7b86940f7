// twin.h - fixture of the twin's tests: an instrument on port 0 with a plain host on its node.
#pragma once

#include "host.h"
#include "support/fixture.h"

#include <gmock/gmock.h>
#include <optional>

namespace zeka::test {

inline constexpr std::array<std::uint8_t, 3> kPing{0x55, 0x00, 0x00};
inline constexpr std::array<std::uint8_t, 6> kChannelRead{0xCC, 0x00, 0x0D};
inline constexpr std::array<std::uint8_t, 5> kStop{0xEA, 0xFF, 0x00, 0x00, 0x00};
inline constexpr sim::Block kControlRead{};

class Twin : public InstrumentTest {
protected:
    explicit Twin(const sim::InstrumentConfig& config = {}) : InstrumentTest(config) {}
    void SetUp() override
    {
        InstrumentTest::SetUp();
        host.emplace("/dev/ttyACM0");
    }
    void SetOutput(bool on) const
    {
        std::vector<std::uint8_t> block = host->Exchange(kControlRead, 64);
        ASSERT_EQ(block.size(), 64u);
        block[1] = 0xFF;
        block[2] = on ? 0x01 : 0x08;
        ASSERT_EQ(host->Exchange(block, 64).size(), 64u);
    }
    /// Reads a sample request.
    [[nodiscard]] bool Asked(milliseconds silence = milliseconds(10000)) const
    {
        const std::vector<std::uint8_t> block = host->Read(64, silence);
        return block.size() == 64 && block[0] == 0x01 && block[1] == 0x55;
    }
    std::optional<Host> host;
};

} // namespace zeka::test
