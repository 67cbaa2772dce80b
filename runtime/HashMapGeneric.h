#pragma once

/// The untyped half of Kor::HashMap: buckets, growth, order. Use runtime/HashMap.h; this is what it stands
/// on.
///
/// A bucket is chosen by the top bits of the bit-reversed hash, so that a table that doubles splits bucket i
/// into 2i and 2i+1. Members of one bucket are chained in ascending order of reversed hash, then key.
/// Together that gives one total order of all members that no rebuild changes: it is the order of every walk,
/// and it defines the successor also of a member that has left the map.
///
/// Growth: the table doubles when a new member would make members outnumber buckets, and halves when fewer
/// than an eighth of the buckets' number are left, never below the size it was made with. Both are constant
/// amortised; halving only joins chains and hashes nothing. An allocation that fails while growing leaves the
/// map as it was; one that fails while shrinking only leaves it large.
///
/// The version moves on every removal and rebuild. It does not move when a member is added without a rebuild:
/// an iterator that steps by `next` then finds the new member in its place.
///
/// Nothing here is safe for two threads.

#include "runtime/Contract.h"
#include "runtime/Ptr.h"

#include <bit>
#include <cstddef>
#include <utility>

namespace Kor {

/// All 32 bits in reverse order: bit 0 becomes bit 31.
[[gnu::always_inline]] constexpr U32 bitReverse(U32 v) noexcept {
    v = ((v >> 1) & 0x55555555U) | ((v & 0x55555555U) << 1);
    v = ((v >> 2) & 0x33333333U) | ((v & 0x33333333U) << 2);
    v = ((v >> 4) & 0x0f0f0f0fU) | ((v & 0x0f0f0f0fU) << 4);
    return __builtin_bswap32(v); // bytes, then halves
}

/// What the core asks about members. It has no data; there is one for each type of map.
class HashMapVTableGeneric {
public:
    /// The reversed hash of the member's key.
    virtual U32 hash(PtrInterface const* member) const = 0;
    virtual bool keyEquals(void const* key, PtrInterface const* member) const = 0;
    /// Is the key of `b`, or `*key` when `b` is null, strictly before the key of `a`? True when both are
    /// null.
    virtual bool keyLessThan(void const* key, PtrInterface const* a, PtrInterface const* b) const = 0;
    /// Counted assignment of the member's `next`.
    virtual void setNext(PtrInterface* member, PtrInterface* next) const = 0;

protected:
    ~HashMapVTableGeneric() = default;
};

/// The counted link inside a member, to be named `next`. The map owns a chain through these.
using HashNext = Ptr<PtrInterface>;

class [[gnu::visibility("default")]] HashMapGeneric {
public:
    /// An empty map with at least `buckets` buckets (a power of two is made of it), below which it never
    /// shrinks.
    explicit HashMapGeneric(unsigned int buckets);
    HashMapGeneric(HashMapGeneric const&) = delete;
    HashMapGeneric& operator=(HashMapGeneric const&) = delete;
    /// The owner has emptied the buckets and freed the array.
    ~HashMapGeneric() = default;

    U32 version() const noexcept {
        return version_;
    }
    U32 members() const noexcept {
        return count_;
    }
    bool empty() const noexcept {
        return count_ == 0;
    }
    U32 bucketCount() const noexcept {
        return U32{1} << log2_;
    }
    HashMapVTableGeneric const* descriptor() const noexcept {
        return descriptor_;
    }

    /// The bucket of a reversed hash.
    U32 bucketOf(U32 reversedHash) const noexcept {
        auto const shift = static_cast<U8>(32 - log2_);
        return static_cast<U32>(U64{reversedHash} >> shift); // of 64 bits, so that a shift by 32 gives 0
    }

    /// Unlinks and releases every member. Members may do to the map what they like as they go.
    void emptyAllBuckets();

    /// Inserts a member whose key (`key` points to it) is not in the map.
    void newMemberG(Ptr<PtrInterface> const& member, void* key);
    /// Removes the member. It keeps its fields, except that its link is cleared. False, and no effect, when
    /// the member is not in this map.
    bool deleteMember(Ptr<PtrInterface> const& member);

    /// The first member in the order of the walk when `member` is null; otherwise the one that follows
    /// `member`, also when that has left the map. Null at the end. `*bucket`, when given, receives the bucket
    /// of the result, and at the end the number of buckets.
    PtrInterface* findNextG(PtrInterface const* member, int* bucket) const;

    /// The first member of the next bucket after `*bucket` that has any, and moves `*bucket` there (at the
    /// end, to the number of buckets). Asks the memory ahead for the members that the following calls will
    /// return.
    PtrInterface* findNextBucket(int* bucket) const noexcept {
        U32 const buckets = bucketCount();
        for (auto at = static_cast<U32>(*bucket + 1); at < buckets; ++at) {
            prefetchBucket(at + prefetchDistance, buckets);
            if (PtrInterface* const head = buckets_[at].ptr()) {
                *bucket = static_cast<int>(at);
                return head;
            }
        }
        *bucket = static_cast<int>(buckets);
        return nullptr;
    }

    /// The member with this key or, when there is none, the first one after where it would stand; and its
    /// bucket.
    PtrInterface* startAtHash(void const* key, U32 reversedHash, int* bucket) const;

protected:
    static constexpr U32 prefetchDistance = 16;

    /// For a caller that has the reversed hash at hand.
    bool remove(PtrInterface * member, U32 reversedHash);

    /// Makes room for one more member. May rebuild the table.
    void reserveOne() {
        if (count_ >= bucketCount()) [[unlikely]] {
            grow();
        }
    }
    /// Puts the member before the one that `slot` holds.
    void link(HashNext & slot, PtrInterface * member) noexcept {
        next(member) = std::move(slot);
        slot = HashNext(member);
        ++count_;
    }

    void freeBuckets() noexcept;

    void prefetchBucket([[maybe_unused]] U32 at, [[maybe_unused]] U32 buckets) const noexcept {
        if (at < buckets) {
            prefetch(buckets_[at].ptr());
        }
    }

    void prefetch(PtrInterface const* member) const noexcept {
        __builtin_prefetch(member);
        __builtin_prefetch(reinterpret_cast<char const*>(member) + linkOffset_);
    }

    HashNext& next(PtrInterface * member) const noexcept {
        return *reinterpret_cast<HashNext*>(reinterpret_cast<char*>(member) + linkOffset_);
    }
    PtrInterface* nextOf(PtrInterface const* member) const noexcept {
        return next(const_cast<PtrInterface*>(member)).ptr();
    }

    U32 version_ = 1;
    U32 count_ = 0;
    HashMapVTableGeneric const* descriptor_ = nullptr;
    U8 smallestLog2_; // the table never shrinks below
    U8 log2_;
    U16 linkOffset_ = 0;
    HashNext* buckets_;

private:
    static HashNext* allocate(U32 buckets, bool mayFail);
    void grow();
    void shrink() noexcept;
    bool isAfter(PtrInterface const* member, void const* key, PtrInterface const* other, U32 reversedHash,
                 bool orSame) const;
    PtrInterface* firstFrom(U32 bucket, int* result) const noexcept;
};

} // namespace Kor
