// command_completion.cpp - zeka completion bash: a script for the shell, made from the command's own options,
// so that it never knows other ones.
#include "cli/context.h"
#include "cli/functions.h"

#include <fmt/format.h>

namespace zeka::cli {
namespace {

std::vector<std::string> OptionsOf(const CLI::App& command)
{
    std::vector<std::string> words;
    for (const CLI::Option* option :
         command.get_options([](const CLI::Option* each) { return !each->get_group().empty(); }))
        for (const std::string& name : option->get_lnames())
            words.push_back("--" + name);
    return words;
}

bool TakesFunction(const CLI::App& command)
{
    return command.get_option_no_throw("function") != nullptr && command.get_name() != "sweep";
}

std::vector<std::string> PositionalsOf(const CLI::App& command)
{
    std::vector<std::string> words;
    for (const CLI::App* sub : command.get_subcommands([](const CLI::App*) { return true; }))
        words.push_back(sub->get_name());
    if (TakesFunction(command))
        for (const OutputFunction& function : OutputFunctions())
            words.emplace_back(function.name);
    return words;
}

std::string BashScript(const CLI::App& app)
{
    std::string cases;
    std::vector<std::string> names;
    for (const CLI::App* sub :
         app.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); })) {
        names.push_back(sub->get_name());
        cases += fmt::format("    {}) words=\"{} {}\" ;;\n", sub->get_name(),
                             fmt::join(PositionalsOf(*sub), " "), fmt::join(OptionsOf(*sub), " "));
    }
    return fmt::format("# bash completion of zeka; put it to use with: source <(zeka completion bash)\n"
                       "_zeka() {{\n"
                       "    local word=${{COMP_WORDS[COMP_CWORD]}} words=\"{} {}\"\n"
                       "    if [ \"$COMP_CWORD\" -gt 1 ]; then\n"
                       "    case ${{COMP_WORDS[1]}} in\n"
                       "{}"
                       "    esac\n"
                       "    fi\n"
                       "    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
                       "}}\n"
                       "complete -o default -F _zeka zeka\n",
                       fmt::join(names, " "), fmt::join(OptionsOf(app), " "), cases);
}

} // namespace

void AddCompletion(CLI::App& app, Context& context)
{
    CLI::App* command = app.add_subcommand("completion", "completion script for the shell");
    command->require_subcommand(1);
    CLI::App* bash = command->add_subcommand("bash", "for bash: source <(zeka completion bash)");
    bash->callback([&app, &context] {
        context.job = [&app, &context] {
            context.console.Result(BashScript(app));
            return Exit::kDone;
        };
    });
}

} // namespace zeka::cli
