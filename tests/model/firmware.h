// firmware.h - what the instrument answers, byte for byte: the far end of the wire and the model each hold
// one.
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
        for (std::size_t n = 3; n < block_.size(); ++n) // what the library must hand back as it was read
            block_[n] = static_cast<std::uint8_t>(7 * n + 1);
    }

    /// From now on every status byte says no, and what was uploaded comes back changed.
    void Refuse(bool on) { refuse_ = on; }

    /// Empty for a burst.
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
