// file_error.h - why a file cannot be read or written, in one line that names the file.
#pragma once

#include <stdexcept>
#include <string>

namespace zeka::formats {

/// What kind of trouble it is, so that a program can choose its exit status.
enum class Trouble {
    kContent,    // the file is missing, broken or not of a format that is read here
    kPermission, // the system does not let this user at it
    kRequest, // what was asked for cannot be: a channel that is not there, a name that the format cannot have
};

/// Everything in this folder that fails throws one of these. `what()` is one line: the file, the cause, and
/// where there is one, the remedy.
class FileError : public std::runtime_error {
public:
    FileError(Trouble trouble, const std::string& message) : std::runtime_error(message), trouble_(trouble) {}
    [[nodiscard]] Trouble Kind() const { return trouble_; }

private:
    Trouble trouble_;
};

/// Throws FileError: "<file>: <why>", the content's fault.
[[noreturn]] void Refuse(const std::string& file, const std::string& why);

/// Throws FileError for a call of the system that has just failed: "<task>: <reason of errno>; <remedy>". The
/// trouble is kPermission for EACCES, else kContent.
[[noreturn]] void RefuseByErrno(const std::string& task, const std::string& remedy);

} // namespace zeka::formats
