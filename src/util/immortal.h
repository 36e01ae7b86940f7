// immortal.h - an object that is made at its first use, in memory that is there from the start, and never
// destroyed: no allocation can fail, and a thread of the application that is inside a call while the process
// exits finds it whole.
#pragma once

#include <new>

namespace zeka {

template <typename Object> class Immortal {
public:
    Immortal() noexcept : object_(*new (storage_) Object) {}
    ~Immortal() = default; // trivial: nothing is registered to run at exit
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;
    [[nodiscard]] Object& Get() noexcept { return object_; }

private:
    alignas(Object) unsigned char storage_[sizeof(Object)];
    Object& object_;
};

} // namespace zeka
