// main.cpp (make_tables) - run by the build: figures (or official records) in, one C++ source file out.
// usage: make_tables FIGURES_FOLDER OUTPUT.cpp [EC13_FOLDER]
#include "signal/tables/generator/calibration.h"
#include "signal/tables/generator/ec13.h"
#include "signal/tables/generator/wfdb.h"
#include "signal/tables/generator/writer.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

namespace {
using namespace zeka::maketables;

std::vector<Waveform> Ec13Waveforms(const std::filesystem::path& figures, const char* ec13_folder)
{
    const std::vector<Ec13Record> records =
        ReadEc13Figures(ReadSections(figures / "iec60601-2-27.figures", "record"));
    if (!ec13_folder)
        return BuildEc13(records);
    std::vector<Waveform> waveforms;
    waveforms.reserve(records.size());
    for (const Ec13Record& record : records)
        waveforms.push_back(ImportRecord(ec13_folder, record));
    return waveforms;
}

void Make(const std::filesystem::path& figures, const std::filesystem::path& output, const char* ec13_folder)
{
    const Tables tables{
        Ec13Waveforms(figures, ec13_folder),
        BuildCalibration(ReadCalibrationFigures(ReadSections(figures / "calibration.figures", "waveform"))),
        BuildLeads(ReadLeadFigures(ReadSections(figures / "ane20000.figures", "lead")))};
    std::ofstream out(output, std::ios::binary | std::ios::trunc);
    WriteTables(out, tables);
    out.close();
    if (!out)
        throw InputError(output.string() + ": cannot be written");
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 3 && argc != 4) {
        std::fputs("usage: make_tables FIGURES_FOLDER OUTPUT.cpp [EC13_FOLDER]\n", stderr);
        return 2;
    }
    try {
        Make(argv[1], argv[2], argc == 4 ? argv[3] : nullptr);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_tables: %s\n", error.what());
        return 1;
    }
}
