#include "attrlog/session/internal/Wishes.h"

#include <vector>

namespace Kor::NboAttrLog::detail {

void Wishes::want(Name const& path, Session::WantHook hook, Session::Take take) {
    requirePath(path);
    core_.requireOpen();
    unwant(path);
    Wish& wish = wishes_[path];
    wish.hook = std::move(hook);
    wish.take = std::move(take);
    if (peerOffers_.contains(path)) {
        ask(Cause::application, path, wish);
    }
}

void Wishes::unwant(Name const& path) {
    auto const found = wishes_.find(path);
    if (found == wishes_.end()) {
        return;
    }
    Wish const gone = std::move(found->second);
    wishes_.erase(found);
    if (!core_.isOpen()) {
        return;
    }
    if (gone.number != 0) { // it may be on its way to be mounted even if it has been withdrawn since
        core_.note(Cause::application, -wantAttribute, path, gone.number);
    }
    if (gone.id.isAssigned()) {
        core_.pathOf.erase(gone.id);
        core_.demuxer->reactorDel(gone.id);
    }
}

Ptr<Entity> Wishes::root(Name const& path) const {
    auto const found = wishes_.find(path);
    return found != wishes_.end() && found->second.isThere() ? found->second.root : nullptr;
}

RootState Wishes::state(Name const& path) const noexcept {
    auto const found = wishes_.find(path);
    return found != wishes_.end() ? found->second.state : RootState::absent;
}

void Wishes::readOffer(In& in, bool isWithdrawn) {
    Name const path = SessionCore::nextPath(in);
    if (isWithdrawn) {
        peerOffers_.erase(path);
        stateIs(path, RootState::absent, "the peer has withdrawn it");
    } else {
        Session::PeerOffer offer;
        offer.type = peerText(in.next<TypeId>().name().view(), maxReasonLength);
        offer.access = (in.nextNumber() & 1) != 0 ? Access::writable : Access::readOnly;
        if (!peerOffers_.contains(path) && peerOffers_.size() >= core_.config.offers) {
            fault(format("peer has more roots than the limit of %u", core_.config.offers));
        }
        peerOffers_[path] = std::move(offer);
        if (auto const wish = wishes_.find(path); wish != wishes_.end()) {
            ask(Cause::peer, path, wish->second);
        }
    }
    if (areKnown_) {
        core_.call(core_.hooks.offersChanged);
    }
}

void Wishes::offersKnown() {
    areKnown_ = true;
    core_.call(core_.hooks.offersChanged);
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
    auto const found = wishes_.find(path);
    if (found == wishes_.end() || found->second.state == state) {
        return;
    }
    Wish& wish = found->second;
    wish.state = state;
    if (wish.hook) {
        auto const hook = wish.hook; // which may take the wish away
        Ptr<Entity> const root = wish.root;
        hook(state, root, why);
    }
}

void Wishes::refused(Name const& path, U32 number, String8 const& reason) {
    auto const wish = wishes_.find(path);
    if (wish != wishes_.end() && wish->second.number == number &&
        (wish->second.state == RootState::requested || wish->second.isRetired)) {
        stateIs(path, RootState::refused, reason);
    }
}

Ptr<Entity> Wishes::root(Announcement const& announcement) {
    Name const path = announcement.name.path;
    auto wish = wishes_.end();
    U32 const number = announcement.name.number;
    auto const isAwaited = [&] {
        wish = wishes_.find(path);
        return wish != wishes_.end() && wish->second.state == RootState::requested &&
               wish->second.number == number;
    };
    if (!isAwaited()) { // it was given up meanwhile
        return nullptr;
    }
    Ptr<Entity> entity;
    try {
        Session::Take const take = wish->second.take;
        entity = core_.placeFor(
            announcement, [&] { return take ? take(announcement.made) : Ptr<Entity>(announcement.made); });
    } catch (Exception const& exception) {
        if (isAwaited()) {
            core_.note(Cause::peer, -wantAttribute, path, number);
            stateIs(path, RootState::refused, exception.message());
        }
        return nullptr;
    }
    if (!isAwaited()) { // the hook has given it up
        return nullptr;
    }
    wish->second.root = entity;
    wish->second.id = announcement.id;
    core_.pathOf[announcement.id] = path;
    return entity;
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

void Wishes::syncModeTold(EntityId id, StreamAdapter::SyncMode mode) {
    auto const wish = core_.ofId(wishes_, id);
    if (wish == wishes_.end() || !wish->second.isThere()) {
        return;
    }
    if (mode == StreamAdapter::SyncMode::synchronizing) {
        stateIs(Name(wish->first), RootState::synchronizing);
    } else if (mode == StreamAdapter::SyncMode::allSynchronized) {
        stateIs(Name(wish->first), RootState::synchronized);
    }
}

void Wishes::ended(String8 const& reason) {
    std::vector<Name> paths;
    paths.reserve(wishes_.size());
    for (auto& [path, wish] : wishes_) {
        wish.id = {};
        paths.push_back(path);
    }
    for (Name const& path : paths) {
        stateIs(path, RootState::absent, reason);
    }
}

} // namespace Kor::NboAttrLog::detail
