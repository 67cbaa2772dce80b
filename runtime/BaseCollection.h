#pragma once

/// The root of the collections with virtual tables: Kor::ListRaw, Kor::LinkedQueue and Kor::RbTreeMap. An
/// iterator of such a collection is kept as collection and current member; the collection knows how the
/// member is counted.

#include "runtime/Ptr.h"

#include <utility>

namespace Kor {

class [[gnu::visibility("default")]] BaseCollection {
public:
    /// Where an iterator stands, without its type.
    struct StrepIterator {
        BaseCollection const* collection = nullptr;
        PtrInterface const* current = nullptr;
    };

    BaseCollection() = default;
    BaseCollection(BaseCollection const&) = delete;
    BaseCollection& operator=(BaseCollection const&) = delete;
    virtual ~BaseCollection();

    /// Moves with every change.
    U32 version() const noexcept {
        return version_;
    }
    U32 members() const noexcept {
        return count_;
    }
    bool empty() const noexcept {
        return count_ == 0;
    }

protected:
    U32 version_ = 0;
    U32 count_ = 0;
};

template <class T>
class BaseRefCollection : public BaseCollection {
public:
    /// Drops the reference that the iterator holds on its current member.
    virtual void iteratorDelete(StrepIterator& iterator) const {
        if (PtrInterface const* const current = std::exchange(iterator.current, nullptr)) {
            current->referencesDec();
        }
    }
    /// Adds the reference of a copy of the iterator.
    virtual void iteratorSpaceCopy(StrepIterator const& iterator) const {
        if (iterator.current != nullptr) {
            iterator.current->referencesInc();
        }
    }
};

/// A collection and its current member, counted when `counted`. The collection must outlive it.
template <class T, bool counted>
class BaseIteratorConst {
    static_assert(counted, "every collection of this library counts the current member");

public:
    BaseIteratorConst(BaseIteratorConst const& other) : at_(other.at_) {
        if (at_.collection != nullptr) {
            collection()->iteratorSpaceCopy(at_);
        }
    }
    BaseIteratorConst& operator=(BaseIteratorConst const& other) {
        BaseIteratorConst copy(other);
        std::swap(at_, copy.at_);
        return *this;
    }
    ~BaseIteratorConst() {
        if (at_.collection != nullptr) {
            collection()->iteratorDelete(at_);
        }
    }

    explicit operator bool() const noexcept { return at_.current != nullptr; }
    T const* ptr() const noexcept { return static_cast<T const*>(at_.current); }
    T const& operator*() const noexcept { return *ptr(); }
    T const* operator->() const noexcept { return ptr(); }

protected:
    BaseIteratorConst(BaseRefCollection<T> const* collection, T const* current) : at_{collection, current} {
        if (current != nullptr) {
            current->referencesInc();
        }
    }

    BaseRefCollection<T> const* collection() const noexcept {
        return static_cast<BaseRefCollection<T> const*>(at_.collection);
    }
    void currentIs(T const* current) {
        StrepIterator old = std::exchange(at_, StrepIterator{at_.collection, current});
        collection()->iteratorSpaceCopy(at_);
        collection()->iteratorDelete(old);
    }

private:
    using StrepIterator = BaseCollection::StrepIterator;
    StrepIterator at_;
};

} // namespace Kor
