#pragma once

/// The reference word of all counted objects. Not for use by itself: derive a class with virtual functions
/// from Kor::PtrInterface and hold its objects by Kor::Ptr.
///
/// The word holds the count in bits 0 to 28, the notification-active flag in bit 29 and the
/// marked-for-deletion flag in bit 31; bit 30 is reserved. Flags survive every change of the count.

#include "runtime/Types.h"

#include <cstddef>

namespace Kor {

class [[gnu::visibility("default")]] VFPtrInterface {
public:
    static constexpr U32 countMask = 0x1fffffff;
    static constexpr U32 notificationActiveBit = 1u << 29;
    static constexpr U32 markedForDeletionBit = 1u << 31;
    /// An object ends when these bits are 0: the count, and the reserved bit.
    static constexpr U32 zeroMask = 0x5fffffff;

    /// Non-zero selects atomic counting for every counted object at once. Set it before a second thread holds
    /// a reference, and leave it. Nothing but the counts becomes atomic: an object belongs to one thread at a
    /// time.
    static U8 enableThreadSafePointers;

    static constexpr bool isZero(U32 word) {
        return (word & zeroMask) == 0;
    }
    static constexpr bool isSoleHolder(U32 word) {
        return (word & countMask) == 1;
    }

    U32 references() const {
        return load() & countMask;
    }
    /// Whether just one reference is left.
    bool hasSoleHolder() const {
        return isSoleHolder(load());
    }

    void referencesInc() const {
        if (enableThreadSafePointers) [[unlikely]] {
            __atomic_fetch_add(&word_, 1, __ATOMIC_SEQ_CST);
        } else {
            ++word_;
        }
    }

    static void* operator new(std::size_t size) {
        return ::operator new(size);
    }
    static void operator delete(void* object, std::size_t size) noexcept {
        ::operator delete(object, size);
    }

protected:
    explicit VFPtrInterface(U32 count) : word_(count) {}
    VFPtrInterface(VFPtrInterface const&) = delete;
    VFPtrInterface& operator=(VFPtrInterface const&) = delete;
    ~VFPtrInterface() = default;

    /// Drops one reference and returns the new word.
    U32 wordDec() const {
        return enableThreadSafePointers ? __atomic_sub_fetch(&word_, 1, __ATOMIC_SEQ_CST) : --word_;
    }

    bool flag(U32 bit) const {
        return (load() & bit) != 0;
    }
    void flagIs(U32 bit, bool on) const {
        if (enableThreadSafePointers) [[unlikely]] {
            on ? __atomic_fetch_or(&word_, bit, __ATOMIC_SEQ_CST)
               : __atomic_fetch_and(&word_, ~bit, __ATOMIC_SEQ_CST);
        } else {
            word_ = on ? word_ | bit : word_ & ~bit;
        }
    }

private:
    U32 load() const {
        return __atomic_load_n(&word_, __ATOMIC_SEQ_CST);
    }

    mutable U32 word_;
};

} // namespace Kor
