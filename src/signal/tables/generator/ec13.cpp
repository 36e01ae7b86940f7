// ec13.cpp - calibration pulses, loop shape and repetition of the IEC 60601-2-27 test waveforms. Everything
// is computed in converter codes first, because the recordings' steps are part of their shape.
#include "signal/tables/generator/ec13.h"

#include "signal/tables/generator/pchip.h"
#include "signal/tables/tables.h"
#include <algorithm>
#include <charconv>
#include <cmath>

namespace zeka::maketables {
namespace {
constexpr double kMsPerSample = 1000.0 / wave227::kRateHz;
constexpr int kPulsePeriod = 540; // samples: 80 pulses a minute
constexpr int kPulseRamp = 32;    // samples from the base to the peak
constexpr int kPulseTurn = 68;    // ends the fall, which goes beyond the base by a few samples
constexpr int kPulseEnd = 72;

using Codes = std::vector<int>;

int PulseStep(int m) // 1/32 of the peak, m in samples from 1
{
    if (m <= kPulseRamp)
        return m;
    if (m <= kPulseTurn)
        return 2 * kPulseRamp - m;
    return m < kPulseEnd ? m - kPulseEnd : 0;
}

Codes HeadCodes(const Head& head)
{
    Codes codes;
    for (int k = 0; k < head.samples; ++k)
        codes.push_back(head.base_adc + head.peak_adc * PulseStep(k % kPulsePeriod + 1) / kPulseRamp);
    return codes;
}

Codes LoopCodes(const Ec13Record& record, std::size_t count)
{
    const Loop& loop = *record.loop;
    const Pchip shape = Pchip::Periodic(loop.knots, loop.period_ms);
    Codes codes(count);
    std::size_t repetition = 0;
    for (std::size_t k = 0; k < count; ++k) {
        const double t = static_cast<double>(k) * kMsPerSample;
        while (repetition + 2 < loop.onsets_ms.size() && t >= loop.onsets_ms[repetition + 1])
            ++repetition;
        const double begin = loop.onsets_ms[repetition];
        const double end = loop.onsets_ms[repetition + 1];
        const double uv = shape.At(loop.period_ms * (t - begin) / (end - begin));
        const double code = std::floor(uv * record.adc_per_mv / 1000.0 + 0.5);
        codes[k] = static_cast<int>(std::clamp<double>(code, loop.limits_adc.low, loop.limits_adc.high));
    }
    for (const Pair& pin : loop.pins_adc)
        codes.at(static_cast<std::size_t>(pin.at)) = static_cast<int>(pin.value);
    return codes;
}

std::size_t HeadSamples(const Ec13Record& record)
{
    return record.head ? static_cast<std::size_t>(record.head->samples) : 0;
}

Codes BodyCodes(const std::vector<Ec13Record>& records, const Ec13Record& record)
{
    if (record.loop)
        return LoopCodes(record, record.samples - HeadSamples(record));
    const Ec13Record& owner = records[static_cast<std::size_t>(record.borrowed->owner)];
    const Codes lent = BodyCodes(records, owner);
    Codes codes = record.borrowed->insert_adc;
    codes.insert(codes.end(), lent.begin() + record.borrowed->drop_codes, lent.end());
    return codes;
}

bool IsCode(double value) { return std::abs(value) <= 32767; } // within the range of a 16-bit converter

bool Rising(const std::vector<double>& values)
{
    return std::ranges::is_sorted(values, std::ranges::less_equal{});
}

Loop ReadLoop(Section& section, std::size_t samples)
{
    const std::vector<int> limits = section.Ints("limits_adc", 2);
    Loop loop{section.Number("loop_ms"),
              {limits[0], limits[1]},
              section.Numbers("onsets_ms"),
              section.Pairs("knots"),
              section.Pairs("pins_adc")};
    std::vector<double> places;
    std::ranges::transform(loop.knots, std::back_inserter(places), &Pair::at);
    if (places.size() < 4 || !Rising(places) || places.front() < 0 || places.back() >= loop.period_ms)
        section.Fail("knots must rise within loop_ms");
    const double last_ms = static_cast<double>(samples - 1) * kMsPerSample;
    if (loop.onsets_ms.size() < 2 || !Rising(loop.onsets_ms) || loop.onsets_ms.front() > 0 ||
        loop.onsets_ms.back() < last_ms)
        section.Fail("onsets_ms must rise and cover the whole waveform");
    for (const Pair& pin : loop.pins_adc)
        if (!(pin.at >= 0 && pin.at < static_cast<double>(samples)) || !IsCode(pin.value))
            section.Fail("a pin lies outside the waveform");
    if (loop.limits_adc.low > loop.limits_adc.high)
        section.Fail("limits_adc are exchanged");
    return loop;
}

Ec13Record ReadRecord(Section& section, std::size_t index)
{
    const std::vector<std::string> title = section.Words("record", 2);
    if (title[0] != std::to_string(index))
        section.Fail("records must be numbered in their order from 0");
    const std::vector<int> range = section.Ints("range_uV", 2);
    Ec13Record record{title[1],
                      static_cast<std::size_t>(section.Int("samples")),
                      section.Int("adc_per_mV"),
                      {range[0], range[1]},
                      {},
                      {},
                      {}};
    if (record.samples != wave227::kSamples[index] || record.adc_per_mv <= 0)
        section.Fail("samples or adc_per_mV are not those of this waveform");
    if (section.Has("head")) {
        const std::vector<int> head = section.Ints("head", 3);
        if (head[0] < 0 || static_cast<std::size_t>(head[0]) >= record.samples || !IsCode(head[1]) ||
            !IsCode(head[2]))
            section.Fail("the head does not fit into the waveform");
        record.head = Head{head[0], head[1], head[2]};
    }
    if (section.Has("codes_of"))
        record.borrowed =
            BorrowedLoop{section.Int("codes_of"), section.Ints("insert_adc"), section.Int("drop_codes")};
    else
        record.loop = ReadLoop(section, record.samples - HeadSamples(record));
    section.ExpectAllUsed();
    return record;
}
} // namespace

std::vector<Ec13Record> ReadEc13Figures(std::vector<Section> sections)
{
    if (sections.size() != wave227::kCount)
        sections.back().Fail("is the last of " + std::to_string(sections.size()) + " records, not of ten");
    std::vector<Ec13Record> records;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        records.push_back(ReadRecord(sections[i], i));
        const std::optional<BorrowedLoop>& borrowed = records.back().borrowed;
        if (!borrowed)
            continue;
        if (borrowed->owner < 0 || static_cast<std::size_t>(borrowed->owner) >= i ||
            !records[static_cast<std::size_t>(borrowed->owner)].loop)
            sections[i].Fail("codes_of must name an earlier record with a loop of its own");
        if (borrowed->drop_codes < 0 || borrowed->drop_codes > 100)
            sections[i].Fail("drop_codes is not a small count");
    }
    return records;
}

