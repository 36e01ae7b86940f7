// wfdb.cpp - reads the two files of an official record and checks them against each other and the figures.
#include "signal/tables/generator/wfdb.h"

#include "signal/tables/tables.h"
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

namespace zeka::maketables {
namespace {

// The longest record has 130 kB; no larger file is read whole.
constexpr std::size_t kMaxFileBytes = 1 << 20;

[[noreturn]] void Fail(const std::string& file, const std::string& what)
{
    throw InputError(file + ": " + what);
}

std::vector<std::uint8_t> ReadFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in || std::filesystem::is_directory(path))
        Fail(path.string(), "cannot be opened");
    std::vector<std::uint8_t> bytes(kMaxFileBytes + 1);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    if (bytes.size() > kMaxFileBytes)
        Fail(path.string(), "is far too long for a record");
    return bytes;
}

std::vector<std::string> Words(const std::string& line)
{
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), {}};
}

/// Cuts a number off the front of `rest`.
template <typename T> T TakeNumber(std::string_view& rest, const std::string& file, const char* what)
{
    T value{};
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (error != std::errc{})
        Fail(file, std::string(what) + " is not a number");
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return value;
}

template <typename T> T WholeWord(std::string_view word, const std::string& file, const char* what)
{
    const T value = TakeNumber<T>(word, file, what);
    if (!word.empty())
        Fail(file, std::string(what) + " is followed by " + Quoted(word));
    return value;
}

/// The lines of a header without comments, empty lines and the line ends of other systems.
std::vector<std::string> HeaderLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty() && line.front() != '#')
            lines.push_back(line);
    }
    return lines;
}

/// "16", "212" or with the offset of the first sample, "16+24".
void ParseFormat(std::string_view word, WfdbHeader& header, const std::string& file)
{
    header.format = TakeNumber<int>(word, file, "the format");
    if (header.format != 16 && header.format != 212)
        Fail(file, "format " + std::to_string(header.format) + " is neither 16 nor 212");
    if (word.starts_with('+')) {
        word.remove_prefix(1);
        header.data_offset = TakeNumber<std::size_t>(word, file, "the offset of the samples");
    }
    if (!word.empty())
        Fail(file, "the format ends in " + Quoted(word) + ", which no such record uses");
}

/// "130", "130(2048)", "130/mV" or "130(2048)/mV"; without parentheses the ADC zero is the code of 0 mV.
void ParseGain(std::string_view word, int adc_zero, WfdbHeader& header, const std::string& file)
{
    header.adc_per_mv = TakeNumber<double>(word, file, "the gain");
    header.baseline = adc_zero;
    if (word.starts_with('(')) {
        word.remove_prefix(1);
        header.baseline = TakeNumber<int>(word, file, "the baseline");
        if (!word.starts_with(')'))
            Fail(file, "the baseline is not closed by ')'");
        word.remove_prefix(1);
    }
    if (!word.empty() && word != "/mV")
        Fail(file, "the unit " + Quoted(word) + " is not mV");
    if (!(header.adc_per_mv >= 1.0 && header.adc_per_mv <= 1e6) || header.baseline < -32768 ||
        header.baseline > 32767)
        Fail(file, "gain or baseline is out of reach");
}

int SignExtend12(unsigned bits) { return static_cast<int>((bits & 0xFFFu) ^ 0x800u) - 0x800; }

void ExpectChecksum(const std::vector<int>& codes, int stored, const std::string& file)
{
    std::uint32_t sum = 0;
    for (const int code : codes)
        sum += static_cast<std::uint32_t>(code);
    if (static_cast<std::uint16_t>(sum) != static_cast<std::uint16_t>(stored))
        Fail(file, "the checksum of the samples is " + std::to_string(static_cast<std::int16_t>(sum)) +
                       ", the header says " + std::to_string(stored));
}
} // namespace

