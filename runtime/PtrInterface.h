#pragma once

/// The base of every counted object with virtual functions: entities, reactors, collection members, type
/// objects.
///
///     class Port final : public Kor::PtrInterface { public: explicit Port(Kor::U32 number); };
///     Kor::Ptr<Port> port = Kor::create<Port>(7U);   // one reference, owned by `port`
///
/// Ownership is a Kor::Ptr. When the last one goes, the object hears `zeroReferencesIs(true)` and is deleted,
/// unless someone took a reference during that call and still holds it: such an object lives on, and hears
/// the call again the next time its last reference goes. An object made by a constructor alone, on the stack
/// for instance, starts with the one reference of its maker.
///
/// One object belongs to one thread at a time; only counts may be shared, see runtime/VFPtrInterface.h.

#include "runtime/PtrTrack.h"
#include "runtime/VFPtrInterface.h"

namespace Kor {

class KorType;

class [[gnu::visibility("default")]] PtrInterface : public VFPtrInterface {
public:
    class NotifieeConst; // runtime/Notifiee.h

    PtrInterface() {
        track();
    }
    /// A copy starts with one reference of its own and no flags.
    PtrInterface(PtrInterface const& source) : VFPtrInterface(source) {
        track();
    }
    PtrInterface& operator=(PtrInterface const&) = default;

    /// Switches notifications on or off: sets or clears bit 29 of the reference word.
    virtual void hasNotificationActiveIs(bool active);
    /// The object's own consistency check: the number of faults found. The base finds none.
    virtual unsigned int korAuditErrors(unsigned int level) const;
    /// `korAuditErrors(level)`, or 0 when the top bit of `level` is set.
    virtual unsigned int auditErrors(unsigned int level) const;
    /// Told when the last reference has gone, before the object ends. The base does nothing.
    virtual void zeroReferencesIs(bool zero);
    /// The type object of the object's class. For the base itself, what `fwkTypeSourceIs` was given.
    virtual KorType const* fwkType() const;
    virtual ~PtrInterface() {
        if (ptrifTrackOn_) [[unlikely]] {
            PtrTrack::ptrifDel(this);
        }
    }

    /// The type object of PtrInterface itself; null until the reflection layer has named it.
    static KorType const* _fwkType();
    using TypeSource = KorType const* (*)();
    /// Tells where the base finds its type object. Called once, by the layer that makes type objects.
    static void fwkTypeSourceIs(TypeSource source) noexcept;

    /// Drops one reference and returns how many are left. At zero the object ends.
    U32 referencesDec() const {
        U32 const left = wordDec();
        if (isZero(left)) [[unlikely]] {
            handleZeroRef();
        }
        return left & countMask;
    }

    /// Adds a reference that nobody will ever drop, and takes the object out of pointer tracking: it is
    /// immortal.
    void referencesLeak() const;

    /// Sets or clears the mark for deletion, bit 31 of the reference word.
    void korMarkedForDeletionIs(bool marked) const noexcept {
        flagIs(markedForDeletionBit, marked);
    }

    /// Allocates all counted objects.
    using VFPtrInterface::operator new;
    using VFPtrInterface::operator delete;

protected:
    void notificationActiveFlagIs(bool active) const noexcept {
        flagIs(notificationActiveBit, active);
    }

private:
    void track() const {
        if (ptrifTrackOn_) [[unlikely]] {
            PtrTrack::ptrifAdd(this);
        }
    }
    void handleZeroRef() const;
};

} // namespace Kor
