#pragma once

/// Kor::ListRaw, the list of an entity's reactors: a list that owns nothing.
///
///     Kor::ListRaw<X::NotifieeConst> reactors;
///     reactors.newMemberTail(reactor);
///     reactors.deleteMember(reactor);             // must come before the reactor ends
///
/// Use it only where the members hold the list's owner or watch over its end, as reactors do; nothing else in
/// the library does. Head, tail and the members' `next` are plain pointers: the list takes no reference and
/// drops none, and a member must leave before it ends. A member has a `T* next`, which it may keep private
/// and befriend Kor::ListMember, and is in at most one list.
///
/// Adding costs constant time, leaving a walk from the head. One thread at a time.
///
/// Besides its members a list knows the parked ones: those that are out of the list for the time being but
/// point at the list's owner without a reference, and so must hear of its end. They do not count as members
/// in any way.

#include "runtime/BaseCollection.h"

#include <utility>

namespace Kor {

/// How a list reaches the link of its members.
struct ListMember {
    template <class T>
    static T*& next(T& member) noexcept {
        return member.next;
    }
    /// Tells a member that the list has let it go for good.
    template <class T>
    static void ended(T& member) noexcept {
        if constexpr (requires { member.notifierEnded(); }) {
            member.notifierEnded();
        }
    }
};

template <class T>
class ListRaw : public BaseRefCollection<T> {
public:
    class LrIteratorConst;
    class LrIterator;
    using MemberType = T;

    ListRaw() noexcept = default;
    ListRaw(ListRaw const&) = delete;
    ListRaw& operator=(ListRaw const&) = delete;
    ~ListRaw() override { deleteAll(); }

    /// Moves with every member that comes or goes.
    U32 version() const noexcept { return version_; }
    U32 count() const noexcept { return count_; }
    T* head() const noexcept { return head_; }
    T* tail() const noexcept { return tail_; }

    void newMemberHead(T& member) noexcept {
        ListMember::next(member) = head_;
        head_ = &member;
        if (tail_ == nullptr) {
            tail_ = &member;
        }
        added();
    }
    void newMemberTail(T& member) noexcept {
        ListMember::next(member) = nullptr;
        (tail_ != nullptr ? ListMember::next(*tail_) : head_) = &member;
        tail_ = &member;
        added();
    }

    /// Takes the member out. One that is not here changes neither version nor count.
    void deleteMember(T& member) {
        T* previous = nullptr;
        for (T* at = head_; at != nullptr; previous = at, at = ListMember::next(*at)) {
            if (at == &member) {
                (previous != nullptr ? ListMember::next(*previous) : head_) = ListMember::next(member);
                if (tail_ == &member) {
                    tail_ = previous;
                }
                ListMember::next(member) = nullptr;
                ++version_;
                --count_;
                return;
            }
        }
        unpark(member); // while the list ends, its members are parked
        onDeleteMemberNotFound(member);
    }

    /// Lets all members and parked ones go, for good, in linear time. None of them ends by that.
    void deleteAll() noexcept {
        if (head_ != nullptr) {
            ListMember::next(*std::exchange(tail_, nullptr)) = parked_;
            parked_ = std::exchange(head_, nullptr);
        }
        ++version_;
        count_ = 0;
        // One by one: one that hears of it may end others, which then leave as ever. It may want to leave
        // itself; its link, which is then its own address, tells that it is out.
        while (parked_ != nullptr) {
            Ptr<T> const member = parked_;
            T*& link = ListMember::next(*member);
            parked_ = std::exchange(link, member.ptr());
            ListMember::ended(*member);
            if (link == member.ptr()) {
                link = nullptr;
            }
        }
    }

    /// Parks one that is not in the list, or takes it from there.
    void park(T& member) noexcept { ListMember::next(member) = std::exchange(parked_, &member); }
    void unpark(T& member) noexcept {
        if (ListMember::next(member) == &member) {
            ListMember::next(member) = nullptr;
            return;
        }
        for (T** at = &parked_; *at != nullptr; at = &ListMember::next(**at)) {
            if (*at == &member) {
                *at = std::exchange(ListMember::next(member), nullptr);
                return;
            }
        }
    }

    bool contains(T const* member) const noexcept {
        for (T* at = head_; at != nullptr; at = ListMember::next(*at)) {
            if (at == member) {
                return true;
            }
        }
        return false;
    }

    LrIterator begin() { return LrIterator(*this); }
    LrIteratorConst begin() const { return LrIteratorConst(*this); }
    std::default_sentinel_t end() const noexcept { return {}; }

protected:
    /// Called when deleteMember() has not found its member.
    virtual void onDeleteMemberNotFound(T&) {}

private:
    void added() noexcept {
        ++version_;
        ++count_;
    }

