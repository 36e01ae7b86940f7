// man.cpp - zeka man: manual pages made from the command's own help, so that both always agree. For the build
// and its tests; hidden from the help.
#include "cli/commands/commands.h"

#include "cli/shell/context.h"
#include "cli/shell/options.h"
#include "formats/output_file.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <memory>
#include <sstream>

namespace zeka::cli {
namespace {

std::vector<const CLI::App*> SubcommandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
}

/// Escapes text for troff, whose lines must not look like requests.
std::string Plain(std::string_view text)
{
    std::string plain;
    for (const char c : text) {
        const bool line_starts = plain.empty() || plain.back() == '\n';
        if (line_starts && (c == '.' || c == '\''))
            plain += "\\&";
        if (c == '\\')
            plain += "\\e";
        else if (c == '-')
            plain += "\\-";
        else
            plain += c;
    }
    return plain;
}

std::string Upper(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

/// "zeka-play", the name of the manual page.
std::string PageName(std::string words)
{
    std::ranges::replace(words, ' ', '-');
    return words;
}

std::string OptionNames(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames())
        names.push_back(fmt::format("\\fB{}\\fR", Plain("-" + name)));
    for (const std::string& name : option.get_lnames())
        names.push_back(fmt::format("\\fB{}\\fR", Plain("--" + name)));
    if (names.empty()) // a positional argument
        names.push_back(fmt::format("\\fI{}\\fR", Plain(option.get_type_name())));
    else if (option.get_expected_max() > 0 && !option.get_type_name().empty())
        names.back() += fmt::format(" \\fI{}\\fR", Plain(option.get_type_name()));
    return fmt::format("{}", fmt::join(names, ", "));
}

void AddOptions(const CLI::App& app, std::string& page)
{
    for (const std::string& group : app.get_groups()) {
        const auto options =
            app.get_options([&](const CLI::Option* option) { return option->get_group() == group; });
        if (group.empty() || options.empty())
            continue;
        page += fmt::format(".SS {}\n", Plain(group));
        for (const CLI::Option* option : options)
            page += fmt::format(".TP\n{}\n{}\n", OptionNames(*option), Plain(option->get_description()));
    }
}

/// Adds "  name   what it is" as the two columns of a list.
bool AddListLine(const std::string& line, std::string& page)
{
    if (!line.starts_with("  "))
        return false;
    const std::size_t name_end = line.find("  ", 2);
    const std::size_t what = line.find_first_not_of(' ', name_end);
    if (what == std::string::npos)
        return false;
    page +=
        fmt::format(".TP\n\\fB{}\\fR\n{}\n", Plain(line.substr(2, name_end - 2)), Plain(line.substr(what)));
    return true;
}

/// Formats the text below the options: paragraphs, lists, exit statuses and examples.
class Footer {
public:
    explicit Footer(const std::string& footer)
    {
        std::istringstream lines(footer);
        for (std::string line; std::getline(lines, line);)
            Add(line);
    }
    [[nodiscard]] std::string Text() const
    {
        return notes_ + exit_ + (examples_.empty() ? "" : ".SH EXAMPLE\n" + examples_);
    }

private:
    void Add(const std::string& line)
    {
        constexpr std::string_view kExample = "Example: ";
        constexpr std::string_view kExit = "Exit status: ";
        if (line.starts_with(kExit)) {
            exit_ = fmt::format(".SH EXIT STATUS\n{}\n", Plain(line.substr(kExit.size())));
            in_exit_ = true;
        } else if (line.empty()) {
            in_exit_ = false;
            paragraph_ends_ = true;
        } else if (in_exit_) {
            exit_ += Plain(line) + "\n";
        } else if (line.starts_with(kExample)) {
            examples_ += fmt::format(".PP\n.nf\n{}\n.fi\n", Plain(line.substr(kExample.size())));
        } else {
            AddNote(line);
        }
    }
    void AddNote(const std::string& line)
    {
        const bool first = notes_.empty();
        if (first)
            notes_ = ".SH NOTES\n";
        if (AddListLine(line, notes_)) {
            paragraph_ends_ = true; // what follows a list is not part of it
            return;
        }
        notes_ += paragraph_ends_ && !first ? ".PP\n" : "";
        notes_ += Plain(line) + "\n";
        paragraph_ends_ = false;
    }

    std::string notes_;
    std::string exit_;
    std::string examples_;
    bool in_exit_ = false;
    bool paragraph_ends_ = false;
};

/// "zeka waveforms export": how it is called, without options.
std::string CallOf(const CLI::App& app, const std::string& words)
{
    std::string call = fmt::format(".B {}\n[\\fIOPTION\\fR]...", Plain(words));
    for (const CLI::Option* option :
         app.get_options([](const CLI::Option* each) { return each->get_positional(); })) {
        const std::string word = fmt::format("\\fI{}\\fR", Plain(option->get_type_name()));
        call += option->get_required() ? " " + word : " [" + word + "]";
    }
    if (!SubcommandsOf(app).empty())
        call += " \\fICOMMAND\\fR ...";
    return call + "\n";
}

void AddCommands(const CLI::App& app, const std::string& words, std::string& page)
{
    const bool top = app.get_parent() == nullptr;
    if (SubcommandsOf(app).empty())
        return;
    page += ".SH COMMANDS\n";
    for (const CLI::App* sub : SubcommandsOf(app)) {
        if (top) {
            page += fmt::format(".TP\n.BR {} (1)\n{}\n", Plain(PageName(words + " " + sub->get_name())),
                                Plain(sub->get_description()));
            continue;
        }
        page +=
            fmt::format(".SS {}\n{}\n", Plain(words + " " + sub->get_name()), Plain(sub->get_description()));
        for (const CLI::Option* option : sub->get_options())
            page += fmt::format(".TP\n{}\n{}\n", OptionNames(*option), Plain(option->get_description()));
    }
}

std::string Page(const CLI::App& app, const std::string& words)
{
    const std::string name = PageName(words);
    std::string page = fmt::format(".\\\" Made from 'zeka --help' by 'zeka man'; changes here are lost.\n"
                                   ".TH {} 1 \"\" \"zeka {}\" \"User Commands\"\n"
                                   ".SH NAME\n{} \\- {}\n"
                                   ".SH SYNOPSIS\n{}",
                                   Plain(Upper(name)), ZEKA_CLI_VERSION, Plain(name),
                                   Plain(app.get_description()), CallOf(app, words));
    AddCommands(app, words, page);
    page += ".SH OPTIONS\n";
    AddOptions(app, page);
    page += Footer(app.get_footer()).Text();
    if (words != "zeka")
        page += ".SH SEE ALSO\n.BR zeka (1)\n";
    return page;
}

Exit WritePages(const CLI::App& app, const std::string& folder)
{
    formats::WriteFile(folder + "/zeka.1", Page(app, "zeka"));
    for (const CLI::App* sub : SubcommandsOf(app))
        formats::WriteFile(fmt::format("{}/zeka-{}.1", folder, sub->get_name()),
                           Page(*sub, "zeka " + sub->get_name()));
    return Exit::kDone;
}

} // namespace

void AddMan(const Command& app, Context& context)
{
    auto folder = std::make_shared<std::string>();
    const Command command = app.AddCommand("man", "write the manual pages into a folder");
    command.Hide();
    command.AddOption("folder", *folder, "that exists").Required().TypeName("DIR");
    command.OnUse([folder, app, &context] {
        context.job = [folder, app] { return WritePages(app.Parser(), *folder); };
    });
}

} // namespace zeka::cli
