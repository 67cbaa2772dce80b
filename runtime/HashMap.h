#pragma once

/// Kor::HashMap, the map in which entities keep their attributes: an intrusive hash map of counted members
/// that can be walked while it changes.
///
///     using Counts = Kor::MapEntry<AradLifEntry, U32>;            // a member: key, value and link
///     Kor::HashMap<Counts, AradLifEntry, U32> counts;
///
///     U32 const r = counts.reversedHash(entry);                   // the hash, once for all of an operation
///     if (auto* found = counts.member(entry, r)) {
///         found->value += 1;
///     } else {
///         counts.newMember(Kor::makePtr<Counts>(entry, 1), r);
///     }
///     Kor::Ptr<Counts> gone = counts.deleteMember(entry);         // still has its key and value
///     for (Counts& each : counts) { ... }                         // may insert and delete, also `each`
///
/// Do not use it for a handful of fixed things, or where order by key matters: members come in the order of
/// their hashes, the same in every map with the same keys.
///
/// A member is a class derived from Kor::PtrInterface as its only base that is at offset 0, with `fwkKey()`,
/// which never changes while it is in a map, and a `Kor::HashLink next`. It may keep both private and
/// befriend Kor::HashMember. A member is in one map at a time. Three ready ones stand below; an entity that
/// is itself a member declares its own. The map holds one counted reference to each member and none other
/// does.
///
/// A key has `==`, `<`, and either a `hash()` that agrees with `==` or is an enumeration or an integer of at
/// most 32 bits, which is its own hash. Neither may throw.
///
/// Cost. A lookup is one hash, one bucket and a chain of one member on average; it allocates nothing and
/// changes no count. An insertion allocates nothing but now and then a larger table.
///
/// Walking while the map changes. An iterator holds a reference to its current member and the version of the
/// map. Whatever is inserted or deleted meanwhile, a walk visits every member that was there throughout
/// exactly once, none twice, and none that was deleted before its turn; a member that came in meanwhile is
/// visited if its place is still ahead. Deleting the current member and then advancing leads to the one that
/// would have followed. A step costs a few instructions while the map stays as it is, and one hash after a
/// change. An iterator must not be advanced after its map has ended.
///
/// Nothing here is thread-safe: a map, its members and its iterators belong to one thread at a time.

#include "runtime/HashMapGeneric.h"

#include <concepts>
#include <iterator>
#include <type_traits>

namespace Kor {

/// The 32-bit hash of a key.
template <class Key>
constexpr U32 keyHash(Key const& key) noexcept {
    if constexpr (requires { key.hash(); }) {
        return key.hash();
    } else {
        static_assert((std::is_enum_v<Key> || std::is_integral_v<Key>)&&sizeof(Key) <= sizeof(U32),
                      "a key has a hash() of its own or is an enumeration or integer of at most 32 bits");
        return static_cast<U32>(key);
    }
}

/// How a map reaches the key and the link of its members; a member class may befriend it.
///
/// A member whose key is dear to hash may keep the bit-reversed hash in a field `mutable U32 reversedHash`,
/// which starts at 0: the map fills it in, compares it first and never hashes that member again.
struct HashMember {
    template <class Member>
    static decltype(auto) key(Member const& member) noexcept {
        return member.fwkKey();
    }
    template <class Member>
    static HashLink& next(Member& member) noexcept {
        return member.next;
    }
    template <class Member>
    static constexpr bool keepsHash = requires(Member const& member) {
        member.reversedHash = U32{};
    };

