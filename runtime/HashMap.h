#pragma once

/// The hash map of attributes and dirty sets: members are counted objects that carry key, value and link
/// themselves.
///
///     using ReqCount = Kor::HashMember<AradLifEntry, U32>;
///     Kor::HashMap<ReqCount, AradLifEntry, U32> map;
///
///     auto const at = map.at(entry);                    // the hash is computed here, once
///     if (ReqCount* m = map.member(at)) { ++m->value; }
///     else { map.newMember(Kor::create<ReqCount>(at, 1U), at); }
///
///     for (decltype(map)::Iterator i(map); i; i.advance()) { use(i->key, i->value); }
///
/// Find, insert and remove are one hash and one short chain; nothing but the member itself is allocated,
/// except when the table grows (runtime/HashMapGeneric.h has its rule). A walk visits members in an order
/// that depends on keys alone: the bit-reversed hash, then the key.
///
/// Changes under a walk. An iterator holds its current member, and the map may be changed in any way between
/// two steps, by the code in the loop or by what it calls. A member that is in the map throughout the walk is
/// visited exactly once; one that is removed before its turn is not visited; one that is added is visited if
/// its place is still ahead. Only the map itself must outlive the iterator.
///
/// A type is a `Member` when it derives from PtrInterface, answers `fwkKey()` with its key, and has a public
/// `Kor::HashNext next`. The key must not change while the member is in a map. A member is in one map at a
/// time.
///
/// One thread at a time.

#include "runtime/HashMapGeneric.h"

#include <concepts>
#include <cstddef>
#include <functional>
#include <iterator>
#include <type_traits>
#include <utility>

namespace Kor {

/// The hash of a key: its own `hash()`, or for an enumeration or integer its value.
template <class Key>
[[gnu::always_inline]] constexpr U32 keyHash(Key const& key) noexcept(noexcept(key == key)) {
    if constexpr (requires { key.hash(); }) {
        return key.hash();
    } else {
        static_assert(std::is_enum_v<Key> || std::is_integral_v<Key>, "a key has hash(), or is a number");
        return static_cast<U32>(key);
    }
}

/// A key with its place, so that the steps of one operation share one hash. It refers to the key.
template <class Key>
class HashAt {
public:
    [[gnu::always_inline]] explicit HashAt(Key const& key)
        : key_(key), reversedHash_(bitReverse(keyHash(key))) {}
    Key const& key() const noexcept { return key_; }
    U32 reversedHash() const noexcept { return reversedHash_; }

private:
    Key const& key_;
    U32 reversedHash_;
};

template <class Member>
inline constexpr bool remembersHash = requires(Member const& member) {
    member.fwkReversedHash();
};

template <class Member, class Key>
class HashMapVTable final : public HashMapVTableGeneric {
public:
    U32 hash(PtrInterface const* member) const override { return hashOf(static_cast<Member const*>(member)); }
    bool keyEquals(void const* key, PtrInterface const* member) const override {
        return *static_cast<Key const*>(key) == keyOf(member);
    }
    bool keyLessThan(void const* key, PtrInterface const* a, PtrInterface const* b) const override {
        if (b != nullptr) {
            return keyOf(b) < keyOf(a);
        }
        return key == nullptr || *static_cast<Key const*>(key) < keyOf(a);
    }
    void setNext(PtrInterface* member, PtrInterface* next) const override {
        static_cast<Member*>(member)->next.ptrAssign(next);
    }

    static U32 hashOf(Member const* member) {
        if constexpr (remembersHash<Member>) {
            return member->fwkReversedHash();
        } else {
            return bitReverse(keyHash<Key>(member->fwkKey()));
        }
    }

private:
    static decltype(auto) keyOf(PtrInterface const* member) {
        return static_cast<Member const*>(member)->fwkKey();
    }
};

template <class Member, class Key, class Value>
class HashMap : public HashMapGeneric {
public:
    using At = HashAt<Key>;

    HashMap() : HashMapGeneric(4) {
        descriptor_ = korVTable();
        linkOffset_ = linkOffset();
    }
    ~HashMap() {
        emptyAllBuckets();
        freeBuckets();
    }

