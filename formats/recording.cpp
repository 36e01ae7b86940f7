// recording.cpp - finds a channel, and the size of a unit. Called once for each channel of a file.
#include "formats/recording.h"

#include "formats/file_error.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

namespace zeka::formats {
namespace {

std::string Listed(const Recording& recording)
{
    std::string text;
    for (std::size_t i = 0; i < recording.channels.size(); ++i)
        text += fmt::format("{}{} \"{}\"", i == 0 ? "" : ", ", i, recording.channels[i].name);
    return text;
}

} // namespace

double MillivoltsPer(const std::string& unit)
{
    if (unit == "mV" || unit == "mv")
        return 1.0;
    if (unit == "uV" || unit == "uv" || unit == "\xB5V" || unit == "\xC2\xB5V" || unit == "microvolt")
        return 1e-3;
    if (unit == "V")
        return 1e3;
    return unit == "nV" ? 1e-6 : 0.0;
}

const RecordedChannel& FindChannel(const Recording& recording, const std::string& channel)
{
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(channel.data(), channel.data() + channel.size(), number);
    if (error == std::errc{} && end == channel.data() + channel.size() && number < recording.channels.size())
        return recording.channels[number];
    const auto found = std::ranges::find(recording.channels, channel, &RecordedChannel::name);
    if (found == recording.channels.end())
        throw FileError(Trouble::kRequest,
                        fmt::format("there is no channel \"{}\"; there are {}", channel, Listed(recording)));
    return *found;
}

} // namespace zeka::formats
