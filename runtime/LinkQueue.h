#pragma once

/// A queue whose members carry ascending 32-bit sequence keys, so that a walk finds its place again after any
/// change.
///
///     Kor::LinkQueue<Member, Kor::U32, Attribute> queue;
///     queue.push(attribute);                          // gets the next key
///     for (decltype(queue)::IteratorConst i(&queue); i; i.advance()) { use(i.ptr()); }
///
/// Keys start at 1, ascend, and may wrap around 32 bits (0 is left out): at most one place in the queue has a
/// key below that of its predecessor. An iterator whose member has left goes on at the next larger key.
///
/// `Member` derives from PtrInterface, answers `fwkQkey()`, holds `Kor::Ptr<T> value` and `Kor::Ptr<Member>
/// next`, and is made by `Member(Key, Kor::Ptr<T>)`.

#include "runtime/Contract.h"
#include "runtime/Ptr.h"

#include <concepts>
#include <string>
#include <utility>

namespace Kor {

/// A member with nothing but what a queue needs.
template <class T>
class LinkQueueMember : public PtrInterface {
public:
    LinkQueueMember(U32 key, Ptr<T> held) : key_(key), value(std::move(held)) {}
    U32 fwkQkey() const noexcept { return key_; }

private:
    U32 const key_;

public:
    Ptr<T> value;
    Ptr<LinkQueueMember> next;
};

template <class Member, class Key, class T>
class LinkQueue {
    static_assert(std::same_as<Key, U32>);

public:
    class IteratorConstBase;
    class IteratorConst;

    LinkQueue() = default;
    LinkQueue(LinkQueue const&) = delete;
    LinkQueue& operator=(LinkQueue const&) = delete;
    ~LinkQueue() { deleteAll(); }

    U32 version() const noexcept { return version_; }
    bool empty() const noexcept { return !head_; }
    Member* head() const noexcept { return head_.ptr(); }
    Member* tail() const noexcept { return tail_; }

    /// Appends the value under the key after the tail's, or 1 in an empty queue.
    Member* push(Ptr<T> value) {
        Key const key = tail_ == nullptr ? Key{0} : tail_->fwkQkey();
        return push(key + 1 == 0 ? Key{1} : key + 1, std::move(value));
    }
    /// Appends the value under a key that follows the tail's. The keys may wrap once.
    Member* push(Key key, Ptr<T> value) {
        require(tail_ == nullptr ||
                    (head_->fwkQkey() <= tail_->fwkQkey() ? key > tail_->fwkQkey() || key < head_->fwkQkey()
                                                          : key > tail_->fwkQkey() && key < head_->fwkQkey()),
                [&] {
                    return Breach{"Kor::LinkQueue::push", "key " + std::to_string(key) + " is out of order"};
                });
        Ptr<Member> member = create<Member>(key, std::move(value));
        Member* const added = member.ptr();
        (tail_ == nullptr ? head_ : tail_->next) = std::move(member);
        tail_ = added;
        ++version_;
        return added;
    }

    /// Takes a member out; false when it is not in the queue.
    bool deleteMember(Member const* member) {
        Member* previous = nullptr;
        Member* at = head_.ptr();
        while (at != nullptr && at != member) {
            previous = std::exchange(at, at->next.ptr());
        }
        if (at == nullptr) {
            return false;
        }
        Ptr<Member>& slot = previous == nullptr ? head_ : previous->next;
        Ptr<Member> const last = std::move(slot);
        slot = std::move(at->next);
        tail_ = tail_ == at ? previous : tail_;
        ++version_;
        return true;
    }

    void deleteAll() {
        Ptr<Member> member = std::move(head_);
        tail_ = nullptr;
        ++version_;
        while (member) {
            member = std::move(member->next);
        }
    }

private:
    /// The member after the one that has, or had, the key `k`.
    Member* after(Key k) const noexcept {
        if (empty()) {
            return nullptr;
        }
        Key const first = head_->fwkQkey();
        Key const last = tail_->fwkQkey();
        Member* found = head_.ptr();
        if (k == last) {
            found = tail_;
        } else if (k != first) {
            bool const wraps = last < first;
            bool const inLowRun = wraps && k < first;
            if ((!wraps || inLowRun) && k > last) {
                return nullptr;
            }
            if (inLowRun) { // the low run starts where the keys stop ascending
                Key highest = first;
                while (found->fwkQkey() >= highest) {
                    highest = found->fwkQkey();
                    found = found->next.ptr();
                }
            }
            // At the end of the high run, the next larger key is the first of the low one.
            while (found != nullptr && found->fwkQkey() < k && (inLowRun || found->fwkQkey() >= first)) {
                found = found->next.ptr();
            }
        }
        return found != nullptr && found->fwkQkey() == k ? found->next.ptr() : found;
    }

    U32 version_ = 0;
    Ptr<Member> head_;
    Member* tail_ = nullptr;
};

/// The queue, the current member, counted, and the version it was found at.
template <class Member, class Key, class T>
class LinkQueue<Member, Key, T>::IteratorConstBase {
public:
    /// At the end, of no queue.
    IteratorConstBase() = default;
    explicit IteratorConstBase(LinkQueue const* queue)
        : queue_(queue), current_(queue->head()), version_(queue->version()) {}

    explicit operator bool() const noexcept { return static_cast<bool>(current_); }
    Member const* member() const noexcept { return current_.ptr(); }

    /// Steps to the next member, whatever has happened to the queue. At the end: no effect.
    void advance() {
        if (current_) {
            current_.ptrAssign(version_ == queue_->version() ? current_->next.ptr()
                                                             : queue_->after(current_->fwkQkey()));
            version_ = queue_->version();
            reserved_ = 0;
        }
    }

private:
    LinkQueue const* queue_ = nullptr;
    Ptr<Member> current_;
    U32 version_ = 0;
    U32 reserved_ = 0;
};

template <class Member, class Key, class T>
class LinkQueue<Member, Key, T>::IteratorConst : public IteratorConstBase {
public:
    using IteratorConstBase::IteratorConstBase;

    /// Can a walk be resumed from here?
    bool hasBookmark() const noexcept { return *this && this->member()->fwkQkey() != 0; }
    /// The value of the current member; null at the end.
    Ptr<T const> ptr() const { return *this ? Ptr<T const>(this->member()->value) : Ptr<T const>(); }
};

} // namespace Kor