    /// The descriptor of this type of map, made on first use and never freed.
    static HashMapVTableGeneric const* korVTable() {
        static HashMapVTableGeneric const* vtable = nullptr;
        if (vtable == nullptr) {
            vtable = new HashMapVTable<Member, Key>;
        }
        return vtable;
    }

    [[gnu::always_inline]] static At at(Key const& key) { return At(key); }

    /// The member with the key, or null. No count changes.
    [[gnu::always_inline]] Member* member(At const& at) const {
        PtrInterface* found = buckets_[bucketOf(at.reversedHash())];
        while (found != nullptr) {
            auto* const candidate = static_cast<Member*>(found);
            if constexpr (remembersHash<Member>) {
                U32 const hash = candidate->fwkReversedHash();
                if (hash == at.reversedHash() && candidate->fwkKey() == at.key()) {
                    return candidate;
                }
                if (hash > at.reversedHash()) {
                    return nullptr; // the chain ascends
                }
            } else if (candidate->fwkKey() == at.key()) {
                return candidate;
            }
            found = candidate->next.ptr();
        }
        return nullptr;
    }
    Member* member(Key const& key) const { return member(At(key)); }
    Member* operator[](Key const& key) const { return member(At(key)); }

    /// Inserts a member whose key is not in the map. Throws std::bad_alloc when the table cannot grow, and
    /// then the map is unchanged.
    void newMember(Ptr<Member> member, At const& at) {
        if (count_ >= bucketCount()) [[unlikely]] {
            if constexpr (std::derived_from<Member, HashRemembered>) {
                growRemembered();
            } else {
                grow();
            }
        }
        PtrInterface*& head = buckets_[bucketOf(at.reversedHash())];
        Member* before = nullptr;
        for (auto* other = static_cast<Member*>(head); other != nullptr; other = nextOf(other)) {
            U32 const hash = HashMapVTable<Member, Key>::hashOf(other);
            if (hash > at.reversedHash() || (hash == at.reversedHash() && at.key() < other->fwkKey())) {
                break;
            }
            require(!(at.key() == other->fwkKey()), [] {
                return Breach{"Kor::HashMap::newMember", "a member with this key is in the map"};
            });
            before = other;
        }
        before == nullptr ? link(head, member.release()) : link(before->next, member.release());
    }
    void newMember(Ptr<Member> member) {
        At const at(member->fwkKey());
        newMember(std::move(member), at);
    }

    /// Removes the member; false when it is not in the map.
    bool deleteMember(Member* member, At const& at) {
        PtrInterface*& head = buckets_[bucketOf(at.reversedHash())];
        if (head == member) [[likely]] {
            HashNext const last = unlink(head, member);
            shrinkIfSparse();
            return true;
        }
        return remove(member, at.reversedHash());
    }
    bool deleteMember(Ptr<Member> const& member) {
        return member && remove(member.ptr(), At(member->fwkKey()).reversedHash());
    }

    /// Calls `visit(member)` for each member in order, with no count changed: the fast walk, for a `visit`
    /// that leaves this map alone. Breaking that is caught in debug.
    template <class Visit>
    void forEach(Visit&& visit) const {
        [[maybe_unused]] U32 const version = version_;
        U32 const buckets = bucketCount();
        for (U32 i = 0; i != buckets; ++i) {
            prefetchAfter(i, buckets);
            for (PtrInterface* at = buckets_[i]; at != nullptr;) {
                auto& member = *static_cast<Member*>(at);
                at = member.next.ptr();
                visit(member);
                require(version == version_, [] {
                    return Breach{"Kor::HashMap::forEach", "the map was changed by the visitor"};
                });
            }
        }
    }

private:
    template <class Seen>
    class IteratorOf {
    public:
        using Map = std::conditional_t<std::is_const_v<Seen>, HashMap const, HashMap>;

        /// At the end, of no map.
        IteratorOf() = default;
        /// On the first member.
        explicit IteratorOf(Map& map) : IteratorOf(&map) {}
        explicit IteratorOf(Map* map) : map_(map) {
            if (map_ != nullptr) {
                current_.ptrAssign(static_cast<Member*>(map_->findNextG(nullptr, nullptr)));
                if (current_) {
                    bucket_ = static_cast<S32>(map_->bucketOf(At(current_->fwkKey()).reversedHash()));
                    version_ = map_->version();
                }
            }
        }
        /// On the member with the key, or the first after where it would stand.
        IteratorOf(Map& map, Key const& key) : map_(&map) {
            At const at(key);
            current_.ptrAssign(static_cast<Member*>(map.startAtHash(&key, at.reversedHash(), &bucket_)));
            version_ = bucket_ >= static_cast<S32>(map.bucketCount()) ? 0 : map.version();
        }

