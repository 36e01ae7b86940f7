// text_recordings.cpp (files) - the two text formats. Any thread may load, also while a recording plays,
// because the file is read without the lock. Every file is treated as hostile: a line longer than a piece
// counts as several, a line without a number is a sample of 0 mV, and the declared count takes no more memory
// than the file's lines can fill.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <utility>

#include "files/decimal.h"
#include "files/input_file.h"
#include "files/paths.h"
#include "files/recordings.h"
#include "signal/frame.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr int kCannotOpen = -1;
constexpr int kBadRate = -2;
constexpr int kBadCount = -3;
constexpr int kBadChannelCount = -4;
constexpr int kNoMemorySingle = -4;
constexpr int kNoNames = -5;
constexpr int kNoMemoryMulti = -6;
constexpr int kNoSuchChannel = -7;

constexpr Interval kRates{100.0, 40000.0};
constexpr std::size_t kNameBytes = 128;

/// Reads a rate line; 0.0 when it is missing or holds no finite number. Publishes
/// the rate as soon as it is read.
double ReadRate(PieceReader& reader)
{
    std::string_view line;
    if (!reader.Next(line))
        return 0.0;
    const double rate = ReadReal(line);
    const double usable = std::isfinite(rate) ? rate : 0.0; // a period is a length divided by it
    PublishFileRate(usable);
    return usable;
}

/// Reads a count line; 0 when it is missing.
std::int32_t ReadCount(PieceReader& reader) noexcept
{
    std::string_view line;
    return reader.Next(line) ? ReadInteger(line) : 0;
}

/// Takes the first comma-separated field off the rest. No rest is left behind the last one.
std::string_view TakeField(std::optional<std::string_view>& rest) noexcept
{
    const std::string_view all = *rest;
    const std::size_t comma = all.find(',');
    if (comma == std::string_view::npos)
        rest.reset();
    else
        rest = all.substr(comma + 1);
    return all.substr(0, comma);
}

std::optional<std::string_view> FieldOf(std::string_view line, int number) noexcept
{
    std::optional<std::string_view> rest = line;
    for (; rest && number > 0; --number)
        (void)TakeField(rest);
    return rest ? std::optional(TakeField(rest)) : std::nullopt;
}

/// Samples being read, with room for as many as are declared and the file can hold.
struct Reading {
    Samples samples;
    std::int32_t room = 0;
    std::int32_t count = 0;

    void Append(double millivolts) noexcept
    {
        samples[static_cast<std::size_t>(count++)] = Limited(millivolts, kFileLimitMv);
    }
};

std::optional<Reading> MakeRoom(const PieceReader& reader, std::int32_t declared) noexcept
{
    const std::int64_t room =
        declared < 0 ? -1 : std::min<std::int64_t>(declared, reader.PiecesAhead(declared));
    Samples samples = AllocateSamples(room);
    if (samples == nullptr)
        return std::nullopt;
    return Reading{std::move(samples), static_cast<std::int32_t>(room)};
}

/// Reads one value at the start of the text ahead; returns where the next line begins. In a line that holds
/// only a plain number, the end need not be searched for.
const char* ReadValueLine(const char* at, const char* end, double& value) noexcept
{
    const char* next = at;
    const char* const piece_end = at + std::min<std::ptrdiff_t>(end - at, PieceReader::kMaxPiece);
    if (ReadPlainDecimal(next, piece_end, value)) {
        if (next != piece_end && *next == '\r')
            ++next;
        if (next != piece_end && *next == '\n')
            return next + 1;
    }
    const std::string_view piece = PieceReader::FirstPiece({at, static_cast<std::size_t>(end - at)});
    value = ReadReal(PieceReader::TextOf(piece));
    return at + piece.size();
}

/// Reads the lines of one window that are certain to be whole; returns the number of characters taken.
std::size_t ReadWindow(std::string_view window, bool is_last, Reading& reading) noexcept
{
    const char* at = window.data();
    const char* const end = at + window.size();
    const char* const whole_up_to = is_last ? end - 1 : end - PieceReader::kMaxPiece;
    double* out = reading.samples.get() + reading.count;
    const double* const full = reading.samples.get() + reading.room;
    while (at <= whole_up_to && out != full) {
        double value;
        at = ReadValueLine(at, end, value);
        *out++ = Limited(value, kFileLimitMv);
    }
    reading.count = static_cast<std::int32_t>(out - reading.samples.get());
    return static_cast<std::size_t>(at - window.data());
}