    template <class Key, class Member>
    static U32 reversedHash(Member const& member) noexcept {
        if constexpr (keepsHash<Member>) {
            if (member.reversedHash == 0) [[unlikely]] { // not yet known, or one in four billion
                member.reversedHash = bitReverse(keyHash<Key>(key(member)));
            }
            return member.reversedHash;
        } else {
            return bitReverse(keyHash<Key>(key(member)));
        }
    }
    template <class Member>
    static void reversedHashIs([[maybe_unused]] Member const& member,
                               [[maybe_unused]] U32 reversed) noexcept {
        if constexpr (keepsHash<Member>) {
            member.reversedHash = reversed;
        }
    }
    /// Whether a member of a map has this key. `reversed` is the key's hash; the member's was filled in when
    /// it came.
    template <class Key, class Member>
    static bool isAt(Member const& member, Key const& key, [[maybe_unused]] U32 reversed) noexcept {
        if constexpr (keepsHash<Member>) {
            return member.reversedHash == reversed && key == HashMember::key(member);
        } else {
            return key == HashMember::key(member);
        }
    }
    /// Where the link is, in bytes from the start of the member.
    template <class Member>
    static constexpr U16 linkOffset() noexcept {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored                                                                               \
    "-Winvalid-offsetof" // members have one chain of plain bases: the offset is fixed
        constexpr auto offset = __builtin_offsetof(Member, next);
#pragma GCC diagnostic pop
        static_assert(offset < 65536);
        return static_cast<U16>(offset);
    }
};

/// What the ready members, `Self`, have in common: no zero-reference hook and no derived classes, so that the
/// end of one is its destructor alone.
template <class Self>
class MapMember : public PtrInterface {
public:
    void zeroReferencesIs(bool) final {}
    U32 referencesDec() const noexcept {
        U32 const left = this->wordDec();
        if (VFPtrInterface::isZero(left)) {
            this->wordRevive(); // as PtrInterface does, for references that come and go in the destructor
            delete static_cast<Self const*>(this);
        }
        return left & VFPtrInterface::countMask;
    }
};

struct NoHash {};

/// The hash that a member keeps; none where the key is its own.
template <class Key>
using KeptHash = std::conditional_t<std::is_enum_v<Key> || std::is_integral_v<Key>, NoHash, U32>;

/// A member with a key and a separate value.
///
/// The hash stands first, in the gap behind the count: what a lookup looks at is in one piece, mostly in one
/// cache line.
template <class Key, class Value>
class MapEntry final : public MapMember<MapEntry<Key, Value>> {
    friend HashMember;
    [[no_unique_address]] mutable KeptHash<Key> reversedHash{};

public:
    MapEntry(Key theKey, Value theValue) : key(std::move(theKey)), value(std::move(theValue)) {}
    Key const& fwkKey() const noexcept { return key; }

    Key const key;
    Value value;

private:
    HashLink next;
};

/// A key with a flag; the link stands in front.
template <class Key>
class FlagMapEntry final : public MapMember<FlagMapEntry<Key>> {
    friend HashMember;
    HashLink next;

public:
    FlagMapEntry(Key theKey, bool theValue) : key(std::move(theKey)), value(theValue) {}
    Key const& fwkKey() const noexcept { return key; }

    Key const key;
    bool value;

private:
    [[no_unique_address]] mutable KeptHash<Key> reversedHash{};
};

/// A member whose value holds the key: `keyOf` gives it, as in `KeyedMapEntry<EvecEntry, &EvecEntry::key>`.
template <class Value, auto keyOf>
class KeyedMapEntry final : public MapMember<KeyedMapEntry<Value, keyOf>> {
    static constexpr decltype(auto) keyIn(Value const& value) {
        if constexpr (requires { (value.*keyOf)(); }) {
            return (value.*keyOf)();
        } else if constexpr (std::is_member_pointer_v<decltype(keyOf)>) {
            return value.*keyOf;
        } else {
            return keyOf(value);
        }
    }
    using Key = std::remove_cvref_t<decltype(keyIn(std::declval<Value const&>()))>;
    friend HashMember;
    [[no_unique_address]] mutable KeptHash<Key> reversedHash{};

public:
    explicit KeyedMapEntry(Value theValue) : value(std::move(theValue)) {}
    decltype(auto) fwkKey() const noexcept { return keyIn(value); }

    /// May be replaced by one with an equal key.
    Value value;

private:
    HashLink next;
};

/// The descriptor of a type of map, for the untyped core.
template <class Member, class Key>
class HashMapVTable final : public HashMapVTableGeneric {
public:
    constexpr HashMapVTable() noexcept = default;

    U32 hash(PtrInterface const* member) const override {
        return HashMember::reversedHash<Key>(static_cast<Member const&>(*member));
    }
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
        HashMember::next(static_cast<Member&>(*member)) = next;
    }

private:
    static decltype(auto) keyOf(PtrInterface const* member) noexcept {
        return HashMember::key(static_cast<Member const&>(*member));
    }
};

template <class Member, class Key, class Value>
class HashMap : public HashMapGeneric {
    struct Order {
        static U32 reversedHash(PtrInterface const& member) noexcept {
            return HashMember::reversedHash<Key>(static_cast<Member const&>(member));
        }
        static bool before(PtrInterface const& a, PtrInterface const& b) noexcept {
            return HashMember::key(static_cast<Member const&>(a)) <
                   HashMember::key(static_cast<Member const&>(b));
        }
        static HashLink& link(PtrInterface& member) noexcept {
            return HashMember::next(static_cast<Member&>(member));
        }
    };

