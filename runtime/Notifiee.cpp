#include "runtime/Notifiee.h"

#include "runtime/Activity.h"
#include "runtime/Entity.h"

namespace Kor {

using Notifiee = PtrInterface::NotifieeConst;

Notifiee::NotifieeConst() {
    flagIs(notificationActiveBit, true);
}

Notifiee::~NotifieeConst() {
    if (weak_) {
        (void)notifier_.release(); // it never held the reference
    }
}

Ptr<Notifiee> Notifiee::korReactor() const {
    return korRawReactor();
}

Notifiee* Notifiee::korRawReactor() const {
    return const_cast<NotifieeConst*>(this);
}

bool Notifiee::isStreamAdapter() const {
    return false;
}

bool isStreamAdapterReactor(Notifiee const& reactor) noexcept {
    return dynamic_cast<Entity::KorNboAttrLogSa const*>(&reactor) != nullptr;
}

void Notifiee::isRegisteredNotifieeIs(bool registered) const {
    registered_ = registered;
}

void Notifiee::kor_bitSetIs(Kor_BitSet flags) {
    flags_ = flags;
}

Name Notifiee::name() const {
    return {};
}

void Notifiee::notifierIs(Ptr<PtrInterface const> const& notifier) {
    notifierStore(notifier);
}

void Notifiee::notifierStore(Ptr<PtrInterface const> const& notifier) {
    if (!weak_) {
        notifier_ = notifier;
        return;
    }
    // The field holds no reference, neither to the old one nor to the new one.
    Ptr<PtrInterface const> next = notifier;
    notifier_.swap(next);
    if (notifier_) {
        notifier_->referencesDec();
    }
    (void)next.release();
}

void Notifiee::isWeakReferenceIs(bool weak) {
    if (weak == weak_) {
        return;
    }
    weak_ = weak;
    if (notifier_) {
        onWeakReference(); // before the notifier may end
        weak ? static_cast<void>(notifier_->referencesDec()) : notifier_->referencesInc();
    }
}

void Notifiee::onWeakReference() {}
void Notifiee::deferredDel() noexcept {}

void Notifiee::notificationFlagsIs(Kor_BitSet flags) {
    U32 const mask = Kor_BitSet::notificationBitMask().word();
    kor_bitSetIs(Kor_BitSet((flags_.word() & ~mask) | (flags.word() & mask)));
}

void Notifiee::hasNotificationActiveIs(bool active) {
    if (hasNotificationActive() == active) {
        return;
    }
    PtrInterface::hasNotificationActiveIs(active);
    if (active) {
        if (flags_.test(wasRegisteredBit)) {
            isRegisteredNotifieeIs(true);
        }
    } else {
        flags_.bitIs(wasRegisteredBit, registered_);
        isRegisteredNotifieeIs(false);
    }
}

void Notifiee::handleNotification(ActivityConfig* config) {
    AttributeId const pending = pendingAttributeTake(config);
    if (pending != 0) {
        callHandler(*this, pending, [&](NotifieeConst& self) {
            self.handleDefault(config, pending, pending == allWholePending);
        });
    }
}

void Notifiee::handleDefault(ActivityConfig*, AttributeId attribute, bool) {
    attribute > 0 ? onAttribute(attribute) : onNotification();
}

void Notifiee::onAttribute(AttributeId) {}
void Notifiee::onNotification() {}
// NOLINTNEXTLINE(performance-unnecessary-value-param): strings are passed by value
void Notifiee::onCollectionNotification(String8) {}

void Notifiee::onNotificationException() {
    handleNotificationException();
}

void Notifiee::onNotificationException(AttributeId attribute) {
    handleNotificationException(attribute);
}

void Notifiee::handleNotificationException(AttributeId) {}
void Notifiee::handleNotificationException() {}
void Notifiee::onZeroReferences() {}

Ptr<ActivityConfig const> Notifiee::activityPtr() const {
    return korFwkActivity();
}

ActivityConfig* Notifiee::korFwkActivity() {
    return nullptr;
}

ActivityConfig const* Notifiee::korFwkActivity() const {
    return const_cast<NotifieeConst*>(this)->korFwkActivity();
}

ActivitySm* Notifiee::actsm() {
    ActivityConfig* const config = korFwkActivity();
    return config != nullptr ? config->actsm() : nullptr;
}

bool Notifiee::korOnAttribute(AttributeId attribute, U8* counter) {
    ActivityConfig* const config = korFwkActivity();
    if (config == nullptr || config->takeImmediate(attribute)) {
        return false;
    }
    if (counter != nullptr && *counter != 255) {
        ++*counter;
    }
    pendingAttributeAdd(attribute);
    config->schedule();
    return true;
}

void Notifiee::pendingAttributeAdd(AttributeId attribute) noexcept {
    if (pending_ == 0 || attribute == allWholePending) {
        pending_ = attribute;
    } else if (pending_ != attribute && pending_ != allWholePending) {
        pending_ = allPending;
    }
}

AttributeId Notifiee::pendingAttributeTake(ActivityConfig* config) noexcept {
    AttributeId const handed = config != nullptr ? config->takeHanded() : 0;
    return handed != 0 ? handed : std::exchange(pending_, 0);
}

void Notifiee::pendingDel() noexcept {
    pending_ = 0;
    deferredDel();
}

void Notifiee::redispatch(ActivitySm* sm) {
    if (sm != nullptr) {
        sm->redispatch();
    }
}

} // namespace Kor
