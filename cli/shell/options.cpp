// options.cpp - passes options and subcommands to CLI11, and checks the values of options
// while the command line is parsed.
#include "cli/shell/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>

namespace zeka::cli {

const Option& Option::TypeName(const std::string& name) const
{
    option_->type_name(name);
    return *this;
}

const Option& Option::Group(const std::string& group) const
{
    option_->group(group);
    return *this;
}

const Option& Option::Required(bool required) const
{
    option_->required(required);
    return *this;
}

const Option& Option::Needs(const std::string& other) const
{
    option_->needs(other);
    return *this;
}

const Option& Option::Excludes(const Option& other) const
{
    option_->excludes(other.option_);
    return *this;
}

const Option& Option::OneValue() const
{
    option_->allow_extra_args(false);
    return *this;
}

const Option& Option::Check(const std::function<std::string(const std::string&)>& check) const
{
    option_->check(check);
    return *this;
}

const Option& Option::Within(double low, double high, const std::string& unit) const
{
    return Check([=](const std::string& text) -> std::string {
        const std::optional<double> number = NumberIn(text);
        if (number && *number >= low && *number <= high) // NaN is outside every range
            return {};
        return fmt::format("{} is not within {} to {} {}", text, low, high, unit);
    });
}

const Option& Option::OneOf(const std::vector<std::string>& words) const
{
    const auto check = [=](const std::string& text) -> std::string {
        if (std::ranges::find(words, text) != words.end())
            return {};
        return fmt::format("{} is not one of {}", text, fmt::join(words, ", "));
    };
    // The words are also the name of the check, separated by blanks, because completion reads them there.
    option_->check(CLI::Validator(check, "", fmt::format("{}", fmt::join(words, " "))));
    return *this;
}

Command Command::AddCommand(const std::string& name, const std::string& what) const
{
    return Command(*app_->add_subcommand(name, what));
}

Option Command::AddOption(const std::string& names, int& value, const std::string& what) const
{
    return Option(app_->add_option(names, value, what));
}

Option Command::AddOption(const std::string& names, std::uint32_t& value, const std::string& what) const
{
    return Option(app_->add_option(names, value, what));
}

Option Command::AddOption(const std::string& names, double& value, const std::string& what) const
{
    return Option(app_->add_option(names, value, what));
}

Option Command::AddOption(const std::string& names, std::string& value, const std::string& what) const
{
    return Option(app_->add_option(names, value, what));
}

Option Command::AddOption(const std::string& names, std::optional<int>& value, const std::string& what) const
{
    return Option(app_->add_option(names, value, what));
}

Option Command::AddOption(const std::string& names, std::optional<double>& value,
                          const std::string& what) const
{
    return Option(app_->add_option(names, value, what));
}

Option Command::AddOption(const std::string& names, std::vector<std::string>& value,
                          const std::string& what) const
{
    return Option(app_->add_option(names, value, what));
}

Option Command::AddOption(const std::string& names, const std::function<void(const std::string&)>& take,
                          const std::string& what) const
{
    return Option(app_->add_option_function<std::string>(names, take, what));
}

Option Command::AddFlag(const std::string& names, bool& value, const std::string& what) const
{
    return Option(app_->add_flag(names, value, what));
}

Option Command::Find(const std::string& name) const { return Option(app_->get_option(name)); }

std::vector<GivenOption> Command::Given() const
{
    std::vector<GivenOption> given;
    for (const CLI::Option* option : app_->get_options())
        if (option->count() > 0)
            given.push_back({option->get_name(), option->get_group()});
    return given;
}

void Command::RequireCommand() const { app_->require_subcommand(1); }
void Command::Hide() const { app_->group(""); }
void Command::Footer(const std::string& text) const { app_->footer(text); }
void Command::OnUse(const std::function<void()>& use) const { app_->callback(use); }

std::optional<double> NumberIn(const std::string& text)
{
    double number = 0.0;
    return CLI::detail::lexical_cast(text, number) ? std::optional(number) : std::nullopt;
}

void AddCommonOptions(const Command& command, Context& context)
{
    constexpr const char* kGroup = "Output";
    command.AddFlag("--json", context.console.json, "the result as JSON").Group(kGroup);
    const Option quiet =
        command.AddFlag("-q,--quiet", context.console.quiet, "nothing on stderr but errors").Group(kGroup);
    command.AddFlag("-v,--verbose", context.console.verbose, "more on stderr").Group(kGroup).Excludes(quiet);
}

} // namespace zeka::cli
