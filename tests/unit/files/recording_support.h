// recording_support.h - files made by a test, what was loaded from them, and a locale whose decimal sign is a
// comma.
#pragma once

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include "signal/state.h"
#include "zeka/zeka.h"

namespace zeka::test {

/// A directory of the test's own, removed with everything in it.
class TempDir {
public:
    TempDir()
    {
        std::string name = (std::filesystem::temp_directory_path() / "zeka-files-XXXXXX").string();
        path_ = ::mkdtemp(name.data());
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& name) const
    {
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

/// A file with this content.
class TempFile {
public:
    explicit TempFile(std::string_view content)
    {
        std::ofstream(Path(), std::ios::binary)
            .write(content.data(), static_cast<std::streamsize>(content.size()));
    }
    [[nodiscard]] std::string Path() const { return (dir_ / "recording").string(); }
    [[nodiscard]] std::wstring WidePath() const { return (dir_ / "recording").wstring(); }

private:
    TempDir dir_;
};

inline std::string ReadAll(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The shared state of the loaded recording.
struct Loaded {
    std::vector<double> ac;
    bool empty; // no array at all
    int size;
    double rate;
    bool millivolts;
};

inline Loaded WhatIsLoaded()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    Loaded loaded{{}, ECGFile == nullptr, ECGFileSize, ECGFileFreq, ECGFileUnitMV};
    if (!loaded.empty && ECGFileSize > 0)
        loaded.ac.assign(ECGFile, ECGFile + ECGFileSize);
    return loaded;
}

inline std::vector<double> DcLoaded()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_DcRawData == nullptr ? std::vector<double>{}
                                  : std::vector<double>(g_DcRawData, g_DcRawData + dc_raw_size);
}

/// Sets a locale that writes 1,5 for 1.5; makes one when the machine has none installed. False when that
/// fails too.
inline bool SetCommaLocale(const TempDir& dir)
{
    for (const char* const name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8"})
        if (std::setlocale(LC_ALL, name) != nullptr)
            return true;
    const std::string target = (dir / "de_DE.UTF-8").string();
    const std::string command = "localedef -i de_DE -f UTF-8 " + target + " >/dev/null 2>&1";
    if (std::system(command.c_str()) == -1)
        return false;
    ::setenv("LOCPATH", (dir / "").c_str(), 1);
    return std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr && *std::localeconv()->decimal_point == ',';
}

} // namespace zeka::test
