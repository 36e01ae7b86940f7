// figures.cpp - lays tables out as Markdown and counts the misses.
#include "tools/bench/figures.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace zeka::accuracy {
namespace {

// A difference of exactly one sample or one count is at the limit, not beyond it.
constexpr double kRounding = 1e-9;

const std::vector<std::string> kColumns{"signal", "figure", "asked",  "measured",
                                        "off by", "limit",  "set by", "at it"};

const char* Verdict(bool at_limit) { return at_limit ? "yes" : "**no**"; }

} // namespace

std::string Number(double value, double limit)
{
    constexpr int kMost = 9;
    const int decimals =
        limit > 0.0 ? std::clamp(2 - static_cast<int>(std::floor(std::log10(limit))), 0, kMost) : 3;
    std::string text = fmt::format("{:.{}f}", value, decimals);
    if (text.starts_with('-') && text.find_first_of("123456789") == std::string::npos)
        text.erase(0, 1); // "-0" becomes "0"
    return text;
}

void Report::Heading(std::string_view title)
{
    in_figures_ = false;
    chapters_.push_back({.title = std::string(title)});
    text_ += fmt::format("\n## {}\n", title);
}

std::string Report::Contents() const
{
    std::string table = "| chapter | figures | not at their limit |\n|---|---:|---:|\n";
    for (const Chapter& chapter : chapters_)
        table += fmt::format("| {} | {} | {} |\n", chapter.title, chapter.figures, chapter.misses);
    return table;
}

void Report::Text(std::string_view paragraph)
{
    in_figures_ = false;
    text_ += fmt::format("\n{}\n", paragraph);
}

void Report::Line(const std::vector<std::string>& cells)
{
    text_ += fmt::format("| {} |\n", fmt::join(cells, " | "));
}

void Report::Count(bool at_limit, const std::string& name)
{
    ++figures_;
    ++chapters_.back().figures;
    if (at_limit)
        return;
    ++chapters_.back().misses;
    misses_.push_back(name);
}

void Report::Head(const std::vector<std::string>& columns)
{
    in_figures_ = false;
    text_ += '\n';
    Line(columns);
    std::vector<std::string> rule(columns.size(), "---:");
    rule.front() = "---";
    Line(rule);
}

void Report::Row(const std::vector<std::string>& cells, bool at_limit)
{
    std::vector<std::string> line = cells;
    line.emplace_back(Verdict(at_limit));
    Line(line);
    Count(at_limit, fmt::format("{}", fmt::join(cells, ", ")));
}

void Report::Add(const Figure& figure)
{
    if (!in_figures_) {
        text_ += '\n';
        Line(kColumns);
        Line({"---", "---", "---:", "---:", "---:", "---:", "---", "---"});
    }
    in_figures_ = true;
    const double off = figure.measured - figure.asked;
    const bool at_limit = std::abs(off) <= figure.limit + kRounding * std::max(1.0, std::abs(figure.asked));
    Line({figure.signal, figure.what, Number(figure.asked, figure.limit),
          Number(figure.measured, figure.limit), Number(off, figure.limit),
          Number(figure.limit, figure.limit), std::string(figure.set_by), Verdict(at_limit)});
    Count(at_limit, figure.signal + ", " + figure.what);
}

} // namespace zeka::accuracy
