#pragma once

/// The base of every counted object with virtual functions: entities, reactors, members of collections, type
/// objects.
///
///     class Port : public Kor::PtrInterface { public: explicit Port(int number); ... };
///     Kor::Ptr<Port> port = Kor::makeObject<Port>(3);
///
/// An object leaves its constructor with one reference, that of its construction; `makeObject` hands it over
/// to the Ptr it returns. The object ends when the last reference goes. Don't put one on the stack or into
/// another object, and don't build cycles of Ptr: one side holds a plain pointer, or is told of the other's
/// end.
///
/// At the end, `zeroReferencesIs(false)` runs first, with the object held alive by the end itself. If it
/// leaves a new reference behind, the object lives on and ends when that goes. References that a destructor
/// takes and drops are harmless. A destructor lets no exception out: it would end the process.

#include "runtime/Types.h"
#include "runtime/VFPtrInterface.h"

namespace Kor {

class KorType;

class [[gnu::visibility("default")]] PtrInterface : public VFPtrInterface {
public:
    /// Sets or clears the notification-active flag.
    virtual void hasNotificationActiveIs(bool active);
    /// How many errors the object finds in itself; the level bounds how hard it looks. 0 here.
    virtual U32 korAuditErrors(unsigned int level) const;
    /// korAuditErrors, but 0 when the top bit of the level is set.
    virtual U32 auditErrors(unsigned int level) const;
    /// The hook at the end of an object. Nothing here.
    virtual void zeroReferencesIs(bool);
    /// The type object of the object's class; null for a class that registers none.
    virtual KorType* fwkType() const;
    virtual ~PtrInterface();

    /// Drops one reference, and ends the object with the last. Returns how many are left.
    U32 referencesDec() const {
        U32 const word = wordDec();
        if (isZero(word)) [[unlikely]] {
            handleZeroRef();
        }
        return word & countMask;
    }

    /// Makes the object immortal: adds a reference that nobody will ever drop, and takes it off pointer
    /// tracking.
    void referencesLeak() const;

    bool hasNotificationActive() const {
        return flag(notificationActiveBit);
    }
    bool korMarkedForDeletion() const {
        return flag(markedForDeletionBit);
    }
    /// Sets or clears the zombie flag. Nothing is deleted.
    void korMarkedForDeletionIs(bool marked) const {
        flagIs(markedForDeletionBit, marked);
    }

protected:
    PtrInterface();
    /// The copy has a count of its own.
    PtrInterface(PtrInterface const&);
    PtrInterface& operator=(PtrInterface const&) {
        return *this;
    }

private:
    [[gnu::cold]] void handleZeroRef() const;
};

} // namespace Kor
