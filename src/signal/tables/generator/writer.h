// writer.h (make_tables) - the tables as C++ source.
#pragma once

#include "signal/tables/generator/ec13.h"
#include <ostream>
#include <vector>

namespace zeka::maketables {

struct Tables {
    std::vector<Waveform> iec227, iec251, ane20000;
};

/// Writes a source file that defines IEC227W, IEC251W and ANE20000; zeros fill
/// the slots behind each waveform.
void WriteTables(std::ostream& out, const Tables& tables);

} // namespace zeka::maketables
