#pragma once

/// The list of an entity's reactors. It owns nothing: head, tail and the members' `next` are raw pointers,
/// and a member must leave before it dies.
///
///     Kor::ListRaw<Notifiee> list;
///     list.joinTail(reactor);                 // a reactor that is in no list
///     for (Kor::SnapshotIterator<Kor::ListRaw<Notifiee>> s(&list); s; s.advance()) { s->onChange(); }
///     list.leave(reactor);
///
/// Joining is constant; leaving walks from the head. A SnapshotIterator is the walk that may call foreign
/// code: it holds those who were there at the start, whatever happens to the list. An LrIterator walks the
/// list itself: members that join behind it are met, and it finds its way when its current or its previous
/// member leaves; when both have left between two steps, it is at its end.
///
/// `T` derives from PtrInterface and has a `T* next` that the list may write (`mutable`, if members come
/// const).

#include "runtime/BaseCollection.h"

#include <utility>
#include <vector>

namespace Kor {

template <class T>
class ListRaw : public BaseRefCollection<T> {
public:
    class LrIteratorConst;
    class LrIterator;

    ~ListRaw() override { deleteAll(); }

    T* head() const noexcept { return head_; }
    T* tail() const noexcept { return tail_; }

    void joinHead(T* member) noexcept {
        member->next = head_;
        head_ = member;
        tail_ = tail_ == nullptr ? member : tail_;
        changed(1);
    }
    void joinTail(T* member) noexcept {
        member->next = nullptr;
        (tail_ == nullptr ? head_ : tail_->next) = member;
        tail_ = member;
        changed(1);
    }
    /// A member that is not in the list: no effect but `onDeleteMemberNotFound`.
    bool leave(T const* member) {
        T* previous = nullptr;
        T* at = head_;
        while (at != nullptr && at != member) {
            previous = std::exchange(at, at->next);
        }
        if (at == nullptr) {
            onDeleteMemberNotFound(member);
            return false;
        }
        unlink(previous, at);
        return true;
    }

    bool has(T const* member) const noexcept {
        T const* at = head_;
        while (at != nullptr && at != member) {
            at = at->next;
        }
        return at != nullptr;
    }

    /// Empties the list; no member is destroyed by it.
    void deleteAll() {
        if (head_ != nullptr) {
            Ptr<T> member(std::exchange(head_, nullptr));
            tail_ = nullptr;
            while (member) {
                Ptr<T> successor(member->next);
                member->next = nullptr;
                member = std::move(successor);
            }
        }
        ++this->version_;
        this->count_ = 0;
    }

    /// A hook for those who derive. It does nothing.
    virtual void onDeleteMemberNotFound(T const*) {}

private:
    void changed(int by) noexcept {
        ++this->version_;
        this->count_ += static_cast<U32>(by);
    }
    void unlink(T* previous, T* member) noexcept {
        (previous == nullptr ? head_ : previous->next) = member->next;
        tail_ = tail_ == member ? previous : tail_;
        member->next = nullptr;
        changed(-1);
    }

    T* head_ = nullptr;
    T* tail_ = nullptr;
};

template <class T>
class ListRaw<T>::LrIteratorConst : public BaseIteratorConst<T, true> {
public:
    explicit LrIteratorConst(ListRaw const* list)
        : BaseIteratorConst<T, true>(list, list->head()), version_(list->version()) {}

    /// Steps to the next member; at the end, no effect.
    LrIteratorConst& advance() {
        if (std::exchange(alreadyAdvanced_, false) || !*this) {
            return *this;
        }
        T const* next = nullptr;
        bool const unchanged = version_ == list()->version();
        version_ = list()->version();
        if (unchanged || list()->has(this->ptr())) {
            previous_ = Ptr<T const>(this->ptr());
            next = this->ptr()->next;
        } else if (!previous_) {
            next = list()->head();
        } else if (list()->has(previous_.ptr())) {
            next = previous_->next;
        }
        this->currentIs(next);
        return *this;
    }
    LrIteratorConst& operator++() { return advance(); }

protected:
    ListRaw const* list() const noexcept { return static_cast<ListRaw const*>(this->collection()); }

    U32 version_;
    Ptr<T const> previous_;
    bool alreadyAdvanced_ = false;
};

/// The same for a list that may be changed through it.
template <class T>
class ListRaw<T>::LrIterator : public LrIteratorConst {
public:
    explicit LrIterator(ListRaw* list) : LrIteratorConst(list) {}

    T* ptr() const noexcept { return const_cast<T*>(LrIteratorConst::ptr()); }
    T& operator*() const noexcept { return *ptr(); }
    T* operator->() const noexcept { return ptr(); }

    /// Takes the current member off the list. The one that follows becomes current, and the next step stays
    /// there.
    void leaveCurrent() {
        T const* const successor = ptr()->next;
        if (const_cast<ListRaw*>(this->list())->leave(ptr())) {
            this->version_ = this->list()->version();
            this->currentIs(successor);
            this->alreadyAdvanced_ = true;
        }
    }
};

/// The members of a list as they were at one moment, each held by a reference. One allocation; none for an
/// empty list.
template <class List>
class SnapshotIterator;

template <class T>
class SnapshotIterator<ListRaw<T>> {
public:
    explicit SnapshotIterator(ListRaw<T> const* list) {
        members_.reserve(list->members());
        for (T* member = list->head(); member != nullptr; member = member->next) {
            members_.emplace_back(member);
        }
    }
    SnapshotIterator(SnapshotIterator const&) = delete;
    SnapshotIterator& operator=(SnapshotIterator const&) = delete;

    explicit operator bool() const noexcept { return index_ < members_.size(); }
    T* ptr() const noexcept { return members_[index_].ptr(); }
    T& operator*() const noexcept { return *ptr(); }
    T* operator->() const noexcept { return ptr(); }

    /// Lets go of the current member and steps to the next one that somebody besides this snapshot still
    /// holds; those that nobody does end here, unvisited.
    void advance() {
        do {
            members_[index_] = nullptr;
            ++index_;
        } while (index_ < members_.size() && members_[index_]->isSoleHolder());
    }

private:
    std::vector<Ptr<T>> members_;
    unsigned int index_ = 0;
};

} // namespace Kor
