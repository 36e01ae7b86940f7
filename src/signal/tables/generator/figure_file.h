// figure_file.h (make_tables) - the strict reader of the figure files. A figure file is text: '#'
// opens a comment, a word ending in ':' opens a field, the words up to the next field are its
// values. A section begins with its own field ("record:", "waveform:", "lead:") and contains the
// fields up to the next one. A field that is missing, doubled, unknown or not a number ends the run
// with one line that names file and line.
#pragma once

#include <cstddef>
#include <filesystem>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zeka::maketables {

/// An error in an input file, in one line.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The word in quotes, for messages.
std::string Quoted(std::string_view word);

struct Pair {
    double at, value;
};

struct Field {
    std::string name;
    int line;
    std::vector<std::string> values;
    bool used = false;
};

/// The fields of one record, waveform or lead. Each field is read once; a field
/// that is never read is an error.
class Section {
public:
    Section(std::string file, std::vector<Field> fields) : file_(std::move(file)), fields_(std::move(fields))
    {
    }

    [[nodiscard]] bool Has(std::string_view name) const;
    [[nodiscard]] std::vector<std::string> Words(std::string_view name, std::size_t count);
    [[nodiscard]] int Int(std::string_view name);
    [[nodiscard]] double Number(std::string_view name);
    [[nodiscard]] std::vector<int> Ints(std::string_view name);
    [[nodiscard]] std::vector<int> Ints(std::string_view name, std::size_t count);
    [[nodiscard]] std::vector<double> Numbers(std::string_view name);
    [[nodiscard]] std::vector<Pair> Pairs(std::string_view name); // values of the form 12.5,-300
    void ExpectAllUsed() const;
    [[noreturn]] void Fail(const std::string& what) const; // names the first line of the section

private:
    Field& Take(std::string_view name);
    [[noreturn]] void FailAt(const Field& field, const std::string& what) const;
    template <typename T> T Parse(const Field& field, std::string_view word) const;

    std::string file_;
    std::vector<Field> fields_;
};

/// Splits a figure file into its sections; `opener` is the name of the field that begins each.
std::vector<Section> ReadSections(std::istream& in, const std::string& file, std::string_view opener);
std::vector<Section> ReadSections(const std::filesystem::path& path, std::string_view opener);

} // namespace zeka::maketables
