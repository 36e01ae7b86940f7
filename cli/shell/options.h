// options.h - the options of a subcommand: what they are called, where their values go, what is allowed and
// what --help says. The option parser behind it takes seconds to compile, so it is seen by options.cpp and by
// the few sources that read the whole command line back (main, man, completion).
#pragma once

#include "cli/shell/context.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace zeka::cli {

/// An option that was just added; each call says more of it. The parser owns it.
class Option {
public:
    explicit Option(CLI::Option* option) : option_(option) {}

    /// What stands for its value in --help: a unit, or a word like FILE.
    const Option& TypeName(const std::string& name) const;
    /// The heading that it stands under in --help.
    const Option& Group(const std::string& group) const;
    const Option& Required(bool required = true) const;
    /// Means nothing without that other one.
    const Option& Needs(const std::string& other) const;
    /// Does not go together with that other one.
    const Option& Excludes(const Option& other) const;
    /// Every value after it is another argument's, not one more of its own.
    const Option& OneValue() const;
    /// `check` answers what is wrong with a value; empty: nothing.
    const Option& Check(const std::function<std::string(const std::string& value)>& check) const;
    /// A number in this range, both ends accepted.
    const Option& Within(double low, double high, const std::string& unit) const;
    /// One of these words, which completion offers.
    const Option& OneOf(const std::vector<std::string>& words) const;

private:
    CLI::Option* option_;
};

struct GivenOption {
    std::string name;
    std::string group;
};

/// The command itself or a subcommand. The parser owns it.
class Command {
public:
    explicit Command(CLI::App& app) : app_(&app) {}

    [[nodiscard]] Command AddCommand(const std::string& name, const std::string& what) const;

    /// Options whose value goes to `value` when the command line is parsed, so it must outlive that; of those with
    /// std::optional, being empty says that the option was not given.
    Option AddOption(const std::string& names, int& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::uint32_t& value, const std::string& what) const;
    Option AddOption(const std::string& names, double& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::string& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::optional<int>& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::optional<double>& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::vector<std::string>& value,
                     const std::string& what) const;
    /// The value goes to a function.
    Option AddOption(const std::string& names, const std::function<void(const std::string&)>& take,
                     const std::string& what) const;
    Option AddFlag(const std::string& names, bool& value, const std::string& what) const;
    /// One that was added before.
    [[nodiscard]] Option Find(const std::string& name) const;
    /// The options that the command line gave.
    [[nodiscard]] std::vector<GivenOption> Given() const;

    /// One of its subcommands has to be named.
    void RequireCommand() const;
    /// Not in --help, completion or a manual page.
    void Hide() const;
    /// The text below the options in --help.
    void Footer(const std::string& text) const;
    /// Runs when the command line names it; puts the job into the context.
    void OnUse(const std::function<void()>& use) const;

    [[nodiscard]] CLI::App& Parser() const { return *app_; }

private:
    CLI::App* app_;
};

/// Text as a number of the parser's kind, for checks of a value.
[[nodiscard]] std::optional<double> NumberIn(const std::string& text);

/// --json, --quiet and --verbose, which every subcommand has.
void AddCommonOptions(const Command& command, Context& context);

} // namespace zeka::cli