        /// Steps to the next member, whatever has happened to the map. At the end: no effect.
        IteratorOf& advance() {
            if (!current_) {
                return *this;
            }
            PtrInterface* next;
            if (version_ == map_->version()) [[likely]] {
                next = current_->next.ptr();
                if (next == nullptr) {
                    next = map_->findNextBucket(&bucket_);
                }
            } else {
                next = map_->findNextG(current_.ptr(), &bucket_);
                version_ = map_->version();
            }
            current_.ptrAssign(static_cast<Member*>(next));
            return *this;
        }
        IteratorOf& operator++() { return advance(); }

        explicit operator bool() const noexcept { return static_cast<bool>(current_); }
        Seen* operator->() const noexcept { return current_.ptr(); }
        Seen& operator*() const noexcept { return *current_; }
        Seen* ptr() const noexcept { return current_.ptr(); }
        friend bool operator==(IteratorOf const& i, std::default_sentinel_t) noexcept { return !i; }

    private:
        U32 version_ = 0;
        S32 bucket_ = -1;
        Map* map_ = nullptr;
        Ptr<Member> current_;
    };

public:
    using Iterator = IteratorOf<Member>;
    using IteratorConst = IteratorOf<Member const>;

    /// For range loops, with all that is told above about changes.
    Iterator begin() { return Iterator(*this); }
    IteratorConst begin() const { return IteratorConst(*this); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    static Member* nextOf(Member const* member) noexcept { return static_cast<Member*>(member->next.ptr()); }

    static U16 linkOffset() {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // members have no virtual base
        static_assert(std::same_as<decltype(Member::next), HashNext>);
        static_assert(offsetof(Member, next) <= 0xffff);
        return static_cast<U16>(offsetof(Member, next));
#pragma GCC diagnostic pop
    }
};

/// What the nodes below derive from: the reversed hash is kept where it costs nothing, in the four bytes
/// between the reference word and an 8-byte field, and computed anew where it would cost memory (such keys
/// hash fast).
class HashForgotten : public PtrInterface {
protected:
    explicit HashForgotten(U32) noexcept {}
};
template <class FirstField>
using HashMemory = std::conditional_t<alignof(FirstField) >= 8, HashRemembered, HashForgotten>;

/// A member that holds key and value.
template <class Key, class Value>
class HashMember : public HashMemory<Key> {
public:
    HashMember(Key const& theKey, Value theValue) : HashMember(HashAt<Key>(theKey), std::move(theValue)) {}
    HashMember(HashAt<Key> const& at, Value theValue)
        : HashMemory<Key>(at.reversedHash()), key(at.key()), value(std::move(theValue)) {}
    Key const& fwkKey() const noexcept { return key; }

    Key const key;
    Value value;
    HashNext next;
};

/// A member whose value carries the key: `keyOf` is the value's getter, or its field. A new value must have
/// the same key.
template <class Key, class Value, auto keyOf>
class HashValueMember : public HashMemory<Value> {
public:
    explicit HashValueMember(Value theValue)
        : HashValueMember(HashAt<Key>(std::invoke(keyOf, theValue)), theValue) {}
    HashValueMember(HashAt<Key> const& at, Value theValue)
        : HashMemory<Value>(at.reversedHash()), value(std::move(theValue)) {}
    decltype(auto) fwkKey() const { return std::invoke(keyOf, value); }

    Value value;
    HashNext next;
};

/// A member of a set of marked keys.
template <class Key>
class HashFlagMember : public HashMemory<HashNext> {
public:
    explicit HashFlagMember(Key const& theKey, bool theValue = true)
        : HashFlagMember(HashAt<Key>(theKey), theValue) {}
    explicit HashFlagMember(HashAt<Key> const& at, bool theValue = true)
        : HashMemory<HashNext>(at.reversedHash()), key(at.key()), value(theValue) {}
    Key const& fwkKey() const noexcept { return key; }

    HashNext next;
    Key const key;
    bool value;
};

} // namespace Kor