    struct Known {
        Key const* key = nullptr;
        U32 reversed = 0;
    };

    template <class M>
    class Walk;

public:
    using KeyType = Key;
    using ValueType = Value;
    using MemberType = Member;
    using IteratorConst = Walk<Member const>;
    using Iterator = Walk<Member>;

    HashMap() : HashMapGeneric(4) {
        descriptor_ = korVTable();
        linkOffset_ = HashMember::linkOffset<Member>();
    }
    ~HashMap() {
        emptyAllBuckets();
        freeTable();
    }

    /// The one descriptor of this type of map. It lives as long as the process.
    static HashMapVTable<Member, Key> const* korVTable() noexcept {
        static constinit HashMapVTable<Member, Key> const theTable;
        return &theTable;
    }

    /// What places a key. Compute it once in an operation and hand it on.
    static U32 reversedHash(Key const& key) noexcept { return bitReverse(keyHash<Key>(key)); }
    /// The same; of a key of which it is known already, by this very reference, without computing it.
    U32 hashOf(Key const& key) const noexcept {
        return &key == known_.key ? known_.reversed : reversedHash(key);
    }
    /// Says for a scope that the hash of this key is known. The key must not change before its end.
    class KnownHash {
    public:
        KnownHash(HashMap& map, Key const& key, U32 reversed) noexcept
            : map_(map), outer_(std::exchange(map.known_, Known{&key, reversed})) {}
        ~KnownHash() { map_.known_ = outer_; }
        KnownHash(KnownHash const&) = delete;
        KnownHash& operator=(KnownHash const&) = delete;

    private:
        HashMap& map_;
        typename HashMap::Known outer_;
    };

    /// Start to load, for a lookup that will come: the bucket of a hash, and later what stands first there.
    void prefetchBucket(U32 reversed) const noexcept { __builtin_prefetch(&buckets_[bucketOf(reversed)]); }
    void prefetchFirst(U32 reversed) const noexcept {
        // An empty bucket gives an address that is mapped: looking for one that is not would cost more.
        auto const& bucket = buckets_[bucketOf(reversed)];
        auto const* const first =
            bucket ? reinterpret_cast<char const*>(bucket.ptr()) : reinterpret_cast<char const*>(buckets_);
        __builtin_prefetch(first, 1);
        if constexpr (sizeof(Member) > 32) { // likely in two cache lines
            __builtin_prefetch(first + sizeof(Member) - 1, 1);
        }
    }

    /// The member with this key, or null. No reference is taken.
    Member* member(Key const& key) const noexcept { return member(key, reversedHash(key)); }
    Member* member(Key const& key, U32 reversed) const noexcept {
        for (auto* at = first(reversed); at != nullptr; at = nextOf(*at)) {
            if (HashMember::isAt(*at, key, reversed)) {
                return at;
            }
        }
        return nullptr;
    }
    Member* operator[](Key const& key) const noexcept { return member(key); }

    /// As member(key), without a hash if the member is the one that recentIs() was given last: so one who is
    /// told of a change finds its member.
    Member* recent(Key const& key) const noexcept {
        auto* const last = static_cast<Member*>(recent_);
        return last != nullptr && HashMember::key(*last) == key ? last : member(key);
    }
    /// Says that this member of the map has been changed.
    void recentIs(Member& member) noexcept { recent_ = &member; }

    /// Inserts a member whose key is not yet present. Nothing else happens.
    void newMember(Ptr<Member> newcomer) {
        U32 const reversed = reversedHash(HashMember::key(*newcomer));
        newMember(std::move(newcomer), reversed);
    }
    void newMember(Ptr<Member> newcomer, U32 reversed) {
        HashMember::reversedHashIs(*newcomer, reversed);
        insert(Order{}, std::move(newcomer), reversed);
    }

    /// Takes the member with this key out and returns it; null when there is none.
    Ptr<Member> deleteMember(Key const& key) { return deleteMember(key, reversedHash(key)); }
    Ptr<Member> deleteMember(Key const& key, U32 reversed) {
        HashLink* link = &buckets_[bucketOf(reversed)];
        while (*link) {
            auto& at = static_cast<Member&>(**link);
            if (HashMember::isAt(at, key, reversed)) {
                HashLink taken = unlink(Order{}, *link);
                return Ptr<Member>::adopt(static_cast<Member*>(taken.release()));
            }
            link = &HashMember::next(at);
        }
        return nullptr;
    }
    using HashMapGeneric::deleteMember;

