// peek.h (util) - single values that one thread writes under a lock and others read without it.
// The shared values keep their plain types; both sides go through these two functions, so that the compiler
// and ThreadSanitizer see an atomic access. Relaxed: a peeked value says nothing about any other value.
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
