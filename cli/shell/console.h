// console.h - the command's output: stdout carries the result, stderr everything else. The live line and
// colours appear on a terminal only. Used by the command's main thread alone.
#pragma once

#include "cli/shell/json_value.h"

#include <string>
#include <string_view>

namespace zeka::cli {

/// The version of the JSON objects; increased when readers could misread them.
inline constexpr int kJsonSchema = 1;

class Console {
public:
    bool json = false;    // the result is JSON
    bool quiet = false;   // no notes, no live line
    bool verbose = false; // more notes

    /// Writes a remark on progress to stderr.
    void Note(std::string_view text);
    void Detail(std::string_view text);

    /// Rewrites the live line; does nothing when stderr is no terminal.
    void Live(std::string_view text);
    void EndLive();
    [[nodiscard]] bool HasLive() const;

    void Error(std::string_view text);

    /// Writes the result. Throws Failure when it cannot be written, so that the job ends.
    void Result(std::string_view text);
    /// Writes the result as JSON, with `schema` and the name of the command in front.
    void Result(std::string_view command, const JsonValue& object);
    /// Does the same on one line: the last line, or the only one, of JSON Lines.
    void ResultLine(std::string_view command, const JsonValue& object);

    /// Colours the text when stdout is a terminal and NO_COLOR is not set.
    [[nodiscard]] std::string Good(std::string_view text) const;
    [[nodiscard]] std::string Bad(std::string_view text) const;

    /// "[#####               ]", for the live line.
    static std::string Bar(double done, double whole);

private:
    bool live_shown_ = false;
};

} // namespace zeka::cli
