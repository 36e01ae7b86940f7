// console.cpp - see console.h.
#include "cli/console.h"

#include "cli/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <unistd.h>

namespace zeka::cli {
namespace {

constexpr int kSchema = 1; // of the JSON objects; counts up when a reader could be misled

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

void ToStderr(std::string_view text)
{
    (void)std::fwrite(text.data(), 1, text.size(), stderr); // there is nobody left to tell
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
    ToStderr(fmt::format("\r{}\x1b[K", text));
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
    std::string line(text); // with words of files and of the command line in it
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

void Console::Result(std::string_view command, const nlohmann::ordered_json& object)
{
    nlohmann::ordered_json whole;
    whole["schema"] = kSchema;
    whole["command"] = command;
    whole.update(object);
    // A name on a Linux machine may be any bytes; JSON is UTF-8.
    Result(whole.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
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