    /// Calls `visit` with every member, in the order of a walk, without counting references: the fastest walk
    /// there is, for a `visit` that neither inserts nor deletes.
    template <class Visit>
    void forEach(Visit&& visit) const {
        [[maybe_unused]] U32 const start = version();
        bool const large = bucketCount() > smallMap;
        for (U32 i = 0, end = bucketCount(); i != end; ++i) {
            if (large) {
                prefetchMember(i + prefetchAhead);
            }
            for (auto* at = static_cast<Member*>(buckets_[i].ptr()); at != nullptr; at = nextOf(*at)) {
                visit(*at);
                require(start == version(), [] {
                    return Breach{"Kor::HashMap::forEach", "the map was changed in a visit"};
                });
            }
        }
    }

    Iterator begin() { return Iterator(this); }
    IteratorConst begin() const { return IteratorConst(this); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    Known known_;

    static constexpr U32 smallMap = 1024; // it is in the cache: no need to load ahead

    Member* first(U32 reversed) const noexcept {
        return static_cast<Member*>(buckets_[bucketOf(reversed)].ptr());
    }
    static Member* nextOf(Member& member) noexcept {
        return static_cast<Member*>(HashMember::next(member).ptr());
    }
};

/// A place in a map; see the head of this file for what it does while the map changes.
template <class Member, class Key, class Value>
template <class M>
class HashMap<Member, Key, Value>::Walk {
    using Map = std::conditional_t<std::is_const_v<M>, HashMap const, HashMap>;

public:
    using value_type = M;
    using difference_type = std::ptrdiff_t;
    using iterator_concept = std::input_iterator_tag;

    /// At the end.
    Walk() noexcept = default;

    /// On the first member; a null map has none.
    explicit Walk(Map* map) : map_(map) {
        if (map != nullptr) {
            begin(map->findNext(Order{}, nullptr, &bucket_));
        }
    }

    /// On the member with this key or, when there is none, on the first that would follow it.
    Walk(Map* map, Key const& key) : map_(map) {
        if (map != nullptr) {
            begin(map->startAtHash(&key, reversedHash(key), &bucket_));
        }
    }

    M* ptr() const noexcept { return current_.ptr(); }
    M& operator*() const noexcept { return *current_; }
    M* operator->() const noexcept { return current_.ptr(); }
    explicit operator bool() const noexcept { return static_cast<bool>(current_); }
    friend bool operator==(Walk const& at, std::default_sentinel_t) noexcept { return !at.current_; }

    /// Steps to the member that follows; at the end it stays there.
    void advance() {
        if (!current_) {
            return;
        }
        if (version_ == map_->version()) {
            Member* next = nextOf(const_cast<Member&>(*current_));
            if (next == nullptr) {
                next = static_cast<Member*>(map_->findNextBucket(&bucket_));
                if (map_->bucketCount() > smallMap) {
                    map_->prefetchMember(static_cast<U32>(bucket_) + prefetchAhead);
                }
            }
            // The map has not changed, so that it holds the current member, too.
            next != nullptr ? current_.ptrMove(*next) : current_.ptrAssign(nullptr);
            return;
        }
        auto const place = successor(*map_, *current_);
        bucket_ = place.bucket;
        version_ = map_->version();
        current_.ptrAssign(place.member);
    }
    Walk& operator++() {
        advance();
        return *this;
    }
    void operator++(int) { advance(); }

    /// Whether the map is still as it was at the last step.
    U32 version() const noexcept { return version_; }
    int bucket() const noexcept { return bucket_; }
    Map* map() const noexcept { return map_; }

private:
    struct Place {
        Member* member;
        int bucket;
    };
    // Apart from the step of an unchanged map, which keeps the iterator in registers then.
    [[gnu::noinline]] static Place successor(Map& map, Member const& member) {
        Place place{nullptr, -1};
        place.member = static_cast<Member*>(map.findNext(Order{}, &member, &place.bucket));
        return place;
    }
    void begin(PtrInterface* member) {
        if (member != nullptr) {
            current_ = static_cast<Member*>(member);
            version_ = map_->version();
        } else {
            bucket_ = -1;
        }
    }

    U32 version_ = 0;
    int bucket_ = -1;
    Map* map_ = nullptr;
    Ptr<M> current_;
};

} // namespace Kor
