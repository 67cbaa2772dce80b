#pragma once

/// The untyped core of Kor::HashMap (runtime/HashMap.h), which is what one uses. Here are the fields of a
/// map, the rule that finds a bucket, the order of the members, and the operations that change the table.
///
/// Structure. An array of 2^n buckets, each the head of a chain of members; a member carries its own link, so
/// the only allocations are the members and the array. The bucket is the top n bits of the bit-reversed hash
/// `r`. A table that doubles thereby splits bucket i into 2i and 2i+1, and one that shrinks joins them again.
///
/// Order. All members of a map have one total order, by `r` and, where that is equal, by key. Chains keep it,
/// so that visiting the buckets from first to last visits the members in this order, whatever the size of the
/// table is or becomes. A walk relies on that: the successor of a member is known also after the member has
/// left.
///
/// Size. The table doubles when it has five members to four buckets, and one of more than 128 buckets shrinks
/// to a quarter when it has sixteen times as many buckets as members: so a change costs amortised constant
/// time, a walk costs no more than its members and 128 buckets, and the array takes 6.4 to 12.8 bytes a
/// member while a map grows. A table that shrinks keeps its array for the next growth; spareDel() gives it
/// back. If there is no memory for a larger one the map goes on with the one it has.
///
/// Version. It moves with every insertion, removal and rebuild, and not when a value is changed in place.

#include "runtime/Contract.h"
#include "runtime/Ptr.h"

#include <utility>

namespace Kor {

/// Reverses all 32 bits: bit 0 becomes bit 31.
constexpr U32 bitReverse(unsigned int bits) noexcept {
    bits = ((bits & 0x55555555) << 1) | ((bits >> 1) & 0x55555555);
    bits = ((bits & 0x33333333) << 2) | ((bits >> 2) & 0x33333333);
    bits = ((bits & 0x0f0f0f0f) << 4) | ((bits >> 4) & 0x0f0f0f0f);
    bits = ((bits & 0x00ff00ff) << 8) | ((bits >> 8) & 0x00ff00ff);
    return (bits << 16) | (bits >> 16);
}

/// The link of a member: it owns the next member of the chain.
using HashLink = Ptr<PtrInterface>;

/// What the core has to know of the members of one type of map. There is one such object per type; it has no
/// data.
class HashMapVTableGeneric {
public:
    /// The bit-reversed hash of the member's key.
    virtual U32 hash(PtrInterface const* member) const = 0;
    virtual bool keyEquals(void const* key, PtrInterface const* member) const = 0;
    /// Whether the key of `b`, or `*key` when `b` is null, is strictly before the key of `a`. True when both
    /// are null.
    virtual bool keyLessThan(void const* key, PtrInterface const* a, PtrInterface const* b) const = 0;
    virtual void setNext(PtrInterface* member, PtrInterface* next) const = 0;

protected:
    constexpr HashMapVTableGeneric() noexcept = default;
    ~HashMapVTableGeneric() = default;
};

class KOR_EXPORT HashMapGeneric {
public:
    /// An empty map of `buckets` buckets, rounded up to a power of two. The owner stores the descriptor and
    /// the link offset before the first member comes.
    explicit HashMapGeneric(unsigned int buckets);
    HashMapGeneric(HashMapGeneric const&) = delete;
    HashMapGeneric& operator=(HashMapGeneric const&) = delete;
    /// The owner has emptied the buckets before.
    ~HashMapGeneric() { freeTable(); }

    U32 version() const noexcept { return version_; }
    U32 count() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    U32 bucketCount() const noexcept { return U32{1} << log2Buckets_; }
    HashMapVTableGeneric const* descriptor() const noexcept { return descriptor_; }

    /// Unlinks and releases every member, one by one: what the end of a member does to this map finds it
    /// sound. The array stays.
    void emptyAllBuckets() noexcept;

    /// Gives back the part of the array that a shrunk map does not use. Moves no version: a walk does not
    /// notice.
    void spareDel() noexcept;

    /// Inserts a member whose key is not yet present. The key is taken from the member.
    void newMemberG(Ptr<PtrInterface> const& member, void* key);

    /// Takes a member out; its link becomes null and all else in it stays. Does nothing for one that is not
    /// here.
    void deleteMember(Ptr<PtrInterface> const& member);

