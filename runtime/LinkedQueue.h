#pragma once

/// Kor::LinkedQueue, an ordered list of counted values that owns its members, each with a value and a link.
///
///     Kor::LinkedQueue<ArgMember, Arg> args;
///     args.enq(arg);
///     for (ArgMember& each : args) { use(each.value); }
///     Kor::Ptr<Arg> first = args.deq();
///
/// A member derives from Kor::PtrInterface, is built from a value, and has fields `value` and a counted
/// `next`, as Kor::LinkedQueueMember has. Copying a queue copies the members and shares the values. Enqueuing
/// costs one allocation; no operation recurses, so a queue may be long. One thread at a time.

#include "runtime/BaseCollection.h"

#include <iterator>

namespace Kor {

template <class Member, class T, class Value = Ptr<T>>
class LinkedQueue : public BaseRefCollection<Member> {
public:
    class Iterator;

    LinkedQueue() noexcept = default;
    LinkedQueue(LinkedQueue const& other) : BaseRefCollection<Member>() {
        for (Member const* at = other.head_.ptr(); at != nullptr; at = at->next.ptr()) {
            append(makePtr<Member>(*at));
        }
        version_ = 0;
    }
    LinkedQueue& operator=(LinkedQueue const& other) {
        if (this != &other) {
            LinkedQueue copy(other);
            deleteAll();
            head_.swap(copy.head_);
            tail_ = std::exchange(copy.tail_, nullptr);
            count_ = std::exchange(copy.count_, 0);
        }
        return *this;
    }
    ~LinkedQueue() override { deleteAll(); }

    U32 version() const noexcept { return version_; }
    U32 count() const noexcept { return count_; }
    Member* head() const noexcept { return head_.ptr(); }

    void enq(Value value) { append(makePtr<Member>(std::move(value))); }

    /// Removes the first member and returns its value; the default value when there is none.
    Value deq() {
        if (!head_) {
            return Value();
        }
        return pop()->value;
    }

    void deleteAll() noexcept {
        while (head_) {
            pop();
        }
        ++version_;
    }

    Iterator begin() const { return Iterator(*this); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    void append(Ptr<Member> member) noexcept {
        Member* const last = member.ptr();
        last->next = nullptr;
        (tail_ != nullptr ? tail_->next : head_) = std::move(member);
        tail_ = last;
        ++version_;
        ++count_;
    }
    Ptr<Member> pop() noexcept {
        Ptr<Member> first = std::move(head_);
        head_ = std::move(first->next);
        if (!head_) {
            tail_ = nullptr;
        }
        ++version_;
        --count_;
        return first;
    }

    U32 version_ = 0;
    U32 count_ = 0;
    Ptr<Member> head_;
    Member* tail_ = nullptr;
};

/// The usual member of a Kor::LinkedQueue.
template <class Value>
class LinkedQueueMember : public PtrInterface {
public:
    explicit LinkedQueueMember(Value theValue) : value(std::move(theValue)) {}

    Value value;
    Ptr<LinkedQueueMember> next;
};

/// A place in a queue, which holds its current member. Members may be added meanwhile; a member that has been
/// dequeued has no successor.
template <class Member, class T, class Value>
class LinkedQueue<Member, T, Value>::Iterator : public BaseIteratorConst<Member, true> {
public:
    explicit Iterator(LinkedQueue const& queue) : BaseIteratorConst<Member, true>(&queue, queue.head()) {}

    /// At the end it stays there.
    Iterator& operator++() {
        previous_ = this->ptr();
        this->currentIs(previous_ ? previous_->next.ptr() : nullptr);
        return *this;
    }
    friend bool operator==(Iterator const& at, std::default_sentinel_t) noexcept { return !at; }

private:
    Ptr<Member> previous_;
};

} // namespace Kor
