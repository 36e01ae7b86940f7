// options.h - the options of a subcommand: their names, the destinations and checks of their values, and
// their help. The option parser behind it takes seconds to compile, so only options.cpp and the sources that
// read the whole command line back (main, man, completion) include it.
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

/// An option that was just added; each call adds a property. The parser owns it.
class Option {
public:
    explicit Option(CLI::Option* option) : option_(option) {}

    /// The placeholder of its value in --help: a unit, or a word like FILE.
    const Option& TypeName(const std::string& name) const;
    /// The heading under which --help lists it.
    const Option& Group(const std::string& group) const;
    const Option& Required(bool required = true) const;
    /// The option is only valid together with that other one.
    const Option& Needs(const std::string& other) const;
    /// The option is not valid together with that other one.
    const Option& Excludes(const Option& other) const;
    /// The option takes one value; what follows belongs to another argument.
    const Option& OneValue() const;
    /// `check` returns what is wrong with a value; empty: nothing.
    const Option& Check(const std::function<std::string(const std::string& value)>& check) const;
    /// The value is a number in this range, both ends accepted.
    const Option& Within(double low, double high, const std::string& unit) const;
    /// The value is one of these words, which completion offers.
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

    /// Adds an option whose value is stored in `value` when the command line is parsed, so `value` must live
    /// until then. An empty std::optional means that the option was not given.
    Option AddOption(const std::string& names, int& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::uint32_t& value, const std::string& what) const;
    Option AddOption(const std::string& names, double& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::string& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::optional<int>& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::optional<double>& value, const std::string& what) const;
    Option AddOption(const std::string& names, std::vector<std::string>& value,
                     const std::string& what) const;
    /// Adds an option whose value is passed to a function.
    Option AddOption(const std::string& names, const std::function<void(const std::string&)>& take,
                     const std::string& what) const;
    Option AddFlag(const std::string& names, bool& value, const std::string& what) const;
    /// An option that was added before.
    [[nodiscard]] Option Find(const std::string& name) const;
    /// The options that were given on the command line.
    [[nodiscard]] std::vector<GivenOption> Given() const;

    /// Requires that one of its subcommands is named.
    void RequireCommand() const;
    /// Leaves it out of --help, completion and manual pages.
    void Hide() const;
    /// Sets the text below the options in --help.
    void Footer(const std::string& text) const;
    /// `use` runs when the command line names this command; it stores the job in the context.
    void OnUse(const std::function<void()>& use) const;

    [[nodiscard]] CLI::App& Parser() const { return *app_; }

private:
    CLI::App* app_;
};

/// Parses a number as the parser does, for checks of a value.
[[nodiscard]] std::optional<double> NumberIn(const std::string& text);

/// Adds --json, --quiet and --verbose, which every subcommand has.
void AddCommonOptions(const Command& command, Context& context);

} // namespace zeka::cli
