#pragma once

/// Reactors: the objects that an entity tells of its changes. This is their root; an application derives from
/// `X::Notifiee` of the entity class X, which is built on Kor::NotifieeOf (runtime/NotifieeOf.h).
///
///     struct Watcher : LifAppConfig::Notifiee {
///         void onReqCount(AradLifEntry const& entry) override { ... }     // the new state is stored already
///     };
///     auto watcher = Kor::observe<Watcher>(config);                     // registers and attaches it: it is told
///     watcher->notifierIs(nullptr);
///
/// In a hook notifier() may be null: the hook of another reactor has detached this one since the change.
///
/// A reactor is told while it is in its notifier's list. It is there when it is registered, has a notifier
/// and its notifications are active, which they are from the start.
///
/// Ownership. The list does not own its reactors: hold yours. The reactor holds its notifier, unless the weak
/// flag is set; a weak reactor is detached when its notifier ends.
///
/// Threads. All of it happens on the thread that changes the entity, inside the change. See
/// runtime/Notification.h for the order and for what happens when a handler throws, and runtime/Activity.h
/// for delivery at a later time.

#include "runtime/BitSet.h"
#include "runtime/Ptr.h"
#include "runtime/String8.h"

namespace Kor {

class ActivityConfig;
class ActivitySm;

/// Stands for an entity's reference count in onNotificationException().
inline constexpr AttributeId referenceCountAttribute = 5;

class KOR_EXPORT PtrInterface::NotifieeConst : public PtrInterface {
public:
    /// The flag word. Bit 19 is used here, the others by the stream adapters.
    class Kor_BitSet : public BitSet<29, U32> {
    public:
        using BitSet::BitSet;
        /// The bits that a client may set.
        static constexpr Kor_BitSet notificationBitMask() noexcept { return Kor_BitSet(0xfa8fffff); }
    };
    static constexpr int wasRegisteredBit = 19;

    /// Values of the pending attribute that stand for all attributes.
    static constexpr AttributeId allPending = -1;
    /// All attributes, each told as a whole.
    static constexpr AttributeId allWholePending = -2;

    ~NotifieeConst() override;
    NotifieeConst(NotifieeConst const&) = delete;
    NotifieeConst& operator=(NotifieeConst const&) = delete;

    // What is told is told to this object, but it may be the adapter of another one, its owner.

    /// The reactor itself: this object, or the owner of an adapter.
    virtual Ptr<NotifieeConst> korReactor() const;
    virtual NotifieeConst* korRawReactor() const;
    /// True in Kor::Entity::KorNboAttrLogSa. Only what derives from that is told before all other reactors
    /// and carries changes to a peer; a reactor of another class that answers true stays an ordinary one.
    virtual bool isStreamAdapter() const;

    /// Whether the reactor wants to be in its notifier's list; takes effect at once.
    virtual void isRegisteredNotifieeIs(bool registered) const;
    virtual void kor_bitSetIs(Kor_BitSet flags);
    /// The notifier's name; empty without a notifier, or if it has none.
    virtual Name name() const;
    /// Observes another object from now on, or none.
    virtual void notifierIs(Ptr<PtrInterface const> const& notifier);

    /// Delivers what is pending; called by the activity. The base hands it to handleDefault().
    virtual void handleNotification(ActivityConfig* config);
    /// Calls onAttribute(), or onNotification() when no single attribute can be named. `whole` asks for the
    /// attribute as a whole, which is all that the base can do.
    virtual void handleDefault(ActivityConfig* config, AttributeId attribute, bool whole);

    // Handlers. All do nothing by default.
    virtual void onAttribute(AttributeId attribute);
    virtual void onNotification();
    virtual void onCollectionNotification(String8 name);
    /// Called inside the catch of an exception that a handler of this reactor has let out. It is counted and
    /// traced already. The default calls the handle... form below; an exception from here is not contained.
    virtual void onNotificationException();
    virtual void onNotificationException(AttributeId attribute);
    virtual void handleNotificationException(AttributeId attribute);
    virtual void handleNotificationException();
    /// The notifier is about to end; only a weak reactor can hear of it.
    virtual void onZeroReferences();

    // The activity that delivers later, if the reactor has one (see Kor::ActivityOf).
    virtual Ptr<ActivityConfig const> activityPtr() const;
    virtual ActivityConfig* korFwkActivity();
    virtual ActivityConfig const* korFwkActivity() const;
    virtual ActivitySm* actsm();

    /// Off: the reactor leaves the list of its notifier, and isRegisteredNotifiee() is false until it is on
    /// again; what changes meanwhile it does not hear of, now or later. It keeps its notifier, and its
    /// notifier's reference. On: it comes back if it was registered when it was switched off, stream adapters
    /// to the head, others to the tail.
    void hasNotificationActiveIs(bool active) override;

    Ptr<PtrInterface const> const& notifier() const noexcept { return notifier_; }
    Kor_BitSet kor_bitSet() const noexcept { return flags_; }
    /// Replaces the bits of notificationBitMask() and leaves the others.
    void notificationFlagsIs(Kor_BitSet flags);
    bool isRegisteredNotifiee() const noexcept { return registered_; }
    bool isWeakReference() const noexcept { return weak_; }
    /// A weak reactor holds no reference to its notifier.
    void isWeakReferenceIs(bool weak);

    /// The attribute that waits for delivery: 0 for none, or one of the values above.
    AttributeId pendingAttribute() const noexcept { return pending_; }
    void pendingAttributeIs(AttributeId attribute) noexcept { pending_ = attribute; }
    /// Adds an attribute, or one of those values, to what waits.
    void pendingAttributeAdd(AttributeId attribute) noexcept;
    /// Reads and clears it: the first thing in a handleNotification(), so that what a handler changes is
    /// pending anew. In a base's handleNotification() it is what the derived class has handed down; see
    /// deliverPending().
    AttributeId pendingAttributeTake(ActivityConfig* config) noexcept;
    /// Drops what waits, the saved keys' counts included.
    void pendingDel() noexcept;

    /// The entry point of deferred delivery: a handler calls it first. True when the change has been taken
    /// over for later delivery, and counted in `*counter` when that is given; false when the handler must run
    /// now, because the reactor has no activity or because this is the delivery. The counter stops at 255.
    bool korOnAttribute(AttributeId attribute, U8* counter);

    /// Gives the scheduler the chance to run what is urgent, between two attributes of one delivery.
    void redispatch(ActivitySm* sm);

protected:
    NotifieeConst();

    /// One bit of the flag word; nobody is asked.
    void flagBitIs(int bit, bool on) { flags_.bitIs(bit, on); }

    /// Stores the notifier: counted, or not when the weak flag is set.
    void notifierStore(Ptr<PtrInterface const> const& notifier);
    void registeredFlagIs(bool registered) const noexcept { registered_ = registered; }
    /// The weak flag has changed.
    virtual void onWeakReference();
    /// Forgets the changes that were counted for later.
    virtual void deferredDel() noexcept;

private:
    Kor_BitSet flags_{0x4000000};
    AttributeId pending_ = 0;
    Ptr<PtrInterface const> notifier_;
    bool weak_ = false;
    mutable bool registered_ = false;
};

/// Whether a reactor is a stream adapter in fact, whatever isStreamAdapter() of a class of somebody else's
/// says.
KOR_EXPORT bool isStreamAdapterReactor(PtrInterface::NotifieeConst const& reactor) noexcept;

} // namespace Kor
