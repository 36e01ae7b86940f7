// temporary_file.h - a file for one test, gone with it, and the numbers of a CSV file.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace zeka::test {

class TemporaryFile {
public:
    TemporaryFile()
        : path(std::filesystem::temp_directory_path() / ("zeka-cli-test-" + std::to_string(::getpid())))
    {
    }
    ~TemporaryFile() { std::filesystem::remove(path); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    [[nodiscard]] std::string Text() const
    {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }
    const std::filesystem::path path;
};

/// The lines of a CSV file below its heading.
inline std::vector<std::vector<double>> CsvRows(const std::string& csv)
{
    std::istringstream lines(csv);
    std::string line;
    std::getline(lines, line);
    std::vector<std::vector<double>> rows;
    while (std::getline(lines, line)) {
        std::istringstream cells(line);
        std::vector<double> row;
        for (std::string cell; std::getline(cells, cell, ',');)
            row.push_back(std::stod(cell));
        rows.push_back(row);
    }
    return rows;
}

} // namespace zeka::test
