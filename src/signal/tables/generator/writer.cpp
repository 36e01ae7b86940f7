// writer.cpp - prints the tables, one waveform after the other.
#include "signal/tables/generator/writer.h"

#include "signal/tables/tables.h"
#include <string>

namespace zeka::maketables {
namespace {
constexpr std::size_t kPerLine = 24;

std::string Source(const char* name, const char* size, const std::vector<Waveform>& waveforms,
                   std::size_t slots)
{
    std::string text = std::string("\nconstinit const int ") + name + "[" + size + "] = {";
    for (const Waveform& waveform : waveforms)
        for (std::size_t k = 0; k < slots; ++k) {
            if (k % kPerLine == 0)
                text += '\n';
            text += k < waveform.size() ? std::to_string(waveform[k]) : "0";
            text += ',';
        }
    return text + "\n};\n";
}
} // namespace

void WriteTables(std::ostream& out, const Tables& tables)
{
    out << "// Made by make_tables (src/signal/tables/generator); uV.\n"
        << "#include \"signal/tables/tables.h\"\n"
        << Source("IEC227W", "zeka::wave227::kTotal", tables.iec227, wave227::kSlots)
        << Source("IEC251W", "zeka::wave251::kTotal", tables.iec251, wave251::kSlots)
        << Source("ANE20000", "zeka::ane20000::kTotal", tables.ane20000, ane20000::kSlots);
}

} // namespace zeka::maketables
