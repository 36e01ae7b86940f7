// reference_text.h - reads the text formats slowly and plainly, with the C library's lines and conversions in
// the C locale. The results of the loaders are compared with this, value by value.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace zeka::fuzz {

class ReferenceText {
public:
    ReferenceText(const std::uint8_t* data, std::size_t size)
    {
        if (size >= 3 && std::memcmp(data, "\xEF\xBB\xBF", 3) == 0) {
            data += 3;
            size -= 3;
        }
        if (size > 0)
            file_ = ::fmemopen(const_cast<std::uint8_t*>(data), size, "r");
    }
    ~ReferenceText()
    {
        if (file_ != nullptr)
            (void)std::fclose(file_);
    }
    ReferenceText(const ReferenceText&) = delete;
    ReferenceText& operator=(const ReferenceText&) = delete;

    bool Next() { return file_ != nullptr && std::fgets(line_, sizeof line_, file_) != nullptr; }
    [[nodiscard]] const char* Line() const { return line_; }

    double Rate()
    {
        const double rate = Next() ? std::strtod(line_, nullptr) : 0.0;
        return std::isfinite(rate) ? rate : 0.0;
    }
    int Count()
    {
        return Next() ? static_cast<int>(std::clamp<long>(std::strtol(line_, nullptr, 10), INT_MIN, INT_MAX))
                      : 0;
    }

    static double Sample(const char* text)
    {
        const double value = std::strtod(text, nullptr);
        return std::isnan(value) ? 0.0 : std::clamp(value, -2.5, 2.5);
    }

private:
    std::FILE* file_ = nullptr;
    char line_[128] = {};
};

struct ReferenceResult {
    int code = 0;
    std::vector<double> samples = {};
};

inline ReferenceResult Samples(std::vector<double> samples)
{
    const int count = static_cast<int>(samples.size());
    return {count, std::move(samples)};
}

inline ReferenceResult ReadSingle(const std::uint8_t* data, std::size_t size)
{
    ReferenceText text(data, size);
    if (text.Rate() == 0.0)
        return {-2};
    const int declared = text.Count();
    if (declared == 0)
        return {-3};
    if (declared < 0)
        return {-4};
    std::vector<double> samples;
    while (static_cast<int>(samples.size()) < declared && text.Next())
        samples.push_back(ReferenceText::Sample(text.Line()));
    return Samples(std::move(samples));
}

inline ReferenceResult ReadChannel(const std::uint8_t* data, std::size_t size, int channel)
{
    ReferenceText text(data, size);
    const double rate = text.Rate();
    if (rate < 100.0 || rate > 40000.0)
        return {-2};
    const int declared = text.Count();
    if (declared == 0)
        return {-3};
    const int channels = text.Count();
    if (channels == 0)
        return {-4};
    if (channel < 0 || channel >= channels)
        return {-7};
    if (!text.Next())
        return {-5};
    if (declared < 0)
        return {-6};
    std::vector<double> samples;
    while (static_cast<int>(samples.size()) < declared && text.Next()) {
        const char* field = text.Line();
        for (int skip = channel; field != nullptr && skip > 0; --skip)
            field = std::strchr(field, ',') == nullptr ? nullptr : std::strchr(field, ',') + 1;
        if (field == nullptr)
            return {-7};
        char own[128] = {};
        (void)std::memcpy(own, field, std::strcspn(field, ","));
        samples.push_back(ReferenceText::Sample(own));
    }
    return Samples(std::move(samples));
}

/// Bit for bit: negative zero is different from zero.
inline bool SameSamples(const std::vector<double>& expected, const double* samples)
{
    return expected.empty() || std::memcmp(expected.data(), samples, expected.size() * sizeof(double)) == 0;
}

} // namespace zeka::fuzz