    /// The first member if `member` is null, otherwise the one that follows it in the order, also when
    /// `member` has left the map. `*bucket`, when given, receives the bucket of the result. Null at the end.
    PtrInterface* findNextG(PtrInterface const* member, int* bucket) const;

    /// The first member of the next bucket after `*bucket` that has one, and its bucket. Null at the end;
    /// `*bucket` is then the number of buckets.
    PtrInterface* findNextBucket(int* bucket) const noexcept {
        int const end = static_cast<int>(bucketCount());
        int at = *bucket + 1;
        while (at < end && !buckets_[at]) {
            ++at;
        }
        *bucket = at;
        return at < end ? buckets_[at].ptr() : nullptr;
    }

    /// The member with this key, or the first one after where it would stand, and its bucket. Null when there
    /// is none, with `*bucket` then the number of buckets.
    PtrInterface* startAtHash(void const* key, unsigned int reversedHash, int* bucket) const;

    /// The bucket of a bit-reversed hash. A table of one bucket shifts by 32, which 64 bits can do.
    U32 bucketOf(U32 reversedHash) const noexcept {
        return static_cast<U32>(U64{reversedHash} >> (32 - log2Buckets_));
    }

protected:
    // The algorithms, written once for both layers. An `Order` gives `reversedHash(member)`, `before(a, b)`
    // (by key) and `link(member)`: through the descriptor for the operations above, inlined for a typed map.

    template <class Order>
    void insert(Order const& order, HashLink member, U32 reversedHash) {
        require(!order.link(*member), [] {
            return Breach{"Kor::HashMap::newMember", "the member is in a map already"};
        });
        if (count_ >= bucketCount() + bucketCount() / 4) [[unlikely]] {
            grow(order);
        }
        HashLink* link = &buckets_[bucketOf(reversedHash)];
        while (*link && follows(order, **link, *member, reversedHash)) {
            link = &order.link(**link);
        }
        order.link(*member) = std::move(*link);
        *link = std::move(member);
        ++count_;
        ++version_;
    }

    /// Takes out the member that `link` holds.
    template <class Order>
    HashLink unlink(Order const& order, HashLink& link) noexcept {
        HashLink taken = std::move(link);
        link = std::move(order.link(*taken));
        if (recent_ == taken.ptr()) {
            recent_ = nullptr;
        }
        --count_;
        ++version_;
        if (U64{count_} * 16 < bucketCount() && log2Buckets_ > shrinkLog2) [[unlikely]] {
            shrink(order);
        }
        return taken;
    }

    /// The link that holds the member, or null.
    template <class Order>
    HashLink* linkOf(Order const& order, PtrInterface const& member, U32 reversedHash) const noexcept {
        HashLink* link = &buckets_[bucketOf(reversedHash)];
        while (*link && link->ptr() != &member) {
            link = &order.link(**link);
        }
        return *link ? link : nullptr;
    }

    template <class Order>
    PtrInterface* findNext(Order const& order, PtrInterface const* member, int* bucket) const {
        int ignored = -1;
        int& at = bucket != nullptr ? *bucket : ignored;
        if (member == nullptr) {
            at = -1;
            return findNextBucket(&at);
        }
        U32 const reversed = order.reversedHash(*member);
        at = static_cast<int>(bucketOf(reversed));
        for (PtrInterface* found = buckets_[at].ptr(); found != nullptr; found = order.link(*found).ptr()) {
            if (found == member) {
                PtrInterface* const next = order.link(*found).ptr();
                return next != nullptr ? next : findNextBucket(&at);
            }
            U32 const other = order.reversedHash(*found);
            if (other > reversed || (other == reversed && order.before(*member, *found))) {
                return found;
            }
        }
        return findNextBucket(&at);
    }

    U32 version_ = 0;
    U32 count_ = 0;
    HashMapVTableGeneric const* descriptor_ = nullptr;
    U8 tableLog2_; // the size of the array, of which a shrunk map uses the front
    U8 log2Buckets_;
    U16 linkOffset_ = 0;
    HashLink* buckets_;
    PtrInterface* recent_ = nullptr; // the member that was changed last, while it is here

private:
    static constexpr unsigned shrinkLog2 = 7; // a table of 1 KiB is not worth the work

