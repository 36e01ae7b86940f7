// context.h - what main() hands to the subcommands and gets back: the console, the words of the command line,
// and the job that was chosen.
#pragma once

#include "cli/console.h"
#include "cli/failure.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

namespace zeka::cli {

struct Context {
    Console console;
    char** argv = nullptr;            // as main() got them: a private world is entered by running them again
    std::vector<std::string> program; // the words behind "--"
    bool has_program = false;
    std::function<Exit()> job; // set by the subcommand that was named
};

/// Checks a number's range, both ends accepted; says nothing in --help, where the option's own words do.
std::function<std::string(const std::string&)> Within(double low, double high, const std::string& unit);
/// One of these words. They are the validator's name too, with blanks between: completion reads them there.
CLI::Validator OneOf(const std::vector<std::string>& words);

/// --json, --quiet and --verbose, which every subcommand has.
void AddCommonOptions(CLI::App& command, Context& context);

/// The whole file at once. Throws Failure that names it.
void WriteFile(const std::string& path, std::string_view text);

void AddBench(CLI::App& app, Context& context);
void AddCompletion(CLI::App& app, Context& context);
void AddDefault(CLI::App& app, Context& context);
void AddDoctor(CLI::App& app, Context& context);
void AddInfo(CLI::App& app, Context& context);
void AddList(CLI::App& app, Context& context);
void AddMan(CLI::App& app, Context& context);
void AddPlay(CLI::App& app, Context& context);
void AddPlot(CLI::App& app, Context& context);
void AddRecord(CLI::App& app, Context& context);
void AddFile(CLI::App& app, Context& context);
void AddSave(CLI::App& app, Context& context);
void AddSet(CLI::App& app, Context& context);
void AddSim(CLI::App& app, Context& context);
void AddSweep(CLI::App& app, Context& context);
void AddUpload(CLI::App& app, Context& context);
void AddWaveforms(CLI::App& app, Context& context);

} // namespace zeka::cli
