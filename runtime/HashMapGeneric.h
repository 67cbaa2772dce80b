#pragma once

/// The untyped half of Kor::HashMap: buckets, growth, order. Use runtime/HashMap.h; this is what it stands
/// on.
///
/// A bucket is chosen by the top bits of the bit-reversed hash, so that a table that doubles splits bucket i
/// into 2i and 2i+1. Members of one bucket are chained in ascending order of reversed hash, then key.
/// Together that gives one total order of all members that no rebuild changes: it is the order of every walk,
/// and it defines the successor also of a member that has left the map.
///
/// Growth: the table doubles when a new member would make members outnumber buckets. When it is less than
/// 1/32 full it is folded to between a quarter and half full, in place: a walk passes at most 32 empty
/// buckets for a member, and nothing is hashed or allocated. Both are constant amortised. The array itself, 8
/// to 16 bytes for each of the most members there were, is kept for the next time: a map that was large will
/// be large again, and giving memory back and asking for it on every swing costs more than it saves. An
/// allocation that fails while growing leaves the map as it was.
///
/// The version moves on every removal and rebuild. It does not move when a member is added without a rebuild:
/// an iterator that steps by `next` then finds the new member in its place.
///
/// Nothing here is safe for two threads.

#include "runtime/Contract.h"
#include "runtime/Ptr.h"

#include <atomic>
#include <bit>
#include <cstddef>
#include <type_traits>
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

/// A member that keeps its reversed hash, in the four bytes behind the reference word.
class [[gnu::visibility("default")]] HashRemembered : public PtrInterface {
public:
    U32 fwkReversedHash() const noexcept {
        return reversedHash_;
    }

protected:
    explicit HashRemembered(U32 reversedHash) noexcept : reversedHash_(reversedHash) {}

private:
    U32 reversedHash_;
};

class [[gnu::visibility("default")]] HashMapGeneric {
public:
    /// An empty map with `buckets` buckets, rounded up to a power of two.
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
        // r >> (32 - log2), and 0 for a table of one bucket.
        return static_cast<U32>((U64{reversedHash} << log2_) >> 32);
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
        auto at = static_cast<U32>(*bucket + 1);
        while (at < buckets && buckets_[at] == nullptr) {
            ++at;
        }
        *bucket = static_cast<int>(at);
        prefetchAfter(at, buckets);
        return at < buckets ? buckets_[at] : nullptr;
    }

    /// The member with this key or, when there is none, the first one after where it would stand; and its
    /// bucket.
    PtrInterface* startAtHash(void const* key, U32 reversedHash, int* bucket) const;

protected:
    static constexpr U32 prefetchDistance = 16;
    static constexpr U32 prefetchFrom = 4096;
    static constexpr U32 shrinkFactor = 32;

    /// For a caller that has the reversed hash at hand.
    bool remove(PtrInterface* member, U32 reversedHash);

    /// Puts the member, with the reference that comes with it, before the one that `slot` holds. `slot` is a
    /// bucket or the `next` of a member.
    void link(PtrInterface * &slot, PtrInterface* member) noexcept {
        next(member).fill(std::exchange(slot, member));
        ++count_;
    }
    void link(HashNext & slot, PtrInterface* member) noexcept {
        next(member).fill(slot.release());
        slot.fill(member);
        ++count_;
    }
    /// Takes a member out of its slot; its reference goes to the caller, who drops it when the map is in
    /// order again.
    template <class Slot>
    [[nodiscard]] HashNext unlink(Slot & slot, PtrInterface* member) noexcept {
        if constexpr (std::is_pointer_v<Slot>) {
            slot = next(member).release();
        } else {
            slot.fill(next(member).release());
        }
        ++version_;
        std::atomic_signal_fence(
            std::memory_order_seq_cst); // or one wide load of both stalls on the narrow stores
        --count_;
        return HashNext::adopt(member);
    }
    /// To be called after `unlink`.
    void shrinkIfSparse() noexcept {
        if (count_ < bucketCount() / shrinkFactor) [[unlikely]] {
            shrink();
        }
    }

    void freeBuckets() noexcept;

    /// Asks the memory for the members that a walk at bucket `at` will soon come to. A small map is in the
    /// cache.
    void prefetchAfter(U32 at, U32 buckets) const noexcept {
        if (buckets >= prefetchFrom && at + prefetchDistance < buckets) {
            prefetch(buckets_[at + prefetchDistance]);
        }
    }

    void prefetch(PtrInterface const* member) const noexcept {
        __builtin_prefetch(member);
        __builtin_prefetch(reinterpret_cast<char const*>(member) + linkOffset_);
    }

    HashNext& next(PtrInterface* member) const noexcept {
        return *reinterpret_cast<HashNext*>(reinterpret_cast<char*>(member) + linkOffset_);
    }
    PtrInterface* nextOf(PtrInterface const* member) const noexcept {
        return next(const_cast<PtrInterface*>(member)).ptr();
    }

    U32 version_ = 1;
    U32 count_ = 0;
    HashMapVTableGeneric const* descriptor_ = nullptr;
    U8 capacityLog2_; // of the array; the table may use a part of it
    U8 log2_;
    U16 linkOffset_ = 0;
    PtrInterface** buckets_; // each owns its chain

    /// Doubles the table.
    void grow();
    /// The same for members that all derive from HashRemembered.
    void growRemembered();
    [[gnu::cold]] void shrink() noexcept;

private:
    template <class Hash>
    void growBy(Hash hash);
    bool isAfter(PtrInterface const* member, void const* key, PtrInterface const* other, U32 reversedHash,
                 bool orSame) const;
    PtrInterface* firstFrom(U32 bucket, int* result) const noexcept;
};

} // namespace Kor
