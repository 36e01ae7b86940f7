// main.cpp - zeka: one command for the bench. Parses the command line, runs the chosen job, and reports a
// failure in one line and by the exit status.
#include "cli/commands/commands.h"
#include "cli/shell/options.h"
#include "formats/file_error.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <iostream>
#include <sstream>
#include <unistd.h>

namespace zeka::cli {

namespace {

constexpr const char* kFooter =
    "Exit status: 0 done, 1 a check failed or nothing was found, 2 usage, 3 no instrument,\n"
    "4 held by another program, 5 no permission, 6 lost while running, 7 no answer in time,\n"
    "130 interrupted, with the output off.\n"
    "\n"
    "No instrument at hand? Add --sim: zeka play ecg --rate 72 --pacing 5 --seconds 10 --sim";

int Status(Exit exit) { return static_cast<int>(exit); }

/// The words before "--"; those after it belong to another program.
std::vector<std::string> OwnWords(int argc, char** argv, Context& context)
{
    char** const end = argv + argc;
    char** const cut = std::find_if(argv, end, [](const char* word) { return std::strcmp(word, "--") == 0; });
    context.has_program = cut != end;
    if (context.has_program)
        context.program.assign(cut + 1, end);
    return {argv + 1, cut};
}

/// Joins a message of CLI11 that has several lines.
std::string OneLine(std::string text)
{
    std::ranges::replace(text, '\n', ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

/// Names what is wrong, where CLI11 would only say that a subcommand is missing.
void CheckSubcommand(CLI::App& app, const std::vector<std::string>& words)
{
    if (words.empty() || words.front().starts_with("-"))
        return;
    for (const CLI::App* sub : app.get_subcommands({}))
        if (sub->get_name() == words.front())
            return;
    throw Failure(Exit::kUsage,
                  fmt::format("there is no \"zeka {}\"; 'zeka --help' lists what there is", words.front()));
}

int Parse(CLI::App& app, int argc, char** argv, Context& context)
{
    std::vector<std::string> words = OwnWords(argc, argv, context);
    CheckSubcommand(app, words);
    std::ranges::reverse(words); // the order that CLI11 expects
    try {
        app.parse(words);
    } catch (const CLI::Success& help) {
        std::ostringstream text;
        const int status = app.exit(help, text, std::cerr);
        context.console.Result(text.str());
        return status;
    } catch (const CLI::ParseError& error) {
        std::string command = "zeka";
        for (const CLI::App* sub = &app; !sub->get_subcommands().empty();) {
            sub = sub->get_subcommands().front();
            command += " " + sub->get_name();
        }
        throw Failure(Exit::kUsage, fmt::format("{}; try '{} --help'", OneLine(error.what()), command));
    }
    if (context.has_program && !app.got_subcommand("sim"))
        throw Failure(Exit::kUsage, "only 'zeka sim' takes a program behind \"--\"; leave it out");
    return Status(context.job());
}

Exit ExitOf(formats::Trouble trouble)
{
    switch (trouble) {
    case formats::Trouble::kPermission:
        return Exit::kPermission;
    case formats::Trouble::kRequest:
        return Exit::kUsage;
    case formats::Trouble::kContent:
        break;
    }
    return Exit::kCheckFailed;
}

int Run(int argc, char** argv)
{
    Context context;
    context.argv = argv;
    CLI::App app("Drives an ECG patient simulator, or a virtual one.", "zeka");
    app.require_subcommand(1);
    app.set_version_flag("--version", "zeka " ZEKA_CLI_VERSION);
    app.footer(kFooter);
    const Command command(app);
    AddPlay(command, context);
    AddPlot(command, context);
    AddSweep(command, context);
    AddFile(command, context);
    AddRecord(command, context);
    AddUpload(command, context);
    AddSave(command, context);
    AddDefault(command, context);
    AddWaveforms(command, context);
    AddList(command, context);
    AddInfo(command, context);
    AddSet(command, context);
    AddDoctor(command, context);
    AddSim(command, context);
    AddBench(command, context);
    AddCompletion(command, context);
    AddMan(command, context);
    try {
        return Parse(app, argc, argv, context);
    } catch (const Failure& failure) {
        context.console.Error(failure.what());
        return Status(failure.Code());
    } catch (const formats::FileError& error) {
        context.console.Error(error.what());
        return Status(ExitOf(error.Kind()));
    } catch (const std::exception& error) {
        context.console.Error(
            fmt::format("{}; run it again with --verbose and report what it says", error.what()));
        return Status(Exit::kCheckFailed);
    }
}

/// Opens closed standard streams. Otherwise the next file that is opened, perhaps the
/// instrument's port, would get such a number, and messages would be sent to it. On these,
/// writing fails and reading finds nothing.
void FillStandardStreams()
{
    for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) == -1)
            (void)::open("/dev/null", O_RDONLY); // takes the lowest free number: this one
}

} // namespace
} // namespace zeka::cli

int main(int argc, char** argv)
{
    try {
        zeka::cli::FillStandardStreams();
        return zeka::cli::Run(argc, argv);
    } catch (...) { // the message could not be made
        std::fputs("zeka: out of memory; end other programs and run this again\n", stderr);
        return static_cast<int>(zeka::cli::Exit::kCheckFailed);
    }
}
