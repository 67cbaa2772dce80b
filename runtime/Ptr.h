#pragma once

/// Counted pointers.
///
///     Kor::Ptr<Port> port = Kor::makeObject<Port>(3);
///     Kor::Ptr<Port const> reader = port;
///     Kor::ValidPtr<Port> valid = port;         // raises Kor::RangeException, "null ValidPtr", if port is
///     null
///
/// A Ptr is one pointer wide and holds one reference. `->` and `*` test nothing: a null one is a broken
/// contract. Assigning adds the new reference first and drops the old one last, so that an object may replace
/// the pointer that keeps it alive. Counting costs one test and one add; it allocates nothing.
///
/// A Ptr belongs to one thread. Two threads may hold Ptrs of one object when
/// Kor::VFPtrInterface::enableThreadSafePointers is set.

#include "runtime/Exception.h"
#include "runtime/PtrInterface.h"

#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace Kor {

template <class T>
class Ptr {
public:
    constexpr Ptr() = default;
    constexpr Ptr(std::nullptr_t) {}
    /// Adds a reference. A null pointer is fine.
    Ptr(T* object) : object_(object) {
        if (object_) {
            object_->referencesInc();
        }
    }
    Ptr(Ptr const& other) : Ptr(other.object_) {}
    Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other) : Ptr(other.ptr()) {}
    ~Ptr() {
        if (object_) {
            object_->referencesDec();
        }
    }

    Ptr& operator=(Ptr const& other) {
        ptrAssign(other.object_);
        return *this;
    }
    Ptr& operator=(Ptr&& other) noexcept {
        // Dropped last, and only after this pointer has its new object: the end of the old one may use it.
        Ptr old(std::move(other));
        std::swap(object_, old.object_);
        return *this;
    }

    /// Does nothing when the pointer is the one that is held.
    void ptrAssign(T* object) {
        if (object == object_) {
            return;
        }
        if (object) {
            object->referencesInc();
        }
        T* const old = std::exchange(object_, object);
        if (old) {
            old->referencesDec();
        }
    }

    T* ptr() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

    /// The same object as another class, or null.
    template <class U>
    static Ptr dynamicCast(Ptr<U> const& other) {
        return Ptr(dynamic_cast<T*>(other.ptr()));
    }

private:
    T* object_ = nullptr;
};

template <class T, class U>
bool operator==(Ptr<T> const& a, Ptr<U> const& b) {
    return a.ptr() == b.ptr();
}
template <class T>
bool operator==(Ptr<T> const& a, std::nullptr_t) {
    return a.ptr() == nullptr;
}

/// A pointer that is never null. Made from a null one it raises Kor::RangeException, "null ValidPtr".
template <class T>
class ValidPtr {
public:
    template <class U>
    requires std::convertible_to<U*, T*> ValidPtr(Ptr<U> const& pointer) : pointer_(pointer) {
        if (!pointer_) [[unlikely]] {
            throwRangeException("null ValidPtr");
        }
    }

    operator Ptr<T> const&() const { return pointer_; }
    template <class U>
    requires(std::convertible_to<T*, U*> && !std::same_as<U, T>) operator Ptr<U>() const { return pointer_; }

    T* ptr() const { return pointer_.ptr(); }
    T* operator->() const { return pointer_.ptr(); }
    T& operator*() const { return *pointer_; }

private:
    Ptr<T> pointer_;
};

/// Makes an object: allocates with its exact size, constructs (a constructor that throws gives the storage
/// back), and hands the reference of the construction over to the result. Publish it only then.
template <class T, class... Arguments>
Ptr<T> makeObject(Arguments&&... arguments) {
    T* const raw = new T(std::forward<Arguments>(arguments)...);
    Ptr<T> object(raw);
    raw->referencesDec();
    return object;
}

} // namespace Kor
