#pragma once

/// The counted base of everything that is shared: entities, reactors, members of collections, stream
/// adapters, type objects.
///
///     class Port : public Kor::PtrInterface {
///     public:
///         explicit Port(int number);
///     };
///
///     Kor::Ptr<Port> port = Kor::makePtr<Port>(7);      // runtime/Ptr.h
///
/// Ownership. An object lives on the heap, is held by Kor::Ptr and ends when the last reference goes; never
/// `delete` it. Cycles are not found: of two objects that point at each other, one must use a weak or a plain
/// pointer (see Kor::PtrInterface::NotifieeConst::isWeakReferenceIs).
///
/// Threads. An object belongs to one thread at a time. References to it may be taken and dropped by several
/// once Kor::VFPtrInterface::enableThreadSafePointers is set.
///
/// A reference that comes or goes costs a change of the count.

#include "runtime/PtrTrack.h"
#include "runtime/VFPtrInterface.h"

namespace Kor {

class KorType;

class KOR_EXPORT PtrInterface : public VFPtrInterface {
public:
    /// The root of all reactors, runtime/Notifiee.h.
    class NotifieeConst;

    PtrInterface() noexcept { track(); }
    PtrInterface(PtrInterface const& other) noexcept : VFPtrInterface(other) { track(); }
    PtrInterface& operator=(PtrInterface const&) noexcept = default;

    /// Sets or clears bit 29 of the reference word. A reactor also joins or leaves its notifier's list.
    virtual void hasNotificationActiveIs(bool active);

    /// The audit of a class: the number of errors found. The base finds none.
    virtual U32 korAuditErrors(U32 level) const;

    /// Runs the audit: 0 when the top bit of `level` is set, otherwise what korAuditErrors(level) finds.
    virtual U32 auditErrors(U32 level) const;

    /// Called once the last reference is gone, before the object ends. It may take a reference and keep it,
    /// which keeps the object alive. It must not throw. The base does nothing.
    virtual void zeroReferencesIs(bool zero);

    /// The type object of the class of this object, and of a class. They never end, so the pointer needs no
    /// count.
    virtual KorType* fwkType() const;
    static KorType* _fwkType();

    virtual ~PtrInterface() {
        if (ptrifTrackOn_ != 0) [[unlikely]] {
            PtrTrack::ptrifDel(this);
        }
    }

    /// Drops a reference, and ends the object when that was the last one. Returns the number of references
    /// left.
    U32 referencesDec() const { return referencesDecInline(); }
    /// The same, for a path where a call counts.
    [[gnu::always_inline]] inline U32 referencesDecInline() const {
        U32 const left = wordDec();
        if (isZero(left)) {
            handleZeroRef();
        }
        return left & countMask;
    }

    /// Holds a reference during a call, as a Ptr would, where a call for its end counts.
    class Keep {
    public:
        [[gnu::always_inline]] explicit Keep(PtrInterface const& object) noexcept : object_(object) {
            object_.referencesInc();
        }
        [[gnu::always_inline]] ~Keep() { object_.referencesDecInline(); }
        Keep(Keep const&) = delete;
        Keep& operator=(Keep const&) = delete;

    private:
        PtrInterface const& object_;
    };

    /// Adds a reference that nobody will ever drop: the object lives until the process ends, and leak reports
    /// pass over it.
    void referencesLeak() const;

    bool hasNotificationActive() const noexcept { return (word() & notificationActiveBit) != 0; }

    /// Bit 31 of the reference word: the object is a zombie, kept in memory but out of use.
    bool korMarkedForDeletion() const noexcept { return (word() & markedForDeletionBit) != 0; }
    void korMarkedForDeletionIs(bool marked) const noexcept { flagIs(markedForDeletionBit, marked); }

protected:
    /// Ends the object: zeroReferencesIs(true), then, if nobody has taken a reference meanwhile, the
    /// destructor. The object holds a reference to itself all the while, so that references may come and go
    /// in the hook and in the destructor without ending it twice.
    void handleZeroRef() const noexcept;

private:
    void track() noexcept {
        if (ptrifTrackOn_ != 0) [[unlikely]] {
            PtrTrack::ptrifAdd(this);
        }
    }
};

// clang-format off
consteval auto korTextsOf(std::type_identity<PtrInterface>) {
    return texts(
        "", "The counted base of all that is shared. An object lives on the heap, is held by Kor::Ptr and ends with its last reference",
        "class NotifieeConst", "The root of all reactors",
        "PtrInterface()", "An object with one reference, that of whoever made it: makePtr hands it over",
        "PtrInterface(PtrInterface const& other)", "A copy, with one reference of its own",
        "virtual void hasNotificationActiveIs(bool active)", "Sets or clears the bit. A reactor also joins or leaves its notifier's list",
        "bool hasNotificationActive() const", "Whether the bit is set",
        "virtual U32 korAuditErrors(U32 level) const", "The audit of a class: how many errors it finds. The base finds none",
        "virtual U32 auditErrors(U32 level) const", "Runs the audit; 0 when the top bit of level is set",
        "virtual void zeroReferencesIs(bool zero)", "Called once the last reference is gone. It may take a reference and keep it, which keeps the object alive. It must not throw",
        "virtual KorType* fwkType() const", "The type object of the object's class",
        "static KorType* _fwkType()", "The type object of this class",
        "U32 referencesDec() const", "Drops a reference, and ends the object with the last one. The number of references left",
        "U32 referencesDecInline() const", "The same, for a path where a call counts",
        "void referencesLeak() const", "Adds a reference that nobody drops: the object lives until the process ends",
        "bool korMarkedForDeletion() const", "Whether the object is kept in memory but out of use",
        "void korMarkedForDeletionIs(bool marked) const", "Sets or clears that");
}
// clang-format on

} // namespace Kor
