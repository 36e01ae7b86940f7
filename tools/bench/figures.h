// figures.h - requested and measured figures as Markdown, and the limits that the words and the sample rate
// set. A figure whose difference exceeds its limit is a miss.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zeka::accuracy {

inline constexpr double kSampleRate = 40000.0;
inline constexpr double kSampleS = 1.0 / kSampleRate;
inline constexpr double kSampleMs = 1000.0 * kSampleS;
inline constexpr double kAcCountMv = 1.0 / 6400.0; // the AC word is cut towards zero: off by less than one
inline constexpr double kDcCountMv = 2000.0 / 65535.0; // the DC word is rounded: off by at most half of one

/// What sets a limit, for the table's column.
inline constexpr std::string_view kByAcCount = "1 AC count";
inline constexpr std::string_view kByAcCountAndTop = "1 AC count, top between samples";
inline constexpr std::string_view kByDcCount = "half a DC count";
inline constexpr std::string_view kByTwoDcLevels = "half a DC count, twice";
inline constexpr std::string_view kBySample = "1 sample";
inline constexpr std::string_view kByInstant = "1 sample, 1 AC count of slope";
inline constexpr std::string_view kExact = "exact";

struct Figure {
    std::string signal;
    std::string what; // with its unit
    double asked = 0.0;
    double measured = 0.0;
    double limit = 0.0; // of the difference
    std::string_view set_by;
};

class Report {
public:
    void Heading(std::string_view title);
    void Text(std::string_view paragraph);

    void Add(const Figure& figure);

    /// Begins a table of another shape; its lines follow with Row.
    void Head(const std::vector<std::string>& columns);
    void Row(const std::vector<std::string>& cells, bool at_limit);

    [[nodiscard]] const std::string& Markdown() const { return text_; }
    /// The list of chapters, each with its number of figures and of misses.
    [[nodiscard]] std::string Contents() const;
    [[nodiscard]] std::size_t Figures() const { return figures_; }
    [[nodiscard]] const std::vector<std::string>& Misses() const { return misses_; }

private:
    void Line(const std::vector<std::string>& cells);
    void Count(bool at_limit, const std::string& name);

    struct Chapter {
        std::string title;
        std::size_t figures = 0;
        std::size_t misses = 0;
    };

    std::string text_;
    std::vector<Chapter> chapters_;
    bool in_figures_ = false; // whether the last line belongs to a table of figures
    std::size_t figures_ = 0;
    std::vector<std::string> misses_;
};

/// The value with as many significant digits as the limit of its measurement justifies.
std::string Number(double value, double limit);

} // namespace zeka::accuracy
