// completion.cpp - zeka completion bash: a shell script made from the command's own
// options, so that it always fits them.
#include "cli/commands/commands.h"

#include "cli/shell/context.h"
#include "cli/shell/options.h"
#include "cli/signal/functions.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace zeka::cli {
namespace {

std::vector<CLI::Option*> ShownOptions(CLI::App& command)
{
    return command.get_options([](CLI::Option* each) { return !each->get_group().empty(); });
}

std::vector<CLI::App*> ShownCommands(CLI::App& command)
{
    return command.get_subcommands([](CLI::App* each) { return !each->get_group().empty(); });
}

/// "--gain", or "--output" and "-o"
std::vector<std::string> NamesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_lnames())
        names.push_back("--" + name);
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    return names;
}

/// The words that the option takes, separated by blanks; empty where its values are not a fixed list.
std::string ValuesOf(CLI::Option& option)
{
    try {
        return option.get_validator(0)->get_name();
    } catch (const CLI::OptionNotFound&) {
        return {};
    }
}

std::string FunctionNames()
{
    std::vector<std::string> names;
    for (const OutputFunction& function : OutputFunctions())
        names.emplace_back(function.name);
    return fmt::format("{}", fmt::join(names, " "));
}

/// All words that may stand where no option's value is expected.
std::string WordsOf(CLI::App& command)
{
    std::vector<std::string> words;
    for (CLI::App* sub : ShownCommands(command))
        words.push_back(sub->get_name());
    if (CLI::Option* function = command.get_option_no_throw("function"); function != nullptr) {
        const std::string values = ValuesOf(*function);
        words.push_back(values.empty() ? FunctionNames() : values);
    }
    for (const CLI::Option* option : ShownOptions(command))
        for (const std::string& name : option->get_lnames())
            words.push_back("--" + name);
    return fmt::format("{}", fmt::join(words, " "));
}

/// The cases of a command's options that take a value: their words, or none where
/// the shell is to offer file names.
std::string ValueCases(CLI::App& command, const std::string& path)
{
    std::string cases;
    std::vector<std::string> others;
    for (CLI::Option* option : ShownOptions(command)) {
        if (option->get_items_expected_max() == 0 || NamesOf(*option).empty())
            continue;
        std::vector<std::string> patterns;
        for (const std::string& name : NamesOf(*option))
            patterns.push_back(fmt::format("'{} {}'", path, name));
        const std::string values = ValuesOf(*option);
        if (values.empty())
            others.insert(others.end(), patterns.begin(), patterns.end());
        else
            cases += fmt::format("    {}) words=\"{}\" ;;\n", fmt::join(patterns, "|"), values);
    }
    if (!others.empty())
        cases += fmt::format("    {}) words= ;;\n", fmt::join(others, "|"));
    return cases;
}

/// The waveforms after "iec-2-27:", because the shell takes the colon for a word of its own.
std::string VariantCases()
{
    std::string cases;
    for (const OutputFunction& function : OutputFunctions())
        if (const auto variants = VariantNames(function.variants); !variants.empty())
            cases += fmt::format("    {}) words=\"{}\" ;;\n", function.name,
                                 fmt::join(variants.begin(), variants.end(), " "));
    return cases;
}

std::string BashScript(CLI::App& app)
{
    std::string commands = fmt::format("    zeka) words=\"{}\" ;;\n", WordsOf(app));
    std::string values;
    std::vector<std::string> nested;
    for (CLI::App* sub : ShownCommands(app)) {
        commands += fmt::format("    '{}') words=\"{}\" ;;\n", sub->get_name(), WordsOf(*sub));
        values += ValueCases(*sub, sub->get_name());
        for (CLI::App* leaf : ShownCommands(*sub)) {
            const std::string path = sub->get_name() + " " + leaf->get_name();
            nested.push_back(fmt::format("'{}'", path));
            commands += fmt::format("    '{}') words=\"{}\" ;;\n", path, WordsOf(*leaf));
            values += ValueCases(*leaf, path);
        }
    }
    return fmt::format(R"(# bash completion of zeka; put it to use with: source <(zeka completion bash)
_zeka() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} last=${{COMP_WORDS[COMP_CWORD-1]}} stem= words= command=zeka i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [ "${{COMP_WORDS[i]}}" = -- ]; then # behind it stands another program
            ((i + 1 == COMP_CWORD)) && COMPREPLY=($(compgen -c -- "$word"))
            return
        fi
    done
    if ((COMP_CWORD > 1)); then command=${{COMP_WORDS[1]}}; fi
    if ((COMP_CWORD > 2)); then
        case "$command ${{COMP_WORDS[2]}}" in
        {}) command+=" ${{COMP_WORDS[2]}}" ;;
        esac
    fi
    case $command in
{}    esac
    case "$command $last" in
{}    esac
    if [ "$word" = : ]; then stem=$last word=
    elif [ "$last" = : ]; then stem=${{COMP_WORDS[COMP_CWORD-2]}}
    fi
    case $stem in
{}    esac
    COMPREPLY=($(compgen -W "$words" -- "$word"))
}}
complete -o default -F _zeka zeka
)",
                       fmt::join(nested, "|"), commands, values, VariantCases());
}

} // namespace

void AddCompletion(const Command& app, Context& context)
{
    const Command command = app.AddCommand("completion", "completion script for the shell");
    command.RequireCommand();
    const Command bash = command.AddCommand("bash", "for bash: source <(zeka completion bash)");
    AddCommonOptions(bash, context);
    bash.OnUse([app, &context] {
        context.job = [app, &context] {
            if (context.console.json)
                context.console.Result("completion bash",
                                       {{"shell", "bash"}, {"script", BashScript(app.Parser())}});
            else
                context.console.Result(BashScript(app.Parser()));
            return Exit::kDone;
        };
    });
}

} // namespace zeka::cli
