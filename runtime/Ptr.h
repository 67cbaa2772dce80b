#pragma once

/// Kor::Ptr, the counted pointer by which every shared object is held.
///
/// Do not use it for what a call only looks at: pass a plain reference, or `Ptr<T> const&` where the callee
/// may keep it. Do not use it to point back at an owner, since two objects that hold each other never end. Do
/// not build it from `new`: the constructor of an object leaves a count of 1 that somebody must own, and
/// `Ptr(new T)` makes it 2, so that the object never ends. `makePtr` hands that one reference over.
///
///     Kor::Ptr<Port> port = Kor::makePtr<Port>(7);   // the count is 1
///     Kor::Ptr<Port const> view = port;              // 2; `Ptr<T const>` reads only, and counts alike
///     view = nullptr;                                // 1
///
/// A function that always has a result returns Kor::ValidPtr.
///
/// Dereferencing tests nothing: a null Ptr must not be dereferenced. Assigning adds the new reference first,
/// stores it, and drops the old one last, so that it is safe from inside the object that is being replaced.
/// Nothing here throws; an exception that would leave a destructor ends the process. For threads see
/// runtime/VFPtrInterface.h.

#include "runtime/PtrInterface.h"

#include <compare>
#include <concepts>
#include <cstddef>
#include <string_view> // has std::hash
#include <utility>

namespace Kor {

[[noreturn, gnu::cold]] KOR_EXPORT void throwRangeException(char const* message);

template <class T>
class Ptr {
public:
    constexpr Ptr() noexcept = default;
    constexpr Ptr(std::nullptr_t) noexcept {}
    Ptr(T* object) noexcept : ptr_(object) { inc(); }
    Ptr(Ptr const& other) noexcept : ptr_(other.ptr_) { inc(); }
    Ptr(Ptr&& other) noexcept : ptr_(std::exchange(other.ptr_, nullptr)) {}
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other)
    noexcept : ptr_(other.ptr()) { inc(); }
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
    noexcept : ptr_(other.release()) {}
    ~Ptr() {
        if (ptr_ != nullptr) {
            ptr_->referencesDec();
        }
    }

    Ptr& operator=(Ptr const& other) noexcept {
        ptrAssign(other.ptr_);
        return *this;
    }
    Ptr& operator=(Ptr&& other) noexcept {
        Ptr(std::move(other)).swap(*this);
        return *this;
    }
    Ptr& operator=(T* object) noexcept {
        ptrAssign(object);
        return *this;
    }

    /// Holds `object` from now on. Does nothing when it is held already.
    void ptrAssign(T* object) noexcept {
        if (object != ptr_) {
            Ptr(object).swap(*this);
        }
    }

    /// Holds `object` in place of another one that is held elsewhere, too; neither is null. Cheaper than an
    /// assignment, since the other one cannot end by it.
    void ptrMove(T& object) noexcept {
        VFPtrInterface::referenceMove(*ptr_, object);
        ptr_ = &object;
    }

    /// The plain pointer; the reference stays here.
    T* ptr() const noexcept { return ptr_; }
    T* operator->() const noexcept { return ptr_; }
    T& operator*() const noexcept { return *ptr_; }
    explicit operator bool() const noexcept { return ptr_ != nullptr; }

    void swap(Ptr& other) noexcept { std::swap(ptr_, other.ptr_); }

    /// Hands the reference over to the caller, who has to drop it with referencesDec(). Leaves null.
    [[nodiscard]] T* release() noexcept { return std::exchange(ptr_, nullptr); }

    /// Takes over a reference that the caller owns, such as that of a constructor.
    static Ptr adopt(T* object) noexcept {
        Ptr result;
        result.ptr_ = object;
        return result;
    }

private:
    void inc() const noexcept {
        if (ptr_ != nullptr) {
            ptr_->referencesInc();
        }
    }

    T* ptr_ = nullptr;
};

template <class T>
using PtrConst = Ptr<T const>;

template <class T, class U>
bool operator==(Ptr<T> const& a, Ptr<U> const& b) noexcept {
    return a.ptr() == b.ptr();
}
template <class T>
bool operator==(Ptr<T> const& a, std::nullptr_t) noexcept {
    return a.ptr() == nullptr;
}
template <class T>
bool operator==(Ptr<T> const& a, std::type_identity_t<T> const* b) noexcept {
    return a.ptr() == b;
}

/// The pointer as another class of the same object; null when the object is not of that class.
template <class U, class T>
Ptr<U> ptrCast(Ptr<T> const& ptr) noexcept {
    return dynamic_cast<U*>(ptr.ptr());
}

/// Makes a counted object. The result holds the only reference; when the constructor throws, nothing is left.
/// Publish the object (put it in a map, switch its notifications on) only after this has returned.
template <class T, class... Args>
[[nodiscard]] Ptr<T> makePtr(Args&&... args) {
    return Ptr<T>::adopt(new T(std::forward<Args>(args)...));
}

/// A pointer that is never null: what every operation returns that finds or makes an object.
///
/// It is built from a Kor::Ptr, throws Kor::RangeException "null ValidPtr" when that is null, and turns back
/// into one wherever a Kor::Ptr is wanted.
template <class T>
class ValidPtr {
public:
    ValidPtr(std::nullptr_t) = delete;
    ValidPtr(Ptr<T> ptr) : ptr_(std::move(ptr)) {
        if (!ptr_) [[unlikely]] {
            throwRangeException("null ValidPtr");
        }
    }
    template <class U>
    requires std::convertible_to<U*, T*> ValidPtr(Ptr<U> const& ptr) : ValidPtr(Ptr<T>(ptr)) {}
    template <class U>
    requires std::convertible_to<U*, T*> ValidPtr(ValidPtr<U> const& other)
    noexcept : ptr_(other.ptr()) {}
    ValidPtr(ValidPtr const&) noexcept = default; // and no move: the source would become null
    ValidPtr& operator=(ValidPtr const&) noexcept = default;

    T* ptr() const noexcept { return ptr_.ptr(); }
    T* operator->() const noexcept { return ptr_.ptr(); }
    T& operator*() const noexcept { return *ptr_; }
    operator Ptr<T> const&() const noexcept { return ptr_; }
    template <class U>
    requires(!std::same_as<U, T> && std::convertible_to<T*, U*>) operator Ptr<U>() const noexcept {
        return ptr_;
    }

    friend bool operator==(ValidPtr const& a, ValidPtr const& b) noexcept { return a.ptr_ == b.ptr_; }
    friend bool operator==(ValidPtr const& a, T const* b) noexcept { return a.ptr_ == b; }

private:
    Ptr<T> ptr_;
};

} // namespace Kor

template <class T>
struct std::hash<Kor::Ptr<T>> {
    std::size_t operator()(Kor::Ptr<T> const& ptr) const noexcept { return std::hash<T*>()(ptr.ptr()); }
};
