#pragma once

/// Kor::LinkQueue, a queue whose members are numbered, so that a reader can go on where it stopped although
/// the queue has changed.
///
///     Kor::LinkQueue<Member, U32, KorAttr> queue;
///     U32 const key = queue.enq(attr);
///     for (auto at = queue.begin(); at; at.advance()) { use(*at.ptr()); }
///
/// The keys are sequence numbers of 32 bits, ascending from head to tail; they start at 1, may wrap around,
/// and pass over 0, which stands for "no key". A member has `fwkQkey() const`, a counted `value` and a
/// counted `next`, as Kor::LinkQueueMember has.
///
/// An iterator holds its current member. While the queue is unchanged a step is constant; after a change it
/// finds its key again by a walk from the head, and goes on at the next larger key when its member is gone.
/// When its key lies beyond the tail it ends. One thread at a time.
///
/// An insertion allocates its member; nothing else allocates.

#include "runtime/Contract.h"
#include "runtime/Ptr.h"

#include <iterator>

namespace Kor {

/// The usual member of a Kor::LinkQueue; `Value` is what it holds, if that is not a counted T.
template <class Key, class T, class Value = Ptr<T>>
class LinkQueueMember : public PtrInterface {
public:
    LinkQueueMember(Key key, Value theValue) : value(std::move(theValue)), key_(key) {}
    Key fwkQkey() const noexcept { return key_; }

    Value value;
    Ptr<LinkQueueMember> next;

private:
    Key key_;
};

template <class Member, class Key, class T, class Value = Ptr<T>>
class LinkQueue {
public:
    class IteratorConstBase;
    class IteratorConst;

    LinkQueue() noexcept = default;
    LinkQueue(LinkQueue const&) = delete;
    LinkQueue& operator=(LinkQueue const&) = delete;
    ~LinkQueue() { deleteAll(); }

    /// Moves with every member that comes or goes.
    U32 version() const noexcept { return version_; }
    Member* head() const noexcept { return head_.ptr(); }
    Member* tail() const noexcept { return tail_; }
    bool empty() const noexcept { return tail_ == nullptr; }

    /// Appends a value and returns its key, the one behind the last that was given: also of a member that has
    /// left since, at which a walk may still stand.
    Key enq(Value value) {
        Key key = lastKey_ + 1;
        key += key == 0;
        newMember(makePtr<Member>(key, std::move(value)));
        return key;
    }

    /// Appends a member, whose key must follow the last one.
    void newMember(Ptr<Member> member) noexcept {
        Member* const last = member.ptr();
        require(tail_ == nullptr || last->fwkQkey() != tail_->fwkQkey(), [] {
            return Breach{"Kor::LinkQueue::newMember", "the key is that of the tail"};
        });
        (tail_ != nullptr ? tail_->next : head_) = std::move(member);
        tail_ = last;
        lastKey_ = last->fwkQkey();
        ++version_;
    }

    /// Removes the first member and returns its value; a default one when there is none.
    Value deq() noexcept { return head_ ? take(nullptr) : Value(); }

    /// The member with this key, or null.
    Member* member(Key key) const noexcept {
        Member* at = head_.ptr();
        while (at != nullptr && at->fwkQkey() != key) {
            at = at->next.ptr();
        }
        return at;
    }

    /// Removes the member with this key and returns its value; a default one when there is none.
    Value deleteMember(Key key) noexcept {
        Member* previous = nullptr;
        for (Member* at = head_.ptr(); at != nullptr; previous = at, at = at->next.ptr()) {
            if (at->fwkQkey() == key) {
                return take(previous);
            }
        }
        return Value();
    }

    void deleteAll() noexcept {
        while (head_) {
            take(nullptr);
        }
    }

    IteratorConst begin() const { return IteratorConst(this); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    Value take(Member* previous) noexcept {
        Ptr<Member>& link = previous != nullptr ? previous->next : head_;
        Ptr<Member> const gone = std::move(link);
        link = std::move(gone->next);
        if (tail_ == gone.ptr()) {
            tail_ = previous;
        }
        ++version_;
        return gone->value;
    }

    U32 version_ = 0;
    Key lastKey_ = 0;
    Ptr<Member> head_;
    Member* tail_ = nullptr;
};

template <class Member, class Key, class T, class Value>
class LinkQueue<Member, Key, T, Value>::IteratorConstBase {
public:
    IteratorConstBase() noexcept = default;
    explicit IteratorConstBase(LinkQueue const* queue) noexcept : queue_(queue) {
        if (queue != nullptr) {
            current_ = queue->head();
            version_ = queue->version();
        }
    }

    /// Steps to the member that follows; at the end it stays there.
    void advance() {
        if (!current_) {
            return;
        }
        Member* next = version_ == queue_->version() ? current_->next.ptr() : findAgain(current_->fwkQkey());
        current_ = next;
        version_ = queue_->version();
        zero_ = 0;
    }

    explicit operator bool() const noexcept { return static_cast<bool>(current_); }
    friend bool operator==(IteratorConstBase const& at, std::default_sentinel_t) noexcept { return !at; }

protected:
    // The first member behind key `k`, wherever the keys wrap.
    Member* findAgain(Key k) const noexcept {
        Member* const head = queue_->head();
        Member* const tail = queue_->tail();
        if (head == nullptr) {
            return nullptr;
        }
        Key const first = head->fwkQkey();
        Key const last = tail->fwkQkey();
        Member* at = head;
        if (k == last) {
            at = tail;
        } else if (k != first) {
            bool const wraps = last < first;
            bool const inLowRun = wraps && k < first;
            if (k > last && !(wraps && !inLowRun)) {
                return nullptr;
            }
            if (inLowRun) {
                while (at->fwkQkey() >= first) {
                    at = at->next.ptr();
                }
            }
            // A key that falls below the head's begins the low run: all of it lies behind a `k` of the high
            // run.
            while (at != nullptr && at->fwkQkey() < k && (inLowRun || at->fwkQkey() >= first)) {
                at = at->next.ptr();
            }
        }
        return at != nullptr && at->fwkQkey() == k ? at->next.ptr() : at;
    }

    LinkQueue const* queue_ = nullptr;
    Ptr<Member> current_;
    U32 version_ = 0;
    U32 zero_ = 0;
};

template <class Member, class Key, class T, class Value>
class LinkQueue<Member, Key, T, Value>::IteratorConst
    : public LinkQueue<Member, Key, T, Value>::IteratorConstBase {
public:
    using IteratorConstBase::IteratorConstBase;

    /// Whether there is a current member with a key to come back to.
    bool hasBookmark() const noexcept { return this->current_ && this->current_->fwkQkey() != 0; }
    Key key() const noexcept { return this->current_->fwkQkey(); }

    /// The current member's value; null at the end.
    Ptr<T const> ptr() const noexcept {
        return this->current_ ? Ptr<T const>(this->current_->value) : nullptr;
    }
    Member const& operator*() const noexcept { return *this->current_; }
    IteratorConst& operator++() {
        this->advance();
        return *this;
    }
};

} // namespace Kor
