#pragma once

/// A queue that owns its members: an ordered list of counted values, such as the arguments of a call.
///
///     Kor::LinkedQueue<Member, Value, Kor::Ptr<Value>> queue;
///     queue.push(value);                            // at the tail, constant
///     for (decltype(queue)::Iterator i(&queue); i; ++i) { use(i->value); }
///
/// A member is made by `Member(Held)`; it derives from PtrInterface and has
/// `Held value` and `Kor::Ptr<Member> next` (LinkedQueueMember is one). Copying a queue copies its members,
/// not the values they refer to.
///
/// An iterator holds its current and its previous member and survives changes as an LrIterator does: it finds
/// its way when either of the two leaves between two steps; when both have left, it is at its end.

#include "runtime/BaseCollection.h"

#include <utility>

namespace Kor {

/// A member with nothing but what a queue needs.
template <class T, class Held = Ptr<T>>
class LinkedQueueMember : public PtrInterface {
public:
    explicit LinkedQueueMember(Held held) : value(std::move(held)) {}

    Held value;
    Ptr<LinkedQueueMember> next;
};

template <class Member, class T, class Held>
class LinkedQueue : public BaseRefCollection<Member> {
public:
    class Iterator;

    LinkedQueue() = default;
    LinkedQueue(LinkedQueue const& source) : BaseRefCollection<Member>() {
        for (Member const* member = source.head_.ptr(); member != nullptr; member = member->next.ptr()) {
            push(member->value);
        }
        this->version_ = 0;
    }
    LinkedQueue& operator=(LinkedQueue const&) = delete;
    ~LinkedQueue() override { deleteAll(); }

    Member* head() const noexcept { return head_.ptr(); }
    Member* tail() const noexcept { return tail_; }

    /// Appends a member with this value.
    Member* push(Held value) {
        Ptr<Member> member = create<Member>(std::move(value));
        Member* const added = member.ptr();
        (tail_ == nullptr ? head_ : tail_->next) = std::move(member);
        tail_ = added;
        ++this->version_;
        ++this->count_;
        return added;
    }

    /// Takes a member out. One that is not in the queue: no effect but `onDeleteMemberNotFound`.
    bool deleteMember(Member const* member) {
        Member* previous = nullptr;
        Member* at = head_.ptr();
        while (at != nullptr && at != member) {
            previous = std::exchange(at, at->next.ptr());
        }
        if (at == nullptr) {
            onDeleteMemberNotFound(member);
            return false;
        }
        Ptr<Member>& slot = previous == nullptr ? head_ : previous->next;
        Ptr<Member> const last = std::move(slot);
        slot = std::move(at->next);
        tail_ = tail_ == at ? previous : tail_;
        ++this->version_;
        --this->count_;
        return true;
    }

    /// Empties the queue, from the head.
    void deleteAll() {
        Ptr<Member> member = std::move(head_);
        tail_ = nullptr;
        ++this->version_;
        this->count_ = 0;
        while (member) {
            member = std::move(member->next);
        }
    }

    bool has(Member const* member) const noexcept {
        Member const* at = head_.ptr();
        while (at != nullptr && at != member) {
            at = at->next.ptr();
        }
        return at != nullptr;
    }

    /// A hook for those who derive. It does nothing.
    virtual void onDeleteMemberNotFound(Member const*) {}

private:
    Ptr<Member> head_;
    Member* tail_ = nullptr;
};

template <class Member, class T, class Held>
class LinkedQueue<Member, T, Held>::Iterator : public BaseIteratorConst<Member, true> {
public:
    explicit Iterator(LinkedQueue const* queue)
        : BaseIteratorConst<Member, true>(queue, queue->head()), version_(queue->version()) {}

    Member* ptr() const noexcept { return const_cast<Member*>(BaseIteratorConst<Member, true>::ptr()); }
    Member& operator*() const noexcept { return *ptr(); }
    Member* operator->() const noexcept { return ptr(); }

    /// Steps to the next member; at the end, no effect.
    Iterator& operator++() {
        if (!*this) {
            return *this;
        }
        Member* next = nullptr;
        bool const unchanged = version_ == queue()->version();
        version_ = queue()->version();
        if (unchanged || queue()->has(ptr())) {
            previous_ = Ptr<Member>(ptr());
            next = ptr()->next.ptr();
        } else if (!previous_) {
            next = queue()->head();
        } else if (queue()->has(previous_.ptr())) {
            next = previous_->next.ptr();
        }
        this->currentIs(next);
        return *this;
    }

private:
    LinkedQueue const* queue() const noexcept { return static_cast<LinkedQueue const*>(this->collection()); }

    U32 version_;
    Ptr<Member> previous_;
};

} // namespace Kor
