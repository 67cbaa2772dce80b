#include "runtime/HashMapGeneric.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <new>

namespace Kor {

namespace {

// The order of the members as the descriptor and the link offset of a map tell it.
struct DescribedOrder {
    HashMapVTableGeneric const& descriptor;
    U16 linkOffset;

    U32 reversedHash(PtrInterface const& member) const { return descriptor.hash(&member); }
    bool before(PtrInterface const& a, PtrInterface const& b) const {
        return descriptor.keyLessThan(nullptr, &b, &a);
    }
    HashLink& link(PtrInterface const& member) const noexcept {
        return *reinterpret_cast<HashLink*>(reinterpret_cast<char*>(const_cast<PtrInterface*>(&member)) +
                                            linkOffset);
    }
};

} // namespace

HashMapGeneric::HashMapGeneric(unsigned int buckets)
    : tableLog2_(static_cast<U8>(std::bit_width(std::clamp(buckets, 1u, 1u << maxLog2) - 1))),
      log2Buckets_(tableLog2_), buckets_(newTable(tableLog2_)) {
    if (buckets_ == nullptr) {
        throw std::bad_alloc();
    }
    std::uninitialized_value_construct_n(buckets_, bucketCount());
}

HashLink* HashMapGeneric::newTable(unsigned log2) noexcept {
    return log2 <= maxLog2 ? static_cast<HashLink*>(
                                 ::operator new((std::size_t{1} << log2) * sizeof(HashLink), std::nothrow))
                           : nullptr;
}

void HashMapGeneric::tableIs(HashLink* table, unsigned log2) noexcept {
    if (table != buckets_) {
        freeTable();
        buckets_ = table;
        tableLog2_ = static_cast<U8>(log2);
    }
    log2Buckets_ = static_cast<U8>(log2);
    ++version_;
}

void HashMapGeneric::spareDel() noexcept {
    if (log2Buckets_ == tableLog2_) {
        return;
    }
    if (HashLink* const table = newTable(log2Buckets_)) {
        std::uninitialized_move_n(buckets_, bucketCount(), table);
        freeTable();
        buckets_ = table;
        tableLog2_ = log2Buckets_;
    }
}

void HashMapGeneric::freeTable() noexcept {
    ::operator delete(buckets_);
    buckets_ = nullptr;
}

void HashMapGeneric::emptyAllBuckets() noexcept {
    if (count_ == 0) {
        return; // an empty map may have no descriptor yet
    }
    recent_ = nullptr;
    DescribedOrder const order{*descriptor_, linkOffset_};
    // The end of a member may bring new ones, or rebuild the table in either direction.
    for (U32 i = 0; count_ != 0;) {
        if (i >= bucketCount()) {
            i = 0;
        }
        if (!buckets_[i]) {
            ++i;
            continue;
        }
        HashLink const taken = std::move(buckets_[i]);
        buckets_[i] = std::move(order.link(*taken));
        recent_ = recent_ == taken.ptr() ? nullptr : recent_;
        --count_;
        ++version_;
    }
}

void HashMapGeneric::newMemberG(Ptr<PtrInterface> const& member, void*) {
    insert(DescribedOrder{*descriptor_, linkOffset_}, member, descriptor_->hash(member.ptr()));
}

void HashMapGeneric::deleteMember(Ptr<PtrInterface> const& member) {
    DescribedOrder const order{*descriptor_, linkOffset_};
    if (HashLink* const link = linkOf(order, *member, descriptor_->hash(member.ptr()))) {
        unlink(order, *link);
    }
}

PtrInterface* HashMapGeneric::findNextG(PtrInterface const* member, int* bucket) const {
    return findNext(DescribedOrder{*descriptor_, linkOffset_}, member, bucket);
}

PtrInterface* HashMapGeneric::startAtHash(void const* key, unsigned int reversedHash, int* bucket) const {
    DescribedOrder const order{*descriptor_, linkOffset_};
    *bucket = static_cast<int>(bucketOf(reversedHash));
    for (PtrInterface* found = buckets_[*bucket].ptr(); found != nullptr; found = order.link(*found).ptr()) {
        U32 const other = descriptor_->hash(found);
        if (other > reversedHash ||
            (other == reversedHash &&
             (descriptor_->keyEquals(key, found) || descriptor_->keyLessThan(key, found, nullptr)))) {
            return found;
        }
    }
    return findNextBucket(bucket);
}

} // namespace Kor
