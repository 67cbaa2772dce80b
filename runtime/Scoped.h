#pragma once

/// Kor::detail::Scoped: a value in a place for a scope, and then what stood there before.
///
///     Kor::detail::Scoped<bool> const running(running_, true);
///
/// A move of the value must not throw. One thread.

#include <utility>

namespace Kor::detail {

template <class T>
class Scoped {
public:
    Scoped(T& place, T value) noexcept : place_(place), before_(std::exchange(place, std::move(value))) {}
    ~Scoped() { place_ = std::move(before_); }
    Scoped(Scoped const&) = delete;
    Scoped& operator=(Scoped const&) = delete;

private:
    T& place_;
    T before_;
};

} // namespace Kor::detail
