// paths.h (files) - file names of the application: UTF-8 is used as it is, wide
// characters are encoded to UTF-8.
#pragma once

#include <cstddef>

namespace zeka {

inline constexpr std::size_t kMaxPathCharacters = 511;

/// Whether a UTF-8 path may be opened: not null and at most 511 characters long.
[[nodiscard]] bool IsAcceptedPath(const char* path) noexcept;

/// A wide path in UTF-8, on the stack.
class Utf8Path {
public:
    explicit Utf8Path(const wchar_t* path) noexcept;
    /// Null when the wide path was null, too long, or held a value that is no character.
    [[nodiscard]] const char* Get() const noexcept { return valid_ ? bytes_ : nullptr; }

private:
    [[nodiscard]] bool Encode(const wchar_t* path) noexcept;

    static constexpr std::size_t kMaxBytesPerCharacter = 4;
    char bytes_[kMaxPathCharacters * kMaxBytesPerCharacter + 1];
    bool valid_;
};

} // namespace zeka
