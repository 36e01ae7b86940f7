// figure_file.cpp - words, fields and sections of a figure file.
#include "signal/tables/generator/figure_file.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>

namespace zeka::maketables {
namespace {
std::string At(const std::string& file, int line) { return file + ":" + std::to_string(line) + ": "; }
} // namespace

std::string Quoted(std::string_view word)
{
    std::string text(1, '\'');
    text += word;
    return text += '\'';
}

void Section::Fail(const std::string& what) const { FailAt(fields_.front(), what); }

void Section::FailAt(const Field& field, const std::string& what) const
{
    throw InputError(At(file_, field.line) + field.name + ": " + what);
}

bool Section::Has(std::string_view name) const
{
    return std::ranges::find(fields_, name, &Field::name) != fields_.end();
}

Field& Section::Take(std::string_view name)
{
    const auto field = std::ranges::find(fields_, name, &Field::name);
    if (field == fields_.end())
        Fail("has no field " + Quoted(name));
    field->used = true;
    return *field;
}

template <typename T> T Section::Parse(const Field& field, std::string_view word) const
{
    T value{};
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    const bool is_nan = value != value; // NOLINT(misc-redundant-expression): NaN alone differs from itself
    if (error != std::errc{} || end != word.data() + word.size() || is_nan)
        FailAt(field, Quoted(word) + " is not a number of the kind expected");
    return value;
}

std::vector<std::string> Section::Words(std::string_view name, std::size_t count)
{
    const Field& field = Take(name);
    if (field.values.size() != count)
        FailAt(field, "has " + std::to_string(field.values.size()) + " values, not " + std::to_string(count));
    return field.values;
}

std::vector<int> Section::Ints(std::string_view name)
{
    const Field& field = Take(name);
    std::vector<int> numbers;
    for (const std::string& word : field.values)
        numbers.push_back(Parse<int>(field, word));
    return numbers;
}

std::vector<int> Section::Ints(std::string_view name, std::size_t count)
{
    (void)Words(name, count);
    return Ints(name);
}

int Section::Int(std::string_view name) { return Ints(name, 1).front(); }

std::vector<double> Section::Numbers(std::string_view name)
{
    const Field& field = Take(name);
    std::vector<double> numbers;
    for (const std::string& word : field.values)
        numbers.push_back(Parse<double>(field, word));
    return numbers;
}

double Section::Number(std::string_view name)
{
    (void)Words(name, 1);
    return Numbers(name).front();
}

std::vector<Pair> Section::Pairs(std::string_view name)
{
    const Field& field = Take(name);
    std::vector<Pair> pairs;
    for (const std::string_view word : field.values) {
        const std::size_t comma = word.find(',');
        if (comma == std::string_view::npos)
            FailAt(field, Quoted(word) + " is not a pair like 12,-300");
        pairs.push_back(
            {Parse<double>(field, word.substr(0, comma)), Parse<double>(field, word.substr(comma + 1))});
    }
    return pairs;
}

void Section::ExpectAllUsed() const
{
    for (const Field& field : fields_)
        if (!field.used)
            FailAt(field, "is no field of this section");
}

std::vector<Section> ReadSections(std::istream& in, const std::string& file, std::string_view opener)
{
    std::vector<std::vector<Field>> sections;
    std::string text;
    for (int line = 1; std::getline(in, text); ++line) {
        std::istringstream words(text.substr(0, text.find('#')));
        for (std::string word; words >> word;) {
            if (word.back() != ':') {
                if (sections.empty())
                    throw InputError(At(file, line) + Quoted(word) + " belongs to no field");
                sections.back().back().values.push_back(word);
                continue;
            }
            word.pop_back();
            if (word == opener)
                sections.emplace_back();
            if (sections.empty())
                throw InputError(At(file, line) + word + ": stands before the first " + Quoted(opener));
            if (std::ranges::find(sections.back(), word, &Field::name) != sections.back().end())
                throw InputError(At(file, line) + word + ": stands twice in one section");
            sections.back().push_back({word, line, {}});
        }
    }
    if (sections.empty())
        throw InputError(file + ": holds no " + Quoted(opener));
    std::vector<Section> result;
    result.reserve(sections.size());
    for (std::vector<Field>& fields : sections)
        result.emplace_back(file, std::move(fields));
    return result;
}

std::vector<Section> ReadSections(const std::filesystem::path& path, std::string_view opener)
{
    std::ifstream in(path);
    if (!in)
        throw InputError(path.string() + ": cannot be opened");
    return ReadSections(in, path.filename().string(), opener);
}

} // namespace zeka::maketables
