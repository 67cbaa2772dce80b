#include "runtime/HashMapGeneric.h"

#include <new>
#include <utility>

namespace Kor {

namespace {

constexpr U8 largestLog2 = 30; // a bucket number is a signed 32-bit number
constexpr U32 shrinkFactor = 8;

} // namespace

HashNext* HashMapGeneric::allocate(U32 buckets, bool mayFail) {
    std::size_t const size = sizeof(HashNext) * buckets;
    void* const storage = mayFail ? ::operator new(size, std::nothrow) : ::operator new(size);
    if (storage == nullptr) {
        return nullptr;
    }
    auto* const array = static_cast<HashNext*>(storage);
    for (U32 i = 0; i != buckets; ++i) {
        ::new (static_cast<void*>(array + i)) HashNext;
    }
    return array;
}

HashMapGeneric::HashMapGeneric(unsigned int buckets)
    : smallestLog2_(static_cast<U8>(std::bit_width(buckets == 0 ? 0 : buckets - 1))), log2_(smallestLog2_),
      buckets_(allocate(U32{1} << smallestLog2_, false)) {}

void HashMapGeneric::freeBuckets() noexcept {
    ::operator delete(std::exchange(buckets_, nullptr));
}

void HashMapGeneric::emptyAllBuckets() {
    // One at a time, from the table as it is: a member that ends may change the map, and chains may be long.
    while (count_ != 0) {
        for (U32 i = 0; i < bucketCount(); ++i) {
            while (buckets_[i]) {
                HashNext const member = std::move(buckets_[i]);
                buckets_[i] = std::move(next(member.ptr()));
                --count_;
                ++version_;
            }
        }
    }
}

void HashMapGeneric::newMemberG(Ptr<PtrInterface> const& member, void* key) {
    U32 const reversedHash = descriptor_->hash(member.ptr());
    reserveOne();
    HashNext* slot = &buckets_[bucketOf(reversedHash)];
    while (*slot && !isAfter(slot->ptr(), key, nullptr, reversedHash, false)) {
        slot = &next(slot->ptr());
    }
    link(*slot, member.ptr());
}

bool HashMapGeneric::deleteMember(Ptr<PtrInterface> const& member) {
    return member && remove(member.ptr(), descriptor_->hash(member.ptr()));
}

// Does `member` stand after a key with this reversed hash? `other`, when given, has the key, else `key`
// points to it.
bool HashMapGeneric::isAfter(PtrInterface const* member, void const* key, PtrInterface const* other,
                             U32 reversedHash, bool orSame) const {
    U32 const hash = descriptor_->hash(member);
    if (hash != reversedHash) {
        return hash > reversedHash;
    }
    return descriptor_->keyLessThan(key, member, other) || (orSame && descriptor_->keyEquals(key, member));
}

bool HashMapGeneric::remove(PtrInterface* member, U32 reversedHash) {
    HashNext* slot = &buckets_[bucketOf(reversedHash)];
    while (slot->ptr() != member) {
        if (!*slot) {
            return false;
        }
        slot = &next(slot->ptr());
    }
    HashNext const self = std::move(*slot);
    *slot = std::move(next(member));
    --count_;
    ++version_;
    if (count_ < bucketCount() / shrinkFactor && log2_ > smallestLog2_) [[unlikely]] {
        shrink();
    }
    return true;
}

void HashMapGeneric::grow() {
    if (log2_ >= largestLog2) {
        return;
    }
    U32 const buckets = bucketCount();
    HashNext* const grown = allocate(2 * buckets, false);
    U32 const splitBit = U32{1} << (31 - log2_);
    for (U32 i = 0; i != buckets; ++i) {
        prefetchBucket(i + prefetchDistance / 2, buckets);
        // A chain ascends: its members that stay low come first.
        HashNext* slot = &buckets_[i];
        while (*slot && (descriptor_->hash(slot->ptr()) & splitBit) == 0) {
            slot = &next(slot->ptr());
        }
        grown[2 * i + 1] = std::move(*slot);
        grown[2 * i] = std::move(buckets_[i]);
    }
    freeBuckets();
    buckets_ = grown;
    ++log2_;
    ++version_;
}

void HashMapGeneric::shrink() noexcept {
    U32 const buckets = bucketCount() / 2;
    HashNext* const shrunk = allocate(buckets, true);
    if (shrunk == nullptr) {
        return;
    }
    for (U32 i = 0; i != buckets; ++i) {
        shrunk[i] = std::move(buckets_[2 * i]);
        HashNext* slot = &shrunk[i];
        if (buckets_[2 * i + 1]) {
            while (*slot) {
                slot = &next(slot->ptr());
            }
            *slot = std::move(buckets_[2 * i + 1]);
        }
    }
    freeBuckets();
    buckets_ = shrunk;
    --log2_;
    ++version_;
}

PtrInterface* HashMapGeneric::firstFrom(U32 bucket, int* result) const noexcept {
    int at = static_cast<int>(bucket) - 1;
    PtrInterface* const member = findNextBucket(&at);
    if (result != nullptr) {
        *result = at;
    }
    return member;
}

PtrInterface* HashMapGeneric::findNextG(PtrInterface const* member, int* bucket) const {
    if (member == nullptr) {
        return firstFrom(0, bucket);
    }
    U32 const reversedHash = descriptor_->hash(member);
    U32 const at = bucketOf(reversedHash);
    PtrInterface* after = buckets_[at].ptr();
    while (after != nullptr && after != member) {
        after = nextOf(after);
    }
    if (after == member) {
        after = nextOf(member);
    } else {
        after = buckets_[at].ptr();
        while (after != nullptr && !isAfter(after, nullptr, member, reversedHash, false)) {
            after = nextOf(after);
        }
    }
    if (after == nullptr) {
        return firstFrom(at + 1, bucket);
    }
    if (bucket != nullptr) {
        *bucket = static_cast<int>(at);
    }
    return after;
}

PtrInterface* HashMapGeneric::startAtHash(void const* key, U32 reversedHash, int* bucket) const {
    U32 const at = bucketOf(reversedHash);
    PtrInterface* member = buckets_[at].ptr();
    while (member != nullptr && !isAfter(member, key, nullptr, reversedHash, true)) {
        member = nextOf(member);
    }
    if (member == nullptr) {
        return firstFrom(at + 1, bucket);
    }
    if (bucket != nullptr) {
        *bucket = static_cast<int>(at);
    }
    return member;
}

} // namespace Kor
