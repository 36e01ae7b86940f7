// console.h - who hears what: stdout carries the result, stderr everything else. A line that is rewritten and
// colours appear on a terminal only. Used by the command's main thread alone.
#pragma once

#include "cli/shell/json_value.h"

#include <string>
#include <string_view>

namespace zeka::cli {

/// Of the JSON objects; counts up when a reader could be misled.
inline constexpr int kJsonSchema = 1;

class Console {
public:
    bool json = false;    // the result is JSON
    bool quiet = false;   // no notes, no live line
    bool verbose = false; // more notes

    /// What is going on, for stderr.
    void Note(std::string_view text);
    void Detail(std::string_view text);

    /// Rewrites the live line; nothing when stderr is no terminal.
    void Live(std::string_view text);
    void EndLive();
    [[nodiscard]] bool HasLive() const;

    void Error(std::string_view text);

    /// The result. Throws Failure when nobody takes it, so that whatever runs is brought to its end.
    void Result(std::string_view text);
    /// The same for machines; `schema` and the name of the command are added in front.
    void Result(std::string_view command, const JsonValue& object);
    /// The same on one line: an end, or the whole, of JSON Lines.
    void ResultLine(std::string_view command, const JsonValue& object);

    /// Coloured when stdout is a terminal and NO_COLOR is not set.
    [[nodiscard]] std::string Good(std::string_view text) const;
    [[nodiscard]] std::string Bad(std::string_view text) const;

    /// "[#####               ]", for the live line.
    static std::string Bar(double done, double whole);

private:
    bool live_shown_ = false;
};

} // namespace zeka::cli