std::vector<Waveform> BuildEc13(const std::vector<Ec13Record>& records)
{
    std::vector<Waveform> waveforms;
    for (const Ec13Record& record : records) {
        Codes codes = record.head ? HeadCodes(*record.head) : Codes{};
        const Codes body = BodyCodes(records, record);
        codes.insert(codes.end(), body.begin(), body.end());
        for (int& code : codes)
            code = AdcToMicrovolts(code, record.adc_per_mv);
        ExpectShape(record.name, codes, record.samples, record.range_uv);
        waveforms.push_back(std::move(codes));
    }
    return waveforms;
}

int AdcToMicrovolts(int code, double adc_per_mv)
{
    // The published text of the records is mV with three decimals. Printing rounds the halves of gains
    // 80 and 160 by the exact binary value, which no rounding of uv = 1000 * mv would repeat: 126/160
    // mV is 787 uV, -62/160 is -388.
    char text[64];
    const auto end =
        std::to_chars(text, text + sizeof text, code / adc_per_mv, std::chars_format::fixed, 3).ptr;
    char* const digits = std::remove(text, end, '.');
    int uv = 0;
    if (std::from_chars(text, digits, uv).ec != std::errc{})
        throw InputError("code " + std::to_string(code) + " is beyond any voltage");
    return uv;
}

void ExpectShape(const std::string& name, const Waveform& waveform, std::size_t samples, Range range_uv)
{
    if (waveform.size() != samples)
        throw InputError(name + ": has " + std::to_string(waveform.size()) + " samples, not " +
                         std::to_string(samples));
    const auto [low, high] = std::ranges::minmax(waveform);
    if (low != range_uv.low || high != range_uv.high)
        throw InputError(name + ": spans " + std::to_string(low) + " to " + std::to_string(high) +
                         " uV, not " + std::to_string(range_uv.low) + " to " + std::to_string(range_uv.high) +
                         " uV");
}

} // namespace zeka::maketables
