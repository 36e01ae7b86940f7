// binary_reader.cpp - reads the library's binary format. The format has no signature: a file that no other
// reader recognises is taken for it and refused when its head cannot be that of a recording.
#include "formats/binary_reader.h"

#include "formats/file_error.h"

#include <algorithm>
#include <cstdint>

namespace zeka::formats {
namespace {

constexpr double kMvPerMicrovolt = 1e-3;

} // namespace

Recording ReadBinary(const std::string& bytes, const std::string& path)
{
    constexpr std::size_t kHead = 6;
    const auto at = [&bytes](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    if (bytes.size() < kHead + 2)
        Refuse(path, "it is too short for a recording; give a text, CSV, binary, WFDB or EDF+ file");
    const int rate = at(0) << 8 | at(1);
    const std::uint32_t count = static_cast<std::uint32_t>(at(2)) << 24 |
                                static_cast<std::uint32_t>(at(3)) << 16 |
                                static_cast<std::uint32_t>(at(4)) << 8 | at(5);
    const std::size_t there = (bytes.size() - kHead) / 2;
    // Any file begins with some number; a count that is impossible shows that the file is not of this format.
    if (rate < 30 || rate > 5000 || count == 0 || count / 2 > there)
        Refuse(path, "it is neither text, CSV, binary, WFDB nor EDF+; convert it to one of these");
    Recording recording;
    recording.format = "binary";
    RecordedChannel& channel =
        recording.channels.emplace_back(RecordedChannel{"1", "uV", static_cast<double>(rate), true, {}});
    for (std::size_t i = 0; i < std::min<std::size_t>(count, there); ++i) {
        const auto word = static_cast<std::uint16_t>(at(kHead + 2 * i) << 8 | at(kHead + 2 * i + 1));
        channel.values.push_back(static_cast<std::int16_t>(word) * kMvPerMicrovolt);
    }
    return recording;
}

} // namespace zeka::formats