    U32 version_ = 0;
    U32 count_ = 0;
    T* head_ = nullptr;
    T* tail_ = nullptr;
    T* parked_ = nullptr;
};

/// A place in a list, which holds its current member and the one before. When the list has changed, a step
/// goes on behind whichever of the two is still there, and ends the walk when neither is. To tell all that
/// were there at one time, take a Kor::SnapshotIterator.
template <class T>
class ListRaw<T>::LrIteratorConst : public BaseIteratorConst<T, true> {
public:
    explicit LrIteratorConst(ListRaw const& list)
        : BaseIteratorConst<T, true>(&list, list.head()), version_(list.version()) {}

    T const* ptr() const noexcept { return BaseIteratorConst<T, true>::ptr(); }
    T const* operator->() const noexcept { return ptr(); }
    T const& operator*() const noexcept { return *ptr(); }

    LrIteratorConst& operator++() {
        step();
        return *this;
    }
    friend bool operator==(LrIteratorConst const& at, std::default_sentinel_t) noexcept { return !at; }

protected:
    ListRaw const& list() const noexcept { return static_cast<ListRaw const&>(*this->collection_); }
    T* current() const noexcept { return BaseIteratorConst<T, true>::ptr(); }

    void step() {
        if (std::exchange(advanced_, false) || current() == nullptr) {
            return;
        }
        T* next = nullptr;
        if (version_ == list().version() || list().contains(current())) {
            next = ListMember::next(*current());
            previous_ = current();
        } else if (!previous_) {
            next = list().head();
        } else if (list().contains(previous_.ptr())) {
            next = ListMember::next(*previous_);
        }
        this->currentIs(next);
        version_ = list().version();
    }

    U32 version_;
    Ptr<T> previous_;
    bool advanced_ = false;
};

template <class T>
class ListRaw<T>::LrIterator : public ListRaw<T>::LrIteratorConst {
public:
    explicit LrIterator(ListRaw& list) : LrIteratorConst(list) {}

    T* ptr() const noexcept { return this->current(); }
    T* operator->() const noexcept { return ptr(); }
    T& operator*() const noexcept { return *ptr(); }

    LrIterator& operator++() {
        this->step();
        return *this;
    }

    /// Takes the current member out of the list. The iterator is then on the one that followed, and the next
    /// step stays there. Nothing happens at the end, or if the member has left the list already.
    void deleteMember() {
        Ptr<T> const gone = ptr();
        if (!gone || !this->list().contains(gone.ptr())) {
            return;
        }
        T* const next = ListMember::next(*gone);
        const_cast<ListRaw&>(this->list()).deleteMember(*gone);
        this->currentIs(next);
        this->version_ = this->list().version();
        this->advanced_ = true;
    }
};

template <class List>
class SnapshotIterator;

/// Walks the members that a list has now, whatever becomes of the list meanwhile.
///
///     for (Kor::SnapshotIterator<List> at(&list); at; at.advance()) { at->tell(); }
///
/// It holds a reference to each member that is still to come. One that everybody else has let go of in the
/// meantime is passed over. Costs one allocation, but for a list of a few, which it keeps in itself.
template <class T>
class SnapshotIterator<ListRaw<T>> {
public:
    explicit SnapshotIterator(ListRaw<T>* list) : count_(list->count()) {
        if (count_ > few) {
            many_ = new Ptr<T>[count_];
        }
        unsigned i = 0;
        for (T* at = list->head(); at != nullptr; at = ListMember::next(*at)) {
            member(i++) = at;
        }
    }
    ~SnapshotIterator() { delete[] many_; }
    SnapshotIterator(SnapshotIterator const&) = delete;
    SnapshotIterator& operator=(SnapshotIterator const&) = delete;

    explicit operator bool() const noexcept { return index_ < count_; }
    T* ptr() const noexcept { return const_cast<SnapshotIterator*>(this)->member(index_).ptr(); }
    T* operator->() const noexcept { return ptr(); }
    T& operator*() const noexcept { return *ptr(); }

    /// Lets the current member go and steps to the next that somebody else holds too.
    void advance() noexcept {
        do {
            member(index_) = nullptr;
            ++index_;
        } while (index_ < count_ && member(index_)->hasSoleHolder());
    }

private:
    static constexpr unsigned few = 3;

    Ptr<T>& member(unsigned i) noexcept { return count_ > few ? many_[i] : few_[i]; }

    unsigned index_ = 0;
    unsigned count_;
    Ptr<T> few_[few];
    Ptr<T>* many_ = nullptr;
};

} // namespace Kor
