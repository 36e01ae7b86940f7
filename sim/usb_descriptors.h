// usb_descriptors.h - the instrument's USB descriptors: a communication device of the abstract control model
// with one interrupt and two bulk endpoints. Data only; usb_device.cpp answers with it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zeka::sim::usb {

inline constexpr std::uint8_t kBulkEndpoint = 1;      // in and out
inline constexpr std::uint8_t kInterruptEndpoint = 2; // in
inline constexpr std::uint8_t kIn = 0x80;        // direction bit of an endpoint's address and of a request
inline constexpr std::uint8_t kPacketBytes = 64; // full speed

namespace descriptor {
inline constexpr std::uint8_t kDevice = 1;
inline constexpr std::uint8_t kConfiguration = 2;
inline constexpr std::uint8_t kString = 3;
inline constexpr std::uint8_t kInterface = 4;
inline constexpr std::uint8_t kEndpoint = 5;
inline constexpr std::uint8_t kClassSpecific = 0x24;
} // namespace descriptor

inline constexpr std::array<std::uint8_t, 18> kDevice{
    // USB 2.0
    18, descriptor::kDevice, 0x00, 0x02,
    // a communication device
    0x02, 0x00, 0x00,
    // bytes of a packet of endpoint 0
    kPacketBytes,
    // vendor 0x1209, product 0x0001: one of the pairs that any developer may use for tests
    0x09, 0x12, 0x01, 0x00,
    // release
    0x00, 0x01,
    // strings: maker, product, serial number
    1, 2, 3,
    // configurations
    1};

inline constexpr std::array<std::uint8_t, 67> kConfiguration{
    // two interfaces, self powered
    9, descriptor::kConfiguration, 67, 0, 2, 1, 0, 0xC0, 50,
    // interface 0, control: abstract control model
    9, descriptor::kInterface, 0, 0, 1, 0x02, 0x02, 0x01, 0,
    // header, release 1.10
    5, descriptor::kClassSpecific, 0x00, 0x10, 0x01,
    // no calls
    5, descriptor::kClassSpecific, 0x01, 0x00, 1,
    // line coding and line state
    4, descriptor::kClassSpecific, 0x02, 0x02,
    // interface 0 controls interface 1
    5, descriptor::kClassSpecific, 0x06, 0, 1,
    // its interrupt endpoint
    7, descriptor::kEndpoint, kIn | kInterruptEndpoint, 3, 16, 0, 16,
    // interface 1, data
    9, descriptor::kInterface, 1, 0, 2, 0x0A, 0, 0, 0,
    // its bulk endpoint from the host
    7, descriptor::kEndpoint, kBulkEndpoint, 2, kPacketBytes, 0, 0,
    // its bulk endpoint to the host
    7, descriptor::kEndpoint, kIn | kBulkEndpoint, 2, kPacketBytes, 0, 0};

/// The language list for 0, else one of the three texts; empty for others.
inline std::vector<std::uint8_t> String(std::size_t index)
{
    constexpr std::array<std::string_view, 4> kTexts{"", "Zeka", "Virtual instrument", "1"};
    if (index == 0)
        return {4, descriptor::kString, 0x09, 0x04}; // English
    if (index >= kTexts.size())
        return {};
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(2 + 2 * kTexts[index].size()),
                                    descriptor::kString};
    for (const char letter : kTexts[index]) {
        bytes.push_back(static_cast<std::uint8_t>(letter));
        bytes.push_back(0);
    }
    return bytes;
}

} // namespace zeka::sim::usb