WfdbHeader ParseWfdbHeader(const std::string& text, const std::string& name)
{
    const std::vector<std::string> lines = HeaderLines(text);
    if (lines.size() != 2)
        Fail(name,
             "has " + std::to_string(lines.size()) + " lines, not one for the record and one for its signal");
    const std::vector<std::string> record = Words(lines[0]);
    const std::vector<std::string> signal = Words(lines[1]);
    if (record.size() < 4)
        Fail(name, "the record line does not tell name, signals, rate and samples");
    if (signal.size() < 7)
        Fail(name, "the signal line does not reach to the checksum");
    if (record[1] != "1")
        Fail(name, "has " + record[1] + " signals, not 1");

    WfdbHeader header;
    header.record = record[0];
    std::string_view rate = record[2];
    header.rate_hz = TakeNumber<double>(rate, name, "the rate"); // a counter frequency may follow
    if (!rate.empty() && rate.front() != '/')
        Fail(name, "the rate is followed by " + Quoted(rate));
    header.samples = WholeWord<std::size_t>(record[3], name, "the number of samples");
    header.data_file = signal[0];
    ParseFormat(signal[1], header, name);
    ParseGain(signal[2], WholeWord<int>(signal[4], name, "the ADC zero"), header, name);
    header.first_code = WholeWord<int>(signal[5], name, "the initial value");
    header.checksum = WholeWord<int>(signal[6], name, "the checksum");
    return header;
}

std::vector<int> DecodeWfdb(std::span<const std::uint8_t> bytes, int format, std::size_t samples,
                            const std::string& name)
{
    const std::size_t exact = format == 16 ? 2 * samples : (3 * samples + 1) / 2;
    const std::size_t padded = format == 16 ? exact : (samples + 1) / 2 * 3; // 212 may fill up its last pair
    if (bytes.size() != exact && bytes.size() != padded)
        Fail(name, "has " + std::to_string(bytes.size()) + " bytes of samples, not " + std::to_string(exact));
    std::vector<int> codes(samples);
    for (std::size_t k = 0; k < samples; ++k) {
        if (format == 16) {
            codes[k] = static_cast<std::int16_t>(bytes[2 * k] | bytes[2 * k + 1] << 8);
            continue;
        }
        const std::size_t pair = k / 2 * 3; // low byte, both upper halves, low byte
        const unsigned upper = bytes[pair + 1];
        codes[k] = k % 2 == 0 ? SignExtend12(bytes[pair] | (upper & 0x0Fu) << 8)
                              : SignExtend12(bytes[pair + 2] | (upper & 0xF0u) << 4);
    }
    return codes;
}

Waveform ImportRecord(const std::filesystem::path& folder, const Ec13Record& record)
{
    const std::filesystem::path header_path = folder / (record.name + ".hea");
    const std::string header_name = header_path.string();
    const std::vector<std::uint8_t> text = ReadFile(header_path);
    const WfdbHeader header = ParseWfdbHeader({text.begin(), text.end()}, header_name);
    if (header.record != record.name)
        Fail(header_name, "describes record " + Quoted(header.record) + ", not " + Quoted(record.name));
    if (header.data_file != record.name + ".dat")
        Fail(header_name,
             "keeps its samples in " + Quoted(header.data_file) + ", not in " + Quoted(record.name + ".dat"));
    if (header.rate_hz != wave227::kRateHz)
        Fail(header_name, "does not have 720 samples per second");
    if (header.samples != record.samples)
        Fail(header_name,
             "has " + std::to_string(header.samples) + " samples, not " + std::to_string(record.samples));

    const std::filesystem::path data_path = folder / header.data_file;
    const std::string data_name = data_path.string();
    const std::vector<std::uint8_t> bytes = ReadFile(data_path);
    if (header.data_offset > bytes.size())
        Fail(data_name, "ends before its first sample");
    const std::vector<int> codes =
        DecodeWfdb(std::span(bytes).subspan(header.data_offset), header.format, header.samples, data_name);
    if (codes.front() != header.first_code)
        Fail(data_name, "begins with code " + std::to_string(codes.front()) + ", the header says " +
                            std::to_string(header.first_code));
    ExpectChecksum(codes, header.checksum, data_name);

    Waveform waveform;
    for (const int code : codes)
        waveform.push_back(AdcToMicrovolts(code - header.baseline, header.adc_per_mv));
    ExpectShape(data_name, waveform, record.samples, record.range_uv);
    return waveform;
}

} // namespace zeka::maketables