    // Whether `found` stands before the member that is being inserted.
    template <class Order>
    static bool follows(Order const& order, PtrInterface const& found, PtrInterface const& member,
                        U32 reversed) {
        U32 const other = order.reversedHash(found);
        if (other != reversed) {
            return other < reversed;
        }
        bool const before = order.before(found, member);
        require(before || order.before(member, found), [] {
            return Breach{"Kor::HashMap::newMember", "the key is present already"};
        });
        return before;
    }

    // Splits bucket i into 2i and 2i+1, from the last to the first, so that it can be done in place. The
    // chain is in order: one cut splits it.
    template <class Order>
    void grow(Order const& order) {
        HashLink* const table = log2Buckets_ < tableLog2_ ? buckets_ : newTable(log2Buckets_ + 1u);
        if (table == nullptr) {
            return;
        }
        U32 const bit = U32{1} << (31 - log2Buckets_);
        for (U32 i = bucketCount(); i-- > 0;) {
            if (i >= prefetchAhead) {
                prefetchMember(i - prefetchAhead);
            }
            PtrInterface* lower = nullptr;
            PtrInterface* upper = nullptr;
            if (PtrInterface* const first = buckets_[i].ptr()) {
                // Most chains have one member; which half it goes to is as good as random, so it is not a
                // branch.
                bool const high = (order.reversedHash(*first) & bit) != 0;
                lower = high ? nullptr : first;
                upper = high ? first : nullptr;
                HashLink* cut = &order.link(*first);
                if (!high & (cut->ptr() != nullptr)) {
                    while (*cut && (order.reversedHash(**cut) & bit) == 0) {
                        cut = &order.link(**cut);
                    }
                    upper = cut->release();
                }
            }
            relocate(table[std::size_t{i} * 2], lower);
            relocate(table[2 * i + 1], upper);
        }
        tableIs(table, log2Buckets_ + 1u);
    }

    // Joins each four neighbouring buckets, by appending, in place. The array stays as it is: to give back a
    // large block makes the allocator merge all the small ones that were freed before, which would double the
    // cost of the removals. See spareDel().
    template <class Order>
    void shrink(Order const& order) noexcept {
        unsigned const log2 = log2Buckets_ - 2u > shrinkLog2 ? log2Buckets_ - 2u : shrinkLog2;
        unsigned const joined = 1u << (log2Buckets_ - log2);
        HashLink const* from = buckets_;
        for (U32 i = 0, end = U32{1} << log2; i != end; ++i) {
            PtrInterface* head = nullptr;
            HashLink* tail = nullptr;
            for (unsigned j = 0; j != joined; ++j, ++from) {
                if (PtrInterface* const first = from->ptr()) [[unlikely]] {
                    tail == nullptr ? static_cast<void>(head = first) : relocate(*tail, first);
                    tail = &order.link(*first);
                    while (*tail) {
                        tail = &order.link(**tail);
                    }
                }
            }
            relocate(buckets_[i], head);
        }
        log2Buckets_ = static_cast<U8>(log2);
        ++version_;
    }

protected:
    static constexpr U32 prefetchAhead = 16;

    /// Starts to load the first member of a bucket that a walk will come to.
    void prefetchMember(U32 bucket) const noexcept {
        if (bucket < bucketCount()) {
            // An empty bucket gives an address that is mapped: looking for one that is not would cost more.
            auto const* const member = buckets_[bucket]
                                           ? reinterpret_cast<char const*>(buckets_[bucket].ptr())
                                           : reinterpret_cast<char const*>(buckets_);
            __builtin_prefetch(member, 1);
            if (linkOffset_ >= 48) { // likely in another cache line
                __builtin_prefetch(member + linkOffset_, 1);
            }
        }
    }

    /// Releases the array. Its links are null or have moved.
    void freeTable() noexcept;

private:
    // Writes a link over whatever is there, and with it the reference that the other place held.
    static void relocate(HashLink& to, PtrInterface* member) noexcept {
        ::new (static_cast<void*>(&to)) HashLink(HashLink::adopt(member));
    }

    // Room for that many links, which are still to be written; null when there is no memory, or above
    // maxLog2.
    static HashLink* newTable(unsigned log2) noexcept;
    void tableIs(HashLink* table, unsigned log2) noexcept;

    static constexpr unsigned maxLog2 = 30; // bucket numbers are signed
};

} // namespace Kor
