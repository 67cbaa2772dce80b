#include "runtime/HashMapGeneric.h"

#include <algorithm>
#include <utility>

namespace Kor {

namespace {

constexpr U8 smallestLog2 = 2; // to shrink to
constexpr U8 largestLog2 = 30; // a bucket number is a signed 32-bit number

PtrInterface** newBuckets(U32 buckets) {
    auto* const array = static_cast<PtrInterface**>(::operator new(sizeof(PtrInterface*) * buckets));
    std::fill_n(array, buckets, nullptr);
    return array;
}

} // namespace

HashMapGeneric::HashMapGeneric(unsigned int buckets)
    : capacityLog2_(static_cast<U8>(std::bit_width(buckets == 0 ? 0 : buckets - 1))), log2_(capacityLog2_),
      buckets_(newBuckets(U32{1} << log2_)) {}

void HashMapGeneric::freeBuckets() noexcept {
    ::operator delete(std::exchange(buckets_, nullptr));
}

void HashMapGeneric::emptyAllBuckets() {
    // One at a time, from the table as it is: a member that ends may change the map, and chains may be long.
    while (count_ != 0) {
        for (U32 i = 0; i < bucketCount(); ++i) {
            while (PtrInterface* const member = buckets_[i]) {
                prefetchAfter(i, bucketCount());
                HashNext const last = unlink(buckets_[i], member);
            }
        }
    }
}

void HashMapGeneric::newMemberG(Ptr<PtrInterface> const& member, void* key) {
    U32 const reversedHash = descriptor_->hash(member.ptr());
    if (count_ >= bucketCount()) {
        grow();
    }
    PtrInterface*& head = buckets_[bucketOf(reversedHash)];
    PtrInterface* before = nullptr;
    for (PtrInterface* at = head; at != nullptr && !isAfter(at, key, nullptr, reversedHash, false);
         at = nextOf(at)) {
        before = at;
    }
    PtrInterface* const added = HashNext(member).release();
    before == nullptr ? link(head, added) : link(next(before), added);
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
    PtrInterface*& head = buckets_[bucketOf(reversedHash)];
    if (head == member) {
        HashNext const last = unlink(head, member);
        shrinkIfSparse();
        return true;
    }
    for (PtrInterface* before = head; before != nullptr; before = nextOf(before)) {
        if (nextOf(before) == member) {
            HashNext const last = unlink(next(before), member);
            shrinkIfSparse();
            return true;
        }
    }
    return false;
}

template <class Hash>
void HashMapGeneric::growBy(Hash hash) {
    if (log2_ >= largestLog2) {
        return;
    }
    U32 const buckets = bucketCount();
    PtrInterface** const old = buckets_;
    PtrInterface** const grown = log2_ < capacityLog2_ ? old : newBuckets(2 * buckets);
    auto const splitShift = static_cast<U8>(31 - log2_);
    // From the top down, so that the room above is free when the array is its own target.
    for (U32 i = buckets; i-- != 0;) {
        if (i >= prefetchDistance) {
            prefetch(old[i - prefetchDistance]);
        }
        PtrInterface* const chain = old[i];
        if (chain == nullptr) {
            grown[2 * i] = nullptr;
            grown[2 * i + 1] = nullptr;
            continue;
        }
        if (nextOf(chain) == nullptr) {
            // Most chains are of one member, and its half is a coin toss: an index, not a branch.
            U32 const half = hash(chain) >> splitShift & 1U;
            grown[2 * i + half] = chain;
            grown[2 * i + 1 - half] = nullptr;
            continue;
        }
        // The chain ascends, so it is cut in two at most once.
        PtrInterface* cut = nullptr; // the last member of the lower half
        PtrInterface* member = chain;
        while (member != nullptr && (hash(member) >> splitShift & 1U) == 0) {
            cut = member;
            member = nextOf(member);
        }
        grown[2 * i] = cut == nullptr ? nullptr : chain;
        grown[2 * i + 1] = member;
        if (cut != nullptr) {
            next(cut).fill(nullptr);
        }
    }
    ++log2_;
    ++version_;
    if (grown != old) {
        freeBuckets();
        buckets_ = grown;
        capacityLog2_ = log2_;
    }
}

void HashMapGeneric::grow() {
    growBy([this](PtrInterface const* member) { return descriptor_->hash(member); });
}

void HashMapGeneric::growRemembered() {
    growBy([](PtrInterface const* member) {
        return static_cast<HashRemembered const*>(member)->fwkReversedHash();
    });
}

void HashMapGeneric::shrink() noexcept {
    // Leaves the table between a quarter and half full, so that it takes many changes to come here again.
    auto const log2 = std::max(smallestLog2, static_cast<U8>(std::bit_width(count_) + 1));
    if (log2 >= log2_) {
        return;
    }
    auto const joined = static_cast<U8>(log2_ - log2);
    PtrInterface* last = nullptr; // of the chain that is being joined
    U32 target = ~U32{0};
    for (U32 i = 0; i != bucketCount(); ++i) {
        if (PtrInterface* const chain = std::exchange(buckets_[i], nullptr)) {
            if (i >> joined != target) {
                target = i >> joined;
                buckets_[target] = chain;
            } else {
                next(last).fill(chain);
            }
            for (last = chain; nextOf(last) != nullptr;) {
                last = nextOf(last);
            }
        }
    }
    log2_ = log2;
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
    PtrInterface* after = buckets_[at];
    while (after != nullptr && after != member) {
        after = nextOf(after);
    }
    if (after == member) {
        after = nextOf(member);
    } else {
        after = buckets_[at];
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
    PtrInterface* member = buckets_[at];
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
