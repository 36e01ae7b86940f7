// console.cpp - writes to stdout and stderr; finds out the terminal's width and whether it shows colours.
#include "cli/shell/console.h"

#include "cli/shell/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace zeka::cli {
namespace {

bool IsTerminal(int descriptor)
{
    const char* kind = std::getenv("TERM");
    return ::isatty(descriptor) == 1 && (kind == nullptr || std::strcmp(kind, "dumb") != 0);
}

bool ColourWanted()
{
    const char* no_colour = std::getenv("NO_COLOR");
    return IsTerminal(STDOUT_FILENO) && (no_colour == nullptr || *no_colour == '\0');
}

std::string Coloured(std::string_view text, std::string_view colour)
{
    return ColourWanted() ? fmt::format("\x1b[{}m{}\x1b[0m", colour, text) : std::string(text);
}

std::size_t TerminalColumns()
{
    constexpr std::size_t kUsual = 80;
    winsize size{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

std::string JsonText(std::string_view command, const JsonValue& object, int indent)
{
    JsonValue whole{{"schema", kJsonSchema}, {"command", command}};
    whole.Extend(object);
    return whole.Text(indent) + "\n";
}

void ToStderr(std::string_view text)
{
    (void)std::fwrite(text.data(), 1, text.size(), stderr); // a failure here cannot be reported anywhere
}

} // namespace

void Console::Note(std::string_view text)
{
    if (quiet)
        return;
    EndLive();
    ToStderr(fmt::format("{}\n", text));
}

void Console::Detail(std::string_view text)
{
    if (verbose)
        Note(text);
}

bool Console::HasLive() const { return !quiet && IsTerminal(STDERR_FILENO); }

void Console::Live(std::string_view text)
{
    if (!HasLive())
        return;
    // A line that wraps could not be rewritten.
    ToStderr(fmt::format("\r{}\x1b[K", text.substr(0, TerminalColumns() - 1)));
    live_shown_ = true;
}

void Console::EndLive()
{
    if (live_shown_)
        ToStderr("\r\x1b[K");
    live_shown_ = false;
}

void Console::Error(std::string_view text)
{
    EndLive();
    std::string line(text); // holds words of files and of the command line
    std::ranges::replace_if(
        line, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    ToStderr(fmt::format("zeka: {}\n", line));
}

void Console::Result(std::string_view text)
{
    EndLive();
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw Failure(Exit::kCheckFailed, fmt::format("cannot write the result: {}; look where stdout goes",
                                                      std::strerror(errno)));
}

void Console::Result(std::string_view command, const JsonValue& object)
{
    Result(JsonText(command, object, 2));
}

void Console::ResultLine(std::string_view command, const JsonValue& object)
{
    Result(JsonText(command, object, -1));
}

std::string Console::Good(std::string_view text) const { return Coloured(text, "32"); }
std::string Console::Bad(std::string_view text) const { return Coloured(text, "31;1"); }

std::string Console::Bar(double done, double whole)
{
    constexpr int kWidth = 30;
    const double share = std::clamp(done / whole, 0.0, 1.0);
    const std::string marks(static_cast<std::size_t>(share * kWidth), '#');
    return fmt::format("[{:<{}}]", marks, kWidth);
}

} // namespace zeka::cli
