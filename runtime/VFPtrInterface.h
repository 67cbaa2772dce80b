#pragma once

/// The counted base without virtual functions: one 32-bit reference word. Most classes want Kor::PtrInterface
/// (runtime/PtrInterface.h) instead; this one alone is for plain blocks such as the text of a string.
///
///     bit 31     marked for deletion (a zombie reactor)
///     bit 30     reserved; while it is set the object is never taken as unreferenced
///     bit 29     notifications are active
///     bits 0-28  reference count
///
/// Counting. A new object has the count 1: the reference of the one who made it. The count is plain
/// arithmetic until Kor::VFPtrInterface::enableThreadSafePointers is set, which makes it atomic for every
/// counted object at once. Set it before a second thread touches a counted object and leave it set. It makes
/// the counts safe and nothing else: the object itself still belongs to one thread at a time.

// The compilers' atomic operations: <atomic> would be most of what a user's file has to read.

#include "runtime/Types.h"

#include <cstddef>
#include <new>

namespace Kor {

class KOR_EXPORT VFPtrInterface {
public:
    static constexpr U32 countMask = 0x1fffffff;
    static constexpr U32 zeroMask = 0x5fffffff;
    static constexpr U32 notificationActiveBit = U32{1} << 29;
    static constexpr U32 markedForDeletionBit = U32{1} << 31;

    /// Non-zero selects atomic reference counting, for all counted objects. Read at every count change.
    static U8 enableThreadSafePointers;

    /// Adds a reference. One test and one addition.
    void referencesInc() const noexcept {
        if (enableThreadSafePointers != 0) {
            __atomic_fetch_add(&word_, 1, __ATOMIC_SEQ_CST);
        } else {
            ++word_;
        }
    }

    /// Number of references, without the flags.
    U32 references() const noexcept { return word() & countMask; }

    /// True when nobody holds the object. The flags of bits 29 and 31 do not count, bit 30 does.
    bool isUnreferenced() const noexcept { return isZero(word()); }

    /// True when there is exactly one reference. No flag counts.
    bool hasSoleHolder() const noexcept { return references() == 1; }

    /// Counted objects are allocated by their exact size and released with the same, also when a constructor
    /// throws.
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* block, std::size_t) noexcept { ::operator delete(block); }

    /// Moves a reference from one object to another; `from` has others, which outlive the call.
    static void referenceMove(VFPtrInterface const& from, VFPtrInterface const& to) noexcept {
        if (enableThreadSafePointers != 0) {
            __atomic_fetch_add(&to.word_, 1, __ATOMIC_SEQ_CST);
            __atomic_fetch_sub(&from.word_, 1, __ATOMIC_SEQ_CST);
        } else {
            ++to.word_;
            --from.word_;
        }
    }

protected:
    constexpr VFPtrInterface() noexcept = default;
    /// A copy is a new object: it starts with one reference and no flags, whatever the source has.
    VFPtrInterface(VFPtrInterface const&) noexcept {}
    VFPtrInterface& operator=(VFPtrInterface const&) noexcept { return *this; }
    constexpr ~VFPtrInterface() = default;

    static constexpr bool isZero(U32 word) noexcept { return (word & zeroMask) == 0; }

    // Acquires, for who finds that others have let the object go and ends it.
    U32 word() const noexcept { return __atomic_load_n(&word_, __ATOMIC_ACQUIRE); }

    /// Takes a reference away and returns the new word. The caller ends the object when isZero() holds for
    /// it.
    U32 wordDec() const noexcept {
        if (enableThreadSafePointers != 0) {
            return __atomic_sub_fetch(&word_, 1, __ATOMIC_SEQ_CST);
        }
        return --word_;
    }

    /// The first reference of an object that nobody holds any more and that is about to end.
    void wordRevive() const noexcept { ++word_; }

    /// Sets or clears the given flag bits and leaves the count alone, also while other threads change it.
    void flagIs(U32 bits, bool on) const noexcept {
        if (enableThreadSafePointers != 0) {
            on ? __atomic_fetch_or(&word_, bits, __ATOMIC_SEQ_CST)
               : __atomic_fetch_and(&word_, ~bits, __ATOMIC_SEQ_CST);
        } else {
            word_ = on ? word_ | bits : word_ & ~bits;
        }
    }

private:
    mutable U32 word_ = 1;
};

} // namespace Kor
