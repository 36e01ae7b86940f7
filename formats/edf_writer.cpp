// edf_writer.cpp - lays out header and data records of EDF+. A data record waits in memory until all marks
// that belong to it must have come, then is written.
#include "formats/edf_writer.h"

#include "formats/counts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace zeka::formats {
namespace {

constexpr int kSentRate = 40000;
constexpr int kSignals = 3; // AC, DC, annotations
// Above this rate a data record of 1 s would be longer than readers accept (61440 bytes).
constexpr int kLongRecordRate = 14000;
// The header has eight characters for a voltage: these are the highest counts whose voltage is exact there.
constexpr std::int16_t kLowestCount = -32768;
constexpr std::int16_t kHighestAc = 32760; // 5.11875 mV
constexpr std::int16_t kHighestDc = 32752; // 1023.5 mV
constexpr int kRecordsPerSecond = 4;       // above kLongRecordRate
constexpr std::size_t kBytesPerMark = 48;  // "+86399.999975", the text of a pacing pulse, three separators
constexpr std::size_t kSpareMarks = 3;
constexpr long kRecordCountAt = 236;
constexpr std::size_t kRecordCountWidth = 8;
constexpr char kTextBegins = '\x14';
constexpr char kDurationBegins = '\x15';
constexpr double kMsPerS = 1000.0;

std::string Field(std::string text, std::size_t width)
{
    text.resize(width, ' ');
    return text;
}

std::string DateField(const std::tm& now)
{
    constexpr std::array kMonths{"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                 "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
    return fmt::format("{:02}-{}-{}", now.tm_mday, kMonths.at(static_cast<std::size_t>(now.tm_mon)),
                       now.tm_year + 1900);
}

/// Replaces spaces, which separate subfields.
std::string OneWord(std::string text)
{
    std::ranges::replace_if(
        text, [](char c) { return c <= ' ' || c > '~'; }, '_');
    return text.empty() ? "X" : text;
}

/// "+12.000025", without superfluous digits.
std::string Onset(double seconds)
{
    std::string text = fmt::format("+{:.6f}", seconds);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    return text;
}

/// Lays out one field for each of the two signals and the annotations.
std::string Fields(std::array<std::string, kSignals> values, std::size_t width)
{
    std::string text;
    for (std::string& value : values)
        text += Field(std::move(value), width);
    return text;
}

} // namespace

EdfWriter::EdfWriter(const RecordingPlan& plan)
    : file_(plan.path), rate_(plan.rate), record_values_(static_cast<std::size_t>(plan.rate)), record_s_(1.0)
{
    if (rate_ > kLongRecordRate) {
        record_values_ /= kRecordsPerSecond;
        record_s_ /= kRecordsPerSecond;
    }
    const auto marks = static_cast<std::size_t>(std::ceil(plan.marks_per_second * record_s_)) + kSpareMarks;
    annotation_bytes_ = kBytesPerMark * marks;
    waiting_limit_ = static_cast<std::size_t>(static_cast<double>(kMarkLag) / kSentRate / record_s_) + 2;
    WriteHeader(plan);
}

void EdfWriter::WriteHeader(const RecordingPlan& plan)
{
    const std::time_t seconds = std::time(nullptr);
    std::tm now{};
    (void)::localtime_r(&seconds, &now);
    constexpr std::size_t kHeaderBytes = 256;
    std::string text = Field("0", 8);
    text += Field("X X X X", 80);
    text += Field(fmt::format("Startdate {} X X Zeka {}", DateField(now), OneWord(plan.title)), 80);
    text += fmt::format("{:02}.{:02}.{:02}", now.tm_mday, now.tm_mon + 1, now.tm_year % 100);
    text += fmt::format("{:02}.{:02}.{:02}", now.tm_hour, now.tm_min, now.tm_sec);
    text += Field(std::to_string(kHeaderBytes * (kSignals + 1)), 8);
    text += Field("EDF+C", 44);
    text += Field("-1", kRecordCountWidth); // unknown until the end
    text += Field(fmt::format("{:g}", record_s_), 8);
    text += Field(std::to_string(kSignals), 4);

    const std::string filter = plan.filter.empty() ? "none" : plan.filter;
    const std::string values = std::to_string(record_values_);
    text += Fields({"AC", "DC", "EDF Annotations"}, 16);
    text += Fields({"", "", ""}, 80); // transducer
    text += Fields({"mV", "mV", ""}, 8);
    text += Fields({fmt::format("{:.6g}", kLowestCount / kAcCountsPerMv),
                    fmt::format("{:g}", kLowestCount / kDcCountsPerMv), "-1"},
                   8);
    text += Fields({fmt::format("{:.7g}", kHighestAc / kAcCountsPerMv),
                    fmt::format("{:.7g}", kHighestDc / kDcCountsPerMv), "1"},
                   8);
    text += Fields({"-32768", "-32768", "-32768"}, 8);
    text += Fields({std::to_string(kHighestAc), std::to_string(kHighestDc), "32767"}, 8);
    text += Fields({filter, filter, ""}, 80);
    text += Fields({values, values, std::to_string(annotation_bytes_ / 2)}, 8);
    text += Fields({"", "", ""}, 32);
    file_.Write(text);
}

std::string EdfWriter::TimeKeeping(std::uint64_t record) const
{
    return Onset(static_cast<double>(record) * record_s_) + kTextBegins + kTextBegins + '\0';
}

void EdfWriter::BeginRecord()
{
    if (waiting_.size() == waiting_limit_)
        WriteOldest();
    DataRecord record;
    record.ac.reserve(2 * record_values_);
    record.dc.reserve(2 * record_values_);
    record.annotations = TimeKeeping(written_ + waiting_.size());
    waiting_.push_back(std::move(record));
}

void EdfWriter::Take(std::span<const double> ac_mv, std::span<const double> dc_mv)
{
    for (std::size_t i = 0; i < ac_mv.size();) {
        if (waiting_.empty() || waiting_.back().ac.size() == 2 * record_values_)
            BeginRecord();
        DataRecord& record = waiting_.back();
        const std::size_t count = std::min(ac_mv.size() - i, record_values_ - record.ac.size() / 2);
        for (const std::size_t end = i + count; i < end; ++i) {
            PutLe16(record.ac,
                    static_cast<std::uint16_t>(std::min(Counts(ac_mv[i], kAcCountsPerMv), kHighestAc)));
            PutLe16(record.dc,
                    static_cast<std::uint16_t>(std::min(Counts(dc_mv[i], kDcCountsPerMv), kHighestDc)));
        }
    }
}

void EdfWriter::Note(const Mark& mark)
{
    const double at_s = static_cast<double>(mark.sample) / kSentRate;
    std::string text = Onset(at_s);
    if (mark.width_ms > 0.0)
        text += kDurationBegins + Onset(mark.width_ms / kMsPerS).substr(1);
    text += kTextBegins + TextOf(mark) + kTextBegins + '\0';
    // A mark whose own data record is full of annotations goes into the next one,
    // because its time is written with it.
    const auto own = static_cast<std::uint64_t>(at_s / record_s_);
    for (std::size_t i = own > written_ ? static_cast<std::size_t>(own - written_) : 0; i < waiting_.size();
         ++i) {
        if (waiting_[i].annotations.size() + text.size() <= annotation_bytes_) {
            waiting_[i].annotations += text;
            return;
        }
    }
}

void EdfWriter::WriteOldest()
{
    DataRecord& record = waiting_.front();
    const auto fill = [this](std::vector<std::uint8_t>& bytes) {
        while (bytes.size() < 2 * record_values_) {
            bytes.push_back(bytes[bytes.size() - 2]);
        }
    };
    fill(record.ac);
    fill(record.dc);
    record.annotations.resize(annotation_bytes_, '\0');
    file_.Write(record.ac);
    file_.Write(record.dc);
    file_.Write(std::string_view(record.annotations));
    waiting_.pop_front();
    ++written_;
}

void EdfWriter::End()
{
    while (!waiting_.empty())
        WriteOldest();
    file_.Patch(kRecordCountAt, Field(std::to_string(written_), kRecordCountWidth));
    file_.Close();
}

} // namespace zeka::formats
