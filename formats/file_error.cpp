// file_error.cpp - the common ways to throw a FileError.
#include "formats/file_error.h"

#include <cerrno>
#include <cstring>

namespace zeka::formats {

void Refuse(const std::string& file, const std::string& why)
{
    throw FileError(Trouble::kContent, file + ": " + why);
}

void RefuseByErrno(const std::string& task, const std::string& remedy)
{
    const int error = errno; // saved before a call below can change it
    throw FileError(error == EACCES ? Trouble::kPermission : Trouble::kContent,
                    task + ": " + std::strerror(error) + "; " + remedy);
}

} // namespace zeka::formats
