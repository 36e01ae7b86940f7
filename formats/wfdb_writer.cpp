// wfdb_writer.cpp - writes the three files of a WFDB record. An annotation is a 16-bit word: its code in
// the upper 6 bits, the samples since the previous annotation in the lower 10. Longer distances and texts
// are words of their own beside it.
#include "formats/wfdb_writer.h"

#include "formats/counts.h"
#include "formats/file_error.h"
#include "formats/wfdb_codes.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace zeka::formats {
namespace {

constexpr std::uint64_t kSentRate = 40000;
constexpr std::uint64_t kLongestWay = 1023; // the highest distance in 10 bits
constexpr int kFormat = 16;

std::string BaseOf(const std::string& path)
{
    std::filesystem::path base(path);
    if (base.extension() == ".hea" || base.extension() == ".dat")
        base.replace_extension();
    const std::string record = base.filename();
    const auto fits = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-'; };
    if (record.empty() || !std::ranges::all_of(record, fits))
        throw FileError(
            Trouble::kRequest,
            fmt::format("\"{}\" is no name for a WFDB record; give one of letters, digits, _ and -", record));
    return base;
}

unsigned CodeOf(MarkKind kind)
{
    switch (kind) {
    case MarkKind::kRPeak:
        return wfdb::kNormalBeat;
    case MarkKind::kQrsOnset:
        return wfdb::kWaveOnset;
    case MarkKind::kQrsEnd:
        return wfdb::kWaveEnd;
    case MarkKind::kPacing:
        return wfdb::kPacingSpike;
    case MarkKind::kApneaBegin:
    case MarkKind::kApneaEnd:
    case MarkKind::kPlayMark:
        break;
    }
    return wfdb::kNote;
}

/// The part of a mark that its code does not express.
std::string WordsOf(const Mark& mark)
{
    switch (CodeOf(mark.kind)) {
    case wfdb::kNote:
    case wfdb::kPacingSpike:
        return TextOf(mark);
    default:
        return {};
    }
}

} // namespace

WfdbWriter::WfdbWriter(const RecordingPlan& plan)
    : plan_(plan), base_(BaseOf(plan.path)), data_(base_ + ".dat"), annotations_(base_ + ".atr")
{
    // Removes the header of an earlier recording, which would not fit the new samples.
    std::error_code none;
    std::filesystem::remove(base_ + ".hea", none);
}

void WfdbWriter::PutSample(Channel& channel, std::int16_t counts)
{
    if (count_ == 0)
        channel.first = counts;
    channel.sum = static_cast<std::uint16_t>(channel.sum + static_cast<std::uint16_t>(counts));
    PutLe16(bytes_, static_cast<std::uint16_t>(counts));
}

void WfdbWriter::Take(std::span<const double> ac_mv, std::span<const double> dc_mv)
{
    bytes_.clear();
    for (std::size_t i = 0; i < ac_mv.size(); ++i) {
        PutSample(ac_, Counts(ac_mv[i], kAcCountsPerMv));
        PutSample(dc_, Counts(dc_mv[i], kDcCountsPerMv));
        ++count_;
    }
    data_.Write(bytes_);
}

void WfdbWriter::Note(const Mark& mark)
{
    PutAnnotation(CodeOf(mark.kind), mark.sample * static_cast<std::uint64_t>(plan_.rate) / kSentRate,
                  WordsOf(mark));
}

void WfdbWriter::PutAnnotation(unsigned code, std::uint64_t sample, const std::string& text)
{
    std::vector<std::uint8_t> bytes;
    std::uint64_t way = sample - annotated_;
    annotated_ = sample;
    if (way > kLongestWay) {
        PutLe16(bytes, wfdb::Word(wfdb::kSkip, 0));
        PutLe16(bytes, static_cast<std::uint16_t>(way >> 16 & 0xFFFF)); // upper half first
        PutLe16(bytes, static_cast<std::uint16_t>(way & 0xFFFF));
        way = 0;
    }
    PutLe16(bytes, wfdb::Word(code, static_cast<unsigned>(way)));
    if (!text.empty()) {
        PutLe16(bytes, wfdb::Word(wfdb::kText, static_cast<unsigned>(text.size())));
        bytes.insert(bytes.end(), text.begin(), text.end());
        if (text.size() % 2 != 0)
            bytes.push_back(0);
    }
    annotations_.Write(bytes);
}

void WfdbWriter::End()
{
    std::vector<std::uint8_t> end;
    PutLe16(end, 0);
    annotations_.Write(end);
    annotations_.Close();
    data_.Close();

    const std::string record = std::filesystem::path(base_).filename();
    const auto line = [&record](const Channel& channel, double counts_per_mv, const char* name) {
        return fmt::format("{}.dat {} {:g}(0)/mV 16 0 {} {} 0 {}\n", record, kFormat, counts_per_mv,
                           channel.first, static_cast<std::int16_t>(channel.sum), name);
    };
    OutputFile header(base_ + ".hea");
    header.Write(fmt::format("{} 2 {} {}\n", record, plan_.rate, count_) + line(ac_, kAcCountsPerMv, "AC") +
                 line(dc_, kDcCountsPerMv, "DC") + fmt::format("# {}\n", plan_.title) +
                 (plan_.filter.empty() ? "" : fmt::format("# {}\n", plan_.filter)));
    header.Close();
}

} // namespace zeka::formats
