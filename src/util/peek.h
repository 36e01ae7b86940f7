// peek.h (util) - single values that one thread writes under a lock and others read without it.
// The values keep their plain types; writer and readers use these two functions, so that the
// compiler and ThreadSanitizer see atomic accesses. The order is relaxed: a peeked value says
// nothing about any other value.
#pragma once

#include <atomic>
#include <type_traits>

namespace zeka {

template <typename T> [[nodiscard]] inline T Peek(const T& value) noexcept
{
    return std::atomic_ref<T>(const_cast<T&>(value)).load(std::memory_order_relaxed);
}

template <typename T> inline void Publish(T& value, std::type_identity_t<T> next) noexcept
{
    std::atomic_ref<T>(value).store(next, std::memory_order_relaxed);
}

} // namespace zeka
