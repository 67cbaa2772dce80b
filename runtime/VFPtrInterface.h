#pragma once

/// The reference word that every counted object carries, without a virtual table.
///
/// Bits 0 to 28 count the references, bit 29 says that notifications are active, bit 31 that the object is
/// marked for deletion. Bit 30 is reserved: nothing here sets it, but it takes part in the zero test.
///
/// Counting is plain arithmetic unless `VFPtrInterface::enableThreadSafePointers` is set, which makes it
/// atomic for every object of the process at once. Set it before a second thread sees any counted object, and
/// leave it set. The flag bits are written plainly in both modes: an object's flags belong to the thread that
/// owns the object.

#include "runtime/Types.h"

#include <atomic>
#include <cstddef>
#include <new>

namespace Kor {

class [[gnu::visibility("default")]] VFPtrInterface {
public:
    static constexpr U32 countMask = 0x1fffffff;
    static constexpr U32 zeroMask = 0x5fffffff;
    static constexpr U32 notificationActiveBit = 1U << 29;
    static constexpr U32 markedForDeletionBit = 1U << 31;

    /// Non-zero selects atomic counting, for every counted object at once.
    static U8 enableThreadSafePointers;

    /// Adds one reference. Any thread when counting is atomic.
    void referencesInc() const noexcept {
        if (enableThreadSafePointers != 0) [[unlikely]] {
            std::atomic_ref<U32>(word_).fetch_add(1);
        } else {
            ++word_;
        }
    }

    /// The number of references held at this moment.
    U32 references() const noexcept {
        return word() & countMask;
    }

    /// True when exactly one reference is left: whoever asks holds it.
    bool isSoleHolder() const noexcept {
        return references() == 1;
    }

    bool notificationActive() const noexcept {
        return (word() & notificationActiveBit) != 0;
    }
    bool markedForDeletion() const noexcept {
        return (word() & markedForDeletionBit) != 0;
    }

    /// The release of every counted object. `size` is what was asked for, also when a constructor threw; the
    /// standard allocator has no need of it.
    static void operator delete(void* storage, std::size_t) noexcept {
        ::operator delete(storage);
    }
    static void operator delete(void*, void*) noexcept {}

protected:
    static void* operator new(std::size_t size) {
        return ::operator new(size);
    }
    static void* operator new(std::size_t, void* place) noexcept {
        return place;
    }

    constexpr VFPtrInterface() noexcept = default;
    constexpr VFPtrInterface(VFPtrInterface const&) noexcept {} // a copy has its own holders
    VFPtrInterface& operator=(VFPtrInterface const&) noexcept {
        return *this;
    }
    ~VFPtrInterface() = default;

    static constexpr bool isZero(U32 word) noexcept {
        return (word & zeroMask) == 0;
    }

    U32 word() const noexcept {
        if (enableThreadSafePointers != 0) [[unlikely]] {
            return std::atomic_ref<U32>(word_).load();
        }
        return word_;
    }

    /// Takes one reference away and returns the new word. What a zero means is for the derived class to
    /// decide.
    U32 wordDec() const noexcept {
        if (enableThreadSafePointers != 0) [[unlikely]] {
            return std::atomic_ref<U32>(word_).fetch_sub(1) - 1;
        }
        return --word_;
    }

    void flagIs(U32 bit, bool on) const noexcept {
        word_ = on ? word_ | bit : word_ & ~bit;
    }

private:
    mutable U32 word_ = 1;
};

} // namespace Kor
