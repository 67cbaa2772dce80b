#include "attrlog/session/internal/Parts.h"

namespace Kor::NboAttrLog {

void Session::want(Name const& path, WantHook hook, Take take) {
    requirePath(path);
    impl_->core.requireOpen();
    unwant(path);
    Wishes::Wish& wish = impl_->wishes.wishes_[path];
    wish.hook = std::move(hook);
    wish.take = std::move(take);
    if (peerOffers().contains(path)) {
        impl_->wishes.ask(Cause::application, path, wish);
    }
}

void Session::want(Name const& path, Ptr<Entity> const& mine, WantHook hook) {
    requireRoot(path, mine);
    want(path, std::move(hook), [mine](Ptr<Entity> const&) { return mine; });
}

void Session::unwant(Name const& path) {
    auto const gone = impl_->wishes.wishes_.extract(path);
    if (!gone || !isOpen()) {
        return;
    }
    Wishes::Wish const& wish = gone.mapped();
    if (wish.number != 0) { // it may be on its way to be mounted even if it has been withdrawn since
        impl_->core.note(Cause::application, -wantAttribute, path, wish.number);
    }
    if (wish.id.isAssigned()) {
        impl_->core.pathOf.erase(wish.id);
        demuxer().reactorDel(wish.id);
    }
}

Ptr<Entity> Session::root(Name const& path) const {
    Wishes::Wish const* const wish = lookUp(impl_->wishes.wishes_, path);
    return wish != nullptr && wish->isThere() ? wish->root : nullptr;
}

RootState Session::rootState(Name const& path) const noexcept {
    Wishes::Wish const* const wish = lookUp(impl_->wishes.wishes_, path);
    return wish != nullptr ? wish->state : RootState::absent;
}

std::map<Name, Session::PeerOffer> const& Session::peerOffers() const noexcept {
    return impl_->wishes.peerOffers_;
}

bool Session::areOffersKnown() const noexcept {
    return impl_->wishes.areKnown_;
}

void Wishes::readOffer(In& in, bool isWithdrawn) {
    Name const path = SessionCore::readPath(in);
    if (isWithdrawn) {
        peerOffers_.erase(path);
        stateIs(path, RootState::absent, "the peer has withdrawn it");
    } else {
        auto const [type, bits] = SessionCore::read<TypeId, U64>(in);
        if (!peerOffers_.contains(path) && peerOffers_.size() >= core_.config.offers) {
            fault(format("peer has more roots than the limit of %u", core_.config.offers));
        }
        peerOffers_[path] = {peerText(type.name().view(), maxReasonLength),
                             (bits & 1) != 0 ? Access::writable : Access::readOnly};
        if (Wish* const wish = lookUp(wishes_, path)) {
            ask(Cause::peer, path, *wish);
        }
    }
    if (areKnown_) {
        tell(core_.hooks.offersChanged, core_.self);
    }
}

void Wishes::offersKnown() {
    areKnown_ = true;
    tell(core_.hooks.offersChanged, core_.self);
}

void Wishes::ask(Cause cause, Name const& path, Wish& wish) {
    if (wish.state == RootState::absent || wish.state == RootState::refused) {
        wish.number = ++core_.lastNumber;
        wish.isRetired = false;
        core_.note(cause, wantAttribute, path, wish.number);
        stateIs(path, RootState::requested);
    }
}

void Wishes::stateIs(Name const& path, RootState state, String8 const& why) {
    Wish* const wish = lookUp(wishes_, path);
    if (wish != nullptr && std::exchange(wish->state, state) != state) {
        tell(wish->hook, state, Ptr<Entity>(wish->root), why); // the hook may take the wish away
    }
}

void Wishes::refused(Name const& path, U32 number, String8 const& reason) {
    Wish const* const wish = lookUp(wishes_, path);
    if (wish != nullptr && wish->number == number &&
        (wish->state == RootState::requested || wish->isRetired)) {
        stateIs(path, RootState::refused, reason);
    }
}

Ptr<Entity> Wishes::root(Announcement const& announcement) {
    Name const path = announcement.name.path;
    U32 const number = announcement.name.number;
    auto const awaited = [&] { // null when it has been given up
        Wish* const wish = lookUp(wishes_, path);
        bool const isAwaited =
            wish != nullptr && wish->state == RootState::requested && wish->number == number;
        return isAwaited ? wish : nullptr;
    };
    if (awaited() == nullptr) {
        return nullptr;
    }
    try {
        Session::Take const take = awaited()->take;
        Ptr<Entity> entity = core_.placeFor(
            announcement, [&] { return take ? take(announcement.made) : Ptr<Entity>(announcement.made); });
        if (Wish* const wish = awaited()) {
            wish->root = entity;
            wish->id = announcement.id;
            core_.pathOf[announcement.id] = path;
            return entity;
        }
    } catch (Exception const& exception) {
        if (awaited() != nullptr) {
            core_.note(Cause::peer, -wantAttribute, path, number);
            stateIs(path, RootState::refused, exception.message());
        }
    }
    return nullptr;
}

void Wishes::mounted(EntityId id) {
    if (auto const wish = core_.ofId(wishes_, id); wish != wishes_.end()) {
        stateIs(Name(wish->first), RootState::synchronizing);
    }
}

void Wishes::retired(EntityId id) {
    if (auto const wish = core_.ofId(wishes_, id); wish != wishes_.end()) {
        wish->second.id = {};
        if (wish->second.isThere()) { // and not asked for anew already
            wish->second.isRetired = true;
            stateIs(Name(wish->first), RootState::absent, "the peer has withdrawn it");
        }
    }
}

void Wishes::stateTold(EntityId id, RootState state) {
    if (auto const wish = core_.ofId(wishes_, id); wish != wishes_.end() && wish->second.isThere()) {
        stateIs(Name(wish->first), state);
    }
}

void Wishes::ended(String8 const& reason) {
    Name path; // a hook may change what is wished for
    for (auto next = wishes_.begin(); next != wishes_.end(); next = wishes_.upper_bound(path)) {
        path = next->first;
        next->second.id = {};
        stateIs(path, RootState::absent, reason);
    }
}

} // namespace Kor::NboAttrLog
