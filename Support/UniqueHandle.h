#pragma once

#include <utility>

namespace zqm {

/// Owns one value of an operating system's handle type and gives it back exactly once.
///
/// `Traits` supplies `using Value`, `static constexpr Value none` and `static void release(Value) noexcept`.
template <class Traits>
class UniqueHandle {
public:
    using Value = typename Traits::Value;

    UniqueHandle() = default;
    explicit UniqueHandle(Value value) : value_(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : value_(std::exchange(other.value_, Traits::none)) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(std::exchange(other.value_, Traits::none));
        return *this;
    }
    ~UniqueHandle() { reset(); }

    explicit operator bool() const { return value_ != Traits::none; }
    Value get() const { return value_; }
    Value release() { return std::exchange(value_, Traits::none); }
    void reset(Value value = Traits::none) {
        Value old = std::exchange(value_, value);
        if (old != Traits::none) Traits::release(old);
    }

private:
    Value value_ = Traits::none;
};

}  // namespace zqm
