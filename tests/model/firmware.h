// firmware.h - the instrument's replies, byte for byte. The far end of the wire and the model each have one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zeka::test {

using Message = std::vector<std::uint8_t>;

class Firmware {
public:
    Firmware()
    {
        // Bytes that the library must write back as it read them.
        for (std::size_t n = 3; n < block_.size(); ++n)
            block_[n] = static_cast<std::uint8_t>(7 * n + 1);
    }

    /// From now on every status byte says "no", and uploaded data is returned changed.
    void Refuse(bool on) { refuse_ = on; }

    /// The reply to a command; empty for a burst.
    Message Answer(const Message& request)
    {
        if (request.size() > 64)
            return {};
        Message reply = request;
        reply.resize(64);
        if (request[0] == 0x00) {
            if (request[1] == 0xFF)
                std::copy(request.begin(), request.end(), block_.begin());
            block_[1] = 0x00;
            return {block_.begin(), block_.end()};
        }
        reply[3] = refuse_ ? 0x00 : 0xFF;
        if (request.size() == 6 && request[0] == 0xCC && !refuse_) {
            if (request[1] == 0xFF)
                masks_ = {request[4], request[5]};
            reply[4] = masks_[0];
            reply[5] = masks_[1];
        }
        return reply;
    }

private:
    std::array<std::uint8_t, 64> block_{};
    std::array<std::uint8_t, 2> masks_{0x0F, 0x02}; // channels enabled, leads
    bool refuse_ = false;
};

} // namespace zeka::test
