// commands.h - the subcommands. Each function adds one to the command line: its options, its help, and the
// job that main() runs when the subcommand is named.
#pragma once

#include "cli/commands/commands.h"
#include "cli/shell/context.h"

namespace zeka::cli {

class Command;

void AddBench(const Command& app, Context& context);
void AddCompletion(const Command& app, Context& context);
void AddDefault(const Command& app, Context& context);
void AddDoctor(const Command& app, Context& context);
void AddInfo(const Command& app, Context& context);
void AddList(const Command& app, Context& context);
void AddMan(const Command& app, Context& context);
void AddPlay(const Command& app, Context& context);
void AddPlot(const Command& app, Context& context);
void AddRecord(const Command& app, Context& context);
void AddFile(const Command& app, Context& context);
void AddSave(const Command& app, Context& context);
void AddSet(const Command& app, Context& context);
void AddSim(const Command& app, Context& context);
void AddSweep(const Command& app, Context& context);
void AddUpload(const Command& app, Context& context);
void AddWaveforms(const Command& app, Context& context);

} // namespace zeka::cli
