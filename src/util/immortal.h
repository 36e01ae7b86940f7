// immortal.h (util) - holds an object in static memory, constructs it at its first use and never destroys
// it. No allocation can fail, and a thread of the application that is inside a call while the process
// exits can still use the object.
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
