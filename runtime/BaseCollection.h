#pragma once

/// The roots of the collections that have a virtual table: the lists and queues. Kor::HashMap stands apart.
///
/// Users hold a Kor::ListRaw or a Kor::LinkedQueue (runtime/ListRaw.h, LinkedQueue.h), and walk it by its
/// iterators; what is here they get from it. An iterator holds a reference to its member, and must not
/// outlive the collection. Nothing here allocates or throws. One thread at a time.

#include "runtime/Ptr.h"

namespace Kor {

class KOR_EXPORT BaseCollection {
public:
    /// The untyped part of an iterator: where it is.
    class StrepIterator {
    public:
        BaseCollection const* collection() const noexcept { return collection_; }
        PtrInterface const* current() const noexcept { return current_; }

    protected:
        StrepIterator() noexcept = default;
        StrepIterator(BaseCollection const* collection, PtrInterface const* current) noexcept
            : collection_(collection), current_(current) {}
        StrepIterator(StrepIterator const&) noexcept = default;
        StrepIterator& operator=(StrepIterator const&) noexcept = default;
        ~StrepIterator() = default;

        BaseCollection const* collection_ = nullptr;
        PtrInterface const* current_ = nullptr;

    private:
        template <class T>
        friend class BaseRefCollection;
    };

    BaseCollection() noexcept = default;
    BaseCollection(BaseCollection const&) noexcept = default;
    BaseCollection& operator=(BaseCollection const&) noexcept = default;
    virtual ~BaseCollection();
};

/// A collection of counted `T`, whose iterators hold a reference to their current member.
template <class T>
class BaseRefCollection : public BaseCollection {
public:
    /// Drops the reference that an iterator holds on its current member.
    virtual void iteratorDelete(StrepIterator& it) const {
        if (auto const* const member = std::exchange(it.current_, nullptr)) {
            member->referencesDec();
        }
    }
    /// Adds one, for a copy of the iterator.
    virtual void iteratorSpaceCopy(StrepIterator const& it) const {
        if (it.current_ != nullptr) {
            it.current_->referencesInc();
        }
    }
};

/// The collection and the counted current member of an iterator. It must not outlive its collection.
template <class T, bool counted>
class BaseIteratorConst : public BaseCollection::StrepIterator {
    static_assert(counted, "members without a count are not supported");

public:
    BaseIteratorConst() noexcept = default;
    BaseIteratorConst(BaseRefCollection<T> const* collection, T* current)
        : StrepIterator(collection, current) {
        space().iteratorSpaceCopy(*this);
    }
    BaseIteratorConst(BaseIteratorConst const& other) : StrepIterator(other) {
        if (collection_ != nullptr) {
            space().iteratorSpaceCopy(*this);
        }
    }
    BaseIteratorConst& operator=(BaseIteratorConst const& other) {
        if (other.collection_ != nullptr) {
            other.space().iteratorSpaceCopy(other);
        }
        drop();
        StrepIterator::operator=(other);
        return *this;
    }
    ~BaseIteratorConst() { drop(); }

    /// The current member, null at the end.
    T* ptr() const noexcept { return static_cast<T*>(const_cast<PtrInterface*>(current_)); }
    T* operator->() const noexcept { return ptr(); }
    T& operator*() const noexcept { return *ptr(); }
    explicit operator bool() const noexcept { return current_ != nullptr; }

protected:
    /// A counted assignment of the current member.
    void currentIs(T* member) noexcept {
        if (member != nullptr) {
            member->referencesInc();
        }
        if (auto const* const old = std::exchange(current_, member)) {
            old->referencesDec();
        }
    }

private:
    BaseRefCollection<T> const& space() const noexcept {
        return static_cast<BaseRefCollection<T> const&>(*collection_);
    }
    void drop() {
        if (collection_ != nullptr) {
            space().iteratorDelete(*this);
        }
    }
};

} // namespace Kor
