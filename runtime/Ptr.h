#pragma once

/// Counted pointers to objects that derive from Kor::PtrInterface.
///
///     Kor::Ptr<Port> a = Kor::create<Port>(7U);
///     Kor::Ptr<Port const> b = a;              // the read-only form, two references now
///     a = nullptr;                             // `b` keeps the object
///
/// `Ptr` may be null and tests nothing on use. `ValidPtr` is never null: it is what an operation returns that
/// must produce an object. Copying costs one count, moving none. An object may be handed to several threads
/// when atomic counting is on, but one `Ptr` belongs to one thread at a time.

#include "runtime/Exception.h"
#include "runtime/PtrInterface.h"

#include <concepts>
#include <cstddef>
#include <utility>

namespace Kor {

template <class T>
class Ptr {
public:
    using element_type = T;

    constexpr Ptr() noexcept = default;
    constexpr Ptr(std::nullptr_t) noexcept {}
    /// Adds a reference to the object.
    Ptr(T* object) noexcept : object_(object) { hold(object_); }
    Ptr(Ptr const& other) noexcept : Ptr(other.object_) {}
    Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other)
    noexcept : Ptr(static_cast<T*>(other.ptr())) {}
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
    noexcept : object_(other.release()) {}
    ~Ptr() { drop(object_); }

    Ptr& operator=(Ptr const& other) {
        ptrAssign(other.object_);
        return *this;
    }
    Ptr& operator=(Ptr&& other) {
        T* const incoming = std::exchange(other.object_, nullptr);
        drop(std::exchange(object_, incoming));
        return *this;
    }
    Ptr& operator=(T* object) {
        ptrAssign(object);
        return *this;
    }
    Ptr& operator=(std::nullptr_t) {
        ptrAssign(nullptr);
        return *this;
    }

    /// Holds `object` instead. The new reference is added before the old one is dropped, and the pointer is
    /// stored in between: assigning from inside the object that is being replaced is safe. The same object:
    /// no effect.
    void ptrAssign(T* object) {
        if (object != object_) {
            hold(object);
            drop(std::exchange(object_, object));
        }
    }

    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* ptr() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    /// Takes over a reference that the caller holds; no count changes.
    [[nodiscard]] static Ptr adopt(T* object) noexcept {
        Ptr result;
        result.object_ = object;
        return result;
    }
    /// `adopt` into a pointer that is null, without a test.
    void fill(T* object) noexcept { object_ = object; }
    /// Gives the reference away with the pointer: the caller drops it.
    [[nodiscard]] T* release() noexcept { return std::exchange(object_, nullptr); }

    template <class U>
    friend bool operator==(Ptr const& a, Ptr<U> const& b) noexcept {
        return a.ptr() == b.ptr();
    }
    friend bool operator==(Ptr const& a, T const* b) noexcept { return a.object_ == b; }
    friend bool operator==(Ptr const& a, std::nullptr_t) noexcept { return a.object_ == nullptr; }

private:
    static void hold(T* object) noexcept {
        if (object != nullptr) {
            object->referencesInc();
        }
    }
    static void drop(T* object) {
        if (object != nullptr) {
            object->referencesDec();
        }
    }

    T* object_ = nullptr;
};

/// The read-only form, written `PtrConst` in signatures.
template <class T>
using PtrConst = Ptr<T const>;

/// A counted pointer that is not null. Building one from null raises Kor::RangeException, "null ValidPtr".
template <class T>
class ValidPtr : public Ptr<T> {
public:
    ValidPtr(Ptr<T> const& object) : Ptr<T>(object) { check(); }
    ValidPtr(Ptr<T>&& object) : Ptr<T>(std::move(object)) { check(); }
    template <class U>
    requires std::convertible_to<U*, T*> ValidPtr(Ptr<U> const& object) : Ptr<T>(object) { check(); }

private:
    void check() const {
        if (!*this) [[unlikely]] {
            throwRangeException("null ValidPtr");
        }
    }
};

/// Makes an object, publishing it nowhere. The construction reference becomes the one of the result; when the
/// constructor throws, the storage goes back and the exception passes on. Every factory of the library is
/// this.
template <class T, class... Args>
[[nodiscard]] Ptr<T> create(Args&&... args) {
    return Ptr<T>::adopt(new T(std::forward<Args>(args)...));
}

/// The object as a `T`, or null when it is of another class.
template <class T, class U>
[[nodiscard]] Ptr<T> ptrCast(Ptr<U> const& object) noexcept {
    return Ptr<T>(dynamic_cast<T*>(object.ptr()));
}

} // namespace Kor
