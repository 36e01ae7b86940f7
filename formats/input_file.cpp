// input_file.cpp - reads a file piece by piece, so that an endless one (/dev/zero) stops at the limit.
#include "formats/input_file.h"

#include "formats/file_error.h"

#include <filesystem>
#include <fmt/format.h>
#include <fstream>

namespace zeka::formats {

std::string ReadWholeFile(const std::string& path, std::size_t limit)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        Refuse(path, "it is a folder; name a file in it");
    std::ifstream file(path, std::ios::binary);
    if (!file)
        RefuseByErrno("cannot read " + path, "name another file");
    std::string bytes;
    for (std::string piece(std::size_t{1} << 16, '\0'); file;) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        bytes.append(piece, 0, static_cast<std::size_t>(file.gcount()));
        if (bytes.size() > limit)
            Refuse(path, fmt::format("it is longer than {} bytes; cut it into shorter ones", limit));
    }
    if (file.bad()) // a part of a recording must not be taken for the whole
        Refuse(path, "it cannot be read to its end; copy it to another disk");
    return bytes;
}

std::string ReadHead(const std::string& path, std::size_t count)
{
    std::string head(count, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(count));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

} // namespace zeka::formats