void ReadValues(PieceReader& reader, Reading& reading) noexcept
{
    while (reading.count < reading.room) {
        const std::string_view window = reader.Window();
        if (window.empty())
            return;
        reader.Advance(ReadWindow(window, reader.IsLastWindow(), reading));
    }
}

/// Reads one channel; false when a line has no such field.
bool ReadFields(PieceReader& reader, Reading& reading, int channel) noexcept
{
    std::string_view line;
    while (reading.count < reading.room && reader.Next(line)) {
        const std::optional<std::string_view> field = FieldOf(line, channel);
        if (!field)
            return false;
        reading.Append(ReadReal(*field));
    }
    return true;
}

/// Copies the first `channels` names of the names line. The application frees each name with free().
void CopyNames(std::string_view line, int channels, char** names) noexcept
{
    std::optional<std::string_view> rest = line;
    for (int i = 0; rest && i < channels; ++i) {
        const std::string_view field = TakeField(rest);
        auto* const name = static_cast<char*>(std::malloc(kNameBytes));
        if (name != nullptr)
            name[field.copy(name, kNameBytes - 1)] = '\0';
        names[i] = name;
    }
}

int LoadChannel(PieceReader& reader, int channel)
{
    if (!kRates.Contains(ReadRate(reader)))
        return kBadRate;
    const std::int32_t declared = ReadCount(reader);
    if (declared == 0)
        return kBadCount;
    const std::int32_t channels = ReadCount(reader);
    if (channels == 0)
        return kBadChannelCount;
    if (channel < 0 || channel >= channels)
        return kNoSuchChannel;
    std::string_view names;
    if (!reader.Next(names))
        return kNoNames;

    std::optional<Reading> reading = MakeRoom(reader, declared);
    if (!reading)
        return FailForMemory(kNoMemoryMulti);
    if (!ReadFields(reader, *reading, channel))
        return FinishLoad(nullptr, kNoSuchChannel);
    return FinishLoad(std::move(reading->samples), reading->count);
}

int LoadSingle(PieceReader& reader)
{
    if (ReadRate(reader) == 0.0)
        return kBadRate;
    const std::int32_t declared = ReadCount(reader);
    if (declared == 0)
        return kBadCount;

    std::optional<Reading> reading = MakeRoom(reader, declared);
    if (!reading)
        return FailForMemory(kNoMemorySingle);
    ReadValues(reader, *reading);
    return FinishLoad(std::move(reading->samples), reading->count);
}

int CheckChannels(PieceReader& reader, char** names)
{
    if (ReadRate(reader) == 0.0)
        return kBadRate;
    if (ReadCount(reader) == 0)
        return kBadCount;
    const std::int32_t channels = ReadCount(reader);
    if (channels <= 0) // a negative count would look like an error code
        return kBadChannelCount;
    std::string_view line;
    if (!reader.Next(line))
        return kNoNames;
    if (names != nullptr)
        CopyNames(line, channels, names);
    return channels;
}

/// Opens the file and runs the loader on it.
template <typename Load> int WithFile(const char* path, int no_memory, Load load)
{
    InputFile file(path);
    if (!file.IsOpen())
        return kCannotOpen;
    PieceReader reader(file);
    return reader.IsReady() ? load(reader) : FailForMemory(no_memory);
}

} // namespace
} // namespace zeka

int LoadECGtxt(const char* path, int channel)
{
    return zeka::WithFile(path, zeka::kNoMemoryMulti, [channel](zeka::PieceReader& reader) {
        return zeka::LoadChannel(reader, channel);
    });
}

int LoadECGtxtSingle(const char* path)
{
    return zeka::WithFile(path, zeka::kNoMemorySingle, zeka::LoadSingle);
}

int CheckECGTxtChannel(const wchar_t* path, char** names)
{
    const zeka::Utf8Path utf8_path(path);
    zeka::InputFile file(utf8_path.Get());
    if (!file.IsOpen())
        return zeka::kCannotOpen;
    zeka::PieceReader reader(file);
    return reader.IsReady() ? zeka::CheckChannels(reader, names) : zeka::kCannotOpen;
}

int getFileSize(const char*) { return -1; } // a placeholder of the interface: examines no file
