// file_error.h - the reason why a file cannot be read or written, in one line that names the file.
#pragma once

#include <stdexcept>
#include <string>

namespace zeka::formats {

/// The kind of trouble, from which a program chooses its exit status.
enum class Trouble {
    kContent,    // the file is missing, damaged or of no format that is read here
    kPermission, // the system denies this user access
    kRequest,    // the request cannot be met: a channel that is missing, a name that the format cannot have
};

/// Thrown by everything in this folder that fails. `what()` is one line: the file, the cause and,
/// where there is one, the remedy.
class FileError : public std::runtime_error {
public:
    FileError(Trouble trouble, const std::string& message) : std::runtime_error(message), trouble_(trouble) {}
    [[nodiscard]] Trouble Kind() const { return trouble_; }

private:
    Trouble trouble_;
};

/// Throws FileError "<file>: <why>" with Trouble::kContent.
[[noreturn]] void Refuse(const std::string& file, const std::string& why);

/// Throws FileError "<task>: <reason of errno>; <remedy>" for a system call that has just failed. The trouble
/// is kPermission for EACCES, else kContent.
[[noreturn]] void RefuseByErrno(const std::string& task, const std::string& remedy);

} // namespace zeka::formats
